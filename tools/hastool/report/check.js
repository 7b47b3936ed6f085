'use strict';
// Draws what a check has measured: a small chart for each rendition, all over the same time.
(() => {
  const {add, addHtml, short, rate, seconds, digits, roundStep, multiples, timeAxis, drawTimeAxis, drawValueTick} = charts;
  const section = document.getElementById('charts');
  if (!section) return;
  const renditions = JSON.parse(section.querySelector('script').textContent).renditions;
  const printWidth = 700;
  // What the numbers of a segment mean.
  const [START, LENGTH, RATE, NAME, MARKED, BREAK] = [0, 1, 2, 3, 4, 5];
  const begin = Math.min(...renditions.map((it) => it.segments[0][START]));
  const end = Math.max(...renditions.map((it) => {
    const last = it.segments[it.segments.length - 1];
    return last[START] + last[LENGTH];
  }));

  function axisFor(width) {
    const axis = timeAxis(end - begin, width, begin ? ' since the first segment' : ' since the begin');
    return {...axis, x: (time) => axis.x(time - begin)};
  }

  /** A time axis for ticks that count from the first segment. */
  function drawTimes(svg, axis, top, bottom) {
    drawTimeAxis(svg, {...axis, x: (time) => axis.x(time + begin)}, top, bottom);
  }

  function bar(svg, axis, y, bottom, segment, value, text, isOver) {
    const x = axis.x(segment[START]);
    const width = Math.max(axis.x(segment[START] + segment[LENGTH]) - x - 1, 0.7);
    const className = 'segment' + (isOver ? ' over' : '') + (segment[MARKED] ? ' marked' : '');
    const box = add(svg, 'rect', {class: className, x: short(x), y: short(y(value)), width: short(width), height: short(Math.max(bottom - y(value), 0.5))});
    add(box, 'title', {}, segment[NAME] + ': ' + text);
  }

  function level(svg, axis, y, value, className) {
    if (value) add(svg, 'line', {class: className, x1: axis.left, x2: axis.right, y1: short(y(value)), y2: short(y(value))});
  }

  function bars(svg, axis, it, unit, valueOf, textOf, limits) {
    const top = 18;
    const bottom = top + 84;
    const values = it.segments.map(valueOf);
    const highest = Math.max(...values, ...limits.map(([value]) => value), 1e-9) * 1.06 / unit.factor;
    const step = roundStep(highest, 3);
    const y = (value) => bottom - Math.min(value / unit.factor / highest, 1) * (bottom - top);
    for (const tick of multiples(step, highest)) drawValueTick(svg, axis, y(tick * unit.factor), digits(tick));
    add(svg, 'text', {class: 'title', x: 0, y: 10}, unit.name);
    drawTimes(svg, axis, top, bottom);
    it.segments.forEach((segment, i) => {
      if (values[i] > 0) bar(svg, axis, y, bottom, segment, values[i], textOf(segment), limits.length && limits[0][0] && values[i] > limits[0][0] * limits[0][2]);
    });
    for (const [value, className] of limits) level(svg, axis, y, value, className);
    return bottom + 38;
  }

  function drawRates(svg, axis, it) {
    if (!it.segments.some((segment) => segment[RATE] > 0)) return 0;
    const highest = Math.max(...it.segments.map((segment) => segment[RATE]), it.declared);
    const unit = highest >= 3e6 ? {factor: 1e6, name: 'Mbit/s'} : {factor: 1e3, name: 'kbit/s'};
    // A tenth above the declared one is what encoders and containers add.
    return bars(svg, axis, it, unit, (segment) => segment[RATE], (segment) => rate(segment[RATE]),
      [[it.declared, 'declared', 1.1], [it.average, 'average', 1.1]]);
  }

  function drawDurations(svg, axis, it) {
    // Durations are rounded to whole seconds before they are held against the target.
    const isOver = it.target ? (it.target + 0.5) / it.target : 1;
    return bars(svg, axis, it, {factor: 1, name: 'seconds'}, (segment) => segment[LENGTH],
      (segment) => seconds(segment[LENGTH]), [[it.target, 'declared', isOver]]);
  }

  /** Cuts that another rendition of the same group lacks where it has media. */
  function lonelyCuts(it, group) {
    const tolerance = 0.02; // seconds: a frame
    const others = group.filter((other) => other !== it);
    return (time) => others.some((other) => {
      const last = other.segments[other.segments.length - 1];
      const isWithin = other.segments[0][START] - tolerance < time && time < last[START] + last[LENGTH] - tolerance;
      return isWithin && !other.segments.some((segment) => Math.abs(segment[START] - time) < tolerance);
    });
  }

  function drawCuts(place, axis) {
    const figure = addHtml(place, 'div', 'charts-of');
    const svg = add(figure, 'svg', {role: 'img', 'aria-label': 'Where the renditions are cut'});
    const height = 30;
    renditions.forEach((it, row) => {
      const top = row * height;
      const group = renditions.filter((other) => other.group === it.group);
      const isLonely = it.segments.length <= 2000 ? lonelyCuts(it, group) : () => false;
      add(svg, 'text', {class: 'row-name', x: axis.left, y: top + 12}, it.name);
      for (const segment of it.segments) {
        const x = short(axis.x(segment[START]));
        const className = segment[BREAK] ? 'break' : isLonely(segment[START]) ? 'cut alone' : 'cut';
        const mark = add(svg, 'line', {class: className, x1: x, x2: x, y1: top + 16, y2: top + 27});
        add(mark, 'title', {}, segment[NAME] + ': ' + seconds(segment[START]));
      }
    });
    const bottom = renditions.length * height;
    drawTimes(svg, axis, bottom, bottom);
    svg.setAttribute('viewBox', `0 0 ${axis.width} ${bottom + 38}`);
  }

  function drawEach(place, axis, name, draw) {
    for (const it of renditions) {
      const figure = addHtml(place, 'figure', 'charts-of');
      addHtml(addHtml(figure, 'figcaption'), 'h3', '', it.name);
      const svg = add(figure, 'svg', {role: 'img', 'aria-label': name + ' of ' + it.name});
      const height = draw(svg, axis, it);
      if (!height) figure.remove();
      svg.setAttribute('viewBox', `0 0 ${axis.width} ${height}`);
    }
  }

  const samples = {
    box: (svg, className) => add(svg, 'rect', {class: className, x: 2, width: 18, height: 12}),
    line: (svg, className) => add(svg, 'path', {class: className, d: 'M0 6H22'}),
    tick: (svg, className) => add(svg, 'path', {class: className, d: 'M11 0V12'}),
  };
  const legends = {
    rates: [['box', 'segment', 'a segment'], ['box', 'segment over', 'above what is declared'], ['line', 'declared', 'declared'],
      ['line', 'average', 'declared average']],
    durations: [['box', 'segment', 'a segment'], ['box', 'segment over', 'longer than the target duration'], ['line', 'declared', 'target duration']],
    cuts: [['tick', 'cut', 'begin of a segment'], ['tick', 'cut alone', 'not in all renditions of its group'], ['tick', 'break', 'discontinuity']],
  };

  function drawLegends() {
    for (const list of section.querySelectorAll('[data-legend]')) {
      for (const [kind, className, text] of legends[list.dataset.legend]) {
        const item = addHtml(list, 'li');
        samples[kind](add(item, 'svg', {viewBox: '0 0 22 12', 'aria-hidden': 'true'}), className);
        item.append(text);
      }
    }
  }

  function drawAll(width) {
    const axis = axisFor(width || Math.max(Math.round(section.clientWidth), 280));
    const places = {};
    for (const place of section.querySelectorAll('[data-chart]')) {
      place.replaceChildren();
      places[place.dataset.chart] = place;
    }
    drawEach(places.rates, axis, 'Bitrate', drawRates);
    drawEach(places.durations, axis, 'Durations', drawDurations);
    drawCuts(places.cuts, axis);
  }

  drawLegends();
  drawAll();
  addEventListener('beforeprint', () => drawAll(printWidth));
  addEventListener('afterprint', () => drawAll());
  let drawnWidth = document.documentElement.clientWidth;
  addEventListener('resize', () => {
    if (drawnWidth === document.documentElement.clientWidth) return;
    drawnWidth = document.documentElement.clientWidth;
    drawAll();
  });
})();
