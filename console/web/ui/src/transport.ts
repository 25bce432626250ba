// The way to the console: acts go one after another, as a person does them; the state comes by itself.

import { fromHash } from './hash';
import { notice, tell } from './notices';
import type { State } from './state';
import { store, type Line } from './store';

export interface Act {
  act: string;
  window?: number;
  control?: number;
  text?: string;
  row?: number;
  to?: number;
  number?: number;
  on?: boolean;
  filter?: string;
}

interface Reply {
  refusal: string;
  notice?: string;
  beeps?: number;
  opened?: string[];
  /** Nodes of principals that the act has made. */
  added?: string[];
  state?: State;
}

/** This tab among those that the console is open in. */
const tab = Math.random().toString(36).slice(2);

/**
 * What only this page holds. Cookies know no port, so that any other server on this machine is sent ours; this
 * came behind the address's "#", which is sent to nobody, and is kept where only this origin's pages read.
 */
const came = /^#key=([0-9a-f]{64})$/.exec(location.hash);
if (came) {
  localStorage.setItem('key', came[1]!);
  history.replaceState(null, '', location.pathname);
}
/** Read each time: a console that starts anew has another key, which another tab may have brought. */
const key = () => localStorage.getItem('key') ?? '';

function setLine(line: Line) {
  if (store.line === line) return;
  store.line = line;
  store.changed();
}

function take(state: State) {
  const before = store.state;
  if (before && before.instance === state.instance && state.version <= before.version) return;
  store.state = state;
  const same = before?.instance === state.instance;
  if (!same) store.wanted = '';
  if (same && state.elsewhere.count > before.elsewhere.count) tell({ text: state.elsewhere.text });
  if (state.download?.tab === tab) download(state.download);
  if (state.notice && !same) tell({ text: state.notice, error: true });
  store.changed();
}

let downloaded = '';
function download({ id, name }: { id: string; name: string }) {
  // It is there once, and states tell of it until the next act.
  if (downloaded === id) return;
  downloaded = id;
  const link = document.createElement('a');
  link.href = `/api/download?id=${id}&key=${key()}`;
  link.download = name;
  link.click();
  tell({ text: `${name} goes to this browser's downloads.` });
}

async function request(path: string, body?: unknown): Promise<Response> {
  const headers = { 'X-Marrowen-Key': key() };
  const sent = body === undefined ? {} : { method: 'POST', body: body instanceof Blob ? body : JSON.stringify(body) };
  const response = await fetch(path, { headers, ...sent });
  setLine(response.status === 401 ? 'closed' : 'open');
  return response;
}

/** What the path answers; null when the console did not answer or refused. */
export async function get<T>(path: string, query: Record<string, string | number>): Promise<T | null> {
  try {
    const text = new URLSearchParams(Object.entries(query).map(([key, value]) => [key, String(value)]));
    const response = await request(`${path}?${text}`);
    return response.ok ? ((await response.json()) as T) : null;
  } catch {
    return null;
  }
}

interface Waiting {
  act: Act;
  quiet: boolean;
  done: ((refusal: string) => void)[];
}

const queue: Waiting[] = [];
let worker: Promise<void> | null = null;
const replaceable = ['rewrite', 'enter', 'drag', 'node'];
const enabling = ['click', 'select'];

/** Does the act behind those that wait, and returns its refusal, which a quiet act does not show. */
export function act(next: Act, quiet = false): Promise<string> {
  return new Promise((done) => {
    const last = queue[queue.length - 1];
    const same =
      last && last.act.act === next.act && last.act.window === next.window && last.act.control === next.control;
    if (same && replaceable.includes(next.act)) {
      // What a person has changed again before it was sent need not be sent.
      last.act = next;
      last.done.push(done);
    } else {
      queue.push({ act: next, quiet, done: [done] });
    }
    if (enabling.includes(next.act)) {
      store.unsettled = true;
      store.changed();
    }
    worker ??= work();
  });
}

/** Whether no act is on its way. */
export const idle = () => worker === null;

/** When every act that was done until now is answered. */
export const settled = () => worker ?? Promise.resolve();

