// Reads the motion out of the page and ties the parts together: what is shown follows the player,
// the controls and the keyboard change what is shown.
import './style.css';
import { Box3, Vector3 } from 'three';
import { ApplyColours, kDark, kLight } from './colours';
import { Figure } from './figure';
import { Footprints } from './footprints';
import { FirstTime, LastTime, NewPose, PoseAt, ReadMotion, RootAt, SpeedAt } from './motion';
import type { Motion, PageData } from './motion';
import { Names } from './names';
import { Path } from './path';
import { Player, kSpeeds } from './player';
import { Stage, kViews, type View } from './stage';
import { FrameNumber, Metres, Seconds, SideName, Spoken, SupportAt } from './text';
import { Timeline } from './timeline';

const Get = <T extends HTMLElement>(id: string) => document.getElementById(id) as T;
const Switch = (id: string) => Get<HTMLInputElement>(id);

const kBodyNames = ['Fine', 'Medium', 'Coarse', 'Boxes'];

/// What the address asks for after its #: frame=12&body=3&names=1&view=top&theme=dark&play=0.
const asked = new URLSearchParams(location.hash.slice(1));

function Notice(text: string): void {
  Get('notice').textContent = text;
  Get('notice').hidden = false;
}

/// Ground distances between frames, summed: how far the centre of mass has come at each.
function Ways(motion: Motion): Float64Array {
  const ways = new Float64Array(motion.times.length);
  for (let i = 1; i < ways.length; ++i) {
    const part = (k: number) => motion.roots[3 * i + k] - motion.roots[3 * i - 3 + k];
    ways[i] = ways[i - 1] + Math.hypot(part(0), part(2));
  }
  return ways;
}

function ExtentOf(motion: Motion): Box3 {
  const box = new Box3();
  for (let i = 0; i < motion.roots.length; i += 3) {
    box.expandByPoint(new Vector3(motion.roots[i], motion.roots[i + 1], motion.roots[i + 2]));
  }
  for (const step of motion.footsteps) box.expandByPoint(step.place);
  return box;
}

/// The scene with all that is in it; none where the browser cannot draw one.
class Show {
  readonly stage: Stage;
  readonly figure: Figure;
  readonly footprints: Footprints;
  readonly path: Path;
  readonly names: Names;
  private readonly pose;
  private readonly place = new Vector3();

  constructor(
    private readonly player: Player,
    changed: () => void,
  ) {
    const { motion } = player;
    this.stage = new Stage(Get('stage'), motion.height, ExtentOf(motion), changed);
    this.figure = new Figure(this.stage.scene, motion);
    this.footprints = new Footprints(this.stage.scene, motion);
    this.path = new Path(this.stage.scene, motion);
    this.names = new Names(Get('names'), motion);
    this.pose = NewPose(motion);
  }

  private Where(): Vector3 {
    return RootAt(this.player.motion, this.player.time, this.place);
  }

  /// The view from ahead of, beside or over the figure where it is now.
  Look(view: View): void {
    const { motion, frame } = this.player;
    const place = this.Where();
    // Ahead is where the next second leads; a figure that stays looks along X.
    const later = RootAt(motion, motion.times[frame] + 1);
    const before = RootAt(motion, motion.times[frame] - 1);
    const way = later.sub(before);
    const moves = Math.hypot(way.x, way.z) > 0.1 * motion.height;
    this.stage.Look(view, place, moves ? Math.atan2(-way.z, way.x) : 0);
  }

  Draw(follow: boolean): void {
    const { motion, time } = this.player;
    const place = this.Where();
    PoseAt(motion, time, this.pose);
    this.stage.Attend(place, follow);
    this.figure.Move(this.pose);
    this.footprints.Move(time);
    this.path.Move(time, place);
    this.stage.Draw();
    this.names.Move(this.pose, this.stage.camera);
  }
}

