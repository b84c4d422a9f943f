// Between the time of day and the media time of a playlist. Gaps are left out of media time, and players differ in what
// they make of EXT-X-PROGRAM-DATE-TIME, so that the page counts from the tags itself.

/** From the fragments of hls.js: `media` and `length` in seconds, `wall` in milliseconds since 1970-01-01 UTC. */
export function pieces(fragments) {
  let wall = NaN;
  return fragments.map((fragment) => {
    if (fragment.rawProgramDateTime) wall = Date.parse(fragment.rawProgramDateTime);
    else if (Number.isNaN(wall)) wall = fragment.programDateTime ?? NaN;
    const piece = {media: fragment.start, length: fragment.duration, wall};
    wall += fragment.duration * 1000;
    return piece;
  });
}

function lastWhere(list, isBefore) {
  let low = 0, high = list.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (isBefore(list[middle])) low = middle + 1;
    else high = middle;
  }
  return low - 1;
}

/** The time of day of a media time; NaN where the playlist has none. */
export function toWall(list, media) {
  const piece = list[Math.max(0, lastWhere(list, (one) => one.media <= media))];
  if (!piece) return NaN;
  // Not into a gap: the last picture before it was taken before it.
  return piece.wall + Math.min(Math.max(0, media - piece.media), piece.length) * 1000;
}

/** The media time of a time of day, that after the gap where it is in one; nothing outside of the playlist. */
export function toMedia(list, wall) {
  const i = lastWhere(list, (one) => one.wall <= wall);
  if (i < 0) return null;
  const inside = (wall - list[i].wall) / 1000;
  if (inside < list[i].length) return list[i].media + inside;
  return list[i + 1]?.media ?? null;
}
