// The marks of a time line.

import * as clock from './clock.js';

const kSecond = 1000, kMinute = 60 * kSecond, kHour = 60 * kMinute;
const kSteps = [kSecond, 2 * kSecond, 5 * kSecond, 10 * kSecond, 30 * kSecond, kMinute, 2 * kMinute, 5 * kMinute,
                10 * kMinute, 30 * kMinute, kHour, 2 * kHour, 3 * kHour, 6 * kHour, 12 * kHour];
const kLabelWidth = 64;

/** The smallest round distance of which at most `count` fit into [from, to). */
export function roundStep(from, to, count) {
  return kSteps.find((step) => (to - from) / step <= count) ?? kSteps.at(-1);
}

/** Marks with their labels, `at` being their time; round in our zone, also on a day when it changes. */
export function marks({from, to}, width) {
  const step = roundStep(from, to, Math.max(2, width / kLabelWidth));
  const found = [];
  let ahead = clock.offset(from);
  for (let local = Math.ceil((from + ahead) / step) * step; ; local += step) {
    ahead = clock.offset(local - ahead);
    const at = local - ahead;
    if (at >= to) return found;
    // A time that clocks skip in spring has no mark.
    if (clock.offset(at) === ahead && at >= from) found.push({at, label: step < kMinute ? clock.time(at) : clock.minute(at)});
  }
}
