// The page of `k2r serve` in a browser: what it shows, plays and exports, and that it can be used by everybody.
//
//     K2R=build/release/bin/k2r WEB=build/release/share/k2r/web node --test page.mjs

import assert from 'node:assert/strict';
import fs from 'node:fs';
import {createRequire} from 'node:module';
import os from 'node:os';
import path from 'node:path';
import test, {after, before} from 'node:test';

import {chromium} from 'playwright-core';

import {kBegin, makeLiveClip, makeRecordings, secondShown, sendLive} from './recordings.mjs';
import {freePort, startServer} from './server.mjs';

const {K2R: k2r, WEB: web, CHROMIUM: browserPath = '/usr/bin/chromium'} = process.env;
const work = fs.mkdtempSync(path.join(os.tmpdir(), 'k2r-page-'));
const root = path.join(work, 'root');
const axe = fs.readFileSync(createRequire(import.meta.url).resolve('axe-core/axe.min.js'), 'utf8');
let server, browser, live;

before(async () => {
  makeRecordings(k2r, root);
  const port = await freePort();
  live = sendLive(makeLiveClip(work), port);
  server = await startServer({k2r, web, root, input: `tcp://127.0.0.1:${port}`});
  browser = await chromium.launch({
    executablePath: browserPath,
    args: ['--no-sandbox', '--disable-gpu', '--disable-quic', '--disable-background-networking',
           '--disable-component-update', '--disable-sync', '--no-first-run']});
});

after(async () => {
  await browser?.close();
  await server?.close();
  live?.kill();
  fs.rmSync(work, {recursive: true, force: true});
});

/** Opens the page in a window of this size, in a zone an hour ahead of UTC. It fails for what the browser complains of. */
async function open(t, hash = '', {width = 1280, height = 900, prepare, expected = /^$/, ...options} = {}) {
  const context = await browser.newContext({viewport: {width, height}, timezoneId: 'Europe/Berlin', ...options});
  const page = await context.newPage();
  const complaints = [];
  page.on('console', (message) => message.type() === 'error' && complaints.push(message.text()));
  page.on('pageerror', (error) => complaints.push(error.stack));
  page.on('request', (request) => request.url().startsWith(server.url) || request.url().startsWith('blob:')
    || complaints.push(`asked another host: ${request.url()}`));
  t.after(async () => {
    await context.close();
    assert.deepEqual(complaints.filter((text) => !expected.test(text)), []);
  });
  await prepare?.(page);
  await page.goto(server.url + hash);
  await page.getByText(/of 3 streams recording/).waitFor();
  return page;
}

const text = (page, id) => page.locator(`#${id}`).textContent();

/** Waits until a text of the page matches. */
async function waitForText(page, id, pattern) {
  await page.waitForFunction(([name, source]) => new RegExp(source).test(document.getElementById(name).textContent),
                             [id, pattern.source], {timeout: 15000})
      .catch(async () => assert.match(await text(page, id), pattern));
}

/** Waits until the picture is one of [second, second + 4), counted from kBegin. `isFirst`: none shortly before it. */
async function waitForPicture(page, second, {isFirst = false} = {}) {
  let shown;
  for (const limit = Date.now() + 30000; Date.now() < limit;) {
    shown = await page.evaluate(`(${secondShown})(document.getElementById('video'))`);
    const late = ((shown.second - second) % 256 + 256) % 256;
    if (shown.mean > 40 && late < 4) return;
    assert.ok(!isFirst || shown.mean <= 40 || late < 250, `begins at ${shown.second}, too early`);
    await page.waitForTimeout(100);
  }
  assert.fail(`expected the picture of second ${second % 256}: ${JSON.stringify(shown)}; "${await text(page, 'message')}"`);
}

async function waitForPosition(page, second) {
  const clock = [0, 1, 2, 3].map((more) => new Date(kBegin + 3600000 + (second + more) * 1000).toISOString().slice(11, 19));
  await waitForText(page, 'position', new RegExp(`^(${clock.join('|')}) · Tue 10 Mar 2026 · GMT\\+1`));
}

/** Where a second, counted from kBegin, is on the time line. */
async function pointOf(page, second) {
  const line = page.locator('#timeline');
  await line.scrollIntoViewIfNeeded();
  const box = await line.boundingBox();
  const [min, max] = await view(page);
  return {x: box.x + (kBegin / 1000 + second - min) / (max - min) * box.width, y: box.y + box.height / 2};
}

/** The stretch that the time line shows, in seconds since 1970. */
const view = (page) => page.evaluate(() => ['min', 'max'].map((end) =>
  Number(document.getElementById('timeline').getAttribute(`aria-value${end}`))));

