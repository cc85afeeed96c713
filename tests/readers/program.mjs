// What the tests of readers share: files out of the program, and where its own table says that the
// links are.
import { execFileSync } from 'node:child_process';
import { mkdtempSync, readFileSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';

const program = process.env.STRIDER_PROGRAM;
if (!program) throw new Error('STRIDER_PROGRAM has to name the program; run tools/check_readers');

const folder = mkdtempSync(join(tmpdir(), 'strider-readers-'));
process.on('exit', () => rmSync(folder, { recursive: true, force: true }));
let count = 0;

/** Runs `strider make` with a line of options; answers the path of what it wrote. */
export function make(line, extension) {
  const path = join(folder, `${count++}.${extension}`);
  execFileSync(program, ['make', ...line.split(' ').filter(Boolean), '-o', path]);
  return path;
}

/** The same as bytes in a buffer of their own. */
export function makeBytes(line, extension) {
  return new Uint8Array(readFileSync(make(line, extension)));
}

/** Of a motion the JSON that the program prints. */
export function makeJson(line) {
  const path = join(folder, `${count++}.csv`);
  const words = ['make', ...line.split(' ').filter(Boolean), '--json', '-o', path];
  return JSON.parse(execFileSync(program, words, { encoding: 'utf8', maxBuffer: 1 << 28 }));
}

/**
 * The table of a motion: frames in turn, each a list of { id, link, name, position, rotation }
 * with Y up: X ahead as in the table, Z to the right.
 */
export function makeTable(line) {
  const rows = readFileSync(make(line, 'csv'), 'utf8').trim().split('\n').slice(1);
  const frames = new Map();
  for (const row of rows) {
    const [frame, seconds, id, link, name, px, py, pz, qx, qy, qz, qw] = row.split(',');
    if (!frames.has(frame)) frames.set(frame, { frame: +frame, seconds: +seconds, links: [] });
    frames.get(frame).links.push({
      id: +id,
      link: +link,
      name,
      position: [+px, +pz, -py],
      rotation: yUp([+qx, +qy, +qz, +qw]),
    });
  }
  return [...frames.values()];
}

/** A turn of the table's space, Z up, in one with Y up: a quarter turn back about X after it. */
function yUp([x, y, z, w]) {
  const s = Math.SQRT1_2;
  return [s * x - s * w, s * y + s * z, s * z - s * y, s * w + s * x];
}

/** The figures that every format has to hold: options of `strider make` and the height. */
export const figures = [
  { name: 'default', line: 'walk --footsteps 6', height: 80 },
  { name: 'no arms', line: 'walk --arms false', height: 80 },
  {
    name: 'tail, ponytails and a long neck',
    line: 'walk --bend 20 --tail-links 5 --ponytail1-links 3 --ponytail2-links 5 --neck-links 3',
    height: 80,
  },
  {
    name: 'four-link legs',
    line: 'run --footsteps 6 --leg-links 4 --triangle-pelvis false --spine-links 1',
    height: 80,
  },
  {
    name: 'props',
    line: 'jump --footsteps 8 --prop1-exists true --prop2-exists true --prop3-exists true',
    height: 80,
  },
  {
    name: 'all digits, 1.8 high',
    line:
      'walk --height 1.8 --fingers 5 --finger-links 3 --short-thumb true --toes 5 ' +
      '--triangle-neck true',
    height: 1.8,
  },
  {
    name: 'fore feet and twist links',
    line: 'walk --fore-feet true --fingers 4 --twists true --forearm-twist-links 3',
    height: 80,
  },
];
