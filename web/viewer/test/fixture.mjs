// Pages as the program writes them, and a browser that opens them from the disk.
import { execFileSync } from 'node:child_process';
import { mkdtempSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { fileURLToPath, pathToFileURL } from 'node:url';
import { chromium } from 'playwright-core';
import { build } from 'vite';

const here = fileURLToPath(new URL('.', import.meta.url));
const program = process.env.STRIDER_PROGRAM ?? join(here, '../../../build/release/bin/strider');
const browserPath = process.env.CHROMIUM ?? '/usr/bin/chromium';

export const folder = mkdtempSync(join(tmpdir(), 'strider-page-'));
process.on('exit', () => rmSync(folder, { recursive: true, force: true }));

/// What `strider make ARGS -o FILE` writes; answers the path.
export function Make(file, ...args) {
  const path = join(folder, file);
  execFileSync(program, ['make', ...args, '-o', path]);
  return path;
}

const kMotion = /(<script type="application\/json" id="motion">)(.*?)(<\/script>)/s;

export const DataOf = (path) => JSON.parse(kMotion.exec(readFileSync(path, 'utf8'))[2]);

/// A page with another motion in it.
export function WithData(path, file, change) {
  const data = DataOf(path);
  change(data);
  const text = JSON.stringify(data).replaceAll('<', '\\u003c');
  const page = readFileSync(path, 'utf8').replace(kMotion, (_, open, __, close) => open + text + close);
  const changed = join(folder, file);
  writeFileSync(changed, page);
  return changed;
}

/// The first frames alone.
export function KeepFrames(data, count) {
  const cut = (base64, bytes) => Buffer.from(base64, 'base64').subarray(0, bytes).toString('base64');
  data.times = cut(data.times, 4 * count);
  data.frames.roots = cut(data.frames.roots, 12 * count);
  data.frames.poses = cut(data.frames.poses, 14 * count * data.links.length);
}

/// The page's own reader, to look at what it reads.
export async function PageModule() {
  const [result] = [
    await build({
      configFile: false,
      logLevel: 'silent',
      build: {
        write: false,
        minify: false,
        lib: { entry: join(here, '../src/motion.ts'), formats: ['es'], fileName: 'motion' },
      },
    }),
  ].flat();
  const path = join(folder, 'motion.mjs');
  writeFileSync(path, result.output[0].code);
  return import(pathToFileURL(path).href);
}

let browser;
let last;
export async function Browser() {
  browser ??= await chromium.launch({
    executablePath: browserPath,
    args: ['--use-angle=swiftshader', '--enable-unsafe-swiftshader'],
  });
  return browser;
}
export const CloseBrowser = () => browser?.close();

/// Opens a page in place of the one before and waits for its first picture. What it says on the console and what it asks of
/// the network is in `said` and `asked`.
export async function Open(path, hash = 'play=0', settings = {}) {
  // One at a time: a page that still plays takes the processor from the next.
  await last?.close();
  const context = await (await Browser()).newContext({
    viewport: { width: 1000, height: 640 },
    ...settings,
  });
  last = context;
  const page = await context.newPage();
  page.said = [];
  page.asked = [];
  page.on('console', (message) => page.said.push(message.text()));
  page.on('pageerror', (error) => page.said.push(error.message));
  page.on('request', (request) => {
    if (!request.url().startsWith('data:')) page.asked.push(request.url());
  });
  await page.goto(`${pathToFileURL(path).href}#${hash}`);
  await page.waitForFunction(() => document.documentElement.dataset.drawn !== undefined);
  return page;
}

/// Waits until the picture shows what was asked for last.
export const Drawn = (page) =>
  page.evaluate(
    () => new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(done))),
  );

/// The stage as it is drawn, to tell pictures apart.
export async function Pixels(page) {
  await Drawn(page);
  return page.evaluate(() => document.getElementById('stage').toDataURL());
}

export const FrameShown = async (page) => {
  await Drawn(page);
  return Number(await page.evaluate(() => document.documentElement.dataset.drawn));
};