/** Opens "yard", which does not play yet, and shows its first four minutes or so. */
async function openYard(t, options) {
  const page = await open(t, '#yard', {reducedMotion: 'reduce', ...options});
  await page.fill('#date', '2026-03-10');
  await page.selectOption('#hour', {label: '11:00 · recorded'});
  const {x, y} = await pointOf(page, 10);
  await page.mouse.move(x, y);
  for (let i = 0; i < 8; ++i) await page.mouse.wheel(0, -100);
  await page.waitForFunction(() => {
    const line = document.getElementById('timeline');
    return line.ariaValueMax - line.ariaValueMin < 260;
  });
  await page.locator('.bar.gap').waitFor();
  return page;
}

async function clickAt(page, second) {
  const {x, y} = await pointOf(page, second);
  await page.mouse.click(x, y);
}

test('all streams are listed with their state in words', async (t) => {
  // A stream that has just begun has no picture yet.
  const page = await open(t, '', {expected: /404/});
  const card = (name) => page.locator('#streams li', {has: page.locator('strong', {hasText: name})});
  assert.match(await card('attic').textContent(), /Connecting since .*Nothing recorded.*Connection refused/);
  assert.doesNotMatch(await page.content(), /secret/);
  await page.waitForFunction(() => /Recording since .*bit\/s received · 1 recording/.test(document.getElementById('streams').textContent));
  assert.match(await card('yard').textContent(), /Stopped .*3 recordings, \d.*MiB/);
  await page.waitForFunction(() => document.querySelectorAll('.picture[data-has=true] img').length === 2);
});

test('a click on the time line plays from there', async (t) => {
  const page = await openYard(t);
  // In the middle of fragments.
  for (const second of [21, 99, 151]) {
    await clickAt(page, second + 0.5);
    await waitForPicture(page, second, {isFirst: true});
    await waitForPosition(page, second);
  }
  // A link to a time does the same.
  await page.goto(`${server.url}#yard@2026-03-10T10:00:30Z`);
  await waitForPicture(page, 30);
});

test('what was lost is seen on the time line, and playback goes over it', async (t) => {
  const page = await openYard(t);
  const bars = await page.locator('.bar').evaluateAll((list) => list.map(({className, dataset}) =>
    [className, Number(dataset.begin), Number(dataset.end)]));
  const found = (kind) => bars.filter(([name]) => name === `bar ${kind}`).map(([, begin, end]) =>
    [begin, end].map((ms) => Math.round((ms - kBegin) / 1000)));
  assert.deepEqual(found('gap'), [[40, 70]]);
  assert.deepEqual(found('finished'), [[0, 40], [70, 120], [120, 160]]);
  assert.deepEqual(found('break'), [[160, 3600]]);
  assert.match(await text(page, 'words'), /^Recorded 11:00:00 to 11:00:40. Gap for 30 s from 11:00:40. Recorded 11:01:10 to 11:02:40. Nothing recorded for 57 min 20 s/);

  await clickAt(page, 38);
  await waitForPicture(page, 71);
  await waitForPosition(page, 71);
  await clickAt(page, 50);
  await waitForText(page, 'spoken', /Nothing is recorded at 11:00:(49|50). Playing from 11:01:10/);
  await waitForPosition(page, 70);
  // Over a rotation, and over the hour after it.
  await clickAt(page, 117);
  await waitForPicture(page, 121);
  await clickAt(page, 157);
  await waitForPicture(page, 3601);
  await waitForPosition(page, 3601);
});

test('the next playlist follows at the end of one', async (t) => {
  const page = await openYard(t);
  const playlists = [];
  page.on('request', (request) => request.url().includes('index.m3u8') && playlists.push(request.url()));
  // An hour from here ends in the last recording.
  await clickAt(page, 12);
  await waitForPicture(page, 12);
  await clickAt(page, 158);
  await waitForPicture(page, 3614);
  await waitForText(page, 'message', /^This is the end of what is recorded\.$/);
  assert.equal(playlists.length, 2, 'one for each hour, and none again at the end');
});

test('a recording in progress grows, and plays live', async (t) => {
  const page = await open(t, '#gate', {prepare: (one) => one.addInitScript(() => { window.confirm = () => true; })});
  await waitForText(page, 'position', /live, \d+ s behind/);
  const shown = () => page.evaluate(`(${secondShown})(document.getElementById('video'))`);
  const first = await shown();
  const end = () => page.locator('.bar.recording').getAttribute('data-end').then(Number);
  const before = await end();
  await page.waitForFunction((old) => Number(document.querySelector('.bar.recording').dataset.end) > old, before, {timeout: 15000});
  for (const limit = Date.now() + 10000; (await shown()).second <= first.second && Date.now() < limit;) await page.waitForTimeout(200);
  assert.ok((await shown()).second > first.second, 'the picture moves');
  assert.ok(Math.abs(await end() - Date.now()) < 15000);
  for (const action of ['rotate', 'stop']) {
    const asked = page.waitForRequest((request) => request.url().endsWith(`/v1/streams/gate/${action}`));
    await page.click(`#${action}`);
    assert.equal((await asked).method(), 'POST');
  }
});

