'use strict';
// Draws how a study's figures are distributed, and a trace's play under two rules.
(() => {
  const {add, addHtml, short, seconds, digits, rate, roundStep, multiples, timeAxis, drawTimeAxis, drawValueTick, lineOf} = charts;
  const section = document.getElementById('study');
  const data = JSON.parse(section.querySelector('script').textContent);
  const said = document.getElementById('said');
  const printWidth = 700;
  const drawn = ['score', 'kbit/s', 'stall %', 'change'];
  // What the numbers of a segment mean.
  const [BEGUN, TIME, STREAM, BUFFER, STALLED, GIVEN_UP] = [0, 1, 2, 3, 4, 5];
  const pick = Object.fromEntries(['set', 'trace', 'first', 'second'].map((id) => [id, document.getElementById(id)]));

  const colourOf = (rule) => data.rules.indexOf(rule) % 8;
  const classOf = (rule) => 'rule rule-' + colourOf(rule) + ' dash-' + Math.floor(data.rules.indexOf(rule) / 2) % 4;

  // ---- distributions ----

  /** The figures of all traces of the chosen set, or of all sets, in ascending order. */
  function valuesOf(rule, column) {
    const sets = pick.set.value === '' ? data.sets : [data.sets[Number(pick.set.value)]];
    return sets.flatMap((set) => set.traces).filter((trace) => trace.runs[rule])
      .map((trace) => trace.runs[rule].figures[column]).sort((left, right) => left - right);
  }

  /** Ticks from the lowest to the highest value. */
  function ticksOf(low, high, count) {
    const step = roundStep(high - low, count);
    const first = Math.ceil(low / step - 1e-9);
    return multiples(step, high - first * step).map((value) => Number((value + first * step).toPrecision(10)));
  }

  function drawDistribution(svg, width, column) {
    const all = data.rules.map((rule) => valuesOf(rule, column));
    const flat = all.flat();
    if (!flat.length) return 0;
    const low = Math.min(...flat, 0);
    const high = Math.max(...flat, low + 1e-6);
    const [left, right, top, bottom] = [44, width - 16, 8, 170];
    const x = (value) => left + (value - low) / (high - low) * (right - left);
    const y = (part) => bottom - part * (bottom - top);
    for (const tick of [0, 0.25, 0.5, 0.75, 1]) drawValueTick(svg, {left, right}, y(tick), tick * 100 + ' %');
    for (const tick of ticksOf(low, high, (right - left) / 60)) {
      add(svg, 'line', {class: 'grid', x1: short(x(tick)), x2: short(x(tick)), y1: top, y2: bottom});
      add(svg, 'text', {x: short(x(tick)), y: bottom + 15, 'text-anchor': 'middle'}, tick);
    }
    add(svg, 'line', {class: 'axis', x1: left, x2: right, y1: bottom, y2: bottom});
    data.rules.forEach((rule, i) => {
      const values = all[i];
      const points = values.flatMap((value, at) => [[x(value), y(at / values.length)], [x(value), y((at + 1) / values.length)]]);
      if (!points.length) return;
      const path = add(svg, 'path', {class: classOf(rule), d: lineOf(points) + 'H' + right});
      add(path, 'title', {}, rule + ': half of the traces at most ' + digits(values[Math.floor((values.length - 1) / 2)]));
    });
    return bottom + 24;
  }

  function drawDistributions() {
    const place = document.getElementById('distributions');
    place.replaceChildren();
    const made = drawn.map((name) => {
      const figure = addHtml(place, 'figure');
      addHtml(addHtml(figure, 'figcaption'), 'h3', '', name === 'change' ? 'change, kbit/s' : name);
      return add(figure, 'svg', {role: 'img', 'aria-label': 'Distribution of ' + name + ' for each rule'});
    });
    // Only beside each other are they as wide as they stay.
    made.forEach((svg, i) => {
      const width = Math.max(Math.round(svg.parentNode.clientWidth), 260);
      const column = data.columns.findIndex((it) => it.column === drawn[i]);
      svg.setAttribute('viewBox', `0 0 ${width} ${drawDistribution(svg, width, column)}`);
    });
  }

  // ---- one trace ----

  const chosenTrace = () => {
    const [set, trace] = pick.trace.value.split('/').map(Number);
    return {set: data.sets[set], trace: data.sets[set].traces[trace]};
  };

  /** The plays that are shown, of those that the page has. */
  const chosenRuns = () => {
    const {set, trace} = chosenTrace();
    return [pick.first.value, pick.second.value].filter((rule, i, both) => both.indexOf(rule) === i && trace.runs[rule])
      .map((rule) => ({rule, ...trace.runs[rule], bitrates: set.bitrates})).filter((run) => run.segments && run.segments.length);
  };

  const endOf = (runs) => Math.max(...runs.map((run) => run.segments[run.segments.length - 1][TIME]), 1);

  /** The line as steps of [time, kbit/s], again and again up to the end. */
  function lineSteps(line, end) {
    const steps = [];
    const length = line.reduce((sum, [time]) => sum + time, 0);
    for (let time = 0; length > 0 && time < end;) {
      for (const [lasts, kbps] of line) {
        if (time < end) steps.push([time, kbps], [Math.min(time + lasts, end), kbps]);
        time += lasts;
      }
    }
    return steps;
  }

  function drawScale(svg, axis, y, highest, bottom, top, name) {
    for (const tick of multiples(roundStep(highest, 5), highest)) drawValueTick(svg, axis, y(tick), digits(tick));
    add(svg, 'text', {class: 'title', x: 0, y: 12}, name);
    drawTimeAxis(svg, axis, top, bottom);
  }

  function drawRates(svg, axis, runs) {
    const {set, trace} = chosenTrace();
    const steps = lineSteps(trace.line, endOf(runs));
    const top = 24;
    const bottom = 230;
    // A line far above the highest stream would press the streams together.
    const ladder = set.bitrates[set.bitrates.length - 1] / 1000;
    const highest = Math.min(Math.max(ladder, ...steps.map(([, kbps]) => kbps)), ladder * 2) * 1.05;
    const y = (kbps) => bottom - Math.min(kbps / highest, 1) * (bottom - top);
    drawScale(svg, axis, y, highest, bottom, top, 'kbit/s');
    add(svg, 'path', {class: 'line-rate', d: lineOf(steps.map(([time, kbps]) => [axis.x(time), y(kbps)]))});
    for (const run of runs) {
      const points = run.segments.flatMap((segment, i) => {
        const end = i + 1 < run.segments.length ? run.segments[i + 1][BEGUN] : segment[TIME];
        const level = y(run.bitrates[segment[STREAM]] / 1000);
        return [[axis.x(segment[BEGUN]), level], [axis.x(end), level]];
      });
      add(svg, 'path', {class: classOf(run.rule), d: lineOf(points)});
    }
    return {top, bottom, height: bottom + 38};
  }

  /** The buffer falls by a second each second until the next segment comes. */
  function bufferPoints(run) {
    return run.segments.flatMap((segment, i) => {
      const next = run.segments[i + 1];
      const here = [segment[TIME], segment[BUFFER]];
      if (!next) return [here];
      const passed = next[TIME] - segment[TIME];
      const empty = Math.min(passed, segment[BUFFER]);
      return [here, [segment[TIME] + empty, segment[BUFFER] - empty], [next[TIME], Math.max(segment[BUFFER] - passed, 0)]];
    });
  }

  function drawBuffers(svg, axis, runs) {
    const top = 24;
    const bottom = 170;
    const highest = Math.max(...runs.flatMap((run) => run.segments.map((segment) => segment[BUFFER])), 1) * 1.05;
    const y = (value) => bottom - value / highest * (bottom - top);
    runs.forEach((run, row) => {
      for (const segment of run.segments) {
        const x = axis.x(segment[TIME] - segment[STALLED]);
        if (segment[STALLED] > 0)
          add(svg, 'rect', {class: 'fill-' + colourOf(run.rule), x: short(x), y: bottom + 20 + 9 * row, height: 7,
            width: short(Math.max(axis.x(segment[TIME]) - x, 1.5))});
      }
    });
    for (const tick of multiples(roundStep(highest, 4), highest)) drawValueTick(svg, axis, y(tick), digits(tick));
    add(svg, 'text', {class: 'title', x: 0, y: 12}, 'seconds of media; stalls below');
    add(svg, 'line', {class: 'axis', x1: axis.left, x2: axis.right, y1: bottom, y2: bottom});
    for (const run of runs)
      add(svg, 'path', {class: classOf(run.rule), d: lineOf(bufferPoints(run).map(([time, value]) => [axis.x(time), y(value)]))});
    drawTimeAxis(svg, axis, top, bottom + 40);
    return {top, bottom, height: bottom + 78};
  }

  function drawPair(runs) {
    const table = document.getElementById('pair');
    table.replaceChildren();
    const head = addHtml(addHtml(table, 'thead'), 'tr');
    addHtml(head, 'th', '', 'rule');
    for (const it of data.columns) addHtml(head, 'th', 'number', it.column);
    const body = addHtml(table, 'tbody');
    for (const run of runs) {
      const row = addHtml(body, 'tr');
      addHtml(row, 'th', '', run.rule).scope = 'row';
      run.figures.forEach((value, i) => addHtml(row, 'td', 'number', value.toFixed(data.columns[i].digits)));
    }
  }

  // ---- a moment pointed at ----

  const figures = [...section.querySelectorAll('.chart')].map((figure) => ({figure, kind: figure.dataset.chart,
    svg: add(figure, 'svg', {tabindex: 0, role: 'img', 'aria-label': figure.querySelector('h3').textContent +
      ' over time; the arrow keys go from segment to segment'}), tip: addHtml(figure, 'div', 'tip')}));
  let shown = {runs: [], axis: null, at: 0};

  function lineAt(line, time) {
    const length = line.reduce((sum, [lasts]) => sum + lasts, 0);
    let rest = length > 0 ? time % length : 0;
    for (const [lasts, kbps] of line) {
      if (rest < lasts) return kbps;
      rest -= lasts;
    }
    return 0;
  }

  function textAt(run, time) {
    const after = run.segments.findIndex((segment) => segment[TIME] > time);
    const segment = run.segments[after < 0 ? run.segments.length - 1 : after];
    const gone = segment[GIVEN_UP] ? ', ' + segment[GIVEN_UP] + ' given up' : '';
    const stall = segment[STALLED] > 0 ? ', stalled ' + seconds(segment[STALLED]) : '';
    return `${run.rule}: ${rate(run.bitrates[segment[STREAM]])}, ${seconds(segment[BUFFER])} when it came${stall}${gone}`;
  }

  function hide() {
    for (const {svg, tip} of figures) {
      tip.hidden = true;
      svg.querySelectorAll('.cross').forEach((element) => element.remove());
    }
  }

  function showMoment(chart, time) {
    hide();
    if (!shown.runs.length) return;
    const x = shown.axis.x(time);
    for (const {svg, area} of figures) add(svg, 'line', {class: 'cross', x1: short(x), x2: short(x), y1: area.top, y2: area.bottom});
    const lines = [seconds(time) + ', line ' + digits(lineAt(chosenTrace().trace.line, time)) + ' kbit/s']
      .concat(shown.runs.map((run) => textAt(run, time)));
    chart.tip.replaceChildren();
    for (const line of lines) addHtml(chart.tip, 'div', '', line);
    chart.tip.hidden = false;
    const factor = chart.svg.getBoundingClientRect().width / shown.axis.width;
    const width = chart.tip.offsetWidth;
    const right = x * factor + 14;
    chart.tip.style.left = Math.max(0, right + width <= shown.axis.width * factor ? right : x * factor - width - 14) + 'px';
    chart.tip.style.top = chart.svg.getBoundingClientRect().top - chart.figure.getBoundingClientRect().top + 30 + 'px';
    said.textContent = lines.join('; ');
  }

  function pointAt(chart, event) {
    if (!shown.axis) return;
    const box = chart.svg.getBoundingClientRect();
    showMoment(chart, shown.axis.time((event.clientX - box.left) * shown.axis.width / box.width));
  }

  function press(chart, event) {
    const run = shown.runs[0];
    const to = {ArrowRight: shown.at + 1, ArrowLeft: shown.at - 1, Home: 0, End: 1e9}[event.key];
    if (event.key === 'Escape') hide();
    if (to === undefined || !run) return;
    event.preventDefault();
    shown.at = Math.min(Math.max(to, 0), run.segments.length - 1);
    showMoment(chart, run.segments[shown.at][BEGUN]);
  }

  for (const chart of figures) {
    chart.tip.hidden = true;
    chart.svg.addEventListener('pointermove', (event) => pointAt(chart, event));
    chart.svg.addEventListener('pointerdown', (event) => pointAt(chart, event));
    chart.svg.addEventListener('pointerleave', (event) => event.pointerType === 'mouse' && hide());
    chart.svg.addEventListener('blur', hide);
    chart.svg.addEventListener('keydown', (event) => press(chart, event));
  }

  // ---- the page ----

  function drawLegend(name, items) {
    const list = section.querySelector(`[data-legend=${name}]`);
    list.replaceChildren();
    for (const [className, text] of items) {
      const item = addHtml(list, 'li');
      add(add(item, 'svg', {viewBox: '0 0 22 12', 'aria-hidden': 'true'}), 'path', {class: className, d: 'M0 6H22'});
      item.append(text);
    }
  }

  function drawTrace(width) {
    hide();
    const runs = chosenRuns();
    const axis = timeAxis(endOf(runs), width, ' since the play began');
    shown = {runs, axis, at: 0};
    drawLegend('pair', [['line-rate', 'the line'], ...runs.map((run) => [classOf(run.rule), run.rule])]);
    for (const chart of figures) {
      chart.svg.replaceChildren();
      chart.area = (chart.kind === 'rates' ? drawRates : drawBuffers)(chart.svg, axis, runs);
      chart.svg.setAttribute('viewBox', `0 0 ${axis.width} ${chart.area.height}`);
    }
    drawPair(runs);
  }

  function option(select, value, text) {
    addHtml(select, 'option', '', text).value = value;
  }

  function fill() {
    if (data.sets.length > 1) option(pick.set, '', 'all');
    data.sets.forEach((set, i) => option(pick.set, i, set.name));
    data.sets.forEach((set, i) => {
      const group = addHtml(pick.trace, 'optgroup');
      group.label = set.name;
      set.traces.forEach((trace, j) => {
        if (Object.values(trace.runs).some((run) => run.segments)) option(group, i + '/' + j, trace.name);
      });
    });
    for (const rule of data.rules) {
      option(pick.first, rule, rule);
      option(pick.second, rule, rule);
    }
    pick.second.value = data.rules[Math.min(1, data.rules.length - 1)];
    drawLegend('rules', data.rules.map((rule) => [classOf(rule), rule]));
  }

  function drawAll(width) {
    drawDistributions();
    if (pick.trace.value) drawTrace(width || Math.max(Math.round(section.clientWidth), 280));
  }

  fill();
  drawAll();
  pick.set.addEventListener('change', drawDistributions);
  for (const select of [pick.trace, pick.first, pick.second]) select.addEventListener('change', () => drawAll());
  addEventListener('beforeprint', () => drawAll(printWidth));
  addEventListener('afterprint', () => drawAll());
  let drawnWidth = document.documentElement.clientWidth;
  addEventListener('resize', () => {
    if (drawnWidth === document.documentElement.clientWidth) return;
    drawnWidth = document.documentElement.clientWidth;
    drawAll();
  });
})();
