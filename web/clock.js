// Times as people read them: in the browser's zone, or in UTC. Everywhere else a time is a number, in milliseconds since
// 1970-01-01 UTC.

const kStored = 'k2r.utc';
let utc = read() === 'true';

function read() {
  try {
    return localStorage.getItem(kStored);
  } catch {
    return null;  // Storage is switched off.
  }
}

export const isUtc = () => utc;

export function setUtc(value) {
  utc = value;
  try {
    localStorage.setItem(kStored, value);
  } catch {
    // It is forgotten with the page.
  }
}

/** How far the zone is ahead of UTC at a time, in milliseconds. */
export const offset = (ms) => (utc ? 0 : -new Date(ms).getTimezoneOffset() * 60000);

/** The time as ISO 8601 writes it, in our zone: all texts are cut from this one. */
const iso = (ms) => new Date(ms + offset(ms)).toISOString();

/** "2026-11-25", as date fields have it. */
export const date = (ms) => iso(ms).slice(0, 10);
/** "14:03:20" */
export const time = (ms) => iso(ms).slice(11, 19);
/** "14:03" */
export const minute = (ms) => iso(ms).slice(11, 16);
/** "2026-11-25 14:03:20.500", without the fraction where there is none. */
export const exact = (ms) => iso(ms).slice(0, 23).replace('T', ' ').replace(/\.000$/, '');
/** "Wed 25 Nov 2026" */
export const longDate = (ms) => new Date(ms + offset(ms)).toUTCString().slice(0, 16).replace(',', '');
/** "UTC", "GMT+1" */
export const zone = (ms) => (utc ? 'UTC' : new Intl.DateTimeFormat('en', {timeZoneName: 'short'})
    .formatToParts(ms).find(({type}) => type === 'timeZoneName').value);

/** Reads what exact() writes, or less of it down to "2026-11-25 14:03", in our zone; NaN where it is no time. */
export function parse(text) {
  const isTime = /^\d{4}-\d\d-\d\d[ T]\d\d:\d\d(:\d\d(\.\d{1,3})?)?$/.test(text.trim());
  return isTime ? Date.parse(`${text.trim().replace(' ', 'T')}${utc ? 'Z' : ''}`) : NaN;
}

/** The day that has a time: 23 to 25 hours long. */
export function dayOf(ms) {
  const next = new Date(`${date(ms)}T00:00Z`);
  next.setUTCDate(next.getUTCDate() + 1);
  return {from: parse(`${date(ms)}T00:00`), to: parse(`${next.toISOString().slice(0, 10)}T00:00`)};
}

/** "1 h 5 min", "40 s", "0.5 s": the two greatest units. */
export function duration(ms) {
  if (ms < 10000) return `${Math.round(ms / 100) / 10} s`;
  const units = [['d', 86400], ['h', 3600], ['min', 60], ['s', 1]];
  let rest = Math.round(ms / 1000);
  const parts = units.map(([unit, size]) => {
    const count = Math.floor(rest / size);
    rest -= count * size;
    return count && `${count} ${unit}`;
  });
  const first = parts.findIndex(Boolean);
  return parts.slice(first, first + 2).filter(Boolean).join(' ');
}

/** "1.4 GiB" */
export function bytes(count) {
  const units = ['B', 'KiB', 'MiB', 'GiB', 'TiB', 'PiB'];
  const power = Math.min(units.length - 1, Math.floor(Math.log2(Math.max(1, count)) / 10));
  const value = count / 1024 ** power;
  return `${power === 0 || value >= 100 ? Math.round(value) : value.toFixed(1)} ${units[power]}`;
}

/** "2.4 Mbit/s" */
export function rate(bytesPerSecond) {
  const bits = bytesPerSecond * 8;
  return bits >= 1e6 ? `${(bits / 1e6).toFixed(1)} Mbit/s` : `${Math.round(bits / 1e3)} kbit/s`;
}