test('a marked span is exported', async (t) => {
  const page = await openYard(t);
  const from = await pointOf(page, 80), to = await pointOf(page, 100);
  await page.keyboard.down('Shift');
  await page.mouse.move(from.x, from.y);
  await page.mouse.down();
  await page.mouse.move(to.x, to.y, {steps: 5});
  await page.mouse.up();
  await page.keyboard.up('Shift');
  assert.match(await text(page, 'export-text'), /^(19|20|21)(\.\d)? s marked\.$/);
  assert.match(await page.inputValue('#export-begin'), /^2026-03-10 11:01:(19|20|21)/);

  await page.fill('#export-begin', '2026-03-10 11:00:30.5');
  await page.fill('#export-end', '2026-03-10 11:01:20');
  await page.press('#export-end', 'Tab');
  assert.equal(await text(page, 'export-text'), '50 s marked, of which 20 s are recorded.');
  const download = page.waitForEvent('download');
  await page.click('#download');
  const address = decodeURIComponent((await download).url());
  assert.equal(address, `${server.url}v1/streams/yard/export.mp4?start=2026-03-10T10:00:30.500Z&end=2026-03-10T10:01:20Z`);
  assert.equal((await download).suggestedFilename(), 'yard-20260310T100030.500Z.mp4');
  await page.check('#utc');
  assert.equal(await page.inputValue('#export-begin'), '2026-03-10 10:00:30.500');

  await page.fill('#export-end', '2026-03-10 09:00');
  await page.press('#export-end', 'Tab');
  assert.equal(await text(page, 'export-text'), 'The end has to be after the begin.');
  await page.fill('#export-end', 'noon');
  await page.press('#export-end', 'Tab');
  assert.match(await text(page, 'export-text'), /“noon” is not a time/);
  assert.equal(await page.getAttribute('#download', 'href'), null);
});

test('what fails is said in words', async (t) => {
  const page = await openYard(t, {expected: /409|404|Unauthorized|401/});
  await page.route('**/export.mp4*', (route) => route.fulfill({status: 409, json: {error: 'the sound changes at 10:00:35Z'}}));
  await page.locator('#recordings li').last().getByRole('button', {name: /^Mark/}).click();
  await page.click('#download');
  await waitForText(page, 'export-text', /^Cannot be exported: The sound changes at 10:00:35Z\./);
  await page.goto(`${server.url}#attic`);
  await page.click('#live');
  await waitForText(page, 'message', /Nothing is recorded there. Trying again/);
  assert.match(await text(page, 'error'), /Connection refused/);
  // Some servers let everybody look, and want a token for what changes something.
  const refuse = (route) => route.fulfill({status: 401, json: {error: 'the token is missing'}});
  await page.route('**/stop', refuse);
  page.once('dialog', (dialog) => dialog.accept());
  await page.click('#stop');
  assert.equal(await page.locator('#message a').getAttribute('href'), 'login');
  await page.route('**/v1/streams', refuse);
  await page.locator('#problem').getByRole('link', {name: 'Sign in'}).waitFor();

  const bare = await open(t, '#yard@2026-03-10T10:00:30Z', {
    expected: /404/, prepare: (one) => one.route('**/hls.mjs', (route) => route.fulfill({status: 404}))});
  await waitForText(bare, 'message', /lacks hls\.js/);
});

/** What has the focus, for people; and whether that is seen. */
const focused = (page) => page.evaluate(() => {
  const {activeElement: one} = document;
  const style = getComputedStyle(one);
  const box = one.getBoundingClientRect();
  return {id: one.id, name: one.getAttribute('aria-label') ?? one.textContent.trim(), isBody: one === document.body,
          isSeen: style.outlineStyle !== 'none' && box.width > 0 && box.right <= innerWidth + 1 && box.left >= 0};
});

async function tabTo(page, isThere) {
  for (let i = 0; i < 80; ++i) {
    await page.keyboard.press('Tab');
    const one = await focused(page);
    if (!one.isBody) assert.ok(one.isSeen, `the focus is seen on ${JSON.stringify(one)}`);
    if (isThere(one)) return;
  }
  assert.fail('never reached by Tab');
}

