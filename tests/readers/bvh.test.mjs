// Plays .bvh files of the program with three's loader and compares where its bones stand with the
// program's own table of the same motion.
import assert from 'node:assert/strict';
import {execFileSync} from 'node:child_process';
import {mkdtempSync, readFileSync, rmSync} from 'node:fs';
import {tmpdir} from 'node:os';
import {join} from 'node:path';
import test from 'node:test';
import {AnimationMixer, LoopOnce, Vector3} from 'three';
import {BVHLoader} from 'three/addons/loaders/BVHLoader.js';

const program = process.env.STRIDER_PROGRAM ??
    new URL('../../build/release/bin/strider', import.meta.url).pathname;

// The links behind the names of captured motion, for each side and in the middle.
const kSided = {
  Hip: 'Thigh', Knee: 'Calf', Ankle: 'Foot', Toe: 'Toe1Link1',
  Collar: 'Clavicle', Shoulder: 'UpperArm', Elbow: 'Forearm', Wrist: 'Hand',
};

function nodeName(bone) {
  if (bone === 'Hips') return 'Strider01_Pelvis';
  if (bone === 'Neck') return 'Strider01_Neck1';
  if (bone === 'Head') return 'Strider01_Head';
  const chest = /^Chest(\d?)$/.exec(bone);
  if (chest) return `Strider01_Spine${chest[1] || 1}`;
  const finger = /^(Left|Right)Finger(\d)(\d?)$/.exec(bone);
  if (finger) {
    return `Strider01_${finger[1]}Finger${Number(finger[2]) + 1}Link${Number(finger[3] || 0) + 1}`;
  }
  const sided = /^(Left|Right)(.*)$/.exec(bone);
  return sided && kSided[sided[2]] ? `Strider01_${sided[1]}${kSided[sided[2]]}` : bone;
}

// Places by frame and node, Y up.
function readTable(path) {
  const frames = [];
  for (const line of readFileSync(path, 'utf8').trim().split('\n').slice(1)) {
    const [frame, , , , name, x, y, z] = line.split(',');
    (frames[frame] ??= new Map()).set(name, new Vector3(Number(x), Number(z), -Number(y)));
  }
  return frames;
}

const height = 80;
const rows = [
  ['a walk around a bend', 'walk --footsteps 12 --bend 30'],
  ['a run with every part', 'run --footsteps 6 --leg-links 4 --tail-links 5 --neck-links 3' +
      ' --ponytail1-links 2 --fingers 5 --finger-links 3 --toes 5 --toe-links 3' +
      ' --twists true --thigh-twist-links 3 --prop1-exists true'],
  ['known joints alone', 'jump --footsteps 6 --leg-links 4 --neck-links 3 --only-known'],
];

for (const [title, line] of rows) {
  test(title, () => {
    const folder = mkdtempSync(join(tmpdir(), 'strider-'));
    try {
      const make = (words, file) =>
          execFileSync(program, ['make', ...words, '-o', join(folder, file)]);
      const words = line.split(' ');
      make(words, 'm.bvh');
      make(words.filter((word) => word !== '--only-known'), 'm.csv');
      const table = readTable(join(folder, 'm.csv'));
      const {skeleton, clip} = new BVHLoader().parse(readFileSync(join(folder, 'm.bvh'), 'utf8'));
      const root = skeleton.bones[0];
      const mixer = new AnimationMixer(root);
      const action = mixer.clipAction(clip);
      action.setLoop(LoopOnce);  // played again, the last frame would be the first
      action.clampWhenFinished = true;
      action.play();
      let worst = 0, compared = 0;
      for (let frame = 0; frame < table.length; ++frame) {
        mixer.setTime(frame / 30);
        root.updateMatrixWorld(true);
        for (const bone of skeleton.bones) {
          const expected = table[frame].get(nodeName(bone.name));
          if (bone.name === 'ENDSITE') continue;
          assert.ok(expected, `no node for ${bone.name}`);
          const place = new Vector3().setFromMatrixPosition(bone.matrixWorld);
          worst = Math.max(worst, place.distanceTo(expected));
          ++compared;
        }
      }
      assert.ok(compared > 1000);
      // The loader keeps a frame's time as a float, so a pose lies a little off its frame.
      assert.ok(worst < 1e-3 * height, `off by ${worst}`);
      console.log(`${title}: ${compared} places within ${(worst / height).toExponential(1)} of the height`);
    } finally {
      rmSync(folder, {recursive: true});
    }
  });
}
