// A folder of recordings as `k2r serve` keeps them: ROOT/STREAM/BEGIN. The pictures say which second they belong to.

import {execFileSync, spawn} from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';

const kBits = 8;
/** When the recordings of "yard" begin. Its pictures count the seconds from here. */
export const kBegin = Date.parse('2026-03-10T10:00:00Z');

/** `2026-03-10T10:00:00.000Z` as `20260310T100000.000Z` */
export const recordingName = (ms) => new Date(ms).toISOString().replace(/[-:]/g, '');

/** A clip of `seconds`, whose lower quarter has white fields for the bits of the second, counted from `from`. */
function makeClip(file, from, seconds, size = '320x180') {
  const bits = Array.from({length: kBits}, (_, i) =>
    `drawbox=x=iw*${i}/${kBits}:y=ih*3/4:w=iw/${kBits}:h=ih/4:color=white:t=fill:enable='mod(floor((t+${from})/${2 ** i}),2)'`);
  execFileSync('ffmpeg', [
    '-v', 'error', '-y', '-f', 'lavfi', '-i', `testsrc2=size=${size}:rate=10:duration=${seconds}`, '-f', 'lavfi',
    // Sound before the first key frame after a gap would be stored with what was before it.
    '-itsoffset', '0.1', '-i', `sine=frequency=440:sample_rate=44100:duration=${seconds}`, '-vf',
    ['drawbox=x=0:y=ih*3/4:w=iw:h=ih/4:color=black:t=fill', ...bits].join(','), '-c:v', 'libx264', '-preset', 'ultrafast',
    '-g', '10', '-pix_fmt', 'yuv420p', '-c:a', 'aac', '-output_ts_offset', String(from), file]);
}

/** The second that a picture shows; runs in the page. */
export function secondShown(video) {
  const canvas = document.createElement('canvas');
  canvas.width = 160;
  canvas.height = 90;
  const context = canvas.getContext('2d');
  context.drawImage(video, 0, 0, canvas.width, canvas.height);
  const isWhite = (bit) => context.getImageData(160 * (bit + 0.5) / 8, 79, 1, 1).data[1] > 128;
  const above = context.getImageData(0, 0, 160, 60).data;
  const brightness = above.filter((_, i) => i % 4 !== 3);
  const mean = brightness.reduce((sum, value) => sum + value, 0) / brightness.length;
  return {second: Array.from({length: 8}, (_, bit) => isWhite(bit) * 2 ** bit).reduce((a, b) => a + b), mean};
}

const settings = ['--quiet', '--durability', 'process', '--set', 'Recording/FragmentDuration=2000'];

function record(k2r, root, stream, begin, clips) {
  const input = path.join(root, '..', 'input.ts');
  fs.writeFileSync(input, Buffer.concat(clips.map((clip) => fs.readFileSync(clip))));
  execFileSync(k2r, ['record', input, '--out', path.join(root, stream, recordingName(begin)), ...settings]);
}

/**
 * Records into `root`: "yard", in seconds from kBegin: 0 to 40, a gap, 70 to 120 (one recording), 120 to 160 (the next),
 * then nothing until 3600 to 3620.
 */
export function makeRecordings(k2r, root) {
  fs.mkdirSync(root, {recursive: true});
  const clip = (from, seconds) => {
    const file = path.join(root, '..', `${from}.ts`);
    makeClip(file, from, seconds);
    return file;
  };
  record(k2r, root, 'yard', kBegin, [clip(0, 40), clip(70, 50)]);
  record(k2r, root, 'yard', kBegin + 120000, [clip(120, 40)]);
  record(k2r, root, 'yard', kBegin + 3600000, [clip(3600, 20)]);
}

/** Sends `file` in real time to whoever connects to the port first, as long as the returned process runs. */
export function sendLive(file, port) {
  return spawn('ffmpeg', ['-v', 'error', '-re', '-i', file, '-c', 'copy', '-f', 'mpegts', `tcp://127.0.0.1:${port}?listen=1`],
               {stdio: 'ignore'});
}

/** Two minutes whose pictures say their second. */
export function makeLiveClip(folder) {
  const file = path.join(folder, 'live.ts');
  makeClip(file, 0, 120);
  return file;
}
