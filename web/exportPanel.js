// The span that is to be exported: typed, marked on the time line, or taken from the picture.

import * as api from './api.js';
import * as clock from './clock.js';
import {recordedWithin} from './coverage.js';
import {byId, setText} from './dom.js';

export class ExportPanel {
  #name = '';
  #events;
  #span = null;
  #coverage = {stretches: [], holes: []};
  #begin = byId('export-begin');
  #end = byId('export-end');
  #link = byId('download');

  /** `events`: span({begin, end} or null) when it was typed; position() for the time of the picture. */
  constructor(events) {
    this.#events = events;
    byId('export').addEventListener('submit', (event) => event.preventDefault());
    for (const field of [this.#begin, this.#end]) field.addEventListener('change', () => this.#typed());
    byId('begin-here').addEventListener('click', () => this.#fill(this.#begin));
    byId('end-here').addEventListener('click', () => this.#fill(this.#end));
    this.#link.addEventListener('click', (event) => this.#download(event));
  }

  open(name) {
    this.#name = name;
    this.show(null);
  }

  set coverage(value) {
    this.#coverage = value;
    if (this.#span) this.#say();
  }

  /** Shows a span that was marked elsewhere, or none. */
  show(span) {
    this.#span = span;
    this.#begin.value = span ? clock.fieldText(span.begin) : '';
    this.#end.value = span ? clock.fieldText(span.end) : '';
    this.#say();
  }

  /** Writes the times anew after a change of the zone. */
  refresh() {
    if (this.#span) this.show(this.#span);
  }

  #fill(field) {
    const ms = this.#events.position();
    if (!Number.isFinite(ms)) return setText(byId('export-text'), 'No picture is shown yet.');
    field.value = clock.fieldText(Math.round(ms));
    this.#typed();
  }

  #typed() {
    const begin = clock.parse(this.#begin.value), end = clock.parse(this.#end.value);
    this.#span = end > begin ? {begin, end} : null;
    this.#events.span(this.#span);
    this.#say(begin, end);
  }

  #say(begin, end) {
    const text = byId('export-text');
    if (this.#span) {
      this.#link.href = api.exportAddress(this.#name, this.#span.begin, this.#span.end);
      this.#link.download = `${this.#name}-${new Date(this.#span.begin).toISOString().replace(/[-:]|\.\d+/g, '')}.mp4`;
      this.#link.removeAttribute('aria-disabled');
      const length = this.#span.end - this.#span.begin;
      const recorded = recordedWithin(this.#coverage, this.#span.begin, this.#span.end);
      const missing = length - recorded;
      setText(text, `${clock.duration(length)} marked${missing < 1000 ? '' : recorded === 0 ? ', nothing of it recorded'
        : `, of which ${clock.duration(recorded)} are recorded`}.`);
      return;
    }
    this.#link.removeAttribute('href');
    this.#link.setAttribute('aria-disabled', 'true');
    setText(text, end <= begin ? 'The end has to be after the begin.' : 'Mark a span on the time line, or type its times.');
  }

  /** A failed download has no words of the server's: it is asked first. */
  async #download(event) {
    if (!event.isTrusted || !this.#link.href) return;
    event.preventDefault();
    setText(byId('export-text'), 'Preparing…');
    const problem = await api.problemOf(this.#link.getAttribute('href'));
    if (problem) return setText(byId('export-text'), `Cannot be exported: ${problem}`);
    this.#say();
    this.#link.click();
  }
}
