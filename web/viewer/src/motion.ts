// The motion that the page holds, as the program wrote it, and its pose at any time.
// Everything that leaves this file is in metres and seconds, right-handed with Y up.
import { Quaternion, Vector3 } from 'three';

export const kRight = 0;
export const kLeft = 1;
export const kNoSide = -1;

/// As `make --json` has it: ticks, scene units, Z up.
interface MotionJson {
  figure: { height: number };
  frameRange: [number, number];
  ticksPerFrame: number;
  footsteps: {
    index: number;
    side: 'left' | 'right';
    start: number;
    duration: number;
    position: [number, number, number];
    heading: number;
    active: boolean;
  }[];
  flights: { takeoffTime: number; landTime: number }[];
  tracks: Record<string, { numKeys: number; times: number[] }>;
}

interface ShapeData {
  link: number;
  points: string; // float32
  normals: string; // int8
  faces: string; // uint16
}

export interface PageData {
  page: number;
  name: string;
  metresPerUnit: number;
  ticksPerSecond: number;
  bodyType: number;
  motion: MotionJson;
  soles: { toe: number; heel: number; width: number }[];
  links: {
    id: number;
    link: number;
    parent: number;
    side: number;
    dimensions: [number, number, number];
    name: string;
  }[];
  times: string; // int32
  frames: { roots: string; reach: number[]; poses: string }; // float32, then int16
  bodies: ShapeData[][];
}

export interface Link {
  id: number;
  link: number;
  name: string;
  parent: number;
  side: number;
  dimensions: Vector3;
}

export interface Footstep {
  index: number;
  side: number;
  start: number;
  end: number;
  place: Vector3;
  heading: number; // radians, positive to the left
}

export interface Sole {
  toe: number;
  heel: number;
  width: number;
}

export interface Shape {
  link: number;
  points: Float32Array;
  normals: Int8Array;
  faces: Uint16Array;
}

export interface Motion {
  name: string;
  height: number;
  metresPerUnit: number;
  bodyType: number;
  times: Float64Array; // of the frames
  frameNumbers: Float64Array; // of the motion's own frames; with parts where frames were chosen
  links: Link[];
  footsteps: Footstep[];
  soles: Sole[];
  flights: { start: number; end: number }[];
  tracks: { name: string; times: Float64Array }[];
  roots: Float32Array; // x, y, z a frame
  reach: Float32Array; // how far 1 is in the places of a link
  poses: Int16Array; // x, y, z from the root, then a quaternion, for each link of each frame
  bodies: Shape[][]; // by body type
}

const kParts = 7;

function Bytes(base64: string): ArrayBuffer {
  const text = atob(base64);
  const bytes = new Uint8Array(text.length);
  for (let i = 0; i < text.length; ++i) bytes[i] = text.charCodeAt(i);
  return bytes.buffer;
}

export function ReadMotion(data: PageData): Motion {
  const m = data.metresPerUnit;
  const seconds = (ticks: number) => ticks / data.ticksPerSecond;
  const ticks = new Int32Array(Bytes(data.times));
  const json = data.motion;
  const times = Float64Array.from(ticks, seconds);
  return {
    name: data.name,
    height: json.figure.height * m,
    metresPerUnit: m,
    bodyType: data.bodyType,
    times,
    frameNumbers: Float64Array.from(ticks, (t) => t / json.ticksPerFrame),
    links: data.links.map((link) => ({
      id: link.id,
      link: link.link,
      name: link.name,
      parent: link.parent,
      side: link.side,
      dimensions: new Vector3(...link.dimensions).multiplyScalar(m),
    })),
    footsteps: json.footsteps.map((step) => ({
      index: step.index,
      side: step.side === 'left' ? kLeft : kRight,
      start: seconds(step.start),
      end: seconds(step.start + step.duration),
      place: new Vector3(step.position[0], step.position[2], -step.position[1]).multiplyScalar(m),
      heading: (step.heading * Math.PI) / 180,
    })),
    soles: data.soles.map((sole) => ({
      toe: sole.toe * m,
      heel: sole.heel * m,
      width: sole.width * m,
    })),
    flights: json.flights.map((flight) => ({
      start: seconds(flight.takeoffTime),
      end: seconds(flight.landTime),
    })),
    tracks: Object.entries(json.tracks)
      .filter(([, track]) => track.numKeys > 0)
      .map(([name, track]) => ({ name, times: Float64Array.from(track.times, seconds) })),
    roots: new Float32Array(Bytes(data.frames.roots)).map((part) => part * m),
    reach: Float32Array.from(data.frames.reach, (reach) => (reach * m) / 32767),
    poses: new Int16Array(Bytes(data.frames.poses)),
    bodies: data.bodies.map((body) =>
      body.map((shape) => ({
        link: shape.link,
        points: new Float32Array(Bytes(shape.points)).map((part) => part * m),
        normals: new Int8Array(Bytes(shape.normals)),
        faces: new Uint16Array(Bytes(shape.faces)),
      })),
    ),
  };
}

