// The time line: a ruler, the contacts of both feet, the flights and the keys by track. It is a
// slider, by pointer and by keyboard; a wheel over it zooms, and the view goes with the time.
import { SideColour, type Colours } from './colours';
import { FirstTime, FrameAt, LastTime, kLeft, kRight, type Motion } from './motion';
import type { Player } from './player';
import { FrameNumber, Seconds, SideName, Spoken, TrackName } from './text';

const kGutter = 78; // pixels for the names of the rows
const kMargin = 14;
const kRuler = 24;
const kFontStack = 'system-ui, -apple-system, "Segoe UI", "DejaVu Sans", sans-serif';

interface Span {
  start: number;
  end: number;
  text: string;
  tip: string;
}

interface Row {
  name: string;
  top: number;
  height: number;
  spans?: Span[];
  keys?: Float64Array;
  colour: (colours: Colours) => string;
}

/// Index of the first time at or after `time`.
function FirstAtOrAfter(times: Float64Array, time: number): number {
  let low = 0;
  let high = times.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (times[middle] < time) low = middle + 1;
    else high = middle;
  }
  return low;
}

export class Timeline {
  private rows: Row[] = [];
  private keysShown = true;
  private from: number;
  private to: number;
  private colours: Colours | undefined;
  private readonly context: CanvasRenderingContext2D;
  private readonly motion: Motion;
  private wasPlaying = false;
  private timeBefore = NaN;
  private dirty = true;

  constructor(
    private readonly slider: HTMLElement,
    private readonly canvas: HTMLCanvasElement,
    private readonly tip: HTMLElement,
    private readonly player: Player,
    private readonly changed: () => void,
  ) {
    this.motion = player.motion;
    this.context = canvas.getContext('2d')!;
    this.from = FirstTime(this.motion);
    this.to = this.WholeEnd();
    this.LayOut();
    this.slider.setAttribute('aria-valuemin', FirstTime(this.motion).toFixed(3));
    this.slider.setAttribute('aria-valuemax', LastTime(this.motion).toFixed(3));
    this.ListenToPointer();
    this.slider.addEventListener('keydown', (event) => this.OnKey(event));
    new ResizeObserver(() => this.Redraw()).observe(slider);
    window.addEventListener('resize', () => this.LayOut());
  }

  /// A single frame gets a second of room.
  private WholeEnd(): number {
    const first = FirstTime(this.motion);
    const last = LastTime(this.motion);
    return last > first ? last : first + 1;
  }

  private LayOut(): void {
    const { footsteps, flights, tracks } = this.motion;
    this.rows = [];
    let top = kRuler;
    const add = (row: Omit<Row, 'top'>) => {
      this.rows.push({ ...row, top });
      top += row.height;
    };
    if (footsteps.length > 0) {
      for (const side of [kLeft, kRight]) {
        const spans = footsteps
          .filter((step) => step.side === side)
          .map((step) => ({
            start: step.start,
            end: step.end,
            text: String(step.index),
            tip: `footstep ${step.index}, ${SideName(side)}: ${Seconds(step.start)} to ${Seconds(step.end)}`,
          }));
        const name = side === kLeft ? 'Left foot' : 'Right foot';
        add({ name, height: 24, spans, colour: (colours) => SideColour(colours, side) });
      }
    }
    if (flights.length > 0) {
      const spans = flights.map((flight) => ({
        ...flight,
        text: '',
        tip: `flight: ${Seconds(flight.start)} to ${Seconds(flight.end)}`,
      }));
      add({ name: 'Flights', height: 20, spans, colour: (colours) => colours.flight });
    }
    if (this.keysShown) {
      top += 5;
      const room = Math.max(window.innerHeight * 0.38, 150) - top;
      const height = Math.min(Math.max(Math.floor(room / tracks.length), 8), 13);
      for (const track of tracks) {
        add({ name: TrackName(track.name), height, keys: track.times, colour: (c) => c.key });
      }
    }
    this.slider.style.height = `${top + 8}px`;
    this.Redraw();
  }

