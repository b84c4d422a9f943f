// The page: which stream is open, by the part of the address after #, and what the server says of all of them.

import * as api from './api.js';
import * as clock from './clock.js';
import {byId, setText, showError} from './dom.js';
import {StreamList} from './streamList.js';
import {StreamView} from './streamView.js';

const kRefreshMs = 3000;

const list = new StreamList();
const view = new StreamView({changed: () => refresh(), problem: (error) => showProblem(error)});
/** Nothing until the server has answered once. */
let streams = null;
let open = null;
let timer;

function showProblem(error) {
  const problem = byId('problem');
  problem.hidden = !error;
  if (error) showError(problem, error);
}

function show() {
  if (!streams) return;
  list.show(streams, open);
  if (open) view.update(streams.find(({name}) => name === open));
  const recording = streams.filter(({state}) => state === 'recording').length;
  setText(byId('summary'), streams.length === 0 ? 'No streams are configured.'
    : `${recording} of ${streams.length} stream${streams.length === 1 ? '' : 's'} recording`);
}

async function refresh() {
  clearTimeout(timer);
  try {
    if (!document.hidden) {
      streams = await api.streams();
      showProblem(null);
      show();
    }
  } catch (error) {
    showProblem(error);
  }
  clearTimeout(timer);
  timer = setTimeout(refresh, kRefreshMs);
}

/** "#cam1", or "#cam1@2026-11-25T14:03:20Z" for a time. */
function route() {
  const [name, at] = location.hash.slice(1).replaceAll('%40', '@').replaceAll('%3A', ':').split('@');
  const isOpen = /^[a-z0-9_-]{1,64}$/.test(name);
  open = isOpen ? name : null;
  document.body.classList.toggle('open', isOpen);
  byId('stream').hidden = !isOpen;
  document.title = isOpen ? `${name} – k2r` : 'k2r';
  if (isOpen) view.open(name, Date.parse(at) || undefined);
  else view.close();
  show();
}

byId('skip').addEventListener('click', (event) => {
  event.preventDefault();
  byId(open ? 'stream' : 'content').scrollIntoView();
  (open ? byId('name') : byId('content')).focus();
});
byId('utc').checked = clock.isUtc();
byId('utc').addEventListener('change', ({target}) => {
  clock.setUtc(target.checked);
  show();
  view.refresh();
});
window.addEventListener('hashchange', route);
document.addEventListener('visibilitychange', () => document.hidden || refresh());
route();
refresh();
