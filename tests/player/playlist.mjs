// Plays a recording in a browser, straight from its files, through the playlist that `k2r playlist` makes: a finished
// one of two segments, and one that is being written meanwhile.
//
//     K2R=build/release/bin/k2r node --test playlist.mjs

import assert from 'node:assert/strict';
import {execFileSync, spawn} from 'node:child_process';
import fs from 'node:fs';
import {createRequire} from 'node:module';
import os from 'node:os';
import path from 'node:path';
import test, {after, before} from 'node:test';
import {fileURLToPath} from 'node:url';

import {chromium} from 'playwright-core';

import {serve} from './rangeServer.mjs';

const k2r = process.env.K2R;
const browserPath = process.env.CHROMIUM ?? '/usr/bin/chromium';
const here = path.dirname(fileURLToPath(import.meta.url));
const hlsFolder = path.dirname(createRequire(import.meta.url).resolve('hls.js'));
const work = fs.mkdtempSync(path.join(os.tmpdir(), 'k2r-player-'));
const settings = ['--set', 'Recording/FragmentDuration=2000', '--set', 'Recording/SegmentDuration=7000'];
const clip = path.join(work, 'clip.mp4');
let server, browser;

before(async () => {
  execFileSync('ffmpeg', [
    '-v', 'error', '-f', 'lavfi', '-i', 'testsrc2=size=320x180:rate=25:duration=16', '-f', 'lavfi', '-i',
    'sine=frequency=440:sample_rate=44100:duration=16', '-c:v', 'libx264', '-preset', 'ultrafast', '-bf', '2',
    '-b_strategy', '0', '-g', '50', '-pix_fmt', 'yuv420p', '-c:a', 'aac', clip]);
  server = await serve({'/rec/': work, '/hls/': hlsFolder, '/': here});
  browser = await chromium.launch({
    executablePath: browserPath,
    args: ['--no-sandbox', '--disable-gpu', '--disable-quic', '--disable-background-networking',
           '--disable-component-update', '--disable-sync', '--no-first-run', '--autoplay-policy=no-user-gesture-required']});
});

after(async () => {
  await browser?.close();
  server?.close();
  fs.rmSync(work, {recursive: true, force: true});
});

async function openPlayer(playlist) {
  const page = await browser.newPage();
  await page.goto(`http://127.0.0.1:${server.address().port}/player.html?playlist=/rec/${playlist}`);
  return page;
}

const bufferedEnd = (page) => page.evaluate(() => buffered().at(-1)?.[1] ?? 0);

async function waitForBuffer(page, seconds) {
  for (const limit = Date.now() + 30000; Date.now() < limit;) {
    if (await bufferedEnd(page) >= seconds) return;
    await new Promise((resolve) => setTimeout(resolve, 100));
  }
  assert.fail(`buffered to ${await bufferedEnd(page)} s, expected ${seconds} s; ${await page.evaluate(() => errors)}`);
}

async function assertPictures(page, times) {
  for (const time of times) {
    const picture = await page.evaluate((at) => pictureAt(at), time);
    assert.ok(picture.mean > 20 && picture.deviation > 20, `a picture at ${time} s: ${JSON.stringify(picture)}`);
  }
  assert.deepEqual(await page.evaluate(() => errors), []);
}

function makePlaylist(name) {
  execFileSync(k2r, ['playlist', path.join(work, name), '--out', path.join(work, `${name}.m3u8`)]);
  return fs.readFileSync(path.join(work, `${name}.m3u8`), 'utf8');
}

test('a finished recording of two segments plays to its end', async () => {
  execFileSync(k2r, ['record', clip, '--out', path.join(work, 'cam1'), '--quiet', ...settings]);
  const text = makePlaylist('cam1');
  assert.equal(text.match(/#EXT-X-MAP/g).length, 2);
  assert.match(text, /#EXT-X-ENDLIST/);
  const page = await openPlayer('cam1.m3u8');
  await waitForBuffer(page, 13.9);
  const ranges = await page.evaluate(() => buffered());
  assert.equal(ranges.length, 1, `no hole: ${JSON.stringify(ranges)}`);
  await assertPictures(page, [0.5, 7.9, 8.1, 13.5]);
  await page.close();
});

test('the plain view plays over a gap in one stretch', async () => {
  const gap = path.join(work, 'gap.ts');
  // A clip whose last part lies 60 s later.
  execFileSync('ffmpeg', ['-v', 'error', '-i', clip, '-c', 'copy', '-t', '8', path.join(work, 'first.ts')]);
  execFileSync('ffmpeg', ['-v', 'error', '-i', clip, '-c', 'copy', '-t', '8', '-output_ts_offset', '68',
                          path.join(work, 'second.ts')]);
  fs.writeFileSync(gap, Buffer.concat(['first.ts', 'second.ts'].map((name) => fs.readFileSync(path.join(work, name)))));
  execFileSync(k2r, ['record', gap, '--out', path.join(work, 'cam2'), '--quiet', ...settings]);
  execFileSync(k2r, ['playlist', path.join(work, 'cam2'), '--plain', path.join(work, 'view')]);
  const text = fs.readFileSync(path.join(work, 'view', 'index.m3u8'), 'utf8');
  assert.equal(text.match(/#EXT-X-MAP/g).length, 1);
  assert.equal(text.match(/#EXT-X-PROGRAM-DATE-TIME/g).length, 2);
  const page = await openPlayer('view/index.m3u8');
  await waitForBuffer(page, 11.5);
  assert.equal((await page.evaluate(() => buffered())).length, 1);
  await assertPictures(page, [0.5, 5.9, 8.5, 11]);
  await page.close();
});

test('a recording plays while it is being written', async () => {
  const recorder = spawn(k2r, ['record', clip, '--out', path.join(work, 'live'), '--quiet', '--realtime', ...settings]);
  const ended = new Promise((resolve) => recorder.on('exit', resolve));
  while (!fs.existsSync(path.join(work, 'live', 'live.bootstrap'))) await new Promise((resolve) => setTimeout(resolve, 100));
  assert.doesNotMatch(makePlaylist('live'), /#EXT-X-ENDLIST/);
  const refresh = setInterval(() => makePlaylist('live'), 500);
  const page = await openPlayer('live.m3u8');
  await waitForBuffer(page, 5.9);
  assert.equal(recorder.exitCode, null, 'it is still being written');
  assert.equal(await ended, 0);
  clearInterval(refresh);
  assert.match(makePlaylist('live'), /#EXT-X-ENDLIST/);
  await waitForBuffer(page, 13.9);
  await assertPictures(page, [0.5, 6.1, 13.5]);
  await page.close();
});
