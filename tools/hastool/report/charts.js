'use strict';
// What the charts of all pages are drawn with.
const charts = (() => {
  const namespace = document.getElementById('patterns').namespaceURI;

  // ---- elements ----

  function add(parent, name, attributes, text) {
    const element = document.createElementNS(namespace, name);
    for (const key in attributes) element.setAttribute(key, attributes[key]);
    if (text !== undefined) element.textContent = text;
    parent.append(element);
    return element;
  }

  function addHtml(parent, name, className, text) {
    const element = document.createElement(name);
    if (className) element.className = className;
    if (text !== undefined) element.textContent = text;
    parent.append(element);
    return element;
  }

  const short = (value) => String(Math.round(value * 10) / 10);

  // ---- values as text ----

  const seconds = (value) => value.toFixed(value < 10 ? 2 : 1) + ' s';
  const digits = (value) => value >= 100 ? value.toFixed(0) : Number(value.toPrecision(3)).toString();

  function rate(value) {
    if (!value) return 'not measured';
    return value >= 1e6 ? digits(value / 1e6) + ' Mbit/s' : digits(value / 1e3) + ' kbit/s';
  }

  function size(value) {
    return value >= 1e6 ? digits(value / 1e6) + ' MB' : digits(value / 1e3) + ' kB';
  }

  // ---- axes ----

  function roundStep(span, count, steps) {
    const rough = span / Math.max(count, 1);
    if (steps) return steps.find((step) => step >= rough) || steps[steps.length - 1];
    const power = Math.pow(10, Math.floor(Math.log10(rough)));
    return [1, 2, 5, 10].map((step) => step * power).find((step) => step >= rough * 0.999);
  }

  function multiples(step, end) {
    const list = [];
    for (let i = 0; i * step <= end * 1.0001; ++i) list.push(Number((i * step).toPrecision(10)));
    return list;
  }

  const clockSteps = [10, 20, 30, 60, 120, 300, 600, 1200, 1800, 3600, 7200, 14400, 43200, 86400];

  function clock(value) {
    const part = (number) => String(Math.floor(number)).padStart(2, '0');
    const hours = Math.floor(value / 3600);
    return (hours ? hours + ':' + part(value / 60 % 60) : Math.floor(value / 60)) + ':' + part(value % 60);
  }

  /** @param what  that the time counts from, as text */
  function timeAxis(length, width, what) {
    const isNarrow = width < 520;
    const left = isNarrow ? 40 : 52;
    const right = width - (isNarrow ? 44 : 56);
    const end = Math.max(length, 0.001);
    const isLong = end > 300;
    const count = (right - left) / 70;
    return {
      width, left, right, isLong,
      ticks: multiples(roundStep(end, count, isLong ? clockSteps : null), end),
      label: (value) => isLong ? clock(value) : String(value),
      unit: (end > 3600 ? 'h:min:s' : isLong ? 'min:s' : 'seconds') + what,
      x: (time) => left + Math.min(Math.max(time / end, 0), 1) * (right - left),
      time: (x) => Math.min(Math.max((x - left) / (right - left), 0), 1) * end,
    };
  }

  function drawTimeAxis(svg, axis, top, bottom) {
    for (const tick of axis.ticks) {
      const x = short(axis.x(tick));
      add(svg, 'line', {class: 'grid', x1: x, x2: x, y1: top, y2: bottom});
      add(svg, 'text', {x, y: bottom + 15, 'text-anchor': 'middle'}, axis.label(tick));
    }
    add(svg, 'line', {class: 'axis', x1: axis.left, x2: axis.right, y1: bottom, y2: bottom});
    add(svg, 'text', {class: 'title', x: (axis.left + axis.right) / 2, y: bottom + 31, 'text-anchor': 'middle'}, axis.unit);
  }

  function drawValueTick(svg, axis, y, label) {
    add(svg, 'line', {class: 'grid', x1: axis.left, x2: axis.right, y1: short(y), y2: short(y)});
    add(svg, 'text', {x: axis.left - 6, y: short(y + 4), 'text-anchor': 'end'}, label);
  }

  const lineOf = (points) => points.map(([x, y], i) => (i ? 'L' : 'M') + short(x) + ' ' + short(y)).join('');

  return {add, addHtml, short, seconds, digits, rate, size, roundStep, multiples, timeAxis, drawTimeAxis, drawValueTick, lineOf};
})();