  get hasKeys(): boolean {
    return this.motion.tracks.length > 0;
  }
  ShowKeys(shown: boolean): void {
    this.keysShown = shown;
    this.LayOut();
  }

  Dress(colours: Colours): void {
    this.colours = colours;
    this.Redraw();
  }

  // --- Time and place ---------------------------------------------------------------------------

  private get width(): number {
    return Math.max(this.slider.clientWidth - kGutter - kMargin, 1);
  }
  private X(time: number): number {
    return kGutter + ((time - this.from) / (this.to - this.from)) * this.width;
  }
  private TimeAt(x: number): number {
    return this.from + ((x - kGutter) / this.width) * (this.to - this.from);
  }

  /// Shows `factor` times as much, with the time at `around` where it is.
  Zoom(factor: number, around = this.player.time): void {
    const first = FirstTime(this.motion);
    const whole = this.WholeEnd() - first;
    const span = Math.min(Math.max((this.to - this.from) * factor, Math.min(0.2, whole)), whole);
    const share = (around - this.from) / (this.to - this.from);
    this.SetView(around - share * span, span);
  }
  private SetView(from: number, span: number): void {
    const first = FirstTime(this.motion);
    const end = this.WholeEnd();
    this.from = Math.min(Math.max(from, first), end - span);
    this.to = this.from + span;
    this.Redraw();
  }

  // --- Pointer and keyboard ---------------------------------------------------------------------

  private ListenToPointer(): void {
    let scrubbing = false;
    const at = (event: PointerEvent | WheelEvent) =>
      event.clientX - this.slider.getBoundingClientRect().left;
    // On whole frames, so that what is shown is what the motion holds.
    const seek = (event: PointerEvent) => {
      this.player.SeekFrame(this.NearestFrame(this.TimeAt(at(event))));
    };
    this.slider.addEventListener('pointerdown', (event) => {
      if (event.button !== 0) return;
      scrubbing = true;
      this.wasPlaying = this.player.playing;
      this.player.playing = false;
      this.slider.setPointerCapture(event.pointerId);
      this.slider.focus();
      seek(event);
    });
    this.slider.addEventListener('pointermove', (event) => {
      if (scrubbing) seek(event);
      this.ShowTip(event);
    });
    const end = () => {
      if (scrubbing && this.wasPlaying) this.player.Play();
      scrubbing = false;
    };
    this.slider.addEventListener('pointerup', end);
    this.slider.addEventListener('pointercancel', end);
    this.slider.addEventListener('pointerleave', () => (this.tip.hidden = true));
    this.slider.addEventListener(
      'wheel',
      (event) => {
        event.preventDefault();
        const sideways = event.shiftKey ? event.deltaY : event.deltaX;
        if (Math.abs(sideways) > Math.abs(event.shiftKey ? 0 : event.deltaY)) {
          const span = this.to - this.from;
          this.SetView(this.from + (sideways / this.width) * span, span);
        } else {
          this.Zoom(Math.exp(event.deltaY * 0.0015), this.TimeAt(at(event)));
        }
      },
      { passive: false },
    );
  }

  private NearestFrame(time: number): number {
    const { times } = this.motion;
    const frame = FrameAt(this.motion, time);
    const next = Math.min(frame + 1, times.length - 1);
    return times[next] - time < time - times[frame] ? next : frame;
  }

  private OnKey(event: KeyboardEvent): void {
    if (event.ctrlKey || event.metaKey || event.altKey) return;
    const second = Math.round(this.FramesIn(1));
    const steps: Record<string, number> = {
      ArrowLeft: event.shiftKey ? -second : -1,
      ArrowDown: -1,
      ArrowRight: event.shiftKey ? second : 1,
      ArrowUp: 1,
      PageDown: -second,
      PageUp: second,
      Home: -this.player.frameCount,
      End: this.player.frameCount,
    };
    if (!(event.key in steps)) return;
    event.preventDefault();
    event.stopPropagation();
    this.player.Step(steps[event.key]);
  }

