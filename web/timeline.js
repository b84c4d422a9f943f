// The time line: draws what is recorded of a stretch of time, and lets it be moved, zoomed, played and marked with mouse,
// touch and keyboard.

import * as clock from './clock.js';
import {wordAt} from './coverage.js';
import {element} from './dom.js';
import {marks, roundStep} from './scale.js';

const kShortestViewMs = 10000;
const kLongestViewMs = 25 * 3600000;
/** A pointer that moves less than this clicks. */
const kClickPixels = 5;

export class Timeline {
  #root;
  #events;
  #layers = {};
  #view = clock.dayOf(Date.now());
  #coverage = {stretches: [], holes: []};
  #position = NaN;
  #cursor = NaN;
  #span = null;
  #nowMs = NaN;
  #pointers = new Map();
  /** The gesture in progress: {kind, startX, view, moved, at}. */
  #gesture = null;
  /** Whether a drag marks a span instead of moving the line. */
  marking = false;

  /** `events`: play(ms), span({begin, end} or null), view({from, to}). */
  constructor(root, events) {
    this.#root = root;
    this.#events = events;
    for (const name of ['track', 'marks', 'span', 'now', 'cursor', 'position']) {
      this.#layers[name] = element('div', {className: name});
      root.append(this.#layers[name]);
    }
    root.addEventListener('wheel', (event) => this.#wheel(event), {passive: false});
    root.addEventListener('pointerdown', (event) => this.#down(event));
    root.addEventListener('pointermove', (event) => this.#move(event));
    for (const type of ['pointerup', 'pointercancel']) root.addEventListener(type, (event) => this.#up(event));
    root.addEventListener('keydown', (event) => this.#key(event));
    root.addEventListener('focus', () => this.#moveCursor(this.#anchor(), false));
    new ResizeObserver(() => this.#draw()).observe(root);
  }

  get view() { return this.#view; }

  set coverage(value) {
    this.#coverage = value;
    this.#draw();
  }
  set now(ms) {
    this.#nowMs = ms;
    this.#place(this.#layers.now, ms);
  }
  set span(value) {
    this.#span = value;
    this.#drawSpan();
  }

  /** The time of day of the picture. The view follows it over its edge. */
  set position(ms) {
    const wasSeen = this.#sees(this.#position);
    this.#position = ms;
    if (wasSeen && ms >= this.#view.to && ms < this.#view.to + this.#length && !this.#gesture) {
      this.show(ms - this.#length / 10, this.#length);
    }
    this.#place(this.#layers.position, ms);
  }

  /** Shows `length` milliseconds from `from` on. */
  show(from, length) {
    const size = Math.round(Math.min(kLongestViewMs, Math.max(kShortestViewMs, length)));
    this.#view = {from: Math.round(from), to: Math.round(from) + size};
    this.#draw();
    this.#events.view(this.#view);
  }

  /** Makes what is seen `factor` times as long; the time `at` keeps its place. */
  zoom(factor, at = this.#anchor()) {
    const length = Math.min(kLongestViewMs, Math.max(kShortestViewMs, this.#length * factor));
    this.show(at - (at - this.#view.from) * length / this.#length, length);
  }

  /** Moves by a part of what is seen. */
  pan(part) {
    this.show(this.#view.from + part * this.#length, this.#length);
  }

  get #length() { return this.#view.to - this.#view.from; }

  #sees(ms) { return ms >= this.#view.from && ms < this.#view.to; }

  /** What keyboard and buttons work around: the cursor, the picture, or the middle. */
  #anchor() {
    return [this.#cursor, this.#position].find((ms) => this.#sees(ms)) ?? (this.#view.from + this.#view.to) / 2;
  }

  #part(ms) { return (ms - this.#view.from) / this.#length; }

  #timeAt(clientX) {
    const box = this.#root.getBoundingClientRect();
    return this.#view.from + (clientX - box.left) / box.width * this.#length;
  }

  // Drawing.

  #place(layer, ms) {
    layer.hidden = !this.#sees(ms);
    layer.style.left = `${this.#part(ms) * 100}%`;
  }

  #bar({begin, end, kind}) {
    const left = Math.max(0, this.#part(begin)), right = Math.min(1, this.#part(end));
    const bar = element('div', {className: `bar ${kind}`, data: {begin: String(begin), end: String(end)}});
    bar.style.left = `${left * 100}%`;
    bar.style.width = `${(right - left) * 100}%`;
    return bar;
  }

  /** Those of a kind that would be closer than a pixel become one, so that a day of many costs no more than its width. */
  #visible(list) {
    const pixel = this.#length / Math.max(1, this.#root.clientWidth);
    const merged = [];
    for (const one of list) {
      if (one.end <= this.#view.from || one.begin >= this.#view.to) continue;
      const last = merged.at(-1);
      if (last && last.kind === one.kind && one.begin - last.end < pixel && one.end - last.begin < 3 * pixel) last.end = one.end;
      else merged.push({...one});
    }
    return merged;
  }

  #draw() {
    const {stretches, holes} = this.#coverage;
    this.#layers.track.replaceChildren(...[...this.#visible(stretches), ...this.#visible(holes)].map((one) => this.#bar(one)));
    this.#layers.marks.replaceChildren(...marks(this.#view, this.#root.clientWidth).map(({at, label}) => {
      const mark = element('span', {className: 'mark', textContent: label});
      mark.style.left = `${this.#part(at) * 100}%`;
      return mark;
    }));
    this.#place(this.#layers.position, this.#position);
    this.#place(this.#layers.now, this.#nowMs);
    this.#drawSpan();
    this.#drawCursor();
  }

  #drawSpan() {
    const layer = this.#layers.span;
    layer.hidden = !this.#span || this.#span.end <= this.#view.from || this.#span.begin >= this.#view.to;
    if (layer.hidden) return;
    const left = Math.max(0, this.#part(this.#span.begin)), right = Math.min(1, this.#part(this.#span.end));
    layer.style.left = `${left * 100}%`;
    layer.style.width = `${(right - left) * 100}%`;
  }

  #drawCursor() {
    this.#place(this.#layers.cursor, this.#cursor);
    const at = this.#anchor();
    const seconds = (ms) => String(Math.round(ms / 1000));
    this.#root.setAttribute('aria-valuemin', seconds(this.#view.from));
    this.#root.setAttribute('aria-valuemax', seconds(this.#view.to));
    this.#root.setAttribute('aria-valuenow', seconds(at));
    this.#root.setAttribute('aria-valuetext', `${clock.time(at)}, ${wordAt(this.#coverage, at)}`);
  }

  // Mouse and touch.

  #wheel(event) {
    if (event.ctrlKey && event.deltaY === 0) return;
    event.preventDefault();
    const isSideways = event.shiftKey || Math.abs(event.deltaX) > Math.abs(event.deltaY);
    if (isSideways) this.pan((event.deltaX || event.deltaY) / this.#root.clientWidth);
    else this.zoom(Math.exp(Math.max(-100, Math.min(100, event.deltaY)) / 300), this.#timeAt(event.clientX));
  }

  #down(event) {
    if (event.button !== 0) return;
    this.#root.setPointerCapture(event.pointerId);
    this.#pointers.set(event.pointerId, event.clientX);
    const kind = this.#pointers.size > 1 ? 'pinch' : this.marking || event.shiftKey ? 'mark' : 'pan';
    this.#gesture = {kind, startX: event.clientX, xs: [...this.#pointers.values()], view: this.#view, moved: false,
                     at: this.#timeAt(event.clientX)};
  }

  #move(event) {
    if (!this.#pointers.has(event.pointerId) || !this.#gesture) return;
    this.#pointers.set(event.pointerId, event.clientX);
    const gesture = this.#gesture;
    gesture.moved ||= Math.abs(event.clientX - gesture.startX) >= kClickPixels || gesture.kind === 'pinch';
    if (!gesture.moved) return;
    if (gesture.kind === 'mark') this.#mark(gesture.at, this.#timeAt(event.clientX));
    else if (gesture.kind === 'pan') this.#drag(gesture, event.clientX - gesture.startX);
    else this.#pinch(gesture);
  }

  #drag({view}, pixels) {
    const length = view.to - view.from;
    this.show(view.from - pixels / this.#root.clientWidth * length, length);
  }

  /** The times under both fingers stay under them. */
  #pinch({xs, view}) {
    const [a, b] = xs, [c, d] = [...this.#pointers.values()];
    if (b === undefined || d === undefined) return;
    const box = this.#root.getBoundingClientRect();
    const scale = Math.max(1, Math.abs(b - a)) / Math.max(1, Math.abs(d - c));
    const length = Math.min(kLongestViewMs, Math.max(kShortestViewMs, (view.to - view.from) * scale));
    const middle = view.from + ((a + b) / 2 - box.left) / box.width * (view.to - view.from);
    this.show(middle - ((c + d) / 2 - box.left) / box.width * length, length);
  }

  #up(event) {
    if (!this.#pointers.delete(event.pointerId)) return;
    const gesture = this.#gesture;
    // The finger that stays after a pinch does nothing.
    this.#gesture = null;
    if (event.type === 'pointerup' && gesture && !gesture.moved && gesture.kind !== 'pinch') {
      this.#cursor = gesture.at;
      this.#drawCursor();
      if (gesture.kind === 'pan') this.#events.play(gesture.at);
    }
  }

  #mark(a, b) {
    const begin = Math.min(a, b), end = Math.max(a, b);
    this.span = end > begin ? {begin: Math.round(begin), end: Math.round(end)} : null;
    this.#events.span(this.#span);
  }

  // Keyboard.

  #key(event) {
    if (event.altKey || event.ctrlKey || event.metaKey) return;
    const act = this.#keys(event.shiftKey)[event.key];
    if (!act) return;
    event.preventDefault();
    act();
  }

  #keys(isShifted) {
    const step = roundStep(this.#view.from, this.#view.to, 100);
    const move = (count) => () => this.#moveCursor(this.#anchor() + count * step, isShifted);
    const day = clock.dayOf(this.#anchor());
    return {
      ArrowLeft: move(-1), ArrowRight: move(1), ArrowDown: move(-10), ArrowUp: move(10),
      PageUp: () => this.#page(-1), PageDown: () => this.#page(1),
      Home: () => this.#moveCursor(day.from, isShifted), End: () => this.#moveCursor(day.to - 1000, isShifted),
      '+': () => this.zoom(0.5), '=': () => this.zoom(0.5), '-': () => this.zoom(2),
      '[': () => this.#markEdge('begin'), ']': () => this.#markEdge('end'),
      Enter: () => this.#events.play(this.#anchor()), ' ': () => this.#events.play(this.#anchor()),
      ...this.#span && {Escape: () => this.#mark(0, 0)},
    };
  }

  #page(direction) {
    const at = this.#anchor() + direction * this.#length;
    this.pan(direction);
    this.#moveCursor(at, false);
  }

  #moveCursor(ms, marks) {
    const before = this.#anchor();
    this.#cursor = Math.round(ms);
    if (marks) {
      // The edge at the cursor moves; with none there a new span begins.
      const {begin, end} = this.#span ?? {};
      this.#mark(before === begin ? end : before === end ? begin : before, this.#cursor);
    }
    if (!this.#sees(this.#cursor)) this.show(this.#cursor - this.#length / 2, this.#length);
    else this.#drawCursor();
  }

  #markEdge(edge) {
    const at = Math.round(this.#anchor());
    const {begin, end} = this.#span ?? {begin: at, end: at};
    const next = edge === 'begin' ? {begin: at, end: Math.max(at, end)} : {begin: Math.min(at, begin), end: at};
    this.span = next;
    this.#events.span(next);
  }
}
