// node picture.mjs PAGE.html PICTURE.png [HASH]: a picture of a page as a browser shows it; HASH is
// what the address asks for, as in docs/formats/html.md.
import { resolve } from 'node:path';
import { pathToFileURL } from 'node:url';
import { chromium } from 'playwright-core';

const [page, picture, hash = 'play=0'] = process.argv.slice(2);
const browser = await chromium.launch({
  executablePath: process.env.CHROMIUM ?? '/usr/bin/chromium',
  args: ['--use-angle=swiftshader', '--enable-unsafe-swiftshader'],
});
const shown = await browser.newPage({ viewport: { width: 1280, height: 800 } });
await shown.goto(`${pathToFileURL(resolve(page)).href}#${hash}`);
await shown.waitForFunction(() => document.documentElement.dataset.drawn !== undefined);
await shown.screenshot({ path: picture });
await browser.close();