  FramesIn(seconds: number): number {
    const span = LastTime(this.motion) - FirstTime(this.motion);
    return span > 0 ? Math.max((seconds * (this.motion.times.length - 1)) / span, 1) : 1;
  }

  private ShowTip(event: PointerEvent): void {
    const box = this.slider.getBoundingClientRect();
    const x = event.clientX - box.left;
    const text = x < kGutter ? '' : this.Describe(x, event.clientY - box.top);
    this.tip.hidden = text === '';
    if (text === '') return;
    this.tip.textContent = text;
    const left = Math.min(event.clientX + 12, window.innerWidth - this.tip.offsetWidth - 8);
    const top = event.clientY - this.tip.offsetHeight - 8;
    this.tip.style.transform = `translate(${Math.max(left, 4)}px, ${top}px)`;
  }

  private Describe(x: number, y: number): string {
    const time = this.TimeAt(x);
    const row = this.rows.find((r) => r.top <= y && y < r.top + r.height);
    const span = row?.spans?.find((s) => s.start <= time && time <= s.end);
    if (span) return span.tip;
    if (row?.keys) {
      const reach = ((this.to - this.from) / this.width) * 4;
      const key = row.keys[FirstAtOrAfter(row.keys, time - reach)];
      if (key <= time + reach) return `${row.name}: key at ${Seconds(key)}`;
    }
    return Seconds(time);
  }

  // --- Drawing ----------------------------------------------------------------------------------

  /// What a screen reader reads, and where the view is; the picture follows with the next Draw.
  Move(): void {
    const { time, frame, playing } = this.player;
    const span = this.to - this.from;
    // Who looks at another part of the line is left alone until the time moves.
    if (time !== this.timeBefore && (time < this.from || time > this.to)) {
      this.SetView(playing ? time - span * 0.05 : time - span / 2, span);
    }
    this.timeBefore = time;
    this.dirty = true;
    this.slider.setAttribute('aria-valuenow', time.toFixed(3));
    this.slider.setAttribute('aria-valuetext', Spoken(this.motion, time, frame));
  }

  private Redraw(): void {
    this.dirty = true;
    this.changed();
  }

  Draw(): void {
    if (!this.dirty || !this.colours) return;
    this.dirty = false;
    const ratio = window.devicePixelRatio || 1;
    const { clientWidth, clientHeight } = this.slider;
    const wide = Math.round(clientWidth * ratio);
    const high = Math.round(clientHeight * ratio);
    if (this.canvas.width !== wide || this.canvas.height !== high) {
      this.canvas.width = wide;
      this.canvas.height = high;
    }
    const { context, colours } = this;
    context.setTransform(ratio, 0, 0, ratio, 0, 0);
    context.clearRect(0, 0, clientWidth, clientHeight);
    this.DrawRuler(colours, clientHeight);
    for (const row of this.rows) {
      this.DrawRowName(row, colours);
      if (row.spans) this.DrawSpans(row, row.spans, colours);
      if (row.keys) this.DrawKeys(row, row.keys, colours);
    }
    this.DrawNow(colours, clientHeight);
  }

  private Font(size: number, weight = 400): void {
    this.context.font = `${weight} ${size}px ${kFontStack}`;
  }

  private DrawRuler(colours: Colours, bottom: number): void {
    const { context } = this;
    const wanted = ((this.to - this.from) / this.width) * 76;
    const power = 10 ** Math.floor(Math.log10(wanted));
    const step = ([1, 2, 5, 10].find((f) => f * power >= wanted) ?? 10) * power;
    const decimals = Math.max(0, -Math.floor(Math.log10(step) + 1e-9));
    this.Font(11);
    context.textAlign = 'center';
    context.textBaseline = 'middle';
    context.lineWidth = 1;
    const fine = step / 5;
    for (let i = Math.ceil(this.from / fine - 1e-6); i * fine <= this.to + fine * 1e-6; ++i) {
      const x = Math.round(this.X(i * fine)) + 0.5;
      const isMain = i % 5 === 0;
      context.strokeStyle = colours.faint;
      context.beginPath();
      context.moveTo(x, isMain ? 18 : kRuler - 3);
      context.lineTo(x, isMain ? bottom - 4 : kRuler);
      context.stroke();
      if (isMain) {
        context.fillStyle = colours.muted;
        context.fillText(`${(i * fine).toFixed(decimals)} s`, x, 9);
      }
    }
  }

