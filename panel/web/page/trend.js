// One to eight values over a span of time, from the history.
import {element, setText} from '/elements.js';
import {get} from '/server.js';

const Most = 8;
const Minute = 60e3;
const Spans = [['10 min', 10 * Minute], ['1 h', 60 * Minute], ['8 h', 480 * Minute],
  ['1 d', 1440 * Minute], ['7 d', 7 * 1440 * Minute], ['30 d', 30 * 1440 * Minute]];
const Ticks = [1e3, 5e3, 10e3, 30e3, Minute, 2 * Minute, 5 * Minute, 10 * Minute, 30 * Minute,
  60 * Minute, 120 * Minute, 240 * Minute, 720 * Minute, 1440 * Minute, 2880 * Minute, 7200 * Minute,
  20160 * Minute, 43200 * Minute, 129600 * Minute];
const ShortestSpan = 1000;
const LongestSpan = 400 * 1440 * Minute;
// Told apart by dashes and letters as well as by colour.
const Dashes = [[], [8, 4], [2, 3], [10, 3, 2, 3], [16, 4], [4, 4], [1, 5], [12, 3, 3, 3, 3, 3]];

const style = (name) => getComputedStyle(document.documentElement).getPropertyValue(name).trim();

function timeText(time, span) {
  const date = new Date(time);
  const clock = date.toLocaleTimeString('en-GB', span < 5 * Minute ? {} : {hour: '2-digit', minute: '2-digit'});
  return span > 1440 * Minute ? `${date.toLocaleDateString('en-GB', {day: '2-digit', month: '2-digit'})} ${clock}` : clock;
}

// Ticks at whole minutes or hours of this browser's time.
function buildTicks(scale) {
  const span = scale.max - scale.min;
  const step = Ticks.find((each) => span / each <= Math.max(3, scale.width / 110)) ?? Ticks[Ticks.length - 1];
  const offset = new Date(scale.min).getTimezoneOffset() * Minute;
  const ticks = [];
  for (let at = Math.ceil((scale.min - offset) / step) * step + offset; at <= scale.max; at += step) {
    ticks.push({value: at});
  }
  scale.ticks = ticks;
}

// A value holds up to the next point, so also up to a gap.
function plotted(points) {
  const shown = [];
  let last = null;
  for (const [x, y] of points) {
    if (y === null && last !== null) shown.push({x, y: last});
    shown.push({x, y});
    last = y;
  }
  return shown;
}

function valueAt(points, time) {
  let low = 0;
  let high = points.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (points[middle][0] <= time) low = middle + 1;
    else high = middle;
  }
  const isInside = low > 0 && time <= points[points.length - 1][0];
  return isInside ? points[low - 1][1] : null;
}

export class TrendView {
  constructor(page) {
    this.page = page;
    this.trends = [];
    const {place, panel} = page;
    place.append(element('h1', {class: 'unseen'}, 'Trend'));
    if (!panel.hasHistory) {
      place.append(element('p', {class: 'empty'}, 'There are no trends: the panel was started without --history FILE.sqlite.'));
      return;
    }
    this.numbers = panel.variables.filter((each) => each.isNumber && each.station !== 0);
    place.append(this.layout());
    this.makeChart();
    this.moved(page.query);
    this.timer = setInterval(() => this.follow(), 2000);
  }

  layout() {
    this.picked = element('div', {class: 'pick', role: 'group', 'aria-label': 'Values to show, eight at most'},
      ...this.numbers.map(({name}) => element('label', {},
        element('input', {type: 'checkbox', value: name, onchange: () => this.pick()}), ` ${name}`)));
    this.full = element('small', {role: 'status'});
    this.spans = Spans.map(([text, span]) => element('button', {type: 'button', 'data-span': span, onclick: () => this.go({span})}, text));
    const move = (text, label, change) => element('button', {type: 'button', 'aria-label': label, title: label, onclick: change}, text);
    this.told_ = element('p', {class: 'told', role: 'status'});
    this.legend = element('ol', {class: 'legend', 'aria-label': 'Values under the pointer'});
    this.canvas = element('canvas', {tabindex: 0, role: 'img', 'aria-label': 'Trend; arrow keys move the pointer, plus and minus zoom'});
    this.box = element('div', {class: 'plot'}, this.canvas);
    return element('div', {class: 'trend'},
      element('details', {class: 'chooser'}, element('summary', {}, 'Choose values ', this.full), this.picked),
      element('div', {class: 'tools', role: 'toolbar', 'aria-label': 'Span'}, ...this.spans,
        move('◀', 'Earlier', () => this.shift(-0.5)), move('▶', 'Later', () => this.shift(0.5)),
        move('+', 'Zoom in', () => this.zoom(0.5)), move('−', 'Zoom out', () => this.zoom(2)),
        move('now', 'Follow the present', () => this.go({span: this.span()}))),
      this.told_, this.box, this.legend);
  }