test('everything is reached and done by the keyboard', async (t) => {
  const page = await open(t, '', {reducedMotion: 'reduce'});
  await tabTo(page, ({name}) => name.startsWith('yard'));
  await page.keyboard.press('Enter');
  await page.locator('#stream').waitFor();
  await page.fill('#date', '2026-03-10');
  await tabTo(page, ({id}) => id === 'hour');
  await page.keyboard.type('11:00');
  await waitForText(page, 'view', /^11:00:00 to 12:00:00/);
  assert.equal((await focused(page)).id, 'hour');
  await tabTo(page, ({id}) => id === 'timeline');
  await page.keyboard.press('Home');
  const value = () => page.getAttribute('#timeline', 'aria-valuetext');
  assert.equal(await value(), '00:00:00, not recorded');
  await page.selectOption('#hour', {label: '11:00 · recorded'});
  await page.focus('#timeline');
  for (let i = 0; i < 30 && !/^11:0[01]:/.test(await value()); ++i) await page.keyboard.press('ArrowLeft');
  for (let i = 0; i < 4; ++i) await page.keyboard.press('+');
  for (let i = 0; i < 100 && !/^11:01:3/.test(await value()); ++i) await page.keyboard.press('ArrowRight');
  assert.match(await value(), /^11:01:3\d, recorded$/);
  await page.keyboard.press('Enter');
  await waitForPosition(page, 90);
  await page.keyboard.press('[');
  await page.keyboard.press('Shift+ArrowRight');
  await page.keyboard.press('Shift+ArrowRight');
  await tabTo(page, ({id}) => id === 'download');
  const download = page.waitForEvent('download');
  await page.keyboard.press('Enter');
  const {searchParams} = new URL((await download).url());
  assert.ok(Date.parse(searchParams.get('end')) > Date.parse(searchParams.get('start')));
  await tabTo(page, ({isBody, id}) => isBody || id === 'skip');
});

test('touch moves, zooms and plays', async (t) => {
  const page = await openYard(t, {hasTouch: true, width: 360, height: 740});
  const at = await pointOf(page, 90);
  const fingers = await page.context().newCDPSession(page);
  const touch = (type, ...xs) => fingers.send('Input.dispatchTouchEvent', {
    type, touchPoints: xs.map((x, id) => ({x, y: at.y, id}))});
  const [from, to] = await view(page);
  await touch('touchStart', 150);
  await touch('touchStart', 150, 200);
  await touch('touchMove', 100, 250);
  await touch('touchEnd');
  const zoomed = await view(page);
  assert.ok(Math.abs((zoomed[1] - zoomed[0]) - (to - from) / 3) < 5, `${from} to ${to} became ${zoomed}`);
  await touch('touchStart', 150);
  await touch('touchMove', 190);
  await touch('touchEnd');
  assert.ok((await view(page))[0] < zoomed[0]);
  const point = await pointOf(page, 90);
  await page.touchscreen.tap(point.x, point.y);
  await waitForPicture(page, 90);
});

for (const [width, height] of [[360, 740], [1920, 1080]]) {
  for (const colorScheme of ['light', 'dark']) {
    test(`it fits ${width} pixels, and is accessible there in ${colorScheme}`, async (t) => {
      const page = await open(t, '', {width, height, colorScheme, expected: /404/});
      for (const hash of ['', '#attic', '#yard@2026-03-10T10:00:30Z']) {
        await page.goto(server.url + hash);
        if (hash.includes('@')) await waitForPicture(page, 30);
        for (const summary of await page.locator('summary:visible').all()) await summary.click();
        const wide = await page.evaluate(() => [...document.querySelectorAll('body *')].filter((one) => {
          const box = one.getBoundingClientRect();
          return box.width > 2 && !one.closest('.timeline') && (box.right > innerWidth + 1 || box.left < 0) && !one.matches('.skip');
        }).map((one) => one.outerHTML.slice(0, 100)));
        assert.deepEqual(wide, []);
        assert.equal(await page.evaluate(() => document.documentElement.scrollWidth), width);
        const small = await page.locator('button:visible, a:visible, input:visible, select:visible').evaluateAll((list) => list
          .filter((one) => Math.min(one.offsetHeight, one.offsetWidth) < 18).map((one) => one.outerHTML.slice(0, 100)));
        assert.deepEqual(small, []);
        await page.evaluate(axe);
        const {violations} = await page.evaluate(() => axe.run());
        assert.deepEqual(violations.map(({id, nodes}) => [id, nodes.map(({html, failureSummary}) => `${html} ${failureSummary}`)]), []);
      }
    });
  }
}
