// What the server knows and does. All addresses are relative to the page, so that a proxy may put it below any prefix.

/** A request that failed, with a text for people. `status` is 0 where no answer came. */
export class ApiError extends Error {
  constructor(status, text) {
    super(text);
    this.status = status;
  }
}

let skewMs = 0;

/** Now by the server's clock, in milliseconds since 1970-01-01 UTC: what is recorded carries its times. */
export const now = () => Date.now() + skewMs;

function noteClock(response) {
  const date = Date.parse(response.headers.get('Date'));
  const skew = date - Date.now();
  // The header has whole seconds: below two, nothing is known.
  if (Number.isFinite(skew)) skewMs = Math.abs(skew) < 2000 ? 0 : skew;
}

/** "nothing is recorded there" as a sentence. */
const sentence = (text) => `${text[0].toUpperCase()}${text.slice(1)}${/[.!?]$/.test(text) ? '' : '.'}`;

async function errorText(response) {
  if (response.status === 401) return 'This needs the token of the server.';
  try {
    const {error} = await response.json();
    if (error) return sentence(error);
  } catch {
    // Not from the program itself: a proxy's page, say.
  }
  return `The server answered with status ${response.status}.`;
}

async function request(address, options = {}) {
  let response;
  try {
    response = await fetch(address, {cache: 'no-store', ...options});
  } catch (error) {
    if (error.name === 'AbortError') throw error;
    throw new ApiError(0, 'The server does not answer.');
  }
  noteClock(response);
  if (!response.ok) throw new ApiError(response.status, await errorText(response));
  return response;
}

const json = async (address, options) => (await request(address, options)).json();

/** "2026-11-25T14:03:20Z", with a fraction where there is one. */
export const timeText = (ms) => new Date(ms).toISOString().replace('.000Z', 'Z');

/** "?start=2026-11-25T14:03:20Z&limit=1"; times are numbers, and what is undefined or null is left out. */
function query({start, end, at, ...others}) {
  const times = Object.entries({start, end, at}).filter(([, ms]) => Number.isFinite(ms)).map(([name, ms]) => [name, timeText(ms)]);
  const rest = Object.entries(others).filter(([, value]) => value !== undefined && value !== null);
  const text = new URLSearchParams([...times, ...rest]).toString().replaceAll('%3A', ':');
  return text && `?${text}`;
}

const streamAddress = (name) => `v1/streams/${encodeURIComponent(name)}`;
const milliseconds = (text) => (text ? Date.parse(text) : NaN);
const span = ({begin, end}) => ({begin: milliseconds(begin), end: milliseconds(end)});

/** The streams, sorted by name; times in milliseconds. */
export async function streams() {
  const {streams: list} = await json('v1/streams');
  return list.map((stream) => ({
    ...stream, since: milliseconds(stream.since),
    lastError: stream.lastError && {text: stream.lastError.text, time: milliseconds(stream.lastError.time)}}));
}

/** The recordings of a stream with any time in [start, end), by rising begin; at most `limit` if one is given. */
export async function recordings(name, start, end, {limit, signal} = {}) {
  const all = [];
  for (let after; ;) {
    const page = await json(`${streamAddress(name)}/recordings${query({start, end, limit, after})}`, {signal});
    all.push(...page.recordings.map((recording) => ({
      ...recording, ...span(recording), gaps: (recording.gaps ?? []).map(span)})));
    after = page.next;
    if (!after || (limit && all.length >= limit)) return all;
  }
}

/** `action` is "start", "stop" or "rotate". */
export const control = (name, action) => request(`${streamAddress(name)}/${action}`, {method: 'POST'});

export const playlistAddress = (name, start, end) => `${streamAddress(name)}/index.m3u8${query({start, end})}`;
export const exportAddress = (name, start, end) => `${streamAddress(name)}/export.mp4${query({start, end})}`;
export const snapshotAddress = (name, at) => `${streamAddress(name)}/snapshot.jpg${query({at})}`;

/** Why an address gives nothing, in words; nothing if it works. Reads its first byte at most. */
export async function problemOf(address) {
  const stop = new AbortController();
  try {
    await request(address, {headers: {Range: 'bytes=0-0'}, signal: stop.signal});
    return null;
  } catch (error) {
    return error.message;
  } finally {
    stop.abort();
  }
}
