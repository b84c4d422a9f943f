// The list of all streams: a card each, with its state in words, and the newest picture of those in sight.

import * as api from './api.js';
import * as clock from './clock.js';
import {byId, element, setText} from './dom.js';

const kPictureMs = 30000;
const kRetryMs = 5000;
/** From this many streams on there is a field to find one by its name. */
const kFilterFrom = 9;

/** Of streams and of recordings. */
const kStates = {
  recording: 'Recording', connecting: 'Connecting', blocked: 'Cannot store', failed: 'Failed', stopped: 'Stopped',
  finished: 'Finished', interrupted: 'Interrupted', damaged: 'Damaged'};

export const stateWord = (state) => kStates[state] ?? state;

/** "since 14:03:20", with the date where it is not today's. */
export function sinceWords(ms) {
  if (!Number.isFinite(ms)) return '';
  const day = clock.date(ms) === clock.date(api.now()) ? '' : `${clock.longDate(ms)} `;
  return `since ${day}${clock.time(ms)}`;
}

/** What a stream receives and has. */
export function factsOf(stream) {
  const receives = stream.receivedBytesPerSecond > 0 && `${clock.rate(stream.receivedBytesPerSecond)} received`;
  const has = stream.recordings > 0
    ? `${stream.recordings} recording${stream.recordings === 1 ? '' : 's'}, ${clock.bytes(stream.bytes)}` : 'Nothing recorded';
  return [receives, has].filter(Boolean).join(' · ');
}

/** Shows a state, its word and its colour. */
export function showState(target, state) {
  setText(target, stateWord(state));
  target.dataset.state = state;
}

export class StreamList {
  #root = byId('streams');
  #cards = new Map();
  #seen = new IntersectionObserver((entries) => entries.forEach((entry) => this.#inSight(entry)));

  constructor() {
    byId('filter-text').addEventListener('input', () => this.#filter());
  }

  /** Shows these streams, in their order; `selected` is the name of the open one. */
  show(streams, selected) {
    for (const [name, card] of this.#cards) {
      if (!streams.some((stream) => stream.name === name)) this.#remove(name, card);
    }
    for (const stream of streams) {
      const card = this.#cards.get(stream.name) ?? this.#add(stream.name);
      this.#update(card, stream, stream.name === selected);
    }
    const order = streams.map(({name}) => this.#cards.get(name).item);
    if (order.some((item, i) => this.#root.children[i] !== item)) this.#root.append(...order);
    byId('filter').hidden = streams.length < kFilterFrom;
    this.#filter();
  }

  #add(name) {
    const picture = element('img', {alt: '', width: 320, height: 180, decoding: 'async'});
    const card = {
      name, picture, pictureAt: 0, isSeen: false, title: element('strong', {textContent: name}),
      state: element('span', {className: 'state'}), since: element('span', {className: 'since'}),
      facts: element('span', {className: 'facts'}), error: element('span', {className: 'error'})};
    picture.addEventListener('load', () => { card.frame.dataset.has = 'true'; });
    picture.addEventListener('error', () => {
      card.frame.dataset.has = 'false';
      // There may be none yet.
      card.pictureAt = performance.now() - kPictureMs + kRetryMs;
    });
    card.frame = element('span', {className: 'picture', data: {has: 'false'}}, picture);
    card.link = element('a', {href: `#${name}`, className: 'card'}, card.frame,
                        element('span', {className: 'text'}, card.title, ' ', card.state, ' ', card.since, ' ', card.facts, ' ', card.error));
    card.item = element('li', {}, card.link);
    card.item.dataset.name = name;
    this.#cards.set(name, card);
    this.#seen.observe(card.item);
    return card;
  }

  #remove(name, card) {
    this.#seen.unobserve(card.item);
    card.item.remove();
    this.#cards.delete(name);
  }

  #update(card, stream, isSelected) {
    showState(card.state, stream.state);
    setText(card.since, sinceWords(stream.since));
    setText(card.facts, factsOf(stream));
    const isAtFault = stream.lastError && stream.state !== 'recording' && stream.state !== 'stopped';
    setText(card.error, isAtFault ? stream.lastError.text : '');
    if (isSelected) card.link.setAttribute('aria-current', 'page');
    else card.link.removeAttribute('aria-current');
    card.hasMedia = stream.recordings > 0;
    card.changes = stream.state === 'recording';
    this.#refresh(card);
  }

  #inSight({target, isIntersecting}) {
    const card = this.#cards.get(target.dataset.name);
    if (!card) return;
    card.isSeen = isIntersecting;
    this.#refresh(card);
  }

  #refresh(card) {
    const isDue = !card.pictureAt || (card.changes && performance.now() - card.pictureAt >= kPictureMs);
    if (!card.isSeen || !card.hasMedia || !isDue) return;
    card.pictureAt = performance.now();
    // The time makes it another address, so that a browser asks again.
    card.picture.src = api.snapshotAddress(card.name, Math.floor(api.now() / 1000) * 1000);
  }

  #filter() {
    const text = byId('filter').hidden ? '' : byId('filter-text').value.trim().toLowerCase();
    for (const [name, {item}] of this.#cards) item.hidden = !name.includes(text);
  }
}
