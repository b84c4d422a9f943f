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
    this.#begin.value = span ? clock.exact(span.begin) : '';
    this.#end.value = span ? clock.exact(span.end) : '';
    this.#say();
  }

  /** Writes the times anew after a change of the zone. */
  refresh() {
    if (this.#span) this.show(this.#span);
  }

  #fill(field) {
    const ms = this.#events.position();
    if (!Number.isFinite(ms)) return setText(byId('export-text'), 'No picture is shown yet.');
    field.value = clock.exact(Math.round(ms));
    this.#typed();
  }

  #typed() {
    const [begin, end] = [this.#begin, this.#end].map((field) => clock.parse(field.value));
    this.#span = end > begin ? {begin, end} : null;
    this.#events.span(this.#span);
    const wrong = [this.#begin, this.#end].find(({value}) => value && Number.isNaN(clock.parse(value)));
    this.#say(wrong ? `“${wrong.value}” is not a time such as ${clock.exact(Math.floor(api.now() / 1000) * 1000)}.`
      : end <= begin ? 'The end has to be after the begin.' : undefined);
  }

  /** Shows the span; where there is none, `problem` or what to do. */
  #say(problem = 'Mark a span on the time line, or type its times.') {
    const text = byId('export-text');
    for (const field of [this.#begin, this.#end]) {
      field.setAttribute('aria-invalid', field.value !== '' && Number.isNaN(clock.parse(field.value)));
    }
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
    setText(text, problem);
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
