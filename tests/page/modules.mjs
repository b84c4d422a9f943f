// The reckoning of the page, without a browser.

import assert from 'node:assert/strict';
import test from 'node:test';

process.env.TZ = 'Europe/Berlin';
const clock = await import('../../web/clock.js');
const {coverage, firstFrom, inWords, recordedWithin} = await import('../../web/coverage.js');
const {marks} = await import('../../web/scale.js');
const timeMap = await import('../../web/timeMap.js');

test('a day is as long as the zone makes it, and its marks are round', () => {
  const rows = [['2026-03-29', 23, ['00:00', '03:00', '06:00']], ['2026-10-25', 25, ['00:00', '03:00', '06:00']],
                ['2026-07-01', 24, ['00:00', '03:00', '06:00']]];
  for (const [date, hours, labels] of rows) {
    const day = clock.dayOf(clock.parse(`${date} 12:00`));
    assert.equal((day.to - day.from) / 3600000, hours, date);
    assert.deepEqual(marks(day, 576).slice(0, 3).map(({label}) => label), labels, date);
  }
  const spring = clock.parse('2026-03-29 01:00');
  assert.deepEqual(marks({from: spring, to: spring + 7200000}, 256).map(({label}) => label), ['01:00', '01:30', '03:00', '03:30']);
});

test('times are read as they are written', () => {
  const ms = Date.parse('2026-11-25T13:03:20.500Z');
  assert.equal(clock.exact(ms), '2026-11-25 14:03:20.500');
  assert.equal(clock.parse(clock.exact(ms)), ms);
  for (const text of ['', 'noon', '2026-13-01 10:00', '2026-11-25', '14:03']) assert.ok(Number.isNaN(clock.parse(text)), text);
  const durations = [[400, '0.4 s'], [59999, '1 min'], [3600000, '1 h'], [3661000, '1 h 1 min'], [90061000, '1 d 1 h']];
  for (const [length, text] of durations) assert.equal(clock.duration(length), text);
});

test('media time leaves gaps out, the time of day does not', () => {
  const day = Date.parse('2026-03-10T10:00:00Z');
  const fragment = (start, date) => ({start, duration: 2, rawProgramDateTime: date && new Date(date).toISOString()});
  const list = timeMap.pieces([fragment(5, day), fragment(7), fragment(9, day + 60000), fragment(11)]);
  const rows = [[5, 0], [8.5, 3500], [9, 60000], [12.5, 63500]];
  for (const [media, wall] of rows) {
    assert.equal(timeMap.toWall(list, media), day + wall);
    assert.equal(timeMap.toMedia(list, day + wall), media);
  }
  assert.equal(timeMap.toMedia(list, day + 30000), 9, 'in the gap');
  assert.equal(timeMap.toMedia(list, day - 1), null);
  assert.equal(timeMap.toMedia(list, day + 64000), null);
  assert.equal(timeMap.toWall(list, 99), day + 64000);
  assert.ok(Number.isNaN(timeMap.toWall([], 1)));
});

test('what is recorded is said as it is', () => {
  const at = (time) => Date.parse(`2026-03-10T${time}Z`);
  const recording = (name, state, begin, end, ...gaps) => ({
    name, state, begin: at(begin), end: at(end), gaps: gaps.map(([from, to]) => ({begin: at(from), end: at(to)}))});
  const all = coverage([
    recording('a', 'finished', '09:00:00', '10:00:00', ['09:30:00', '09:35:00']),
    recording('b', 'damaged', '10:00:00', '10:10:00'),
    recording('c', 'recording', '11:00:00', '11:30:00')]);
  assert.deepEqual(inWords(all, at('00:00:00'), at('23:00:00')), [
    'Recorded 10:00:00 to 10:30:00.', 'Gap for 5 min from 10:30:00.', 'Recorded 10:35:00 to 11:10:00.',
    'This recording is damaged.', 'Nothing recorded for 50 min from 11:10:00.', 'Recorded 12:00:00 to 12:30:00, and continuing.']);
  assert.deepEqual(inWords(all, at('03:00:00'), at('04:00:00')), ['Nothing is recorded.']);
  assert.equal(firstFrom(all, at('09:32:00')), at('09:35:00'));
  assert.equal(firstFrom(all, at('10:05:00')), at('11:00:00'), 'what is damaged is not played');
  assert.equal(firstFrom(all, at('11:30:00')), undefined);
  assert.equal(recordedWithin(all, at('09:20:00'), at('09:40:00')), 15 * 60000);
});