  private DrawRowName(row: Row, colours: Colours): void {
    const { context } = this;
    this.Font(row.keys ? Math.min(10.5, row.height) : 12, row.keys ? 400 : 600);
    context.textAlign = 'right';
    context.textBaseline = 'middle';
    context.fillStyle = row.keys ? colours.muted : row.colour(colours);
    context.fillText(row.name, kGutter - 12, row.top + row.height / 2 + 0.5);
    if (row.keys) {
      context.strokeStyle = colours.faint;
      context.beginPath();
      const y = Math.round(row.top + row.height / 2) + 0.5;
      context.moveTo(kGutter, y);
      context.lineTo(kGutter + this.width, y);
      context.stroke();
    }
  }

  private DrawSpans(row: Row, spans: Span[], colours: Colours): void {
    const { context } = this;
    this.Font(11, 700);
    context.textAlign = 'center';
    const { time } = this.player;
    const right = kGutter + this.width;
    for (const span of spans) {
      if (span.end < this.from || span.start > this.to) continue;
      const x0 = Math.max(this.X(span.start), kGutter);
      const x1 = Math.max(Math.min(this.X(span.end), right), x0 + 1);
      const isNow = span.start <= time && time <= span.end;
      context.fillStyle = row.colour(colours);
      context.globalAlpha = isNow ? 1 : 0.62;
      context.beginPath();
      context.roundRect(x0, row.top + 3, x1 - x0, row.height - 6, Math.min(4, (x1 - x0) / 2));
      context.fill();
      context.globalAlpha = 1;
      if (span.text && x1 - x0 > context.measureText(span.text).width + 5) {
        context.fillStyle = colours.panel;
        context.fillText(span.text, (x0 + x1) / 2, row.top + row.height / 2 + 0.5);
      }
    }
  }

  private DrawKeys(row: Row, keys: Float64Array, colours: Colours): void {
    const { context } = this;
    const middle = Math.round(row.top + row.height / 2) + 0.5;
    const half = Math.min(4, row.height / 2 - 1);
    context.fillStyle = row.colour(colours);
    let before = -Infinity;
    for (let i = FirstAtOrAfter(keys, this.from); i < keys.length && keys[i] <= this.to; ++i) {
      const x = this.X(keys[i]);
      if (x < before + 1) continue; // thousands of keys on one pixel are one
      before = x;
      context.beginPath();
      context.moveTo(x, middle - half);
      context.lineTo(x + 0.85 * half, middle);
      context.lineTo(x, middle + half);
      context.lineTo(x - 0.85 * half, middle);
      context.fill();
    }
  }

  private DrawNow(colours: Colours, bottom: number): void {
    const { context } = this;
    const { time, frame } = this.player;
    const x = this.X(time);
    if (x < kGutter - 1 || x > kGutter + this.width + 1) return;
    context.strokeStyle = context.fillStyle = colours.now;
    context.lineWidth = 2;
    context.beginPath();
    context.moveTo(x, 18);
    context.lineTo(x, bottom - 3);
    context.stroke();
    const text = `${time.toFixed(2)} s  ·  ${FrameNumber(this.motion, frame)}`;
    this.Font(11, 700);
    const wide = context.measureText(text).width + 14;
    const left = Math.min(Math.max(x - wide / 2, 2), this.slider.clientWidth - wide - 2);
    context.beginPath();
    context.roundRect(left, 0, wide, 18, 5);
    context.fill();
    context.fillStyle = colours.panel;
    context.textAlign = 'center';
    context.textBaseline = 'middle';
    context.fillText(text, left + wide / 2, 9.5);
  }
}
