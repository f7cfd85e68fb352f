// The way to the box: its verbs, its trace, and what it is like now.

const kTokenKey = 'routerbox-token';
const kSilenceMs = 5000;  // the stream says something every second
const kAgainMs = 1000;

// The address has the token in its fragment, once.
function takeToken() {
  const given = location.hash.slice(1);
  if (given) {
    sessionStorage.setItem(kTokenKey, given);
    history.replaceState(null, '', location.pathname);
  }
  return sessionStorage.getItem(kTokenKey) ?? '';
}

const token = takeToken();
addEventListener('hashchange', () => location.reload());

// A verb that was not carried out; `refused` by the box, which is there.
export class VerbError extends Error {
  constructor(text, refused) {
    super(text);
    this.refused = refused;
  }
}

const ask = (path, options) => fetch(path, {...options, headers: {Authorization: `Bearer ${token}`}});

export async function call(verb, args = {}) {
  let response;
  try {
    response = await ask(`/api/${verb}`, {method: 'POST', body: JSON.stringify(args)});
  } catch {
    throw new VerbError('the console has ended', false);
  }
  const result = await response.json().catch(() => ({error: `HTTP status ${response.status}`}));
  if (!response.ok) throw new VerbError(result.error, response.status === 400);
  return result;
}

// How a verb is typed.
let forms = {};
const shellWord = (text) => /^[\w@%+=:,./-]+$/.test(text) ? text : `'${text.replaceAll("'", "'\\''")}'`;
export function commandOf(verb, args) {
  const words = ['routerbox', verb];
  for (const {name, form} of forms[verb] ?? []) {
    if (args[name] === undefined) continue;
    if (form !== 'word') words.push(`--${name}`);
    if (form !== 'flag') words.push(shellWord(String(args[name])));
  }
  return words.join(' ');
}

// What is watched once a second, and at once when the trace tells of a change. `null`: the box has none. What a box that
// has gone was like stays.
const kWatched = {ps: 'ps', state: 'state', faults: 'faults', downloads: 'downloads'};

// Events: connection, start (a box has come; its trace begins anew), lines, abilities (some have changed), and one for each of what
// is watched.
class Box extends EventTarget {
  name = '';
  connection = 'connecting';  // connecting, running, ended, gone, refused
  seen = {ps: null, state: null, faults: null, downloads: null};
  #again = 0;
  #looking = false;

  tell(type, detail) {
    this.dispatchEvent(new CustomEvent(type, {detail}));
  }

  on(type, listener) {
    this.addEventListener(type, (event) => listener(event.detail));
  }

  async begin() {
    setInterval(() => document.hidden || this.look(), 1000);
    document.addEventListener('visibilitychange', () => document.hidden || this.look());
    for (;;) {
      await this.#listen();
      await new Promise((resume) => setTimeout(resume, kAgainMs));
    }
  }

  // Once for many changes at a time.
  lookSoon() {
    if (this.#again) return;
    this.#again = setTimeout(() => {
      this.#again = 0;
      this.look();
    }, 60);
  }

  async look() {
    if (this.connection !== 'running' || this.#looking) return;
    this.#looking = true;
    await Promise.all(Object.entries(kWatched).map(async ([name, verb]) => {
      const found = await call(verb).catch((error) => error.refused ? null : this.seen[name]);
      if (JSON.stringify(found) === JSON.stringify(this.seen[name])) return;
      this.seen[name] = found;
      this.tell(name, found);
    }));
    this.#looking = false;
  }

  get plugins() {
    return this.seen.ps?.plugins ?? [];
  }

  #connect(connection) {
    if (this.connection === connection) return;
    this.connection = connection;
    this.tell('connection', connection);
  }

  async #listen() {
    const silence = new AbortController();
    try {
      const response = await ask('/api/trace', {signal: silence.signal});
      if (!response.ok) return this.#connect('refused');
      await this.#readEvents(response.body.getReader(), silence);
    } catch {
      // What a broken connection throws differs; it is gone all the same.
    }
    this.#connect('gone');
  }

  async #readEvents(reader, silence) {
    const decoder = new TextDecoder();
    let rest = '';
    for (;;) {
      const limit = setTimeout(() => silence.abort(), kSilenceMs);
      const {value, done} = await reader.read();
      clearTimeout(limit);
      if (done) return;
      const events = (rest + decoder.decode(value, {stream: true})).split('\n\n');
      rest = events.pop();
      this.#take(events);
    }
  }

  #take(events) {
    const lines = [];
    for (const event of events) {
      if (event.startsWith('data: ')) lines.push(event.slice(6));
      if (event.startsWith('event: box\ndata: ')) this.#takeNews(JSON.parse(event.slice(17)));
    }
    if (lines.length === 0) return;
    this.tell('lines', lines);
    if (lines.some((line) => line.includes('"channel":"life"') || line.includes('"fault":'))) this.lookSoon();
    if (lines.some((line) => line.includes('"what":"ability '))) this.tell('abilities');
  }

  async #takeNews({box, running}) {
    this.name = box;
    this.#connect(running ? 'running' : 'ended');
    if (!running) return;
    this.tell('start', box);
    this.look();
    const response = await ask('/api/verbs').catch(() => null);
    if (!response?.ok) return;
    forms = Object.fromEntries((await response.json()).map((verb) => [verb.verb, verb.arguments]));
  }
}

export const box = new Box();
