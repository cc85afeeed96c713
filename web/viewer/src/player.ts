// The time that is shown and how it moves on. All that draws listens to it.
import { FirstTime, FrameAt, LastTime, type Motion } from './motion';

export const kSpeeds = [0.1, 0.25, 0.5, 1, 2, 4];

export class Player {
  time: number;
  playing = false;
  speed = 1;
  loop = true;
  private listeners: (() => void)[] = [];

  constructor(readonly motion: Motion) {
    this.time = FirstTime(motion);
  }

  get frame(): number {
    return FrameAt(this.motion, this.time);
  }
  get frameCount(): number {
    return this.motion.times.length;
  }

  /// Calls `listener` whenever something of the above has changed.
  Listen(listener: () => void): void {
    this.listeners.push(listener);
  }
  private Tell(): void {
    for (const listener of this.listeners) listener();
  }

  Seek(time: number): void {
    this.time = Math.min(Math.max(time, FirstTime(this.motion)), LastTime(this.motion));
    this.Tell();
  }
  SeekFrame(frame: number): void {
    const last = this.frameCount - 1;
    this.Seek(this.motion.times[Math.min(Math.max(Math.round(frame), 0), last)]);
  }

  Play(): void {
    if (this.frameCount < 2) return;
    if (this.time >= LastTime(this.motion)) this.time = FirstTime(this.motion);
    this.playing = true;
    this.Tell();
  }
  /// Stops on the frame that is shown.
  Pause(): void {
    this.playing = false;
    this.SeekFrame(this.frame);
  }
  Toggle(): void {
    if (this.playing) this.Pause();
    else this.Play();
  }
  /// So many frames on, or back; stops what plays.
  Step(frames: number): void {
    this.playing = false;
    this.SeekFrame(this.frame + frames);
  }

  SetSpeed(speed: number): void {
    this.speed = speed;
    this.Tell();
  }
  SetLoop(loop: boolean): void {
    this.loop = loop;
    this.Tell();
  }

  /// Lets real time pass.
  Advance(seconds: number): void {
    if (!this.playing) return;
    const first = FirstTime(this.motion);
    const last = LastTime(this.motion);
    let time = this.time + seconds * this.speed;
    if (time >= last) {
      if (this.loop) {
        time = first + ((time - first) % (last - first));
      } else {
        time = last;
        this.playing = false;
      }
    }
    this.Seek(time);
  }
}
