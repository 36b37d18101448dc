// The page: which view is shown, the connection to the panel, light and dark.
import {Events, TokenNeeded, askAgain, get, untilNextTry} from '/server.js';
import {clockText, element, setText} from '/elements.js';
import {ValuesView} from '/values.js';
import {TrendView} from '/trend.js';
import {LineView} from '/line.js';

const Views = {values: ValuesView, trend: TrendView, line: LineView};
const place = document.getElementById('view');

let panel = null; // what the panel says of itself
let view = null;
let viewName = '';
let clockOffset = 0; // of the panel's clock ahead of this one
const values = new Map(); // the latest of each, by name

const now = () => Date.now() + clockOffset;

function told(event, object) {
  // It was started again, perhaps with other variables and another page.
  if (event === 'run' && object.run !== panel.run) location.reload();
  if (event === 'pulse') clockOffset = Date.parse(object.now) - Date.now();
  for (const value of event === 'values' ? object.values : []) values.set(value.name, value);
  view?.told?.(event, object);
}

// `state` as Events tells it.
function connected(state) {
  const shown = document.getElementById('connection');
  shown.dataset.state = state;
  setText(shown, {live: 'live', lost: 'no connection', token: 'token needed'}[state]);
  const notice = document.getElementById('notice');
  notice.hidden = state === 'live';
  if (state === 'lost') {
    setText(notice, `No connection to the panel since ${clockText(Date.now())}. `
      + 'What is shown is old. Trying again.');
  } else if (state === 'token') {
    notice.replaceChildren('This panel tells nothing without its token. ',
      element('button', {type: 'button', onclick: askAgain}, 'Enter the token'));
  }
  view?.connected?.(state === 'live');
}

const events = new Events(told, connected);

function show() {
  const [, name = 'values', query = ''] = /^#\/(\w+)\??(.*)$/.exec(location.hash) ?? [];
  const chosen = Views[name] ? name : 'values';
  if (chosen === viewName) {
    view.moved?.(new URLSearchParams(query));
    return;
  }
  viewName = chosen;
  view?.close?.();
  place.replaceChildren();
  for (const link of document.querySelectorAll('nav a')) {
    if (link.dataset.view === chosen) link.setAttribute('aria-current', 'page');
    else link.removeAttribute('aria-current');
  }
  document.title = `${chosen[0].toUpperCase()}${chosen.slice(1)} - Panel`;
  view = new Views[chosen]({place, panel, values, now, query: new URLSearchParams(query)});
  view.connected?.(events.isConnected);
  events.open(chosen === 'line' ? '/api/events?lines=1' : '/api/events');
}

function setTheme(theme) {
  document.documentElement.dataset.theme = theme;
  localStorage.setItem('panel-theme', theme);
  view?.themed?.();
}

function prepareKeys() {
  document.addEventListener('keydown', (event) => {
    const isTyping = /INPUT|SELECT|TEXTAREA/.test(event.target.tagName);
    const link = document.querySelectorAll('nav a')[Number(event.key) - 1];
    if (isTyping || event.ctrlKey || event.altKey || event.metaKey || !link) return;
    location.hash = link.hash;
    place.focus();
  });
}

async function begin() {
  const isDark = matchMedia('(prefers-color-scheme: dark)').matches;
  setTheme(localStorage.getItem('panel-theme') ?? (isDark ? 'dark' : 'light'));
  document.getElementById('theme').addEventListener('click', () => {
    setTheme(document.documentElement.dataset.theme === 'dark' ? 'light' : 'dark');
  });
  prepareKeys();
  while (!panel) {
    try {
      panel = await get('/api/panel');
    } catch (error) {
      connected(error instanceof TokenNeeded ? 'token' : 'lost');
      await untilNextTry(error);
    }
  }
  addEventListener('hashchange', show);
  show();
}

begin();
