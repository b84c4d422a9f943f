// Makes the picture of the page for README.md: screenshot.mjs FILE. Records a day of a harbour that does not exist.

import {execFileSync} from 'node:child_process';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';

import {chromium} from 'playwright-core';

import {recordingName, sendLive} from './recordings.mjs';
import {freePort, startServer} from './server.mjs';

const {K2R: k2r, WEB: web, CHROMIUM: browserPath = '/usr/bin/chromium'} = process.env;
const kHour = 3600;
const work = fs.mkdtempSync(path.join(os.tmpdir(), 'k2r-screenshot-'));
const root = path.join(work, 'root');

/** Sky, sun, two rows of hills and water, in the colours of an evening; a boat that crosses the picture in an hour. */
function makeHour() {
  const scene = path.join(work, 'scene.png');
  const far = 'H*0.52-H*0.10*sin(X/W*5+1)-H*0.03*sin(X/W*17)', near = 'H*0.60-H*0.07*sin(X/W*4+4)-H*0.02*sin(X/W*23)';
  const sun = 'lt(hypot(X-W*0.68,Y-H*0.30),H*0.07)';
  const colour = (water, hill, back, light, sky) => `if(gt(Y,H*0.62),${water},if(gt(Y,${near}),${hill},if(gt(Y,${far}),${back},if(${sun},${light},${sky}))))`;
  execFileSync('ffmpeg', ['-v', 'error', '-f', 'lavfi', '-i', 'nullsrc=size=960x540', '-frames:v', '1', '-vf',
    `format=rgb24,geq=r='${colour('60+40*(1-Y/H)+60*lt(abs(X-W*0.68),W*0.03*Y/H)', 38, 92, 255, '120+190*Y/H')}':g='${
      colour('96+50*(1-Y/H)+50*lt(abs(X-W*0.68),W*0.03*Y/H)', 66, 112, 232, '150+110*Y/H')}':b='${
      colour('122+50*(1-Y/H)', 76, 134, 196, '196-40*Y/H')}'`, scene]);
  const hour = path.join(work, 'hour.ts');
  execFileSync('ffmpeg', ['-v', 'error', '-loop', '1', '-framerate', '1/2', '-t', String(kHour), '-i', scene, '-f', 'lavfi',
    '-i', `color=white:size=46x10:rate=1/2:duration=${kHour}`, '-filter_complex', `overlay=x='W*t/${kHour}':y=H*0.70`,
    '-c:v', 'libx264', '-preset', 'ultrafast', '-crf', '18', '-g', '2', '-pix_fmt', 'yuv420p', '-output_ts_offset', '0', hour]);
  return hour;
}

/** What comes now: some minutes with as many pictures as a camera sends, and a key frame each second. */
function makeLive() {
  const live = path.join(work, 'live.ts');
  execFileSync('ffmpeg', ['-v', 'error', '-loop', '1', '-framerate', '10', '-t', '180', '-i', path.join(work, 'scene.png'),
    '-c:v', 'libx264', '-preset', 'ultrafast', '-crf', '18', '-g', '10', '-pix_fmt', 'yuv420p', live]);
  return live;
}

function cut(hour, from, to) {
  const file = path.join(work, `${from}-${to}.ts`);
  execFileSync('ffmpeg', ['-v', 'error', '-y', '-ss', String(from), '-to', String(to), '-i', hour, '-c', 'copy',
                          '-output_ts_offset', String(from), file]);
  return fs.readFileSync(file);
}

function record(stream, begin, media) {
  const input = path.join(work, 'input.ts');
  fs.writeFileSync(input, media);
  execFileSync(k2r, ['record', input, '--out', path.join(root, stream, recordingName(begin)), '--quiet', '--durability', 'process'], {stdio: 'pipe'});
}

/** Ten hours until `now`, of which one has a gap and two are missing in part; and a little of another stream. */
function makeDay(now) {
  const hour = makeHour();
  const whole = fs.readFileSync(hour);
  const begin = (hours) => now - hours * kHour * 1000 - 1500000;
  for (const back of [9, 8, 6, 5, 4, 2]) record('gate', begin(back), whole);
  record('gate', begin(7), cut(hour, 0, 2400));
  record('gate', begin(3), Buffer.concat([cut(hour, 0, 1200), cut(hour, 1900, 3600)]));
  record('gate', begin(1), whole);
  record('gate', begin(0), cut(hour, 0, 1500));
  record('yard', begin(2), whole);
}

const [file] = process.argv.slice(2);
const now = Date.now();
// Where it is afternoon now, so that the day has something on both sides. In the names of these zones the sign is turned.
const ahead = 15 - new Date(now).getUTCHours();
const timezoneId = `Etc/GMT${ahead > 0 ? '-' : '+'}${Math.abs(ahead)}`;
let server, browser, live;
try {
  makeDay(now);
  const port = await freePort();
  live = sendLive(makeLive(), port);
  // It takes one connection alone, so nobody can ask whether it listens.
  await new Promise((resolve) => setTimeout(resolve, 3000));
  server = await startServer({k2r, web, root, input: `tcp://127.0.0.1:${port}`});
  browser = await chromium.launch({executablePath: browserPath, args: ['--no-sandbox', '--disable-gpu', '--disable-quic',
    '--disable-background-networking', '--disable-component-update', '--disable-sync', '--no-first-run']});
  const page = await browser.newPage({viewport: {width: 1520, height: 920}, timezoneId});
  const at = now - 2.6 * kHour * 1000;
  await page.goto(`${server.url}#gate@${new Date(at).toISOString()}`);
  await page.waitForFunction(() => document.getElementById('video').currentTime > 1);
  // The buttons of the player go away by themselves.
  await page.mouse.move(10, 880);
  const local = (hoursBack) => new Date(now + (ahead - hoursBack) * kHour * 1000).toISOString().slice(0, 19).replace('T', ' ');
  await page.fill('#export-begin', local(2));
  await page.fill('#export-end', local(1.5));
  await page.locator('#export-end').blur();
  await page.waitForFunction(() => [...document.querySelectorAll('.picture')].filter(({dataset}) => dataset.has === 'true').length === 2);
  await page.waitForFunction(() => document.getElementById('summary').textContent.startsWith('1 of 3'), null, {timeout: 90000});
  await page.waitForTimeout(8000);
  await page.screenshot({path: file});
} finally {
  await browser?.close();
  await server?.close();
  live?.kill();
  fs.rmSync(work, {recursive: true, force: true});
}
