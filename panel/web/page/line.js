// How the lines are doing, station by station, and what was said last.
import {become, clockText, drawing, element, setText} from '/elements.js';

const Shown = 200;
const FailureText = {
  noReply: 'no reply', refused: 'refused', badCrc: 'bad checksum', cutShort: 'cut short',
  wrongReply: 'wrong reply', foreign: 'foreign', deviceGone: 'device gone',
};

const percent = (share) => `${(share * 100).toFixed(share < 0.1 ? 1 : 0)} %`;
const milliseconds = (time) => (time === null || time === undefined ? '–'
  : `${time >= 100 ? Math.round(time) : Number(time.toPrecision(2))} ms`);

function failuresText(failures) {
  return Object.entries(failures).map(([kind, count]) => `${FailureText[kind] ?? kind} ${count}`).join(', ');
}

// How often which reply time was seen: a bar for each step of a fifth of an octave.
function histogram({steps, medianMs, longestMs}) {
  if (steps.length === 0) return element('span', {class: 'last'}, 'none yet');
  const width = 240;
  const height = 44;
  const least = Math.log2(Math.max(steps[0].fromMs, 0.25));
  const range = Math.max(Math.log2(steps[steps.length - 1].toMs) - least, 1);
  const most = Math.max(...steps.map((step) => step.count));
  const at = (time) => ((Math.log2(Math.max(time, 0.25)) - least) / range) * width;
  const bars = steps.map((step) => {
    const tall = Math.max(2, (step.count / most) * (height - 2));
    return drawing('rect', {
      x: at(step.fromMs), y: height - tall, height: tall,
      width: Math.max(1.5, at(step.toMs) - at(step.fromMs) - 1),
    }, drawing('title', {}, `${milliseconds(step.fromMs)} to ${milliseconds(step.toMs)}: ${step.count}`));
  });
  const label = `Reply times: median ${milliseconds(medianMs)}, longest ${milliseconds(longestMs)}`;
  const scale = element('span', {class: 'scale'},
    element('span', {}, milliseconds(steps[0].fromMs)), element('span', {}, milliseconds(steps[steps.length - 1].toMs)));
  return element('div', {class: 'histogram'},
    drawing('svg', {viewBox: `0 0 ${width} ${height}`, role: 'img', 'aria-label': label, preserveAspectRatio: 'none'}, ...bars), scale);
}

function fact(name, value, more = null) {
  return element('div', {class: 'fact'}, element('dt', {}, name), element('dd', {}, value, ...(more ? [more] : [])));
}

function stationRow(station) {
  const isBad = station.failed > 0 && station.causes.length > 0;
  const state = station.station === 0 ? '– nobody answers a broadcast' : station.resting ? `◌ ${station.resting}` : isBad ? '▲ failures' : '● answers';
  const {replyTimes} = station;
  const median = replyTimes.count > 0 ? milliseconds(replyTimes.medianMs) : '–';
  const most = replyTimes.count > 0 ? element('p', {class: 'last'}, `95 %: ${milliseconds(replyTimes.p95Ms)}`) : '';
  const lastBad = station.lastBad
    ? element('p', {class: 'last'}, `last failure ${clockText(station.lastBad.at)}: ${station.lastBad.request}, ${station.lastBad.reason}`) : '';
  return element('tr', {'data-station': station.station, 'data-state': station.resting ? 'resting' : isBad ? 'bad' : 'good'},
    element('th', {scope: 'row'}, station.station === 0 ? 'all' : String(station.station)),
    element('td', {}, element('strong', {}, state),
      ...station.causes.slice(0, 2).map((cause) => element('p', {class: 'cause'}, cause)), lastBad),
    element('td', {class: 'number'}, String(station.exchanges)),
    element('td', {class: 'number'}, String(station.failed), element('p', {class: 'last'}, failuresText(station.failures))),
    element('td', {class: 'number'}, median, most),
    element('td', {}, histogram(replyTimes)));
}