/// The last frame at or before a time; 0 before the first.
export function FrameAt(motion: Motion, time: number): number {
  let low = 0;
  let high = motion.times.length - 1;
  while (low < high) {
    const middle = (low + high + 1) >> 1;
    // A time that was a frame's, and went through text or sums, is still that frame's.
    if (motion.times[middle] <= time + 1e-6) low = middle;
    else high = middle - 1;
  }
  return low;
}

export const FirstTime = (motion: Motion) => motion.times[0];
export const LastTime = (motion: Motion) => motion.times[motion.times.length - 1];

/// A place between two frames.
interface Between {
  frame: number;
  next: number;
  share: number;
}

function BetweenFrames(motion: Motion, time: number): Between {
  const frame = FrameAt(motion, time);
  const next = Math.min(frame + 1, motion.times.length - 1);
  const span = motion.times[next] - motion.times[frame];
  const share = span > 0 ? Math.min(Math.max((time - motion.times[frame]) / span, 0), 1) : 0;
  return { frame, next, share: share < 1e-4 ? 0 : share };
}

/// Place of the centre of mass.
export function RootAt(motion: Motion, time: number, place = new Vector3()): Vector3 {
  const { frame, next, share } = BetweenFrames(motion, time);
  const part = (k: number) =>
    motion.roots[3 * frame + k] * (1 - share) + motion.roots[3 * next + k] * share;
  return place.set(part(0), part(1), part(2));
}

/// Speed of the centre of mass, metres a second, over the frames around a time.
export function SpeedAt(motion: Motion, time: number): number {
  const frame = FrameAt(motion, time);
  const from = Math.max(frame - 1, 0);
  const to = Math.min(frame + 1, motion.times.length - 1);
  if (to === from) return 0;
  const part = (k: number) => motion.roots[3 * to + k] - motion.roots[3 * from + k];
  return Math.hypot(part(0), part(1), part(2)) / (motion.times[to] - motion.times[from]);
}

export interface Pose {
  places: Vector3[];
  turns: Quaternion[];
}

export function NewPose(motion: Motion): Pose {
  return {
    places: motion.links.map(() => new Vector3()),
    turns: motion.links.map(() => new Quaternion()),
  };
}

const from = new Quaternion();
const to = new Quaternion();
const root = new Vector3();

/// All links in the world. On a frame it is the frame, elsewhere evenly between two.
export function PoseAt(motion: Motion, time: number, pose: Pose): void {
  const { frame, next, share } = BetweenFrames(motion, time);
  const { poses, reach, links } = motion;
  RootAt(motion, time, root);
  for (let i = 0; i < links.length; ++i) {
    const a = (frame * links.length + i) * kParts;
    const b = (next * links.length + i) * kParts;
    const part = (k: number) => (poses[a + k] * (1 - share) + poses[b + k] * share) * reach[i];
    pose.places[i].set(part(0), part(1), part(2)).add(root);
    from.set(poses[a + 3], poses[a + 4], poses[a + 5], poses[a + 6]).normalize();
    to.set(poses[b + 3], poses[b + 4], poses[b + 5], poses[b + 6]).normalize();
    pose.turns[i].slerpQuaternions(from, to, share);
  }
}
