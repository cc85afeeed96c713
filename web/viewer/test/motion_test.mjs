// The page's own reader against the table that the program writes of the same motion.
import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { test } from 'node:test';
import { DataOf, Make, PageModule } from './fixture.mjs';

function Product([ax, ay, az, aw], [bx, by, bz, bw]) {
  return [
    aw * bx + ax * bw + ay * bz - az * by,
    aw * by - ax * bz + ay * bw + az * bx,
    aw * bz + ax * by - ay * bx + az * bw,
    aw * bw - ax * bx - ay * by - az * bz,
  ];
}

test('every link stands where the table says, at every frame', async () => {
  const args = ['run', '--footsteps', '8', '--leg-links', '4', '--toes', '2', '--prop2-exists', 'true'];
  const { NewPose, PoseAt, ReadMotion, FrameAt } = await PageModule();
  const motion = ReadMotion(DataOf(Make('run.html', ...args)));
  const places = new Map(motion.links.map((link, i) => [`${link.id}.${link.link}`, i]));
  const pose = NewPose(motion);
  let frame = -1;
  let compared = 0;
  let worst = 0;
  let worstTurn = 0;
  for (const line of readFileSync(Make('run.csv', ...args), 'utf8').trim().split('\n').slice(1)) {
    const cells = line.split(',');
    const link = places.get(`${cells[2]}.${cells[3]}`);
    if (link === undefined) continue; // the footprints' node
    const [, seconds, , , , x, y, z, qx, qy, qz, qw] = cells.map(Number);
    if (Number(cells[0]) !== frame) {
      frame = Number(cells[0]);
      PoseAt(motion, seconds, pose);
      assert.equal(motion.frameNumbers[FrameAt(motion, seconds)], frame);
    }
    const m = motion.metresPerUnit;
    const place = pose.places[link];
    worst = Math.max(worst, Math.hypot(place.x - x * m, place.y - z * m, place.z + y * m));
    // The table's axes have Z up: they are turned after the link's own.
    const turned = Product([-Math.SQRT1_2, 0, 0, Math.SQRT1_2], [qx, qy, qz, qw]);
    const shown = pose.turns[link].toArray();
    const away = (sign) => Math.hypot(...shown.map((part, i) => part - sign * turned[i]));
    worstTurn = Math.max(worstTurn, 2 * Math.min(away(1), away(-1)));
    ++compared;
  }
  assert.ok(compared > 30 * 100, String(compared));
  assert.ok(worst < 1e-4 * motion.height, `${worst} m`);
  // Sixteen bits a part: a hundredth of a degree.
  assert.ok(worstTurn < 2e-4, `${worstTurn} radians`);
});

test('every body stands on the ground, as high as the figure, its feet ahead', async () => {
  const { NewPose, PoseAt, ReadMotion } = await PageModule();
  const motion = ReadMotion(DataOf(Make('walk.html', 'walk')));
  const pose = NewPose(motion);
  PoseAt(motion, 0, pose);
  const bounds = (shapes) => {
    const box = { low: [Infinity, Infinity, Infinity], high: [-Infinity, -Infinity, -Infinity] };
    for (const { link, points } of shapes) {
      for (let i = 0; i < points.length; i += 3) {
        const corner = pose.places[link].clone().set(points[i], points[i + 1], points[i + 2]);
        corner.applyQuaternion(pose.turns[link]).add(pose.places[link]).toArray().forEach((at, k) => {
          box.low[k] = Math.min(box.low[k], at);
          box.high[k] = Math.max(box.high[k], at);
        });
      }
    }
    return box;
  };
  for (const shapes of motion.bodies) {
    const whole = bounds(shapes);
    // Soles are flat on the ground; knees that are bent a little bring the crown down.
    assert.ok(Math.abs(whole.low[1]) < 0.01 * motion.height, `low ${whole.low[1]}`);
    assert.ok(whole.high[1] > 0.93 * motion.height && whole.high[1] < 1.02 * motion.height);
    const foot = bounds(shapes.filter(({ link }) => /LeftFoot$/.test(motion.links[link].name)));
    assert.ok(foot.high[0] - foot.low[0] > 1.4 * (foot.high[2] - foot.low[2]), 'longer than wide');
    const left = bounds(shapes.filter(({ link }) => motion.links[link].side === 1));
    assert.ok(left.high[2] < 0.02 * motion.height, 'left is at -Z');
  }
});
