// What is recorded of a stretch of time, from the list of recordings: for drawing, for playing and in words.

import * as clock from './clock.js';

/** Recordings that touch within this many milliseconds are one stretch to people. */
const kSeamMs = 1000;
const kMostWords = 40;

/** The parts of one recording in which it has media. */
function stretchesOf(recording) {
  const starts = [recording.begin, ...recording.gaps.map((gap) => gap.end)];
  const ends = [...recording.gaps.map((gap) => gap.begin), recording.end];
  return starts.map((begin, i) => ({begin, end: ends[i], kind: recording.state, name: recording.name}))
      .filter(({begin, end}) => end > begin);
}

/**
 * What recordings, by rising begin, have and lack:
 * `stretches` with media, of the kind that their recording's state is; and `holes` between them, of the kind "gap" where
 * a recording goes on across, "break" between two recordings.
 */
export function coverage(recordings) {
  const stretches = recordings.flatMap(stretchesOf).sort((a, b) => a.begin - b.begin);
  const holes = [];
  let last = null;
  for (const stretch of stretches) {
    const isGap = last?.name === stretch.name;
    if (last && stretch.begin - last.end > (isGap ? 0 : kSeamMs)) {
      holes.push({begin: last.end, end: stretch.begin, kind: isGap ? 'gap' : 'break'});
    }
    if (!last || stretch.end > last.end) last = stretch;
  }
  return {stretches, holes};
}

/** The first moment from `ms` on that can be played; nothing if there is none. */
export function firstFrom({stretches}, ms) {
  const found = stretches.find(({end, kind}) => end > ms && kind !== 'damaged');
  return found && Math.max(found.begin, ms);
}

/** How much of [begin, end) is recorded, in milliseconds. */
export function recordedWithin({stretches}, begin, end) {
  return stretches.reduce((sum, stretch) =>
    sum + Math.max(0, Math.min(end, stretch.end) - Math.max(begin, stretch.begin)), 0);
}

/** What there is at a moment: "recorded", "gap", "not recorded". */
export function wordAt({stretches, holes}, ms) {
  const has = ({begin, end}) => begin <= ms && ms < end;
  if (stretches.some(has)) return 'recorded';
  return holes.find(has)?.kind === 'gap' ? 'gap' : 'not recorded';
}

/** The sentences that say what [from, to) has: "Recorded 10:00:00 to 10:40:00.", "Gap of 5 min from 10:40:00." */
export function inWords({stretches, holes}, from, to) {
  const inside = ({begin, end}) => end > from && begin < to;
  const holeAt = new Map(holes.map((hole) => [hole.begin, hole]));
  const sentences = [];
  let begin = null;
  const shown = stretches.filter(inside);
  for (const [i, stretch] of shown.entries()) {
    begin ??= stretch.begin;
    const hole = stretch.end < to ? holeAt.get(stretch.end) : undefined;
    const next = shown[i + 1];
    if (next && !hole) continue;  // A rotation: nothing is missing.
    const grows = stretch.kind === 'recording' && !next;
    sentences.push(`Recorded ${clock.time(begin)} to ${clock.time(stretch.end)}${grows ? ', and continuing' : ''}.`);
    if (stretch.kind === 'damaged') sentences.push('This recording is damaged.');
    if (stretch.kind === 'interrupted') sentences.push('This recording was interrupted.');
    if (hole) sentences.push(`${hole.kind === 'gap' ? 'Gap' : 'Nothing recorded'} for ${
      clock.duration(hole.end - hole.begin)} from ${clock.time(hole.begin)}.`);
    begin = null;
  }
  if (sentences.length === 0) return ['Nothing is recorded.'];
  if (sentences.length <= kMostWords) return sentences;
  return [...sentences.slice(0, kMostWords), `And ${sentences.length - kMostWords} more; zoom in to hear them.`];
}
