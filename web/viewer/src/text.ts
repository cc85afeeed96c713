// Numbers and states in words, the same for the eye and for a screen reader.
import { kLeft, type Motion } from './motion';

export const Seconds = (time: number) => `${time.toFixed(2)} s`;

/// Three digits that count, but no more than a tenth of a millimetre and no less than a centimetre.
export function Metres(length: number): string {
  const size = Math.abs(length);
  const decimals = size >= 1 ? 2 : size >= 0.1 ? 3 : 4;
  return `${length.toFixed(size === 0 ? 2 : decimals)} m`;
}

export const SideName = (side: number) => (side === kLeft ? 'left' : 'right');

/// A track by its script name: `larm` is the left arm, `pony1` the first ponytail.
export function TrackName(script: string): string {
  if (/^[lr](arm|leg)$/.test(script)) {
    return `${script[0] === 'l' ? 'Left' : 'Right'} ${script.slice(1)}`;
  }
  const [, word, number] = /^(.*?)(\d*)$/.exec(script)!;
  const name = word === 'pony' ? 'ponytail' : word;
  return `${name.charAt(0).toUpperCase()}${name.slice(1)} ${number}`.trim();
}

export const FrameNumber = (motion: Motion, frame: number) => {
  const number = motion.frameNumbers[frame];
  return Number.isInteger(number) ? String(number) : number.toFixed(1);
};

// Times that went through sums are this near to what they were.
const kInstant = 1e-6;

/// What the figure stands on by its footsteps; empty where the motion has none.
export function SupportAt(motion: Motion, time: number): string {
  if (motion.footsteps.length === 0) return '';
  const first = motion.footsteps[0].start;
  const last = motion.footsteps.reduce((end, step) => Math.max(end, step.end), first);
  const down = [false, false];
  for (const step of motion.footsteps) {
    if (step.start > time + kInstant) break;
    // A foot that lifts at the very end of the motion still stands on its last frame.
    if (time < step.end - kInstant || (step.end === last && time <= last + kInstant)) {
      down[step.side] = true;
    }
  }
  if (down[0] && down[1]) return 'on both feet';
  if (down[0]) return 'on the right foot';
  if (down[1]) return 'on the left foot';
  return first <= time && time <= last ? 'in the air' : 'outside of its footsteps';
}

/// One sentence of what is shown, for those who hear it.
export function Spoken(motion: Motion, time: number, frame: number): string {
  const support = SupportAt(motion, time);
  const parts = [`${time.toFixed(2)} seconds`, `frame ${FrameNumber(motion, frame)}`];
  if (support) parts.push(support);
  return parts.join(', ');
}