  // What the address says is what is shown.
  moved(query) {
    if (!this.numbers) return;
    this.names = query.getAll('v').filter((name) => this.numbers.some((each) => each.name === name)).slice(0, Most);
    if (this.names.length === 0 && this.numbers.length > 0) this.names = [this.numbers[0].name];
    this.isFollowing = !query.has('from');
    this.to = this.isFollowing ? this.page.now() : Number(query.get('to'));
    const wanted = this.isFollowing ? Number(query.get('span')) || 10 * Minute : this.to - Number(query.get('from'));
    const span = Math.min(LongestSpan, Math.max(ShortestSpan, wanted));
    this.from = this.to - span;
    this.showPicked();
    for (const button of this.spans) {
      button.setAttribute('aria-pressed', this.isFollowing && Number(button.dataset.span) === span);
    }
    this.pointer = null;
    this.load();
  }

  showPicked() {
    const isFull = this.names.length === Most;
    for (const box of this.picked.querySelectorAll('input')) {
      box.checked = this.names.includes(box.value);
      box.disabled = isFull && !box.checked;
    }
    setText(this.full, isFull ? `${Most} at most` : '');
  }

  span() { return this.to - this.from; }

  // A step of the browser's own history, unless it is one of many.
  go({span, from, to, names = this.names, isOneOfMany = false}) {
    const query = new URLSearchParams(names.map((name) => ['v', name]));
    if (span) query.set('span', Math.round(span));
    else {
      query.set('from', Math.round(from));
      query.set('to', Math.round(to));
    }
    if (isOneOfMany) {
      history.replaceState(null, '', `#/trend?${query}`);
      this.moved(query);
    } else location.hash = `#/trend?${query}`;
  }

  goTo(from, to, isOneOfMany = false) {
    if (to >= this.page.now()) this.go({span: to - from, isOneOfMany});
    else this.go({from, to, isOneOfMany});
  }

  pick() {
    const names = [...this.picked.querySelectorAll('input:checked')].map((box) => box.value);
    const range = this.isFollowing ? {span: this.span()} : {from: this.from, to: this.to};
    this.go({...range, names});
  }

  shift(part) { this.goTo(this.from + part * this.span(), this.to + part * this.span()); }

  zoom(factor, around = this.pointer ?? (this.from + this.to) / 2, isOneOfMany = false) {
    const span = Math.min(LongestSpan, Math.max(ShortestSpan, this.span() * factor));
    const from = around - (around - this.from) * (span / this.span());
    this.goTo(from, from + span, isOneOfMany);
  }

  follow() {
    if (!this.isFollowing || this.isDragging || document.hidden) return;
    const span = this.span();
    const isDue = this.page.now() - this.to > span / 600;
    if (!isDue) return;
    this.to = this.page.now();
    this.from = this.to - span;
    this.load();
  }

  connected(isConnected) {
    if (isConnected && this.chart) this.load();
  }

  async load() {
    const wanted = `${this.names}/${this.from}/${this.to}`;
    this.wanted = wanted;
    const points = Math.max(200, Math.min(2000, this.box.clientWidth * 2));
    const range = `from=${Math.round(this.from)}&to=${Math.round(this.to)}&points=${points}`;
    try {
      const trends = await Promise.all(this.names.map((name) => get(`/api/history?variable=${encodeURIComponent(name)}&${range}`)));
      if (this.wanted !== wanted) return;
      this.trends = trends;
      setText(this.told_, trends.every((each) => each.points.length === 0) ? 'Nothing was kept in this span.' : '');
    } catch (error) {
      const isGone = error instanceof TypeError; // what fetch throws
      setText(this.told_, isGone ? 'No connection to the panel: the trend ends where it was lost.' : error.message);
      return;
    }
    this.draw();
  }

  makeChart() {
    const cursor = {id: 'cursor', afterDraw: (chart) => this.drawCursor(chart)};
    this.chart = new Chart(this.canvas, {type: 'line', data: {datasets: []}, plugins: [cursor],
      options: {animation: false, maintainAspectRatio: false, parsing: false, normalized: true,
        events: [], plugins: {legend: {display: false}, tooltip: {enabled: false}},
        elements: {point: {radius: 0}, line: {borderWidth: 2, stepped: true}}}});
    this.canvas.addEventListener('pointermove', (event) => this.point(event));
    this.canvas.addEventListener('pointerleave', () => this.setPointer(null));
    this.canvas.addEventListener('pointerdown', (event) => {
      if (event.button !== 0) return;
      this.canvas.setPointerCapture(event.pointerId); // its end is ours to hear, wherever it is
      this.isDragging = true;
      this.dragFrom = this.timeAt(event);
    });
    this.canvas.addEventListener('pointerup', (event) => this.endDrag(event));
    this.canvas.addEventListener('pointercancel', () => this.cancelDrag());
    this.canvas.addEventListener('dblclick', () => this.zoom(4));
    this.canvas.addEventListener('wheel', (event) => {
      event.preventDefault();
      this.zoom(event.deltaY < 0 ? 0.7 : 1.4, this.timeAt(event), true);
    }, {passive: false});
    this.canvas.addEventListener('keydown', (event) => this.key(event));
  }

