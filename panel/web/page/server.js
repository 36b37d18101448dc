// The panel behind the page: questions, and what it tells by itself. The token, once asked for,
// stays in this browser.

// Milliseconds after which the panel is taken to be gone, though it says something every 300.
const Silence = 700;
const RetryAfter = 1000;
const TokenName = 'panel-token';

function headers(more = {}) {
  const token = localStorage.getItem(TokenName);
  return token ? {...more, Authorization: `Bearer ${token}`} : more;
}

// The panel says nothing without its token, and the person did not say it.
export class TokenNeeded extends Error {}

const token = new EventTarget(); // 'wanted': the person says it after all
let asking = null;
let isDeclined = false; // from then on nothing asks by itself

export function askAgain() {
  isDeclined = false;
  token.dispatchEvent(new Event('wanted'));
}

function untilAskedAgain() {
  return new Promise((resolve) => { token.addEventListener('wanted', resolve, {once: true}); });
}

// One dialog, however many questions wait for it. False when the person does not say it.
function askForToken(isWrong) {
  asking ??= new Promise((resolve) => {
    const dialog = document.getElementById('token');
    const field = dialog.querySelector('input');
    document.getElementById('token-wrong').hidden = !isWrong;
    field.value = '';
    dialog.returnValue = ''; // Esc leaves it as it is
    dialog.showModal();
    dialog.addEventListener('close', () => {
      const isSaid = dialog.returnValue === 'ok' && field.value !== '';
      if (isSaid) localStorage.setItem(TokenName, field.value.trim());
      isDeclined = !isSaid;
      asking = null;
      resolve(isSaid);
      if (isSaid) askAgain();
    }, {once: true});
  });
  return asking;
}

// Asks for the token and tries again where it is needed. `options` as fetch takes them.
async function ask(path, options = {}, isByPerson = false) {
  for (;;) {
    const said = localStorage.getItem(TokenName);
    const answer = await fetch(path, {...options, headers: headers(options.headers)});
    if (answer.status !== 401) return answer;
    const isNew = localStorage.getItem(TokenName) !== said; // said meanwhile
    if (!isNew) localStorage.removeItem(TokenName);
    if (!isNew && isDeclined && !isByPerson) return answer;
    if (!isNew && !(await askForToken(said !== null))) return answer;
  }
}

// The answer as an object; an Error with the panel's own words when it refuses.
export async function get(path) {
  const answer = await ask(path);
  const object = await answer.json();
  if (answer.status === 401) throw new TokenNeeded(object.error);
  if (!answer.ok) throw new Error(object.error);
  return object;
}

// {ok, readBack, text} or {ok: false, error}; never throws.
export async function write(line, variable, value) {
  try {
    const answer = await ask('/api/write', {
      method: 'POST',
      headers: {'Content-Type': 'application/json'},
      body: JSON.stringify({line, variable, value}),
    }, true);
    return await answer.json();
  } catch {
    return {ok: false, error: 'no connection to the panel'};
  }
}

// What to wait for after an error before the next try.
export function untilNextTry(error) {
  if (error instanceof TokenNeeded) return untilAskedAgain();
  return new Promise((resolve) => { setTimeout(resolve, RetryAfter); });
}

// Follows the panel's events for as long as the page is open, and again after a lost connection.
// Calls told(event, object) for each, and connected('live', 'lost' or 'token') when that changes.
export class Events {
  constructor(told, connected) {
    this.told = told;
    this.connected = connected;
    this.state = '';
    this.heardAt = 0;
    setInterval(() => this.check(), 100);
    document.addEventListener('visibilitychange', () => { if (this.path) this.open(this.path); });
  }

  // From the beginning: the whole picture comes first. Nothing is followed while nobody can see it:
  // a browser has six connections for all its pages.
  async open(path) {
    this.path = path;
    this.abort?.abort();
    this.heardAt = performance.now();
    if (document.hidden) return;
    const abort = new AbortController();
    this.abort = abort;
    while (!abort.signal.aborted) {
      let reason = null;
      try {
        await this.read(await ask(path, {signal: abort.signal}), abort.signal);
      } catch (error) { // the panel is gone, wants its token, or this was aborted
        reason = error;
      }
      if (abort.signal.aborted) return;
      this.setState(reason instanceof TokenNeeded ? 'token' : 'lost');
      await untilNextTry(reason);
    }
  }

  async read(answer, signal) {
    if (answer.status === 401) throw new TokenNeeded('the token is needed');
    if (!answer.ok) throw new Error('refused');
    const reader = answer.body.pipeThrough(new TextDecoderStream()).getReader();
    let text = '';
    for (;;) {
      const {done, value} = await reader.read();
      if (done || signal.aborted) return;
      this.heardAt = performance.now();
      const events = (text + value).split('\n\n');
      text = events.pop();
      for (const event of events) this.take(event);
      this.setState('live');
    }
  }

  take(event) {
    const [, name, data] = /^event: (.*)\ndata: (.*)$/.exec(event) ?? [];
    if (name) this.told(name, JSON.parse(data));
  }

  check() {
    if (document.hidden || performance.now() - this.heardAt < Silence) return;
    if (this.isConnected) this.setState('lost');
    // A connection that is silent for long is dead, whatever the browser believes.
    if (this.state === 'lost' && performance.now() - this.heardAt > 10 * Silence) this.open(this.path);
  }

  get isConnected() { return this.state === 'live'; }

  setState(state) {
    if (this.state === state) return;
    this.state = state;
    this.connected(state);
  }
}