async function work() {
  for (let next = queue.shift(); next; next = queue.shift()) {
    let refusal = '';
    const slow = setTimeout(() => ((store.busy = true), store.changed()), 400);
    const reply = await send(next.act);
    clearTimeout(slow);
    store.busy = false;
    if (notice()?.error && !next.quiet) tell(null);
    if (reply) {
      refusal = reply.refusal;
      if (reply.state) take(reply.state);
      if (reply.beeps) store.beeps += reply.beeps;
      for (const link of reply.opened ?? []) open(link);
      if (reply.added?.length === 1 && !reply.state?.windows.length) store.added(reply.added[0]!);
      if (reply.notice) tell({ text: reply.notice });
      if (refusal && !next.quiet) tell({ text: refusal, error: true });
      else if (reply.beeps) store.changed();
    } else {
      setLine('lost');
      refusal = 'The console does not answer.';
    }
    for (const done of next.done) done(refusal);
  }
  worker = null;
  if (!store.unsettled) return;
  store.unsettled = false;
  store.changed();
}

function open(link: string) {
  if (/^(https?|mailto):/.test(link)) {
    window.open(link, '_blank', 'noopener');
    tell({ text: 'Opened', link });
  } else {
    tell({ text: link });
  }
}

/** Asks for another computer or mode; 'unsaved' when edits wait and are not to be dropped, else the refusal. */
export async function switchTo(computer: string, configServer: boolean, drop: boolean): Promise<string> {
  try {
    const reply = (await (await request('/api/switch', { computer, configServer, drop })).json()) as {
      refusal?: string;
      unsaved?: boolean;
    };
    if (reply.refusal) tell({ text: reply.refusal, error: true });
    return reply.unsaved ? 'unsaved' : (reply.refusal ?? '');
  } catch {
    setLine('lost');
    return 'The console does not answer.';
  }
}

/** Sends the file to the picker that asks for it, in pieces that a request may have. */
export async function upload(window: number, file: File): Promise<void> {
  const piece = 1 << 19;
  try {
    for (let first = 0; first === 0 || first < file.size; first += piece) {
      const query = new URLSearchParams({ window: String(window), first: String(first), tab });
      const reply = (await (await request(`/api/upload?${query}`, file.slice(first, first + piece))).json()) as { refusal: string };
      if (reply.refusal) return tell({ text: reply.refusal, error: true });
    }
  } catch {
    return tell({ text: 'The file has not arrived whole.', error: true });
  }
  await act({ act: 'upload', window, text: file.name });
}

/** The socket that is open or is being opened; null when there was none to be had. */
let line: Promise<WebSocket | null> = Promise.resolve(null);
let answered: ((reply: Reply | null) => void) | null = null;

/** The answer to the act; null when the console did not give one. */
async function send(next: Act): Promise<Reply | null> {
  const text = JSON.stringify({ ...next, tab });
  if (new TextEncoder().encode(text).length > 1 << 20) return { refusal: 'This is too long a text.' };
  const socket = await line;
  if (!socket) return null;
  return new Promise((done) => {
    answered = done;
    socket.send(text);
  });
}

/** Follows the state for ever: other tabs and long work change it too. */
export function follow() {
  // A new socket of this tab goes on where the tab is.
  const query = new URLSearchParams({ key: key(), tab, node: store.wanted || (store.state?.node ?? fromHash(location.hash)?.node ?? '') });
  const socket = new WebSocket(`${location.origin.replace('http', 'ws')}/api/socket?${query}`);
  let opened = false;
  let settle = (_: WebSocket | null) => {};
  line = new Promise((done) => (settle = done));
  socket.onopen = () => {
    opened = true;
    settle(socket);
    setLine('open');
  };
  socket.onmessage = ({ data }: MessageEvent<string>) => {
    const message = JSON.parse(data) as State | Reply;
    if (!('refusal' in message)) return take(message);
    const done = answered;
    answered = null;
    done?.(message);
  };
  socket.onclose = async () => {
    // One that was open is opened again at once: the console starts anew on another computer.
    if (opened) follow();
    answered?.(null);
    answered = null;
    if (opened) return;
    settle(null);
    // Whether this browser is let in is told to requests alone.
    await get('/api/state', {});
    if (store.line !== 'closed') setLine('lost');
    setTimeout(follow, store.line === 'closed' ? 3000 : 700);
  };
}
