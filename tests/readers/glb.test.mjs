// .glb: what a validator says of it, and whether a loader's skeleton moves as the table tells.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import validator from 'gltf-validator';
import * as THREE from 'three';
import { GLTFLoader } from 'three/addons/loaders/GLTFLoader.js';
import { figures, makeBytes, makeJson, makeTable } from './program.mjs';

const FOOTPRINTS = 15;

/** A file in the loader, ready to be put at any time. */
async function load(line) {
  const bytes = makeBytes(line, 'glb');
  const { scene, animations } = await new GLTFLoader().parseAsync(bytes.buffer, '');
  const joints = new Map();
  scene.traverse((node) => {
    if ('id' in node.userData) joints.set(`${node.userData.id} ${node.userData.link}`, node);
  });
  const mixer = new THREE.AnimationMixer(scene);
  for (const clip of animations) {
    const action = mixer.clipAction(clip);
    action.setLoop(THREE.LoopOnce);
    action.clampWhenFinished = true;
    action.play();
  }
  const poseAt = (seconds) => {
    mixer.setTime(seconds);
    scene.updateMatrixWorld(true);
  };
  return { scene, joints, animations, poseAt, extras: scene.userData.strider };
}

const at = (node) => node.getWorldPosition(new THREE.Vector3());

/** The small angle between two turns: its cosine is too coarse to tell it. */
function between(a, b) {
  const side = Math.sign(a.reduce((sum, value, k) => sum + value * b[k], 0));
  return 2 * Math.hypot(...a.map((value, k) => value - side * b[k]));
}

/** Greatest distance of a joint from where the table has it, in heights; turns in radians. */
function compare(file, frame, height) {
  const { joints, extras } = file;
  let far = 0;
  let turned = 0;
  for (const link of frame.links) {
    if (link.id === FOOTPRINTS) continue;
    const joint = joints.get(`${link.id} ${link.link}`);
    assert.ok(joint, link.name);
    const place = new THREE.Vector3(...link.position).multiplyScalar(extras.metresPerUnit);
    far = Math.max(far, at(joint).distanceTo(place) / (height * extras.metresPerUnit));
    const turn = joint.getWorldQuaternion(new THREE.Quaternion());
    turned = Math.max(turned, between(turn.toArray(), link.rotation));
  }
  return { far, turned };
}

/** The body's corners as they are drawn. */
function* corners(scene) {
  const meshes = [];
  scene.traverse((node) => node.isSkinnedMesh && meshes.push(node));
  const place = new THREE.Vector3();
  for (const mesh of meshes) {
    for (let i = 0; i < mesh.geometry.attributes.position.count; ++i) {
      mesh.getVertexPosition(i, place);
      yield mesh.localToWorld(place);
    }
  }
}

function bounds(scene) {
  const box = new THREE.Box3();
  for (const place of corners(scene)) box.expandByPoint(place);
  return box;
}

test('the validator finds nothing', async () => {
  const lines = figures.map(({ line }) => line);
  for (const bodyType of [1, 2, 3]) {
    lines.push(`walk --fingers 3 --prop1-exists true --tail-links 2 --body-type ${bodyType}`);
  }
  for (const options of ['--root-motion', '--in-place', '--at-keys', '--fps 23.976']) {
    lines.push(`run --footsteps 8 ${options}`);
  }
  for (const line of lines) {
    const report = await validator.validateBytes(makeBytes(line, 'glb'));
    assert.equal(report.issues.numErrors + report.issues.numWarnings, 0,
      `${line}: ${JSON.stringify(report.issues.messages, null, 1)}`);
  }
});

test('joints stand where the table has them', async (t) => {
  for (const { name, line, height } of figures) {
    await t.test(name, async () => {
      const file = await load(line);
      const frames = makeTable(line);
      assert.ok(frames.length > 40);
      for (const frame of frames.filter((_, i) => i % 7 === 0 || i + 1 === frames.length)) {
        file.poseAt(frame.seconds - frames[0].seconds);
        const { far, turned } = compare(file, frame, height);
        assert.ok(far < 1e-4, `frame ${frame.frame}: ${far} heights off`);
        assert.ok(turned < 1e-4, `frame ${frame.frame}: ${turned} radians off`);
      }
    });
  }
});

