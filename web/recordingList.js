// The recordings of the days that are loaded, one by one, the newest first.

import * as clock from './clock.js';
import {element} from './dom.js';
import {showState, stateWord} from './streamList.js';

const kMostListed = 200;

export class RecordingList {
  #root;
  #events;

  /** `events`: play(ms), span({begin, end}). */
  constructor(root, events) {
    this.#root = root;
    this.#events = events;
  }

  show(recordings) {
    const rows = recordings.slice(-kMostListed).reverse().map((recording) => this.#row(recording));
    if (rows.length === 0) rows.push(element('li', {textContent: 'None on this day.'}));
    // Rows that are the same stay, and with them the focus.
    const keyOf = (row) => `${row.dataset.name} ${row.textContent}`;
    const old = new Map([...this.#root.children].map((row) => [keyOf(row), row]));
    const next = rows.map((row) => old.get(keyOf(row)) ?? row);
    if (next.length === old.size && next.every((row, i) => row === this.#root.children[i])) return;
    const {name, action} = this.#focused();
    this.#root.replaceChildren(...next);
    if (name) next.find((row) => row.dataset.name === name)?.querySelector(`[data-action=${action}]`)?.focus();
  }

  /** Which button of which recording has the focus, so that it is found again in a new row. */
  #focused() {
    const {activeElement} = document;
    if (!this.#root.contains(activeElement)) return {};
    return {name: activeElement.closest('li').dataset.name, action: activeElement.dataset.action};
  }

  #row({name, begin, end, bytes, state, gaps, protected: isProtected}) {
    const missing = gaps.reduce((sum, gap) => sum + gap.end - gap.begin, 0);
    const gapText = gaps.length > 0 && `${gaps.length} gap${gaps.length === 1 ? '' : 's'} (${clock.duration(missing)})`;
    const facts = [clock.duration(end - begin), clock.bytes(bytes), gapText, isProtected && 'protected: cannot be played here'].filter(Boolean).join(' · ');
    const title = `${clock.time(begin)} – ${clock.time(end)}`;
    const badge = element('span', {className: 'state'});
    showState(badge, state);
    badge.textContent = state === 'recording' ? 'In progress' : stateWord(state);
    const button = (action, label, act) => {
      const made = element('button', {type: 'button', textContent: label, ariaLabel: `${label} ${title}`, data: {action}});
      made.addEventListener('click', act);
      return made;
    };
    return element('li', {data: {name}}, element('strong', {textContent: title}), badge,
                   element('span', {className: 'facts', textContent: facts}),
                   element('span', {className: 'group'}, button('play', 'Play', () => this.#events.play(begin)),
                           button('mark', 'Mark', () => this.#events.span({begin, end}))));
  }
}
