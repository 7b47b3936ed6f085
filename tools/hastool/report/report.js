'use strict';
// Draws the charts of each play from the data beside it. All charts of a play share the time axis;
// a moment that is pointed at in one is marked in all.
(() => {
  const {add, addHtml, short, seconds, digits, rate, size, roundStep, multiples, timeAxis, drawTimeAxis, drawValueTick, lineOf} = charts;
  const said = document.getElementById('said');
  const printWidth = 700;

  // ---- shapes ----

  /** Of very many points the lowest and highest of each pixel. */
  function thinned(points, pixels) {
    if (points.length <= 4 * pixels) return points;
    const result = [];
    for (let i = 0; i < points.length;) {
      const column = Math.floor(points[i][0]);
      let low = points[i];
      let high = low;
      for (; i < points.length && Math.floor(points[i][0]) === column; ++i) {
        if (points[i][1] < low[1]) low = points[i];
        if (points[i][1] > high[1]) high = points[i];
      }
      result.push(...(low[0] <= high[0] ? [low, high] : [high, low]));
    }
    return result;
  }

  function band(svg, axis, ranges, className, top, height) {
    for (const [begin, end] of ranges) {
      const x = axis.x(begin);
      add(svg, 'rect', {class: className, x: short(x), y: top, width: short(Math.max(axis.x(end) - x, 1)), height,
        'data-begin': begin, 'data-end': end});
    }
  }

  const marks = {
    up: (x, y) => `M${short(x)} ${short(y - 6)}l5.5 9h-11z`,
    down: (x, y) => `M${short(x)} ${short(y + 6)}l5.5 -9h-11z`,
    redirect: (x, y) => `M${short(x)} ${short(y - 4)}l4 4l-4 4l-4 -4z`,
    skipped: (x, y) => `M${short(x - 4)} ${short(y - 4)}l8 8m0 -8l-8 8`,
    'given-up': (x, y) => `M${short(x - 4)} ${short(y - 3)}h8l-4 7z`,
    retry: (x, y) => `M${short(x - 3.5)} ${short(y)}a3.5 3.5 0 1 0 7 0a3.5 3.5 0 1 0 -7 0`,
  };

  const samples = {
    line: (svg, className) => add(svg, 'path', {class: className, d: 'M0 6H22'}),
    box: (svg, className) => add(svg, 'rect', {class: className, x: 2, width: 18, height: 12}),
    strip: (svg, className) => add(svg, 'rect', {class: className, y: 3, width: 22, height: 5}),
    mark: (svg, className) => add(svg, 'path', {class: className, d: marks[className](11, 6)}),
    arrows: (svg) => add(svg, 'path', {class: 'switch', d: marks.up(6, 6) + marks.down(16, 5)}),
  };

  function drawLegend(figure, entries) {
    const list = addHtml(figure, 'ul', 'legend');
    for (const [kind, className, text] of entries) {
      const item = addHtml(list, 'li');
      samples[kind](add(item, 'svg', {viewBox: '0 0 22 12', 'aria-hidden': 'true'}), className);
      item.append(text);
    }
  }

  // ---- bandwidth and bitrate ----

  function rateScale(data, top, bottom) {
    const positive = (list) => list.filter((value) => value > 0);
    const rates = positive(data.ladder).concat(data.firstBitrate || []);
    const known = positive(data.samples.bandwidth).concat(positive(data.samples.mean), rates);
    const lowest = rates.length ? Math.min(...rates) : 1e5;
    let low = Infinity;
    let high = lowest;
    for (const value of known) {
      low = Math.min(low, value);
      high = Math.max(high, value);
    }
    low = Math.max(Math.min(low, lowest) / 1.4, lowest / 12);
    high = Math.max(high * 1.3, low * 4);
    const span = Math.log(high / low);
    const unit = high >= 3e6 ? 1e6 : 1e3;
    return {
      low, high, unit,
      name: unit === 1e6 ? 'Mbit/s' : 'kbit/s',
      decade: Math.log(10) / span * (bottom - top),
      y: (value) => bottom - Math.log(Math.max(value, low) / low) / span * (bottom - top),
    };
  }

  /** Round values, as many of each power of ten as find room. */
  function rateSteps(scale) {
    if (scale.decade > 255) return [1, 1.5, 2, 3, 4, 5, 6, 8];
    if (scale.decade > 66) return [1, 2, 5];
    return scale.decade > 42 ? [1, 3] : [1];
  }

  function drawRateTicks(svg, axis, scale) {
    for (let power = 1; power <= scale.high; power *= 10) {
      for (const step of rateSteps(scale)) {
        const value = power * step;
        if (value >= scale.low && value <= scale.high) drawValueTick(svg, axis, scale.y(value), digits(value / scale.unit));
      }
    }
  }

  function drawLadder(svg, axis, scale, ladder) {
    let last = Infinity;
    for (const bitrate of ladder) {
      if (!(bitrate > 0)) continue;
      const y = scale.y(bitrate);
      add(svg, 'line', {class: 'ladder', x1: axis.left, x2: axis.right, y1: short(y), y2: short(y), 'data-bitrate': bitrate});
      if (last - y < 12) continue;
      last = y;
      add(svg, 'text', {x: axis.right + 6, y: short(y + 4)}, digits(bitrate / scale.unit));
    }
  }

  function measuredLine(data, values, axis, scale) {
    const first = values.findIndex((value) => value > 0);
    if (first < 0) return '';
    const points = values.slice(first).map((value, i) => [axis.x(data.samples.time[first + i]), scale.y(value)]);
    return lineOf(thinned(points, axis.width));
  }

  function drawChosen(svg, axis, scale, data) {
    if (!data.firstBitrate) return;
    const from = data.samples.bitrate.findIndex((value) => value > 0);
    let path = 'M' + short(axis.x(from < 0 ? 0 : data.samples.time[from])) + ' ' + short(scale.y(data.firstBitrate));
    for (const [time, , to] of data.switches) path += 'H' + short(axis.x(time)) + 'V' + short(scale.y(to));
    add(svg, 'path', {class: 'chosen', d: path + 'H' + short(axis.right)});
    for (const [time, from, to] of data.switches) {
      const d = marks[to > from ? 'up' : 'down'](axis.x(time), scale.y(to));
      add(svg, 'path', {class: 'switch', d, 'data-time': time, 'data-from': from, 'data-to': to});
    }
  }

  function drawRates(svg, axis, data) {
    const top = 26;
    const bottom = top + (axis.width < 520 ? 190 : 240);
    const scale = rateScale(data, top, bottom);
    drawTimeAxis(svg, axis, top, bottom);
    drawRateTicks(svg, axis, scale);
    add(svg, 'text', {class: 'title', x: 0, y: 12}, scale.name + ', logarithmic');
    add(svg, 'text', {class: 'title', x: axis.width, y: 12, 'text-anchor': 'end'}, 'streams, ' + scale.name);
    drawLadder(svg, axis, scale, data.ladder);
    add(svg, 'path', {class: 'highest', d: measuredLine(data, data.samples.bandwidth, axis, scale)});
    add(svg, 'path', {class: 'mean', d: measuredLine(data, data.samples.mean, axis, scale)});
    drawChosen(svg, axis, scale, data);
    return {top, bottom, height: bottom + 38};
  }

  // ---- buffer ----

  function drawBuffer(svg, axis, data) {
    const top = 26;
    const bottom = top + (axis.width < 520 ? 110 : 130);
    const levels = data.samples.buffer;
    const highest = levels.reduce((most, value) => Math.max(most, value), 1);
    const step = roundStep(highest, 4);
    const limit = Math.ceil(highest / step) * step;
    const y = (value) => bottom - value / limit * (bottom - top);
    drawTimeAxis(svg, axis, top, bottom);
    for (const tick of multiples(step, limit)) drawValueTick(svg, axis, y(tick), String(tick));
    add(svg, 'text', {class: 'title', x: 0, y: 12}, 'seconds of media');
    const points = thinned(levels.map((value, i) => [axis.x(data.samples.time[i]), y(value)]), axis.width);
    if (points.length) {
      const last = points[points.length - 1][0];
      add(svg, 'path', {class: 'buffer-area', d: lineOf(points) + 'L' + short(last) + ' ' + bottom + 'H' + short(points[0][0]) + 'Z'});
      add(svg, 'path', {class: 'buffer', d: lineOf(points)});
    }
    band(svg, axis, data.stalls, 'stall', top, bottom - top);
    band(svg, axis, data.pauses, 'pause', top, bottom - top);
    band(svg, axis, data.holds, 'hold', top - 6, 5);
    return {top, bottom, height: bottom + 38};
  }

  // ---- downloads ----

  /** The stretches of a bar in which the player held its transfer itself. */
  function drawHeld(bar, axis, segment, holds, y, height) {
    const end = segment.begin + segment.download;
    for (const [from, to] of holds) {
      const begin = Math.max(from, segment.begin);
      if (begin >= Math.min(to, end) || segment.skipped) continue;
      const x = axis.x(begin);
      add(bar, 'rect', {class: 'hold', x: short(x), y: short(y), width: short(axis.x(Math.min(to, end)) - x), height: short(height)});
    }
  }

  const trackOf = (segment) => (segment.text ? 'subtitles' : segment.audio ? 'audio' : 'main');

  function drawBar(svg, axis, segment, holds, y, height) {
    const begin = axis.x(segment.begin);
    const end = axis.x(segment.begin + segment.download);
    const length = segment.skipped ? 0 : Math.max(end - begin, 1.5);
    // With retries it is not known when the last attempt began.
    const waited = segment.retries ? 0 : Math.min(axis.x(segment.begin + segment.firstByte) - begin, length);
    const bar = add(svg, 'g', {class: 'bar', 'data-index': segment.index, 'data-track': trackOf(segment),
      'data-begin': segment.begin, 'data-end': segment.time});
    const part = (className, x, width) => {
      if (width > 0) add(bar, 'rect', {class: className, x: short(x), y: short(y), width: width.toFixed(2), height: short(height)});
    };
    part('wait', begin, waited);
    part('body', begin + waited, length - waited);
    drawHeld(bar, axis, segment, holds, y, height);
    let x = Math.max(begin + length, end) + 8;
    for (const name of ['retry', 'redirect', 'given-up', 'skipped']) {
      const isSo = {retry: segment.retries > 0, redirect: segment.redirects > 0, 'given-up': segment.givenUp > 0,
        skipped: segment.skipped}[name];
      if (!isSo) continue;
      add(bar, 'path', {class: name, d: marks[name](x, y + height / 2)});
      x += 11;
    }
  }

  function drawTrack(svg, axis, segments, holds, name, top, rows) {
    const share = Math.min(1.5, 900 / segments.length);
    const height = Math.min(Math.max(340 / segments.length, share), 12);
    const bottom = top + height * segments.length + 6;
    drawTimeAxis(svg, axis, top, bottom);
    add(svg, 'text', {class: 'title', x: 0, y: top - 14}, name + ': segment');
    const step = roundStep(segments.length, segments.length * height / 16) || 1;
    segments.forEach((segment, i) => {
      const y = top + 3 + i * height;
      rows.push({segment, y: y + height / 2});
      if (i % Math.max(Math.round(step), 1) === 0)
        add(svg, 'text', {x: axis.left - 6, y: short(y + height / 2 + 4), 'text-anchor': 'end'}, segment.index);
      drawBar(svg, axis, segment, holds, y + height * 0.12, Math.max(height * 0.76, 1));
    });
    return bottom + 38;
  }

  function drawDownloads(svg, axis, data) {
    const rows = [];
    let bottom = 0;
    let top = 26;
    for (const track of ['main', 'audio', 'subtitles']) {
      const segments = data.segments.filter((segment) => trackOf(segment) === track);
      if (!segments.length) continue;
      if (bottom) top = bottom + 40;
      bottom = drawTrack(svg, axis, segments, data.holds, track, top, rows);
    }
    if (!bottom) add(svg, 'text', {x: 0, y: 14}, 'No segment was downloaded.');
    return {top: 26, bottom: Math.max(bottom - 38, 26), height: Math.max(bottom, 30), rows};
  }

  // ---- a moment pointed at ----

  function nearest(list, value, of) {
    let low = 0;
    let high = list.length - 1;
    while (low < high) {
      const middle = (low + high) >> 1;
      if (of(list[middle]) < value) low = middle + 1; else high = middle;
    }
    return low > 0 && value - of(list[low - 1]) < of(list[low]) - value ? low - 1 : low;
  }

  const isWithin = (ranges, time) => ranges.some(([begin, end]) => begin <= time && time <= end);

  function momentText(data, i) {
    const all = data.samples;
    const time = all.time[i];
    const states = [];
    if (isWithin(data.stalls, time)) states.push('stalled');
    if (isWithin(data.pauses, time)) states.push('paused by the viewer');
    if (isWithin(data.holds, time)) states.push('transfers held');
    return [
      seconds(time),
      'window mean ' + rate(all.mean[i]),
      'highest sample ' + rate(all.bandwidth[i]),
      'chosen ' + (all.bitrate[i] ? rate(all.bitrate[i]) : 'nothing yet'),
      'buffer ' + seconds(all.buffer[i]),
      'position ' + seconds(all.position[i]),
    ].concat(states.length ? [states.join(', ')] : []);
  }

  /** Milliseconds as text; a dash for what an attempt did not come to. */
  const millis = (value) => value === null ? '–' : digits(value);

  function attemptText(attempt, i) {
    const parts = [['look-up', attempt.lookup], ['connect', attempt.connect], ['TLS', attempt.tls],
      ['first byte', attempt.firstByte], ['end', attempt.end]];
    const times = parts.filter(([, value]) => value !== null).map(([name, value]) => name + ' ' + millis(value));
    return `attempt ${i + 1}: ${attempt.result}` + (times.length ? '; ' + times.join(', ') + ' ms' : '');
  }

  function segmentText(segment) {
    const lines = [
      (trackOf(segment) === 'main' ? 'segment ' : trackOf(segment) + ' segment ') + segment.index,
      rate(segment.bitrate) + (segment.resolution ? ', ' + segment.resolution : ''),
      size(segment.bytes) + ', ' + seconds(segment.duration) + ' of media',
      'asked for at ' + seconds(segment.begin),
      'download ' + seconds(segment.download) + ', first byte ' + seconds(segment.firstByte),
    ];
    if (segment.retries) lines.push('retries ' + segment.retries);
    if (segment.redirects) lines.push('redirects ' + segment.redirects);
    if (segment.givenUp) lines.push('given up of a higher stream ' + segment.givenUp + ', ' + size(segment.wasted) + ' wasted');
    if (segment.skipped) lines.push('skipped');
    if (segment.url) lines.push(segment.url);
    lines.push(...segment.attempts.map(attemptText));
    const last = segment.attempts[segment.attempts.length - 1];
    if (last && last.cache) lines.push(last.cache);
    return lines;
  }

  function hide(play) {
    for (const chart of play.charts) {
      chart.tip.hidden = true;
      chart.svg.querySelectorAll('.cross, .pick').forEach((element) => element.remove());
    }
  }

  function mark(play, time) {
    for (const chart of play.charts) {
      const x = short(play.axis.x(time));
      add(chart.svg, 'line', {class: 'cross', x1: x, x2: x, y1: chart.area.top, y2: chart.area.bottom});
    }
  }

  function showTip(play, chart, x, y, lines) {
    chart.tip.replaceChildren();
    for (const line of lines) addHtml(chart.tip, 'div', '', line);
    chart.tip.hidden = false;
    const box = chart.svg.getBoundingClientRect();
    const factor = box.width / play.axis.width;
    const width = chart.tip.offsetWidth;
    const right = x * factor + 14;
    const left = right + width <= box.width ? right : x * factor - width - 14;
    chart.tip.style.left = Math.max(0, left) + 'px';
    chart.tip.style.top = box.top - chart.figure.getBoundingClientRect().top + y * factor + 'px';
    said.textContent = lines.join(', ');
  }

  function showMoment(play, chart, i) {
    hide(play);
    const time = play.data.samples.time[i];
    if (time === undefined) return;
    chart.at = i;
    mark(play, time);
    showTip(play, chart, play.axis.x(time), chart.area.top + 8, momentText(play.data, i));
  }

  function showSegment(play, chart, i) {
    hide(play);
    const row = chart.area.rows[i];
    if (!row) return;
    chart.at = i;
    const x = play.axis.x(row.segment.begin);
    const width = Math.max(play.axis.x(row.segment.begin + row.segment.download) - x, 1.5);
    mark(play, row.segment.begin);
    add(chart.svg, 'rect', {class: 'pick', x: short(x - 2), y: short(row.y - 6), width: short(width + 4), height: 12});
    showTip(play, chart, x + width, row.y + 10, segmentText(row.segment));
  }

  const show = (play, chart, i) => (chart.area.rows ? showSegment : showMoment)(play, chart, i);
  const countOf = (play, chart) => chart.area.rows ? chart.area.rows.length : play.data.samples.time.length;

  function point(play, chart, event) {
    const box = chart.svg.getBoundingClientRect();
    const factor = play.axis.width / box.width;
    const time = play.axis.time((event.clientX - box.left) * factor);
    if (chart.area.rows) show(play, chart, nearest(chart.area.rows, (event.clientY - box.top) * factor, (row) => row.y));
    else show(play, chart, nearest(play.data.samples.time, time, (value) => value));
  }

  function press(play, chart, event) {
    const count = countOf(play, chart);
    const stride = event.shiftKey ? 10 : 1;
    const at = chart.at || 0;
    const to = {ArrowRight: at + stride, ArrowDown: at + stride, ArrowLeft: at - stride, ArrowUp: at - stride,
      Home: 0, End: count - 1}[event.key];
    if (event.key === 'Escape') hide(play);
    if (to === undefined || !count) return;
    event.preventDefault();
    show(play, chart, Math.min(Math.max(to, 0), count - 1));
  }

  function listen(play, chart) {
    chart.svg.addEventListener('pointermove', (event) => point(play, chart, event));
    chart.svg.addEventListener('pointerdown', (event) => point(play, chart, event));
    chart.svg.addEventListener('pointerleave', (event) => event.pointerType === 'mouse' && hide(play));
    chart.svg.addEventListener('focus', () => chart.svg.matches(':focus-visible') && show(play, chart, chart.at || 0));
    chart.svg.addEventListener('blur', () => hide(play));
    chart.svg.addEventListener('keydown', (event) => press(play, chart, event));
  }

  // ---- the table of transfers ----

  const transferColumns = [
    ['track', ({segment}) => trackOf(segment)],
    ['segment', ({segment}) => segment.index, true],
    ['asked for, s', ({segment}) => segment.begin.toFixed(3), true],
    ['attempt', ({number}) => number, true],
    ['result', ({attempt}) => attempt.result],
    ['look-up, ms', ({attempt}) => millis(attempt.lookup), true],
    ['connect, ms', ({attempt}) => millis(attempt.connect), true],
    ['TLS, ms', ({attempt}) => millis(attempt.tls), true],
    ['first byte, ms', ({attempt}) => millis(attempt.firstByte), true],
    ['end, ms', ({attempt}) => millis(attempt.end), true],
    ['bytes', ({attempt}) => attempt.bytes, true],
    ['server', ({attempt}) => attempt.peer],
    ['URL', ({segment}) => segment.url],
    ['caches', ({attempt}) => attempt.cache],
  ];

  /** The rows are made when the table is opened: a long play has thousands that few look at. */
  function fillTransfers(details, data) {
    const place = details.querySelector('div');
    if (place.hasChildNodes()) return;
    const table = addHtml(place, 'table', 'transfers');
    const head = addHtml(addHtml(table, 'thead'), 'tr');
    for (const [heading, , isNumber] of transferColumns) addHtml(head, 'th', isNumber ? 'number' : '', heading);
    const body = addHtml(table, 'tbody');
    for (const segment of data.segments) {
      segment.attempts.forEach((attempt, i) => {
        const row = addHtml(body, 'tr');
        for (const [, value, isNumber] of transferColumns)
          addHtml(row, 'td', isNumber ? 'number' : '', String(value({segment, attempt, number: i + 1})));
      });
    }
  }

  // ---- the page ----

  const kinds = {
    rates: {
      draw: drawRates,
      legend: [['line', 'mean', 'window mean'], ['line', 'highest', 'highest sample of the window'],
        ['line', 'chosen', 'chosen bitrate'], ['arrows', '', 'switch up, down'], ['line', 'ladder', 'a stream’s bitrate']],
    },
    buffer: {
      draw: drawBuffer,
      legend: [['line', 'buffer', 'media ahead'], ['box', 'stall', 'stalled'], ['box', 'pause', 'paused by the viewer'],
        ['strip', 'hold', 'transfers held']],
    },
    downloads: {
      draw: drawDownloads,
      legend: [['box', 'wait', 'to the first byte'], ['box', 'body', 'the rest, or all attempts'], ['mark', 'retry', 'retried'],
        ['mark', 'redirect', 'redirected'], ['mark', 'given-up', 'given up'],
        ['mark', 'skipped', 'skipped'], ['box', 'hold', 'held by the player']],
    },
  };

  function drawChart(play, chart) {
    chart.svg.replaceChildren();
    chart.area = kinds[chart.kind].draw(chart.svg, play.axis, play.data);
    chart.svg.setAttribute('viewBox', `0 0 ${play.axis.width} ${chart.area.height}`);
  }

  function draw(play, width) {
    hide(play);
    play.axis = timeAxis(play.data.end, width, ' since the play began');
    for (const chart of play.charts) drawChart(play, chart);
  }

  function begin(section) {
    const play = {data: JSON.parse(section.querySelector('script').textContent), section, charts: []};
    for (const figure of section.querySelectorAll('.chart')) {
      const kind = figure.dataset.chart;
      drawLegend(figure, kinds[kind].legend);
      const name = figure.querySelector('h3').textContent;
      const svg = add(figure, 'svg', {tabindex: 0, role: 'img',
        'aria-label': name + ' over time; the arrow keys go from value to value'});
      const tip = addHtml(figure, 'div', 'tip');
      const chart = {kind, figure, svg, tip, at: 0};
      play.charts.push(chart);
      listen(play, chart);
    }
    const details = section.querySelector('details.transfers');
    details.addEventListener('toggle', () => details.open && fillTransfers(details, play.data));
    return play;
  }

  const plays = [...document.querySelectorAll('section.play')].map(begin);

  function drawAll(width) {
    for (const play of plays) draw(play, width || Math.max(Math.round(play.section.clientWidth), 280));
  }

  /** "#play-1@12.5" points at a moment of a play. */
  function goToMoment() {
    const [, id, time] = /^#(play-\d+)@([\d.]+)$/.exec(location.hash) || [];
    const play = plays.find((it) => it.section.id === id);
    if (!play || !play.charts.length) return;
    showMoment(play, play.charts[0], nearest(play.data.samples.time, Number(time), (value) => value));
    play.charts[0].svg.scrollIntoView({block: 'center'});
  }

  drawAll();
  goToMoment();
  addEventListener('hashchange', goToMoment);
  addEventListener('beforeprint', () => drawAll(printWidth));
  addEventListener('afterprint', () => drawAll());
  let drawnWidth = document.documentElement.clientWidth;
  addEventListener('resize', () => {
    if (drawnWidth === document.documentElement.clientWidth) return;
    drawnWidth = document.documentElement.clientWidth;
    drawAll();
  });
})();
