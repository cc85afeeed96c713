// Plays .bvh files of the program with three's loader and compares where its bones stand with the
// program's own table of the same motion.
import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { test } from 'node:test';
import * as THREE from 'three';
import { BVHLoader } from 'three/addons/loaders/BVHLoader.js';
import { figures, make, makeTable } from './program.mjs';

// The links behind the names of captured motion, for each side and in the middle.
const SIDED = {
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
  return sided && SIDED[sided[2]] ? `Strider01_${sided[1]}${SIDED[sided[2]]}` : bone;
}

/** Greatest distance of a bone from where the table has its link, in heights. */
function compare(line, options, height) {
  const frames = makeTable(line);
  const text = readFileSync(make(`${line} ${options}`, 'bvh'), 'utf8');
  const { skeleton, clip } = new BVHLoader().parse(text);
  const root = skeleton.bones[0];
  const mixer = new THREE.AnimationMixer(root);
  const action = mixer.clipAction(clip);
  action.setLoop(THREE.LoopOnce); // played again, the last frame would be the first
  action.clampWhenFinished = true;
  action.play();
  const place = new THREE.Vector3();
  let far = 0;
  for (const frame of frames) {
    const links = new Map(frame.links.map((link) => [link.name, link.position]));
    mixer.setTime(frame.seconds);
    root.updateMatrixWorld(true);
    for (const bone of skeleton.bones) {
      if (bone.name === 'ENDSITE') continue;
      const expected = links.get(nodeName(bone.name));
      assert.ok(expected, `no link for ${bone.name}`);
      place.setFromMatrixPosition(bone.matrixWorld);
      far = Math.max(far, place.distanceTo(new THREE.Vector3(...expected)) / height);
    }
  }
  return far;
}

for (const { name, line, height } of figures) {
  for (const options of ['', '--only-known']) {
    test(`bvh: bones stand where links stand: ${name} ${options}`, () => {
      // A loader keeps times as floats, so a pose lies a little off its frame.
      const far = compare(line, options, height);
      assert.ok(far < 1e-3, `off by ${far} of the height`);
    });
  }
}