function lineSection(line) {
  const inUse = element('meter', {min: 0, max: 1, value: line.shareInUse, 'aria-label': 'Share of its time in use'});
  const warnings = [
    line.deviceGone, ...line.remarks,
    ...(line.causes ?? []),
    line.refusedVariables.length > 0 ? `Refused by their station: ${line.refusedVariables.join(', ')}` : null,
  ].filter(Boolean);
  return element('section', {class: 'line', 'data-line': line.name},
    element('h2', {}, `${line.name} `, element('small', {}, `${line.device}, ${line.baudRate} baud`)),
    ...warnings.map((text) => element('p', {class: 'warning'}, `▲ ${text}`)),
    element('dl', {class: 'facts'},
      fact('in use', percent(line.shareInUse), inUse), fact('pass', milliseconds(line.lastPassMs)),
      fact('exchanges', String(line.exchanges)),
      fact('failed', String(line.failed)), fact('given up', String(line.givenUp)),
      fact('stray bytes', String(line.strayBytes)),
      ...(line.deviceLosses > 0 ? [fact('device gone', `${line.deviceLosses} ${line.deviceLosses === 1 ? 'time' : 'times'}`)] : [])),
    element('div', {class: 'scroll'}, element('table', {class: 'stations-of-line'},
      element('thead', {}, element('tr', {}, ...['station', 'state and likely cause', 'exchanges', 'failed', 'median reply', 'reply times']
        .map((text) => element('th', {scope: 'col', class: /exch|fail|median/.test(text) ? 'number' : null}, text)))),
      element('tbody', {}, ...line.stations.map(stationRow)))));
}

function exchangeRow(exchange, hasLines) {
  const isGood = exchange.outcome === 'good';
  return element('tr', {'data-outcome': exchange.outcome},
    element('td', {}, clockText(exchange.at, 3)),
    ...(hasLines ? [element('td', {}, exchange.line)] : []),
    element('td', {}, exchange.station === 0 ? 'all' : String(exchange.station)),
    element('td', {}, exchange.request),
    element('td', {}, `${isGood ? '' : '▲ '}${exchange.result}${exchange.attempt > 1 ? ` (attempt ${exchange.attempt})` : ''}`));
}

export class LineView {
  constructor({place, panel}) {
    this.hasLines = panel.lines.length > 1;
    this.exchanges = [];
    this.lines = element('div', {}, element('p', {}, 'waiting for the panel'));
    this.paused = element('input', {type: 'checkbox', onchange: () => this.showExchanges()});
    this.failures = element('input', {type: 'checkbox', onchange: () => this.showExchanges()});
    this.body = element('tbody');
    const heads = ['time', ...(this.hasLines ? ['line'] : []), 'station', 'request', 'result'];
    place.append(element('h1', {class: 'unseen'}, 'Line'), this.lines,
      element('section', {class: 'exchanges'},
        element('h2', {}, 'Last exchanges'),
        element('label', {}, this.paused, ' hold'), element('label', {}, this.failures, ' failures only'),
        element('div', {class: 'scroll list', tabindex: 0, role: 'region', 'aria-label': 'Last exchanges'},
          element('table', {}, element('thead', {}, element('tr', {}, ...heads.map((text) => element('th', {scope: 'col'}, text)))), this.body))));
  }

  told(event, object) {
    if (event === 'lines') become(this.lines, element('div', {}, ...object.lines.map(lineSection)));
    if (event !== 'exchanges') return;
    const latest = this.exchanges[0]?.number ?? 0;
    const news = object.exchanges.filter((each) => each.number > latest).reverse();
    this.exchanges = [...news, ...this.exchanges].slice(0, Shown);
    this.isDue = true;
    this.timer ??= setInterval(() => this.showDue(), 250);
    if (this.body.childElementCount === 0) this.showDue();
  }

  showDue() {
    if (this.isDue && !this.paused.checked) this.showExchanges();
    this.isDue = false;
  }

  showExchanges() {
    const shown = this.exchanges.filter((each) => !this.failures.checked || each.outcome !== 'good');
    this.body.replaceChildren(...shown.map((each) => exchangeRow(each, this.hasLines)));
  }

  close() {
    clearInterval(this.timer);
  }
}
