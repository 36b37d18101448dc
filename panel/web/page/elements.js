// Small things that all views are built of.

// element('td', {class: 'number'}, 'text', child, ...): attributes that are null are left out,
// those that begin with "on" are listeners.
export function element(tag, attributes = {}, ...children) {
  const made = fill(document.createElement(tag), attributes);
  made.append(...children);
  return made;
}

export function drawing(tag, attributes = {}, ...children) {
  const made = fill(document.createElementNS('http://www.w3.org/2000/svg', tag), attributes);
  made.append(...children);
  return made;
}

function fill(made, attributes) {
  for (const [name, value] of Object.entries(attributes)) {
    if (name.startsWith('on')) made.addEventListener(name.slice(2), value);
    else if (value !== null && value !== undefined && value !== false) made.setAttribute(name, value);
  }
  return made;
}

// Sets a text only when it is another: a screen reader would read it again.
export function setText(node, text) {
  if (node.textContent !== text) node.textContent = text;
}

// Makes a node look like another and keeps what is the same: a selection, the focus and a reader's
// place stay where they are.
export function become(node, wanted) {
  for (const {name} of [...node.attributes]) if (!wanted.hasAttribute(name)) node.removeAttribute(name);
  for (const {name, value} of wanted.attributes) if (node.getAttribute(name) !== value) node.setAttribute(name, value);
  while (node.childNodes.length > wanted.childNodes.length) node.lastChild.remove();
  [...wanted.childNodes].forEach((child, index) => {
    const present = node.childNodes[index];
    if (!present) node.append(child);
    else if (present.nodeName !== child.nodeName) present.replaceWith(child);
    else if (child.nodeType === Node.TEXT_NODE) setText(present, child.textContent);
    else become(present, child);
  });
}

// "0.4 s", "12 s", "3 min", "2 h 5 min", "4 d"
export function spanText(milliseconds) {
  const seconds = Math.max(0, milliseconds / 1000);
  if (seconds < 10) return `${seconds.toFixed(1)} s`;
  if (seconds < 60) return `${Math.floor(seconds)} s`;
  const minutes = Math.floor(seconds / 60);
  if (minutes < 60) return `${minutes} min`;
  const hours = Math.floor(minutes / 60);
  return hours < 48 ? `${hours} h ${minutes % 60} min` : `${Math.floor(hours / 24)} d`;
}

// The time of day where the page is read, to so many digits of a second.
export function clockText(time, digits = 0) {
  return new Date(time).toLocaleTimeString('en-GB', digits > 0 ? {
    hour: '2-digit', minute: '2-digit', second: '2-digit', fractionalSecondDigits: digits,
  } : {});
}

// A curve of numbers from left to right; null is a gap.
export function curve(points, width = 120, height = 28) {
  const known = points.filter((value) => value !== null);
  const least = Math.min(...known);
  const range = Math.max(...known) - least || 1;
  const step = width / (points.length - 1);
  let path = '';
  points.forEach((value, index) => {
    if (value === null) return;
    const isFirst = index === 0 || points[index - 1] === null;
    const y = height - 3 - ((value - least) / range) * (height - 6);
    const isAlone = isFirst && (points[index + 1] ?? null) === null;
    path += `${isFirst ? 'M' : 'L'}${(index * step).toFixed(1)} ${y.toFixed(1)}${isAlone ? 'h1' : ''}`;
  });
  const shown = drawing('path', {d: path});
  return drawing('svg', {class: 'curve', viewBox: `0 0 ${width} ${height}`, 'aria-hidden': 'true', preserveAspectRatio: 'none'}, shown);
}
