// What an independent parser makes of the files: an exported MP4, and the segments of a clear recording and of a
// protected one.
//
//     K2R=build/release/bin/k2r node --test mp4.mjs

import assert from 'node:assert/strict';
import {execFileSync} from 'node:child_process';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import test, {after, before} from 'node:test';

import {createFile} from 'mp4box';

const k2r = process.env.K2R;
const work = fs.mkdtempSync(path.join(os.tmpdir(), 'k2r-mp4-'));
const clip = path.join(work, 'clip.mp4');

before(() => {
  execFileSync('ffmpeg', [
    '-v', 'error', '-f', 'lavfi', '-i', 'testsrc2=size=320x180:rate=25:duration=10', '-f', 'lavfi', '-i',
    'sine=frequency=440:sample_rate=44100:duration=10', '-c:v', 'libx264', '-preset', 'ultrafast', '-bf', '2',
    '-b_strategy', '0', '-g', '50', '-pix_fmt', 'yuv420p', '-c:a', 'aac', clip]);
});

after(() => fs.rmSync(work, {recursive: true, force: true}));

/** Parses a whole file. Fails on anything that the parser complains of. */
function parse(name) {
  const file = createFile();
  file.onError = (module, message) => assert.fail(`${module}: ${message}`);
  const bytes = fs.readFileSync(path.join(work, name));
  const buffer = bytes.buffer.slice(bytes.byteOffset, bytes.byteOffset + bytes.byteLength);
  buffer.fileStart = 0;
  file.appendBuffer(buffer);
  file.flush();
  return file;
}

const codecs = (file) => file.getInfo().tracks.map((track) => track.codec);
const samples = (file, id) => file.getTrackById(id).samples;

test('an exported MP4 has all frames', () => {
  execFileSync(k2r, ['record', clip, '--out', path.join(work, 'cam1'), '--quiet']);
  execFileSync(k2r, ['export', path.join(work, 'cam1'), '--out', path.join(work, 'out.mp4')]);
  const file = parse('out.mp4');
  const [video, audio] = file.getInfo().tracks;
  assert.match(video.codec, /^avc1/);
  assert.match(audio.codec, /^mp4a\.40\.2/);
  assert.equal(video.nb_samples, 250);
  assert.equal(video.video.width, 320);
  assert.equal(audio.audio.sample_rate, 44100);
});

test('a segment has its samples in its fragments', () => {
  const file = parse('cam1/cam1Seg1.k2r');
  assert.match(codecs(file)[0], /^avc1/);
  assert.equal(samples(file, 1).length, 250);
  assert.equal(file.moofs.length, 3);
  for (let i = 1; i < 250; ++i) assert.equal(samples(file, 1)[i].dts - samples(file, 1)[i - 1].dts, 40);
});

test('a protected segment names its scheme', () => {
  execFileSync(k2r, ['keys', 'new', path.join(work, 'keys')]);
  execFileSync(k2r, ['record', clip, '--out', path.join(work, 'cam2'), '--quiet', '--config',
                     path.join(work, 'keys', 'recording.conf')]);
  const file = parse('cam2/cam2Seg1.k2r');
  for (const [id, entryType, clearType] of [[1, 'encv', 'H264'], [2, 'enca', 'mp4a']]) {
    const entry = file.getTrackById(id).mdia.minf.stbl.stsd.entries[0];
    assert.equal(entry.type, entryType);
    const sinf = entry.boxes.find((box) => box.type === 'sinf');
    const inner = (type) => sinf.boxes.find((box) => box.type === type);
    assert.deepEqual(sinf.boxes.map((box) => box.type), ['frma', 'schm', 'schi']);
    assert.equal(inner('schm').scheme_type, 'adkm');
    assert.equal(inner('frma').data_format, clearType);
  }
  assert.equal(samples(file, 1).length, 250);
});