function Start(motion: Motion): void {
  const player = new Player(motion);
  const ways = Ways(motion);
  let dirty = true;
  const Changed = () => {
    dirty = true;
  };

  let show: Show | undefined;
  try {
    show = new Show(player, Changed);
  } catch {
    Notice('This browser has no WebGL, so the figure cannot be drawn. The time line still tells its motion.');
  }
  const timeline = new Timeline(
    Get('timeline'),
    Get('timeline-canvas'),
    Get('tip'),
    player,
    Changed,
  );

  // --- What stands still ------------------------------------------------------------------------

  const length = LastTime(motion) - FirstTime(motion);
  const count = motion.footsteps.length;
  const parts = [
    `${Metres(motion.height)} high`,
    motion.times.length === 1 ? '1 frame' : `${Seconds(length)}, ${motion.times.length} frames`,
    count === 0 ? 'no footsteps' : count === 1 ? '1 footstep' : `${count} footsteps`,
  ];
  document.title = motion.name;
  Get('title').textContent = motion.name;
  Get('summary').textContent = parts.join(' \u00b7 ');
  Get('support').hidden = Get('steps').hidden = count === 0;
  // On a small screen the figure comes first.
  if (window.innerWidth < 720) Get<HTMLDetailsElement>('show').open = false;
  Get('keys-label').hidden = !timeline.hasKeys;
  if (show) Get('scale').textContent = `Lines ${Metres(show.stage.cell)} apart`;
  const buttons = ['first', 'back', 'play', 'on', 'last'].map((id) => Get<HTMLButtonElement>(id));
  for (const button of buttons) button.disabled = motion.times.length < 2;

  // --- What follows the player ------------------------------------------------------------------

  let spoken = '';
  let rows: HTMLTableRowElement[] = [];
  function Tell(): void {
    const { time, frame, playing } = player;
    const number = FrameNumber(motion, frame);
    const last = FrameNumber(motion, motion.times.length - 1);
    Get('read-height').textContent = `${Metres(RootAt(motion, time).y)} high`;
    Get('read-speed').textContent = `${SpeedAt(motion, time).toFixed(2)} m/s`;
    Get('read-way').textContent = Metres(ways[frame]);
    Get('read-support').textContent = SupportAt(motion, time);
    const clock = Get('clock');
    clock.textContent = `${Seconds(time)} `;
    const small = document.createElement('small');
    small.textContent = `frame ${number} of ${last}`;
    clock.append(small);
    const play = Get('play');
    play.classList.toggle('playing', playing);
    play.setAttribute('aria-label', playing ? 'Pause' : 'Play');
    Get<HTMLSelectElement>('speed').value = String(player.speed);
    Switch('loop').checked = player.loop;
    rows.forEach((row, i) => {
      const step = motion.footsteps[i];
      row.classList.toggle('now', step.start <= time && time < step.end);
    });
    timeline.Move();
    // While it plays a reader would never come to an end.
    const now = playing ? 'playing' : Spoken(motion, time, frame);
    if (now !== spoken) Get('status').textContent = spoken = now;
    Changed();
  }

  // --- What is shown ----------------------------------------------------------------------------

  const dark = window.matchMedia('(prefers-color-scheme: dark)');
  let isDark = asked.has('theme') ? asked.get('theme') === 'dark' : dark.matches;
  function Dress(): void {
    const colours = isDark ? kDark : kLight;
    ApplyColours(colours);
    document.documentElement.style.colorScheme = isDark ? 'dark' : 'light';
    Get('theme').setAttribute('aria-pressed', String(isDark));
    timeline.Dress(colours);
    show?.stage.Dress(colours, isDark);
    show?.figure.Dress(colours);
    show?.footprints.Dress(colours);
    show?.path.Dress(colours);
    Changed();
  }

  function ShowBody(kind: number): void {
    if (!show) return;
    show.figure.Show(kind);
    for (const input of document.querySelectorAll<HTMLInputElement>('input[name="body"]')) {
      input.checked = Number(input.value) === show.figure.kind;
    }
    Changed();
  }
  for (const kind of show?.figure.kinds ?? []) {
    const label = document.createElement('label');
    const input = document.createElement('input');
    input.type = 'radio';
    input.name = 'body';
    input.value = String(kind);
    const key = document.createElement('kbd');
    key.textContent = kind < 0 ? 'S' : String(kind + 1);
    const span = document.createElement('span');
    span.append(`${kind < 0 ? 'Skeleton' : kBodyNames[kind]} `, key);
    label.append(input, span);
    input.addEventListener('change', () => ShowBody(kind));
    Get('bodies').append(label);
  }

  /// A check box and what it does, at once and whenever it changes.
  function Tie(id: string, asks: string, act: (on: boolean) => void): void {
    const box = Switch(id);
    if (asked.has(asks)) box.checked = asked.get(asks) !== '0';
    const apply = () => {
      act(box.checked);
      Changed();
    };
    box.addEventListener('change', apply);
    apply();
  }
  Tie('names-on', 'names', (on) => show?.names.Show(on));
  Tie('footprints-on', 'footprints', (on) => show && (show.footprints.group.visible = on));
  Tie('path-on', 'path', (on) => show && (show.path.group.visible = on));
  Tie('follow-on', 'follow', () => {});
  Tie('keys-on', 'keys', (on) => timeline.ShowKeys(on));
  Tie('loop', 'loop', (on) => player.SetLoop(on));

  let view: View = 'corner';
  function Look(next: View): void {
    view = next;
    show?.Look(view);
  }
  for (const button of document.querySelectorAll<HTMLButtonElement>('[data-view]')) {
    button.addEventListener('click', () => Look(button.dataset.view as View));
  }

  function Toggle(id: string): void {
    Switch(id).click();
  }
  function SwitchTheme(): void {
    isDark = !isDark;
    Dress();
  }
  Get('theme').addEventListener('click', SwitchTheme);
  dark.addEventListener('change', () => {
    isDark = dark.matches;
    Dress();
  });

  // --- Footsteps as a table ---------------------------------------------------------------------

  function SeekStep(index: number): void {
    const step = motion.footsteps[index];
    if (!step) return;
    player.Pause();
    player.Seek(step.start);
    player.SeekFrame(player.frame);
  }
  Get('steps').addEventListener('toggle', () => {
    if (rows.length > 0) return;
    rows = motion.footsteps.map((step, i) => {
      const row = document.createElement('tr');
      const go = document.createElement('button');
      go.type = 'button';
      go.textContent = String(step.index);
      go.setAttribute('aria-label', `Go to footstep ${step.index}`);
      go.addEventListener('click', () => SeekStep(i));
      const cell = (content: string | HTMLElement) => {
        const made = document.createElement('td');
        made.append(content);
        row.append(made);
        return made;
      };
      cell(go);
      cell(SideName(step.side)).dataset.side = String(step.side);
      cell(step.start.toFixed(2));
      cell(step.end.toFixed(2));
      // Z up, as everywhere outside of this page's scene.
      cell(step.place.x.toFixed(2));
      cell((-step.place.z).toFixed(2));
      cell(step.place.y.toFixed(2));
      return row;
    });
    Get('step-rows').append(...rows);
    Tell();
  });

  // --- Buttons and keys -------------------------------------------------------------------------

  const speed = Get<HTMLSelectElement>('speed');
  for (const value of kSpeeds) speed.add(new Option(`${value} \u00d7`, String(value)));
  speed.addEventListener('change', () => player.SetSpeed(Number(speed.value)));
  Get('first').addEventListener('click', () => player.Step(-player.frameCount));
  Get('back').addEventListener('click', () => player.Step(-1));
  Get('play').addEventListener('click', () => player.Toggle());
  Get('on').addEventListener('click', () => player.Step(1));
  Get('last').addEventListener('click', () => player.Step(player.frameCount));
  Get('zoom-out').addEventListener('click', () => timeline.Zoom(1.6));
  Get('zoom-in').addEventListener('click', () => timeline.Zoom(1 / 1.6));

  function ChangeSpeed(step: number): void {
    const at = kSpeeds.indexOf(player.speed) + step;
    player.SetSpeed(kSpeeds[Math.min(Math.max(at, 0), kSpeeds.length - 1)]);
  }
  function NextStep(direction: number): void {
    const starts = motion.footsteps.map((step) => step.start);
    const now = player.time;
    const next =
      direction > 0
        ? starts.findIndex((start) => start > now + 1e-6)
        : starts.findLastIndex((start) => start < now - 1e-6);
    SeekStep(next);
  }
  const second = () => Math.round(timeline.FramesIn(1));
  const keys: Record<string, (event: KeyboardEvent) => void> = {
    ' ': () => player.Toggle(),
    ArrowLeft: (event) => player.Step(event.shiftKey ? -second() : -1),
    ArrowRight: (event) => player.Step(event.shiftKey ? second() : 1),
    Home: () => player.Step(-player.frameCount),
    End: () => player.Step(player.frameCount),
    '[': () => NextStep(-1),
    ']': () => NextStep(1),
    ',': () => ChangeSpeed(-1),
    '.': () => ChangeSpeed(1),
    s: () => ShowBody(-1),
    n: () => Toggle('names-on'),
    f: () => Toggle('footprints-on'),
    p: () => Toggle('path-on'),
    c: () => Toggle('follow-on'),
    k: () => Toggle('keys-on'),
    l: () => Toggle('loop'),
    t: SwitchTheme,
    v: () => Look(kViews[(kViews.indexOf(view) + 1) % kViews.length]),
  };
  for (let kind = 0; kind < kBodyNames.length; ++kind) keys[String(kind + 1)] = () => ShowBody(kind);
  const onStage: Record<string, [number, number, number]> = {
    ArrowLeft: [0.1, 0, 1],
    ArrowRight: [-0.1, 0, 1],
    ArrowUp: [0, 0.08, 1],
    ArrowDown: [0, -0.08, 1],
    '+': [0, 0, 0.9],
    '=': [0, 0, 0.9],
    '-': [0, 0, 1 / 0.9],
  };
  document.addEventListener('keydown', (event) => {
    if (event.ctrlKey || event.metaKey || event.altKey) return;
    const target = event.target as HTMLElement;
    if (target === Get('stage') && event.key in onStage) {
      event.preventDefault();
      show?.stage.Orbit(...onStage[event.key]);
      return;
    }
    // What has the focus keeps the keys that it understands itself.
    const own = target.closest('button, summary, input, select, .scroll');
    if (own && /^( |Enter|Arrow.*|Home|End|PageUp|PageDown)$/.test(event.key)) return;
    if (target.closest('select')) return;
    const act = keys[event.key.length === 1 ? event.key.toLowerCase() : event.key];
    if (!act) return;
    event.preventDefault();
    act(event);
  });

  // --- Off it goes ------------------------------------------------------------------------------

  player.Listen(Tell);
  Dress();
  ShowBody(asked.has('body') ? Number(asked.get('body')) : motion.bodyType);
  if (asked.has('frame')) {
    const number = Number(asked.get('frame'));
    const frame = motion.frameNumbers.findIndex((n) => n >= number);
    player.SeekFrame(frame < 0 ? player.frameCount : frame);
  }
  const asksView = asked.get('view') as View;
  Look(kViews.includes(asksView) ? asksView : 'corner');
  Tell();
  const calm = window.matchMedia('(prefers-reduced-motion: reduce)').matches;
  if (asked.has('play') ? asked.get('play') !== '0' : !calm && !asked.has('frame')) player.Play();

  let before = 0;
  function OnFrame(now: number): void {
    // A page that was out of sight goes on where it was.
    if (before > 0) player.Advance(Math.min((now - before) / 1000, 0.25));
    before = now;
    if (dirty) {
      dirty = false;
      timeline.Draw();
      show?.Draw(Switch('follow-on').checked);
      document.documentElement.dataset.drawn = String(player.frame);
    }
    requestAnimationFrame(OnFrame);
  }
  requestAnimationFrame(OnFrame);
}

ApplyColours(kLight);
let data: PageData | null = null;
try {
  data = JSON.parse(Get('motion').textContent ?? '') as PageData | null;
} catch {
  Notice('The motion in this page is damaged.');
}
if (data) Start(ReadMotion(data));
else if (Get('notice').hidden) Notice('There is no motion in this page.');