test('the root motion carries the way and the heading, in place takes them away', async () => {
  const line = 'walk --footsteps 12 --bend 15';
  const table = makeTable(line);
  const whole = await load(`${line} --root-motion`);
  const inPlace = await load(`${line} --in-place`);
  const neither = await load(`${line} --root-motion --in-place`);
  const root = whole.scene.children.find((node) => node.name.endsWith('_RootMotion'));
  const heading = (node) => {
    const ahead = new THREE.Vector3(1, 0, 0).applyQuaternion(
      node.getWorldQuaternion(new THREE.Quaternion()));
    return Math.atan2(-ahead.z, ahead.x);
  };
  for (const frame of table) {
    for (const file of [whole, inPlace, neither]) file.poseAt(frame.seconds);
    assert.ok(compare(whole, frame, 80).far < 1e-4);
    const body = at(whole.joints.get('13 0'));
    assert.ok(Math.abs(root.position.x - body.x) < 1e-4 && root.position.y === 0);
    assert.ok(Math.abs(root.position.z - body.z) < 1e-4);
    assert.ok(Math.abs(heading(root) - heading(whole.joints.get('13 0'))) < 1e-3);
    for (const file of [inPlace, neither]) {
      const still = at(file.joints.get('13 0'));
      assert.ok(Math.hypot(still.x, still.z) < 1e-5 && Math.abs(still.y - body.y) < 1e-5);
    }
    assert.ok(Math.abs(heading(inPlace.joints.get('13 0')) - heading(root)) < 1e-3);
    assert.ok(Math.abs(heading(neither.joints.get('13 0'))) < 1e-3);
  }
  // It did go somewhere: eleven turns of fifteen degrees but for the pair that stands.
  assert.ok(heading(root) > 2 && root.position.length() > 1);
});

test('samples lie at the frames, at the keys or at a rate', async () => {
  const line = 'walk --footsteps 6';
  const json = makeJson(line);
  const last = json.frameRange[1] / 30;
  const times = async (options) => {
    const { animations, poseAt } = await load(`${line} ${options}`);
    const clip = animations[0];
    assert.ok(Math.abs(clip.duration - last) < 1e-5, options);
    poseAt(last);
    return [...clip.tracks.find((track) => track.times.length > 1).times];
  };
  const frames = await times('');
  assert.equal(frames.length, json.frameRange[1] + 1);
  const keys = new Set(Object.values(json.tracks).flatMap((track) => track.times));
  assert.deepEqual(await times('--at-keys'),
    [...keys].sort((a, b) => a - b).map((ticks) => Math.fround(ticks / 4800)));
  const rate = await times('--fps 60');
  assert.ok(rate.every((time, i) => Math.abs(time - i / 60) < 1e-4));
  // Neighbouring turns lie on one side, so that a player may mix them part by part.
  for (const { name, values } of (await load(line)).animations[0].tracks) {
    if (!name.endsWith('.quaternion')) continue;
    for (let i = 4; i < values.length; i += 4) {
      let dot = 0;
      for (let k = i; k < i + 4; ++k) dot += values[k] * values[k - 4];
      assert.ok(dot > 0, `${name}, sample ${i / 4}`);
    }
  }
});

test('the body stands on the ground and fills the figure', async () => {
  for (const bodyType of [0, 1, 2, 3]) {
    for (const height of [80, 1.8]) {
      const line = `walk --height ${height} --body-type ${bodyType}`;
      const file = await load(line);
      // A default figure is as tall as gravity has it: 9.81 m/s2 in 2340 units/s2 of 415.
      const metres = (9.81 / 2340) * 415;
      assert.ok(Math.abs(file.extras.metresPerUnit * height - metres) < 1e-4 * metres);
      const stance = bounds(file.scene);
      assert.ok(Math.abs(stance.min.y) < 0.006 * metres, `${line}: ${stance.min.y}`);
      assert.ok(stance.max.y > 0.97 * metres && stance.max.y < metres);
      file.poseAt(0.4);
      const walking = bounds(file.scene);
      assert.ok(Math.abs(walking.min.y) < 0.012 * metres, `${line}: ${walking.min.y}`);
      assert.ok(walking.max.y > 0.94 * metres && walking.max.y < metres);
    }
  }
});

test('metres are as one asks for them', async () => {
  const { extras, joints, scene } = await load('walk --metres-per-unit 0.0254');
  assert.ok(Math.abs(extras.metresPerUnit - 0.0254) < 1e-8);
  assert.ok(Math.abs(bounds(scene).max.y - 79 * 0.0254) < 0.02);
  assert.ok(joints.size > 20);
});

test('footsteps come along', async () => {
  const line = 'walk --footsteps 6 --bend 10 --stride-height 2';
  const json = makeJson(line);
  const { extras } = await load(line);
  assert.equal(extras.framesPerSecond, 30);
  assert.equal(extras.footsteps.length, 6);
  json.footsteps.forEach((step, i) => {
    const got = extras.footsteps[i];
    assert.equal(got.index, i);
    assert.equal(got.side, step.side);
    assert.ok(Math.abs(got.start - step.start / 4800) < 1e-6);
    assert.ok(Math.abs(got.duration - step.duration / 4800) < 1e-6);
    assert.ok(Math.abs(got.heading - step.heading) < 1e-4);
    const [x, y, z] = step.position.map((value) => value * extras.metresPerUnit);
    got.position.forEach((value, k) => assert.ok(Math.abs(value - [x, z, -y][k]) < 1e-5));
  });
});
