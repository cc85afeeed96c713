// The page as someone uses it who has opened it from the disk.
import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { after, before, test } from 'node:test';
import * as fixture from './fixture.mjs';

const { DataOf, Drawn, FrameShown, KeepFrames, Make, Open, Pixels, WithData } = fixture;

let walk;
before(() => {
  walk = Make('walk.html', 'walk', '--footsteps', '12');
});
after(fixture.CloseBrowser);

const Text = (page, id) => page.locator(`#${id}`).textContent();

test('opens from the disk, asks for nothing else and complains of nothing', async () => {
  const page = await Open(walk, 'play=1');
  await page.waitForTimeout(300);
  assert.equal(page.asked.length, 1, page.asked.join(' '));
  assert.deepEqual(page.said, []);
  assert.equal(await page.title(), 'Strider01');
  assert.match(await Text(page, 'summary'), /^1\.74 m high · 6\.10 s, 184 frames · 12 footsteps$/);
  assert.doesNotMatch(readFileSync(walk, 'latin1'), /<(script|link|img)[^>]*(src|href)="(?!data:)/);
});

test('plays, pauses and steps by its buttons', async () => {
  const page = await Open(walk);
  assert.equal(await FrameShown(page), 0);
  await page.getByRole('button', { name: 'Play' }).click();
  await page.waitForFunction(() => Number(document.documentElement.dataset.drawn) > 3);
  await page.getByRole('button', { name: 'Pause' }).click();
  const stopped = await FrameShown(page);
  await page.waitForTimeout(150);
  assert.equal(await FrameShown(page), stopped);
  await page.getByRole('button', { name: 'One frame on' }).click();
  assert.equal(await FrameShown(page), stopped + 1);
  await page.getByRole('button', { name: 'One frame back' }).click();
  assert.equal(await FrameShown(page), stopped);
  await page.getByRole('button', { name: 'Last frame' }).click();
  assert.match(await Text(page, 'clock'), /^6\.10 s frame 183 of 183$/);
  await page.getByRole('button', { name: 'First frame' }).click();
  assert.match(await Text(page, 'clock'), /^0\.00 s frame 0 of 183$/);
  // Four times as fast; without the loop it ends on the last frame.
  await page.getByLabel('Loop').uncheck();
  await page.getByLabel('Speed').selectOption('4');
  await page.getByRole('button', { name: 'Play' }).click();
  await page.getByRole('button', { name: 'Play' }).waitFor({ timeout: 5000 });
  assert.equal(await FrameShown(page), 183);
});

test('a keyboard alone is enough', async () => {
  const page = await Open(walk);
  const frames = [
    ['ArrowRight', 1], ['Shift+ArrowRight', 31], ['ArrowLeft', 30], ['End', 183], ['Home', 0],
    // Footsteps of the default walk touch every half second from one second on; two stand at 0.
    [']', 30], [']', 45], ['[', 30],
  ];
  for (const [key, frame] of frames) {
    await page.keyboard.press(key);
    assert.equal(await FrameShown(page), frame, key);
  }
  await page.keyboard.press('Space');
  await page.getByRole('button', { name: 'Pause' }).waitFor();
  await page.keyboard.press('Space');
  await page.getByRole('button', { name: 'Play' }).waitFor();
  for (const [key, id] of [['n', 'names-on'], ['f', 'footprints-on'], ['l', 'loop'], ['k', 'keys-on']]) {
    const was = await page.locator(`#${id}`).isChecked();
    await page.keyboard.press(key);
    assert.equal(await page.locator(`#${id}`).isChecked(), !was, key);
  }
  await page.keyboard.press(',');
  assert.equal(await page.locator('#speed').inputValue(), '0.5');
  // What has the focus keeps its own keys: Space on a button presses that one.
  await page.keyboard.press('Home');
  await page.getByRole('button', { name: 'One frame on' }).focus();
  await page.keyboard.press('Space');
  assert.equal(await FrameShown(page), 1);
  await page.getByRole('slider').focus();
  await page.keyboard.press('PageUp');
  assert.equal(await FrameShown(page), 31);
  const before = await Pixels(page);
  await page.locator('#stage').focus();
  await page.keyboard.press('ArrowLeft');
  assert.notEqual(await Pixels(page), before, 'the camera turns');
  assert.equal(await FrameShown(page), 31);
});

test('the time line is scrubbed, zoomed and asked', async () => {
  const page = await Open(walk);
  const box = await page.locator('#timeline').boundingBox();
  const at = (share) => box.x + 78 + share * (box.width - 78 - 14);
  await page.mouse.move(at(0.5), box.y + 30);
  await page.mouse.down();
  assert.ok(Math.abs((await FrameShown(page)) - 91.5) <= 1);
  await page.mouse.move(at(0.25), box.y + 30);
  await page.mouse.up();
  assert.ok(Math.abs((await FrameShown(page)) - 183 / 4) <= 1);
  // Footstep 2 is the left foot's second: from 1 s on.
  await page.mouse.move(at(1.2 / 6.1), box.y + 36);
  assert.equal(await Text(page, 'tip'), 'footstep 2, left: 1.00 s to 1.60 s');
  // Nearer around a place: what is a tenth further on is less time away.
  await page.mouse.move(at(0.5), box.y + 30);
  await page.mouse.wheel(0, -600);
  await page.mouse.click(at(0.6), box.y + 30);
  const zoomed = await FrameShown(page);
  assert.ok(zoomed > 92 && zoomed < 105, String(zoomed));
});

test('shows body types, skeleton, names and theme', async () => {
  const page = await Open(walk, 'frame=40');
  const seen = new Set();
  const bodies = page.getByRole('group', { name: 'Body' }).getByRole('radio');
  assert.equal(await bodies.count(), 5);
  for (const body of [0, 3, 4]) {
    await bodies.nth(body).check();
    seen.add(await Pixels(page));
  }
  assert.ok(seen.size >= 2, 'skeleton and bodies differ');
  await page.keyboard.press('2');
  assert.equal(await bodies.nth(1).isChecked(), true);
  await page.keyboard.press('s');
  assert.equal(await bodies.nth(4).isChecked(), true);

  assert.equal(await page.locator('#names').isVisible(), false);
  await page.getByLabel('Names').check();
  await Drawn(page);
  const shown = await page.locator('#names span').evaluateAll((spans) =>
    spans.filter((span) => span.style.visibility !== 'hidden').map((span) => span.textContent),
  );
  assert.ok(shown.length > 5, shown.join(' '));
  assert.ok(shown.includes('RightCalf'), shown.join(' '));

  for (const label of ['Footprints', 'Path of its centre']) {
    const before = await Pixels(page);
    await page.getByLabel(label, { exact: false }).first().uncheck();
    assert.notEqual(await Pixels(page), before, label);
  }
  const light = await Pixels(page);
  await page.getByRole('button', { name: 'Dark' }).click();
  assert.notEqual(await Pixels(page), light);
  const dark = await Open(walk, 'play=0', { colorScheme: 'dark' });
  assert.equal(await dark.getByRole('button', { name: 'Dark' }).getAttribute('aria-pressed'), 'true');
});

test('tells its state to those who do not see it', async () => {
  const page = await Open(walk);
  const slider = page.getByRole('slider', { name: 'Time' });
  await page.keyboard.press('Shift+ArrowRight');
  await page.keyboard.press('ArrowRight');
  assert.equal(await slider.getAttribute('aria-valuetext'), '1.03 seconds, frame 31, on both feet');
  assert.equal(await slider.getAttribute('aria-valuenow'), '1.033');
  assert.equal(await slider.getAttribute('aria-valuemax'), '6.100');
  assert.equal(await page.getByRole('status').textContent(), '1.03 seconds, frame 31, on both feet');
  const nameless = await page.evaluate(() =>
    [...document.querySelectorAll('button, input, select, [tabindex]')]
      .filter((e) => !(e.ariaLabel || e.textContent.trim() || e.labels?.[0]?.textContent.trim()))
      .map((e) => e.outerHTML),
  );
  assert.deepEqual(nameless, []);
  assert.match(await page.locator('main').ariaSnapshot(), /radio "Skeleton S"/);
});

test('lists the footsteps and goes to them', async () => {
  const page = await Open(walk);
  await page.getByText('Footsteps', { exact: true }).click();
  const rows = page.locator('#step-rows tr');
  await rows.nth(11).waitFor();
  assert.equal(await rows.count(), 12);
  const steps = DataOf(walk).motion.footsteps;
  const metres = DataOf(walk).metresPerUnit;
  const cells = await rows.nth(7).locator('td').allTextContents();
  assert.deepEqual(cells.slice(0, 3), ['7', 'right', (steps[7].start / 4800).toFixed(2)]);
  assert.equal(cells[4], (steps[7].position[0] * metres).toFixed(2));
  assert.equal(cells[5], (steps[7].position[1] * metres).toFixed(2));
  await page.getByRole('button', { name: 'Go to footstep 7' }).click();
  assert.equal(await FrameShown(page), steps[7].start / 160);
});

test('what is unusual is shown too', async (t) => {
  const beast = Make('beast.html', 'walk', '--arms', 'false', '--leg-links', '4', '--tail-links',
    '5', '--prop1-exists', 'true', '--fingers', '0', '--ponytail2-links', '2');
  const cases = {
    'a figure without arms, with four links a leg, a tail and a prop': [beast, /4 footsteps$/, 'Play'],
    'no footsteps': [
      WithData(walk, 'keys.html', (data) => {
        data.motion.footsteps = data.motion.flights = [];
      }),
      /184 frames · no footsteps$/,
    ],
    'a single frame without keys': [
      WithData(walk, 'one.html', (data) => {
        KeepFrames(data, 1);
        data.motion.footsteps = data.motion.flights = [];
        data.motion.tracks = {};
      }),
      /high · 1 frame · no footsteps$/,
    ],
    'a name that looks like a page': [
      WithData(walk, 'name.html', (data) => {
        data.name = '</script><img src=x onerror=alert(1)><!--';
      }),
      /12 footsteps$/,
    ],
    'ten thousand frames': [Make('long.html', 'walk', '--footsteps', '668'), /668 footsteps$/],
  };
  for (const [name, [path, summary]] of Object.entries(cases)) {
    await t.test(name, async () => {
      const page = await Open(path, 'names=1');
      await page.keyboard.press('End');
      await page.keyboard.press('s');
      await page.keyboard.press('Space');
      await Drawn(page);
      assert.match(await Text(page, 'summary'), summary);
      assert.deepEqual(page.said, []);
      assert.equal(page.asked.length, 1);
    });
  }
  const one = await Open(fixture.folder + '/one.html');
  assert.equal(await one.getByRole('button', { name: 'Play' }).isDisabled(), true);
  const named = await Open(fixture.folder + '/name.html');
  assert.equal(await Text(named, 'title'), '</script><img src=x onerror=alert(1)><!--');
});

test('says so where nothing can be drawn', async () => {
  const empty = await (await fixture.Browser()).newPage();
  await empty.goto(new URL('../dist/viewer.html', import.meta.url).href);
  assert.equal(await empty.getByRole('alert').textContent(), 'There is no motion in this page.');
  await empty.addInitScript(() => {
    const original = HTMLCanvasElement.prototype.getContext;
    HTMLCanvasElement.prototype.getContext = function (kind, ...rest) {
      return kind.startsWith('webgl') ? null : original.call(this, kind, ...rest);
    };
  });
  await empty.goto(new URL(`file://${walk}#play=0`).href);
  assert.match(await empty.getByRole('alert').textContent(), /no WebGL/);
  await empty.keyboard.press('End');
  assert.match(await empty.getByRole('slider').getAttribute('aria-valuetext'), /^6\.10 seconds/);
});
