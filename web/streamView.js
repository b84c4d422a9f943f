// One stream: its player, its time line, and what is recorded on the day that is shown.

import * as api from './api.js';
import * as clock from './clock.js';
import {coverage, firstFrom, inWords} from './coverage.js';
import {byId, setText, showError} from './dom.js';
import {ExportPanel} from './exportPanel.js';
import {Player} from './player.js';
import {RecordingList} from './recordingList.js';
import {factsOf, showState, sinceWords} from './streamList.js';
import {Timeline} from './timeline.js';

const kHourMs = 3600000;
const kLeastProgressMs = 1000;

const kNothing = {stretches: [], holes: []};

const errorTime = (ms) => (Number.isFinite(ms) ? `, ${clock.longDate(ms)} ${clock.time(ms)}` : '');

export class StreamView {
  #name = null;
  #stream = null;
  /** The days that are loaded: {from, to}. */
  #loaded = null;
  #recordings = [];
  #coverage = kNothing;
  #loading = null;
  #isFirstLoad = true;
  /** Where a playlist ended last. */
  #continuedAt = NaN;
  #events;
  #timeline = new Timeline(byId('timeline'), {
    play: (ms) => this.#play(ms), span: (span) => this.#panel.show(span), view: () => this.#viewed()});
  #panel = new ExportPanel({
    span: (span) => { this.#timeline.span = span; }, position: () => this.#player.wall});
  #list = new RecordingList(byId('recordings'), {
    play: (ms) => this.#play(ms), span: (span) => { this.#timeline.span = span; this.#panel.show(span); }});
  #player = new Player(byId('video'), {
    position: () => this.#positionChanged(), message: (text) => setText(byId('message'), text),
    ended: (wall) => this.#continue(wall)});

  /** `events`: changed() after a control has changed the stream; problem(error) for what failed. */
  constructor(events) {
    this.#events = events;
    for (const action of ['start', 'stop', 'rotate']) {
      byId(action).addEventListener('click', () => this.#control(action));
    }
    byId('live').addEventListener('click', () => this.#live());
    byId('back10').addEventListener('click', () => this.#skip(-10000));
    byId('forward10').addEventListener('click', () => this.#skip(10000));
    byId('previous').addEventListener('click', () => this.#showDay(clock.dayOf(this.#timeline.view.from).from - 1));
    byId('next').addEventListener('click', () => this.#showDay(clock.dayOf(this.#timeline.view.from).to));
    byId('date').addEventListener('change', ({target}) => target.value && this.#showDay(clock.parse(`${target.value}T00:00`)));
    byId('hour').addEventListener('change', ({target}) => this.#showHour(target.value));
    byId('zoom-in').addEventListener('click', () => this.#timeline.zoom(0.5));
    byId('zoom-out').addEventListener('click', () => this.#timeline.zoom(2));
    byId('mark').addEventListener('click', ({target}) => {
      this.#timeline.marking = !this.#timeline.marking;
      target.setAttribute('aria-pressed', this.#timeline.marking);
    });
  }

  /** Opens a stream at a time; live, if `at` is nothing. */
  open(name, at) {
    if (this.#name === name && !at) return;
    const isSame = this.#name === name;
    this.#name = name;
    this.#stream = null;
    setText(byId('name'), name);
    if (!isSame) {
      this.#forget();
      this.#panel.open(name);
      this.#timeline.span = null;
    }
    this.#showDay(at ?? api.now());
    if (at) this.#play(at);
    else if (matchMedia('(prefers-reduced-motion: reduce)').matches) {
      this.#player.stop();
      setText(byId('message'), 'Press Live to see the stream.');
    } else this.#live();
  }

  close() {
    this.#name = null;
    this.#player.stop();
    this.#forget();
  }

  #forget() {
    this.#loading?.abort();
    this.#loading = null;
    this.#loaded = null;
    this.#recordings = [];
    this.#isFirstLoad = true;
    this.#timeline.position = NaN;
    this.#use([]);
  }

  /** What the list of streams says of this one; nothing if it is not there any more. */
  update(stream) {
    this.#stream = stream;
    showState(byId('state'), stream?.state ?? 'not configured');
    setText(byId('facts'), stream ? [sinceWords(stream.since), factsOf(stream), stream.source].filter(Boolean).join(' · ') : '');
    const error = stream?.lastError;
    byId('error').hidden = !error;
    if (error) setText(byId('error'), `Last error${errorTime(error.time)}: ${error.text}`);
    byId('start').disabled = !stream || stream.state !== 'stopped';
    byId('stop').disabled = !stream || stream.state === 'stopped';
    byId('rotate').disabled = stream?.state !== 'recording';
    this.#timeline.now = api.now();
    // One request at a time: a slow server gets to its end.
    if (!this.#loading && (!this.#loaded || this.#mayGrow)) this.#load(this.#loaded ?? this.#daysShown);
  }

  get #mayGrow() {
    if (this.#loaded.from > api.now()) return false;
    return this.#stream?.state === 'recording' || this.#recordings.some(({state}) => state !== 'finished');
  }

  get #daysShown() {
    const {from, to} = this.#timeline.view;
    return {from: clock.dayOf(from).from, to: clock.dayOf(to - 1).to};
  }

  /** Writes all times anew after a change of the zone. */
  refresh() {
    if (!this.#name) return;
    this.#panel.refresh();
    this.#showDay(this.#timeline.view.from);
    this.#use(this.#recordings);
    this.#positionChanged();
  }

  // Playing.

  #live() {
    history.replaceState(null, '', `#${this.#name}`);
    this.#player.live(this.#name);
    this.#say(`Playing ${this.#name} live.`);
    this.#positionChanged();
  }

  async #play(ms) {
    const name = this.#name;
    const isLoaded = this.#loaded && ms >= this.#loaded.from && ms < this.#loaded.to;
    let at = isLoaded ? firstFrom(this.#coverage, ms) : undefined;
    try {
      at ??= firstFrom(await this.#recordedFrom(ms), ms);
    } catch (error) {
      return showError(byId('message'), error);
    }
    if (name !== this.#name) return;
    if (at === undefined) return this.#say(`Nothing is recorded from ${clock.time(ms)} on.`, true);
    this.#say(`${at - ms > 1000 ? `Nothing is recorded at ${clock.time(ms)}. ` : ''}Playing from ${clock.time(at)}, ${
      clock.longDate(at)}.`);
    // A link to what is seen.
    history.replaceState(null, '', `#${this.#name}@${api.timeText(at)}`);
    this.#player.from(this.#name, at);
  }

  /** The next recordings: a few, for those that are damaged. */
  async #recordedFrom(ms) {
    return coverage(await api.recordings(this.#name, ms, undefined, {limit: 20}));
  }

  /** At the end of a playlist: the next one, or live where nothing more is recorded yet. */
  async #continue(wall) {
    const name = this.#name;
    const found = await this.#recordedFrom(wall).catch(() => kNothing);
    if (name !== this.#name) return;
    // The list of recordings may say a little more than there is to play. That would be asked for again and again.
    const isStuck = Math.abs(wall - this.#continuedAt) < kLeastProgressMs;
    this.#continuedAt = wall;
    const stretches = found.stretches.filter(({begin, end}) => (isStuck ? begin > wall : end > wall + kLeastProgressMs));
    const next = firstFrom({stretches}, wall);
    if (next !== undefined) return this.#player.open(name, next);
    if (this.#stream?.state === 'recording') return this.#live();
    this.#say('This is the end of what is recorded.', true);
  }

  #skip(ms) {
    const at = Number.isFinite(this.#player.wall) ? this.#player.wall : api.now();
    this.#play(at + ms);
  }

  #say(text, isMessage = false) {
    setText(byId('spoken'), text);
    if (isMessage) setText(byId('message'), text);
  }

  #positionChanged() {
    const wall = this.#player.wall;
    this.#timeline.position = wall;
    byId('live').setAttribute('aria-pressed', this.#player.isLive);
    const address = this.#player.address ?? api.playlistAddress(this.#name ?? '');
    byId('playlist').href = address;
    setText(byId('playlist'), address.replace(/^.*\//, ''));
    if (!Number.isFinite(wall)) return setText(byId('position'), '');
    const behind = api.now() - wall;
    const live = this.#player.isLive ? ` · live, ${clock.duration(Math.max(0, Math.round(behind / 1000) * 1000))} behind` : '';
    setText(byId('position'), `${clock.time(wall)} · ${clock.longDate(wall)} · ${clock.zone(wall)}${live}`);
  }

  async #control(action) {
    if (action === 'stop' && !confirm(`Stop recording ${this.#name}? Nothing is recorded until it is started again.`)) return;
    const words = {start: 'Starting.', stop: 'Stopping.', rotate: 'A new recording begins at the next key frame.'};
    try {
      await api.control(this.#name, action);
      this.#say(words[action], true);
      this.#events.changed();
    } catch (error) {
      showError(byId('message'), error);
    }
  }

  // The day.

  #showDay(ms) {
    const {from, to} = clock.dayOf(ms);
    this.#timeline.show(from, to - from);
  }

  #showHour(text) {
    if (text === '') return this.#showDay(this.#timeline.view.from);
    this.#timeline.show(Number(text), kHourMs);
  }

  #viewed() {
    const {from, to} = this.#timeline.view;
    const middle = (from + to) / 2;
    byId('date').value = clock.date(middle);
    this.#fillHours(middle);
    const isDay = clock.dayOf(from).to === to;
    setText(byId('view'), isDay ? `${clock.longDate(from)} · times in ${clock.zone(from)}`
      : `${clock.time(from)} to ${clock.time(to)} · ${clock.longDate(middle)} · ${clock.zone(middle)}`);
    this.#fillWords();
    if (!this.#name) return;
    if (!this.#loaded || from < this.#loaded.from || to > this.#loaded.to) {
      this.#load(this.#daysShown);
    }
  }

  /** The hours of the day, with those that have something. */
  #fillHours(ms) {
    const {from, to} = clock.dayOf(ms);
    const has = (at) => this.#coverage.stretches.some(({begin, end}) => begin < at + kHourMs && end > at);
    const options = [['', 'Whole day']];
    for (let at = from; at < to; at += kHourMs) options.push([String(at), `${clock.minute(at)}${has(at) ? ' · recorded' : ''}`]);
    const hour = byId('hour');
    const shown = this.#timeline.view;
    const selected = shown.to - shown.from === kHourMs ? String(shown.from) : '';
    if (hour.options.length !== options.length || options.some(([value, text], i) =>
      hour.options[i].value !== value || hour.options[i].text !== text)) {
      hour.replaceChildren(...options.map(([value, text]) => new Option(text, value)));
    }
    hour.value = options.some(([value]) => value === selected) ? selected : '';
  }

  async #load(days) {
    this.#loading?.abort();
    this.#loaded = days;
    const loading = this.#loading = new AbortController();
    try {
      const list = await api.recordings(this.#name, days.from, days.to, {signal: loading.signal});
      if (loading.signal.aborted) return;
      this.#use(list);
      if (this.#isFirstLoad && list.length > 0) this.#speakDay();
      this.#isFirstLoad = false;
    } catch (error) {
      if (loading.signal.aborted) return;
      this.#loaded = null;
      this.#events.problem(error);
    } finally {
      if (this.#loading === loading) this.#loading = null;
    }
  }

  #speakDay() {
    const {from, to} = this.#timeline.view;
    const words = inWords(this.#coverage, from, to);
    this.#say(`${clock.longDate((from + to) / 2)}: ${words.slice(0, 3).join(' ')}${words.length > 3 ? ' More in words below the time line.' : ''}`);
  }

  #use(recordings) {
    this.#recordings = recordings;
    this.#coverage = coverage(recordings);
    this.#timeline.coverage = this.#coverage;
    this.#panel.coverage = this.#coverage;
    this.#fillHours((this.#timeline.view.from + this.#timeline.view.to) / 2);
    this.#fillWords();
    this.#list.show(recordings);
  }

  #fillWords() {
    const {from, to} = this.#timeline.view;
    setText(byId('words'), inWords(this.#coverage, from, to).join(' '));
  }
}
