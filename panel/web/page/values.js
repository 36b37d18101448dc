// The values by line and station, as they change.
import {curve, element, setText, spanText} from '/elements.js';
import {get, write} from '/server.js';

const Titles = {name: 'name', value: 'value', curve: 'last minutes', quality: 'quality', since: 'unchanged', set: 'new value'};
const Columns = Object.keys(Titles);
const QualityText = {good: '● good', old: '? old', never: '– never read'};

function limitsText({min, max, unit}) {
  if (min === null && max === null) return '';
  const range = min === null ? `at most ${max}` : max === null ? `at least ${min}` : `${min} to ${max}`;
  return unit ? `${range} ${unit}` : range;
}

// A number is never broken in two: it is read as two. What is longer than any number may be.
function widthOf(text) {
  const longest = Math.max(...text.split(' ').map((word) => word.length));
  return longest > 24 ? 'endless' : longest > 12 ? 'long' : 'usual';
}

class Row {
  constructor(described, page) {
    this.described = described;
    this.page = page;
    this.points = null;
    this.value = element('span', {class: 'value', 'data-variable': described.name, 'data-quality': 'never'}, '–');
    this.quality = element('td', {class: 'quality'}, QualityText.never);
    this.since = element('td', {class: 'since'}, '');
    this.curve = element('td', {class: 'curve-cell'});
    const name = described.isNumber
      ? element('a', {href: `#/trend?v=${encodeURIComponent(described.name)}`, title: `Trend; ${described.place}`}, described.name)
      : element('span', {title: described.place}, described.name);
    this.node = element('tr', {}, element('th', {scope: 'row'}, name),
      element('td', {class: 'value-cell'}, this.value), this.curve, this.quality, this.since,
      element('td', {class: 'set'}, ...(described.writable ? [this.form()] : [])));
  }

  form() {
    const {name, unit} = this.described;
    const {mayWrite} = this.page.panel;
    const limits = element('small', {id: `limits of ${name}`.replaceAll(' ', '-')}, limitsText(this.described));
    this.field = element('input', {
      'aria-label': `New value of ${name}${unit ? ` in ${unit}` : ''}`,
      'aria-describedby': limits.id, disabled: !mayWrite, autocomplete: 'off', enterkeyhint: 'send',
    });
    this.button = element('button', {disabled: !mayWrite}, 'Set');
    this.outcome = element('output', {'aria-live': 'polite'});
    const title = mayWrite ? null : 'The panel was started without --web-token';
    return element('form', {title, onsubmit: (event) => this.submit(event)},
      this.field, this.button, limits, this.outcome);
  }

  async submit(event) {
    event.preventDefault();
    this.button.disabled = true;
    this.tell('writing', '…');
    const answer = await write(this.described.line, this.described.name, this.field.value);
    this.button.disabled = false;
    if (!answer.ok) this.tell('failed', `✗ ${answer.error}`);
    else if (!answer.isKnown) this.tell('done', '✓ sent to all stations');
    else this.tell('done', `✓ the PLC has ${answer.text}`);
    if (answer.ok) this.field.value = '';
  }

  tell(state, text) {
    this.outcome.dataset.state = state;
    setText(this.outcome, text);
  }

  show(isConnected) {
    const value = this.page.values.get(this.described.name);
    if (!value) return;
    const quality = value.quality === 'good' && !isConnected ? 'old' : value.quality;
    const unit = value.unit ? ` ${value.unit}` : '';
    const text = value.quality === 'never' ? '–' : `${value.text}${unit}`;
    setText(this.value, text);
    this.value.dataset.width = widthOf(text);
    this.value.dataset.quality = quality;
    this.node.dataset.quality = quality;
    setText(this.quality, QualityText[quality]);
    const since = value.time ? spanText(this.page.now() - Date.parse(value.time)) : '';
    setText(this.since, value.quality === 'old' ? `old for ${since}` : since);
  }

  // The latest point is what holds now.
  drawCurve() {
    if (!this.points || !this.described.isNumber) return;
    const shown = [...this.points.slice(1), this.latest()];
    this.curve.replaceChildren(curve(shown));
  }

  latest() {
    const value = this.page.values.get(this.described.name);
    const first = Array.isArray(value?.value) ? value.value[0] : value?.value;
    const number = Number(first ?? NaN);
    return value?.quality === 'good' && Number.isFinite(number) ? number : null;
  }
}

export class ValuesView {
  constructor(page) {
    this.rows = page.panel.variables.map((described) => new Row(described, page));
    this.isConnected = false;
    page.place.append(element('h1', {class: 'unseen'}, 'Values'), element('div', {class: 'stations'}, ...this.stations(page)));
    this.timers = [
      setInterval(() => this.showAll(), 500),
      setInterval(() => this.drawCurves(), 1000),
    ];
    this.loadCurves();
  }

  stations(page) {
    const groups = new Map();
    for (const row of this.rows) {
      const {line, station} = row.described;
      const name = station === 0 ? 'all stations' : `station ${station}`;
      const title = page.panel.lines.length > 1 ? `${line}, ${name}` : name;
      if (!groups.has(title)) groups.set(title, []);
      groups.get(title).push(row);
    }
    return [...groups].map(([title, rows]) => element('section', {},
      element('h2', {}, title),
      element('table', {class: rows.some((row) => row.described.writable) ? null : 'read-only'},
        element('colgroup', {}, ...Columns.map((name) => element('col', {class: `column-${name}`}))),
        element('thead', {}, element('tr', {}, ...Object.values(Titles)
          .map((text) => element('th', {scope: 'col'}, text)))),
        element('tbody', {}, ...rows.map((row) => row.node)))));
  }

  async loadCurves() {
    try {
      const {curves, stepSeconds} = await get('/api/curves');
      for (const row of this.rows) row.points = curves[row.described.name] ?? null;
      this.drawCurves();
      clearInterval(this.stepTimer);
      this.stepTimer = setInterval(() => this.step(), stepSeconds * 1000);
    } catch { /* once the panel is back */ }
  }

  step() {
    for (const row of this.rows) row.points = row.points && [...row.points.slice(1), row.latest()];
  }

  drawCurves() {
    if (this.isConnected) for (const row of this.rows) row.drawCurve();
  }

  told(event) {
    if (event === 'values') this.showAll();
  }

  connected(isConnected) {
    const isBack = isConnected && !this.isConnected;
    this.isConnected = isConnected;
    this.showAll();
    if (isBack) this.loadCurves();
  }

  showAll() {
    for (const row of this.rows) row.show(this.isConnected);
  }

  close() {
    for (const timer of [...this.timers, this.stepTimer]) clearInterval(timer);
  }
}