  key(event) {
    const step = this.span() / 100;
    const moves = {ArrowLeft: -step, ArrowRight: step};
    if (event.key === '+') this.zoom(0.5);
    else if (event.key === '-') this.zoom(2);
    else if (moves[event.key]) {
      this.setPointer(Math.min(this.to, Math.max(this.from, (this.pointer ?? this.to) + moves[event.key])));
    } else return;
    event.preventDefault();
  }

  timeAt(event) {
    const time = this.chart.scales.x.getValueForPixel(event.offsetX);
    return Math.min(this.to, Math.max(this.from, time));
  }

  point(event) { this.setPointer(this.timeAt(event)); }

  cancelDrag() {
    this.isDragging = false;
    this.dragFrom = null;
    this.chart.draw();
  }

  endDrag(event) {
    if (!this.isDragging) return;
    const [from, to] = [this.dragFrom, this.timeAt(event)].sort((a, b) => a - b);
    this.cancelDrag();
    if (to - from > this.span() / 50) this.goTo(from, to);
  }

  setPointer(time) {
    this.pointer = time;
    this.showLegend();
    this.chart.draw();
  }

  axes() {
    const grid = {color: style('--rule')};
    const ticks = {color: style('--ink-soft')};
    const span = this.span();
    const scales = {x: {type: 'linear', min: this.from, max: this.to, grid, afterBuildTicks: buildTicks,
      ticks: {...ticks, maxRotation: 0, callback: (value) => timeText(value, span)}}};
    const units = [...new Set(this.trends.map((each) => each.unit))];
    units.forEach((unit, index) => {
      scales[`y${unit}`] = {type: 'linear', position: index === 0 ? 'left' : 'right', ticks,
        grid: index === 0 ? grid : {display: false}, title: {display: unit !== '', text: unit, color: style('--ink-soft')}};
    });
    return scales;
  }

  draw() {
    this.chart.options.scales = this.axes();
    this.chart.data.datasets = this.trends.map((trend, index) => ({
      data: plotted(trend.points), yAxisID: `y${trend.unit}`,
      borderColor: style(`--curve-${index + 1}`), borderDash: Dashes[index],
    }));
    this.chart.update('none');
    this.showLegend();
  }

  drawCursor(chart) {
    const {ctx, chartArea: area, scales: {x}} = chart;
    if (!x || this.pointer === null) return;
    ctx.save();
    ctx.strokeStyle = style('--ink-soft');
    ctx.strokeRect(x.getPixelForValue(this.pointer), area.top, 0.5, area.height);
    if (this.isDragging) {
      ctx.fillStyle = style('--drag');
      const began = x.getPixelForValue(this.dragFrom);
      ctx.fillRect(began, area.top, x.getPixelForValue(this.pointer) - began, area.height);
    }
    ctx.restore();
  }

  // What each value was under the pointer, or is at the end.
  showLegend() {
    const items = this.trends.map((trend, index) => {
      const value = valueAt(trend.points, this.pointer ?? trend.points[trend.points.length - 1]?.[0]);
      const mark = `<svg class="mark" viewBox="0 0 32 8" aria-hidden="true"><path d="M0 4h32" stroke="var(--curve-${index + 1})" stroke-width="3" stroke-dasharray="${Dashes[index].join(' ')}"/></svg>`;
      const item = element('li', {});
      item.insertAdjacentHTML('afterbegin', mark);
      item.append(` ${trend.variable} `, this.legendValue(trend, value));
      return item;
    });
    const when = this.pointer === null ? 'latest' : new Date(this.pointer).toLocaleString('en-GB');
    this.legend.replaceChildren(element('li', {class: 'when'}, when), ...items);
  }

  // As the panel prints it.
  legendValue(trend, value) {
    const decimals = this.numbers.find((each) => each.name === trend.variable)?.decimals ?? -1;
    const number = value === null ? 'no value' : decimals >= 0 ? value.toFixed(decimals) : String(value);
    return element('strong', {'data-variable': trend.variable, 'data-quality': value === null ? 'old' : 'good'},
      trend.unit && value !== null ? `${number} ${trend.unit}` : number);
  }

  themed() {
    if (this.chart) this.draw();
  }

  close() {
    clearInterval(this.timer);
    this.wanted = null; // what is still under way finds no chart
    // A resize that Chart.js put off to the next frame still does.
    if (this.chart) requestAnimationFrame(() => this.chart.destroy());
  }
}
