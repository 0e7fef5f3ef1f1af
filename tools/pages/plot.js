'use strict';
// The program of a plot page. dygraphs takes labels and titles as markup, so that it gets no text of a log.
(() => {
  const two = data.diff !== null;
  const part = two ? data.diff.compared[data.drawnPart] : null;
  const first = part && part.first && !part.same ? part.first : null;

  // ---- Numbers

  const ARRAYS = {u1: Uint8Array, i2: Int16Array, f4: Float32Array, f8: Float64Array};

  function unpack(packed) {
    if ('constant' in packed) return new Float64Array(packed.length).fill(packed.constant);
    const numbers = new ARRAYS[packed.type](Uint8Array.from(atob(packed.bytes), c => c.charCodeAt(0)).buffer);
    if (!packed.bases) return numbers;
    const bases = unpack(packed.bases.packed);
    return Float64Array.from(numbers, (number, place) => bases[Math.floor(place / packed.bases.each)] + number);
  }

  const rows = {};
  for (const name of Object.keys(data.rows)) rows[name] = unpack(data.rows[name]);
  const count = rows.first.length;
  // Rows of one record have their numbers apart from the others, which have a lowest and a highest.
  const placeOf = new Int32Array(count);
  for (let row = 0, singles = 0, thinned = 0; row < count; ++row) {
    placeOf[row] = rows.records[row] > 1 ? thinned++ : singles++;
  }

  /// One value of a variable, unpacked when it is drawn for the first time.
  class Series {
    constructor(packed) { this.packed = packed; }
    unpacked() {
      const {single, low, high} = this.packed;
      this.numbers = this.numbers || {single: unpack(single), low: unpack(low), high: unpack(high)};
      return this.numbers;
    }
    low(row) { return this.unpacked()[rows.records[row] > 1 ? 'low' : 'single'][placeOf[row]]; }
    high(row) { return this.unpacked()[rows.records[row] > 1 ? 'high' : 'single'][placeOf[row]]; }
    /// So many digits show a hundred-thousandth of the range of all values.
    rangeDigits() {
      if (!this.digits) {
        let lowest = Infinity, highest = -Infinity;
        for (const number of Object.values(this.unpacked()).flatMap(numbers => [...numbers])) {
          if (!Number.isFinite(number)) continue;
          lowest = Math.min(lowest, number);
          highest = Math.max(highest, number);
        }
        const ratio = Math.max(Math.abs(lowest), Math.abs(highest)) / (highest - lowest);
        this.digits = Math.min(Math.max(Math.ceil(Math.log10(ratio)) + 5, 6), 15) || 6;
      }
      return this.digits;
    }
    text(row, digits) {
      const low = this.low(row), high = this.high(row);
      if (rows.records[row] === 1) return numberText(low, digits, this.packed.float);
      // The one of a constant may be a float in a log of doubles.
      if ('constant' in this.packed.low) return numberText(low, undefined, Math.fround(low) === low);
      const texts = [low, high].map(number => numberText(number, this.rangeDigits()));
      return texts[0] === texts[1] ? texts[0] : texts.join(' to ');
    }
  }
  const variables = data.variables.map(variable => ({...variable, series: variable.series.map(s => new Series(s))}));

  /// The shortest text that gives the same number again, as a 32-bit float where the variable is one; or so many
  /// digits.
  function numberText(number, digits, isFloat) {
    if (Number.isNaN(number)) return 'nan';
    if (!Number.isFinite(number)) return number > 0 ? 'inf' : '-inf';
    if (digits) return shortNumber(number, digits);
    if (isFloat) {
      for (let precision = 6; precision < 9; ++precision) {
        const shorter = Number(number.toPrecision(precision));
        if (Math.fround(shorter) === number) return String(shorter);
      }
    }
    return String(number);
  }

  // ---- Points: one for a record, two for a row of several records; null where a gap breaks the curves

  const points = [];
  {
    const breaks = new Set(data.gaps.map(([after]) => after));
    for (let row = 0; row < count; ++row) {
      const last = rows.first[row] + rows.steps[row];
      points.push({x: rows.first[row], row});
      if (rows.records[row] > 1) points.push({x: last, row, second: true});
      if (breaks.has(last)) points.push({x: last + 0.5, row: -1});
    }
  }
  const all = count ? [rows.first[0], Math.max(rows.first[0] + 1, points[points.length - 1].x)] : [0, 1];
  const clamp = ([from, to]) => [Math.max(from, all[0]), Math.min(to, all[1])];
  let shown = all;
  if (data.view) {
    const view = clamp(data.view);
    if (view[0] < view[1]) shown = view;
  }

  const hasTime = count > 1 && rows.seconds[count - 1] > 0 && rows.seconds.every(Number.isFinite);

  /// The row that the step is in or behind.
  function rowAt(index) {
    let low = 0, high = count - 1;
    while (low < high) {
      const middle = (low + high + 1) >> 1;
      if (rows.first[middle] <= index) low = middle;
      else high = middle - 1;
    }
    return low;
  }

  /// The time of a step in seconds since the first one; between the rows' stamps it is interpolated.
  function secondsAt(index) {
    const row = Math.min(rowAt(index), count - 2);
    const steps = rows.first[row + 1] - rows.first[row];
    return rows.seconds[row] + (rows.seconds[row + 1] - rows.seconds[row]) * (index - rows.first[row]) / steps;
  }

  /// The points of several series, as dygraphs takes them.
  function drawable(series) {
    const before = series.map(() => NaN);
    return points.map(({x, row, second}) => [x, ...series.map((each, i) => {
      if (row < 0) return null;
      const low = each.low(row), high = each.high(row);
      // Of the two, the one nearer to the curve so far comes first.
      const lowFirst = !(Math.abs(before[i] - high) < Math.abs(before[i] - low));
      if (second || rows.records[row] === 1) before[i] = lowFirst ? high : low;
      const value = lowFirst === !second ? low : high;
      return Math.abs(value) < 1e300 ? value : NaN;
    })]);
  }

  // ---- Colours: after Okabe and Ito, whose colours colour-blind readers can tell apart

  const LIGHT = {curves: ['#0072b2', '#d55e00', '#009e73', '#cc79a7', '#000000', '#e69f00', '#56b4e9', '#7a5195'],
    grid: '#d9dde2', axis: '#8a929c', text: '#1b1f24', gap: 'rgba(110,118,129,.22)', call: '#7d6608', mark: '#b3006b',
    paper: '#ffffff'};
  const DARK = {curves: ['#56b4e9', '#e69f00', '#2bc49a', '#e39ac4', '#ffffff', '#f0e442', '#4f8fd6', '#ff7f50'],
    grid: '#333a44', axis: '#6b7684', text: '#e6e9ee', gap: 'rgba(160,170,185,.25)', call: '#d9c36a', mark: '#ff7ac2',
    paper: '#161a20'};
  const PATTERNS = [null, [7, 3], [2, 2], [9, 3, 2, 3], null, [7, 3], [2, 2], [9, 3, 2, 3]];
  const darkScheme = matchMedia('(prefers-color-scheme: dark)');
  const isPrinting = () => document.documentElement.classList.contains('printing');
  const theme = () => darkScheme.matches && !isPrinting() ? DARK : LIGHT;

  // ---- Graphs

  const graphs = [];
  let synchronization = null;

  /// Joins all graphs: they show the same steps, and the same step is selected in all.
  function join() {
    if (graphs.length > 1) {
      synchronization = Dygraph.synchronize(graphs, {zoom: true, selection: true, range: false});
    }
  }
  function separate() {
    if (synchronization) synchronization.detach();
    synchronization = null;
  }

  function show(range) {
    const span = Math.max(range[1] - range[0], 2);
    const from = Math.max(all[0], Math.min(range[0], all[1] - span));
    shown = [from, Math.min(from + span, all[1])];
    // The others follow the first one, but for one that was zoomed by hand: there the synchronizer compares with
    // the option from before.
    for (const graph of graphs) {
      const [left, right] = graph.xAxisRange();
      if (left !== shown[0] || right !== shown[1]) graph.updateOptions({dateWindow: shown});
    }
  }
  const showAround = index => show([index - 200, index + 200]);

  function timeLabel(index) {
    if (!Number.isInteger(index)) return '';
    if (!hasTime) return String(index);
    const [from, to] = graphs.length ? graphs[0].xAxisRange() : shown;
    const span = secondsAt(to) - secondsAt(from);
    return `${index}<br>${secondsAt(index).toFixed(span > 60 ? 0 : span > 6 ? 1 : 2)} s`;
  }

  function valueLabel(number) {
    // Ticks are sums of steps, so that their last digits are noise: 0.30000000000000004.
    return shortNumber(number, Math.abs(number) < 1e9 ? 10 : 14);
  }

  /// Shades the gaps and draws the lines of the calls and of the first difference, below the curves.
  function underlay(context, area, graph) {
    const colours = theme();
    const toX = index => graph.toDomXCoord(index);
    const [from, to] = graph.xAxisRange();
    context.save();
    context.fillStyle = colours.gap;
    for (const [after, missing] of data.gaps) {
      if (after + missing < from || after > to) continue;
      const left = Math.max(toX(after), area.x), right = Math.min(toX(after + missing + 1), area.x + area.w);
      context.fillRect(left, area.y, Math.max(right - left, 1), area.h);
    }
    const line = (index, height, colour, width, dash) => {
      context.strokeStyle = colour;
      context.lineWidth = width;
      context.setLineDash(dash);
      context.beginPath();
      context.moveTo(toX(index), area.y + area.h - height);
      context.lineTo(toX(index), area.y + area.h);
      context.stroke();
    };
    const calls = data.calls.filter(({index}) => index >= from && index <= to);
    // Close together, lines over the whole height would hide the curves.
    const isCrowded = calls.length * 15 > area.w;
    for (const {index} of calls) {
      if (isCrowded) line(index, 7, colours.call, 1, []);
      else line(index, area.h, colours.call, 0.6, [2, 4]);
    }
    if (first && first.index >= from && first.index <= to) line(first.index, area.h, colours.mark, 1.6, []);
    context.restore();
  }

  /// Writes the names of the calls and of the first difference beside their lines, where there is room.
  function nameMarks(context, area, graph) {
    const [from, to] = graph.xAxisRange();
    const marks = data.calls.map(call => ({index: call.index, name: call.text.split('(')[0], colour: theme().call}));
    if (first) marks.unshift({index: first.index, name: 'first difference', colour: theme().mark});
    const taken = [[], [], []];
    context.save();
    context.font = '11px system-ui, sans-serif';
    context.textBaseline = 'top';
    for (const mark of marks) {
      if (mark.index < from || mark.index > to) continue;
      const width = context.measureText(mark.name).width;
      const x = Math.min(graph.toDomXCoord(mark.index) + 3, area.x + area.w - width);
      const line = taken.findIndex(others => others.every(([left, right]) => x > right + 6 || x + width < left - 6));
      if (line < 0) continue;
      taken[line].push([x, x + width]);
      context.fillStyle = theme().paper;
      context.fillRect(x - 1, area.y + 1 + line * 14, width + 2, 13);
      context.fillStyle = mark.colour;
      context.fillText(mark.name, x, area.y + 2 + line * 14);
    }
    context.restore();
  }

  const colourOptions = colourNumbers => {
    const colours = theme();
    return {
      colors: colourNumbers.map(number => colours.curves[number]),
      gridLineColor: colours.grid, axisLineColor: colours.axis,
      rangeSelectorPlotStrokeColor: colours.curves[0], rangeSelectorPlotFillColor: colours.curves[0],
      rangeSelectorPlotFillGradientColor: colours.paper, rangeSelectorAlpha: colours === DARK ? 0.2 : 0.6,
      rangeSelectorBackgroundStrokeColor: colours.axis, rangeSelectorForegroundStrokeColor: colours.text,
    };
  };

  const interaction = {...Dygraph.defaultInteractionModel,
    dblclick(event, graph) {
      graph.updateOptions({valueRange: null});
      show(all);
    }};

  /// Draws lines of the points into an element; what is special about the graph comes in `more`.
  function draw(chart, lines, colourNumbers, {labelWidth = 72, ...more}) {
    const labels = ['index', ...colourNumbers.map((number, i) => `series${i}`)];
    const graph = new Dygraph(chart, lines, {
      labels, ...colourOptions(colourNumbers), dateWindow: shown, interactionModel: interaction,
      underlayCallback: underlay, highlightCircleSize: 3, strokeWidth: 1.4, xAxisHeight: hasTime ? 34 : 20,
      axisLabelFontSize: 12, yRangePad: 6,
      series: Object.fromEntries(colourNumbers.map((number, i) => [labels[i + 1], {strokePattern: PATTERNS[i % 8]}])),
      axes: {x: {axisLabelFormatter: timeLabel, axisLabelWidth: 64, pixelsPerLabel: 90},
        y: {axisLabelFormatter: valueLabel, axisLabelWidth: labelWidth, pixelsPerLabel: 26}},
      highlightCallback: (event, x, selected, place) => tellCursor(place),
      unhighlightCallback: () => tellCursor(-1),
      ...more});
    graph.colourNumbers = colourNumbers;
    graphs.push(graph);
    // Charts change their width with the window, and when a panel comes or goes.
    new ResizeObserver(() => { if (graphs.includes(graph)) graph.resize(); }).observe(chart);
    return graph;
  }

  /// The names and, for the selected point, the values of the curves of a graph.
  function legend(series, names, colourNumbers, digits) {
    return selection => {
      const fragment = document.createDocumentFragment();
      const point = selection.x === undefined ? null : points[selection.i];
      series.forEach((each, i) => {
        const swatch = element('span', names[i] ? 'swatch' : '');
        const dash = PATTERNS[i % 8];
        swatch.style.borderTopStyle = dash ? (dash[0] > 4 ? 'dashed' : 'dotted') : 'solid';
        swatch.style.borderTopColor = theme().curves[colourNumbers[i]];
        const value = element('b', 'value', point && point.row >= 0 ? each.text(point.row, digits) : '');
        fragment.append(element('span', 'curve', swatch, names[i], ' ', value));
      });
      return fragment;
    };
  }

  // ---- Panels

  const unitsOf = chosen => [...new Set(chosen.map(variable => variable.unit))].filter(unit => unit).join(', ');

  /// The names without what they have in common.
  function shortNames(names) {
    if (names.length === 1) return [''];
    let length = 0;
    while (names.every(name => length < name.length && name[length] === names[0][length])) ++length;
    length = Math.max(names[0].lastIndexOf('.', length - 1), names[0].lastIndexOf('[', length - 1) - 1) + 1;
    return names.map(name => name.slice(length));
  }

  /// Adds a chart with its legend to a panel.
  function addChart(panel, className, series, names, colourNumbers, more, digits) {
    const labels = element('div', 'legend'), chart = element('div', `chart ${className}`);
    panel.append(labels, chart);
    const graph = draw(chart, drawable(series), colourNumbers,
      {legend: 'always', labelsDiv: labels, legendFormatter: legend(series, names, colourNumbers, digits), ...more});
    if (more.xAxisHeight) chart.classList.add('without-axis');
    panel.graphs.push(graph);
  }

  /// The width of an axis with room for all digits of clocks.
  function labelWidthOf(series) {
    let largest = 0;
    for (const each of series) {
      for (let row = 0; row < count; ++row) {
        const number = Math.max(Math.abs(each.low(row)), Math.abs(each.high(row)));
        if (number > largest && number < 1e20) largest = number;
      }
    }
    return Math.max(72, 16 + 8 * largest.toFixed().length);
  }

  function addPanel(title, chosen, where) {
    const unit = unitsOf(chosen);
    const close = element('button', 'close', '×');
    close.type = 'button';
    close.title = 'Remove this panel';
    close.setAttribute('aria-label', `Remove the panel ${title}`);
    const unitText = element('span', 'unit', unit || 'unit not known');
    const panel = element('section', 'panel', close, element('h2', '', title), unitText);
    panel.tabIndex = 0;
    panel.setAttribute('aria-label', `${title}, ${unit}`);
    panel.graphs = [];
    panel.name = title;
    where === 'first' ? byId('panels').prepend(panel) : byId('panels').append(panel);
    if (two) {
      const [a, b, difference] = chosen[0].series;
      // The axis below the difference serves both.
      const labelWidth = labelWidthOf(chosen[0].series);
      addChart(panel, 'both', [a, b], ['A', 'B'], [0, 1], {xAxisHeight: 4, labelWidth});
      addChart(panel, 'difference', [difference], ['B − A'], [2], {labelWidth}, 6);
    } else {
      const series = chosen.map(variable => variable.series[0]);
      addChart(panel, 'single', series, shortNames(chosen.map(variable => variable.name)), series.map((each, i) => i % 8),
        {labelWidth: labelWidthOf(series)});
    }
    if (chosen.some(variable => variable.undrawn)) unitText.append(' · some values are nan, infinite or beyond 1e300, and not drawn');
    close.addEventListener('click', () => {
      separate();
      for (const graph of panel.graphs) {
        graphs.splice(graphs.indexOf(graph), 1);
        graph.destroy();
      }
      panel.remove();
      join();
    });
    return panel;
  }

  /// Goes to the variable with the field's text as its name, or the only one with it in its name.
  function search(field) {
    if (!field.value) return;
    const names = variables.map(({name}) => name);
    const found = names.includes(field.value) ? [field.value] : names.filter(name => name.includes(field.value));
    if (found.length === 1) {
      goTo(found[0]);
      field.value = '';
      return;
    }
    field.setCustomValidity(found.length ? `${found.length} variables have this in their names` : 'no such variable');
    field.reportValidity();
  }

  /// Goes to the panel of a variable, which is made if need be.
  function goTo(name) {
    const variable = variables.find(each => each.name === name);
    let panel = [...byId('panels').children].find(each => each.name === name);
    if (!panel) {
      separate();
      panel = addPanel(name, [variable], 'first');
      join();
    }
    panel.scrollIntoView({block: 'center'});
    panel.focus({preventScroll: true});
  }

  // ---- The cursor

  let selected = -1;

  function tellCursor(place) {
    selected = place;
    const point = points[place];
    if (!point || point.row < 0) {
      byId('cursor').textContent = '';
      return;
    }
    const from = rows.first[point.row], to = from + rows.steps[point.row];
    const time = hasTime ? ` · ${secondsAt(from).toFixed(3)} s` : '';
    const steps = to > from ? `steps ${from} to ${to}, lowest and highest` : `step ${from}`;
    const calls = data.calls.filter(call => call.index >= from && call.index <= to).map(call => call.text);
    byId('cursor').textContent = steps + time + (calls.length ? ` · ${calls.slice(0, 3).join('; ')}` : '');
  }

  /// Moves the cursor by so many rows, some of which have two points.
  function moveCursor(by) {
    const [from, to] = graphs[0].xAxisRange();
    const start = points.slice(0, selected + 1).reverse().find(point => point.row >= 0);
    const row = start ? start.row + by : rowAt(Math.ceil((from + to) / 2));
    const place = points.findIndex(point => point.row === Math.max(0, Math.min(row, count - 1)));
    const {x} = points[place];
    if (x < from || x > to) show([x - (to - from) / 2, x + (to - from) / 2]);
    for (const graph of graphs) graph.setSelection(place);
    tellCursor(place);
  }

  function hideCursor() {
    for (const graph of graphs) graph.clearSelection();
    tellCursor(-1);
  }

  function zoom(factor) {
    const [from, to] = graphs[0].xAxisRange();
    const middle = selected >= 0 ? points[selected].x : (from + to) / 2;
    show([middle - (middle - from) * factor, middle + (to - middle) * factor]);
  }

  const KEYS = {
    ArrowLeft: event => moveCursor(event.shiftKey ? -10 : -1),
    ArrowRight: event => moveCursor(event.shiftKey ? 10 : 1),
    '+': () => zoom(0.5), '=': () => zoom(0.5), '-': () => zoom(2), '0': () => show(all),
    PageUp: () => move(-0.8), PageDown: () => move(0.8),
    Escape: hideCursor,
  };
  function move(share) {
    const [from, to] = graphs[0].xAxisRange();
    show([from + share * (to - from), to + share * (to - from)]);
  }
  byId('panels').addEventListener('keydown', event => {
    const action = KEYS[event.key];
    if (!action || event.ctrlKey || event.altKey || event.metaKey) return;
    event.preventDefault();
    action(event);
  });

  // ---- Around the panels

  /// A table whose first column has names, the others numbers.
  function table(caption, titles, lines) {
    const head = element('tr', '', ...titles.map(title => element('th', '', title)));
    const body = lines.map(cells => element('tr', '', ...cells.map(cell => element('td', '', cell))));
    return element('div', 'table', element('table', '', element('caption', '', caption), element('thead', '', head),
      element('tbody', '', ...body)));
  }

  function tellVerdict() {
    const records = data.diff.records;
    if (data.diff.answer === 'same') {
      byId('verdict').className = 'same';
      byId('verdict').textContent = 'Nothing differs: ' + data.diff.compared
        .map(each => `${each.pairs} ${records}, ${each.sharedVariables} variables`).join('; ') + '.';
      return;
    }
    let text = part.same ? 'No difference in what was compared.' : 'Different.';
    if (first) {
      text = `First difference at index ${first.index}: ` + (first.onlyIn ? `a step only in ${first.onlyIn}.`
        : `${first.what} is ${first.a} in A, ${first.b} in B.`);
    }
    if (!part.same && !part.differences.length) text += ' No variable differs in the steps that both logs have.';
    byId('verdict').textContent = text;
  }

  function tellDifferences() {
    const lines = part.differences.map(each => {
      // An array is found under the element that differs first.
      const variable = data.differing.map(i => variables[i]).find(({name}) =>
        name.startsWith(each.name) && /^(\[\d+\])?$/.test(name.slice(each.name.length)));
      return [variable ? button(each.name, () => goTo(variable.name)) : each.name, String(each.records),
        each.largest === null ? '–' : shortNumber(each.largest, 6),
        button(String(each.firstIndex), () => showAround(each.firstIndex))];
    });
    if (lines.length) byId('side').append(table('What differs', ['Variable', 'Steps', 'Largest', 'From index'], lines));
    for (const side of ['a', 'b']) {
      const log = part[side], name = side.toUpperCase();
      if (log.recordsAlone) note(`Steps only in ${name}: ${log.recordsAlone}, from index ${log.firstAlone}.`);
      if (log.variablesAlone.length) note(`Variables only in ${name}: ${log.variablesAlone.join(', ')}.`);
    }
    data.diff.compared.forEach((each, i) => {
      if (!each.same && i !== data.drawnPart) note(`Section ${each.a.section} differs, too; see it with --section.`);
    });
    if (part.tryByRecord) note('The index has gaps in one of the logs: --by-record compares the steps by their number.');
  }

  function tellThinning() {
    const kept = data.interest.map(clamp).filter(([from, to]) => from <= to).map(([from, to]) => `${from} to ${to}`).join(' and ');
    if (data.outsideWidth > 1) {
      note(`Thinned out: ${data.outsideWidth} steps are drawn as one, by the lowest and the highest value of each` +
        (kept ? `, except for the steps ${kept}.` : '.'));
    }
    if (data.insideWidth > 1) note(`There are too many of the steps ${kept}: ${data.insideWidth} of them are drawn as one.`);
    if (data.smallestGap > 1) note(`Gaps of fewer than ${data.smallestGap} steps are not shaded.`);
  }

  function tellAll() {
    document.title = data.title;
    byId('title').textContent = data.title;
    for (const text of [...data.incomplete, ...data.notes]) note(text);
    if (two) {
      tellVerdict();
      const line = side => `${side.toUpperCase()}: ${data.diff[side].file}` +
        (part ? `, ${part[side].records} ${data.diff.records}` + (part[side].section ? `, section ${part[side].section}` : '') : '');
      byId('info').textContent = `${line('a')}\n${line('b')}`;
      byId('about').querySelector('summary').textContent = 'About the logs';
      if (!part.same) tellDifferences();
      for (const side of ['a', 'b']) {
        const {sectionsAlone} = data.diff[side];
        if (sectionsAlone.length) note(`Sections only in ${side.toUpperCase()}: ${sectionsAlone.join(', ')}.`);
      }
    } else {
      byId('info').textContent = data.info;
    }
    byId('about').open = true;
    // Room for the values from the start: panels that move under the cursor could not be clicked.
    document.documentElement.style.setProperty('--value-width', data.outsideWidth > 1 ? '23ch' : '11ch');
    tellThinning();
    if (data.calls.length) {
      const lines = data.calls.map(call => [String(call.index), button(call.text, () => showAround(call.index))]);
      const list = element('details', '', element('summary', '', `Calls (${data.calls.length})`),
        table('', ['Step', 'Call'], lines));
      list.open = !two && innerWidth > 1000;
      byId('side').append(list);
    }
    byId('side').hidden = !byId('side').children.length;
    byId('to-first').hidden = !first;
    byId('to-view').hidden = !data.view || Boolean(first);
    byId('controls').hidden = byId('panels').hidden = byId('help').hidden = !count || !variables.length;
    byId('to-first').addEventListener('click', () => showAround(first.index));
    byId('to-view').addEventListener('click', () => show(clamp(data.view)));
    byId('to-all').addEventListener('click', () => show(all));
    byId('names').append(...variables.map(({name}) => {
      const choice = element('option');
      choice.value = name;
      return choice;
    }));
    byId('search').addEventListener('input', event => event.target.setCustomValidity(''));
    byId('search').addEventListener('change', event => search(event.target));
  }

  function drawAll() {
    if (!count || !variables.length) return;
    // The overview shows the first curve of the page in its range selector, and the marks above.
    const leading = variables[data.panels.length ? data.panels[0].variables[0] : 0].series[0];
    const lines = drawable([leading]);
    // The range selector would draw a break as a fall to zero.
    lines.forEach((line, i) => { line[1] = line[1] === null ? lines[i - 1][1] : line[1]; });
    byId('navigator').classList.toggle('with-time', hasTime);
    draw(byId('navigator'), lines, [0], {legend: 'never', showRangeSelector: true,
      rangeSelectorHeight: 30, plotter: () => {}, highlightCircleSize: 0,
      underlayCallback: (context, area, graph) => {
        underlay(context, area, graph);
        nameMarks(context, area, graph);
      },
      axes: {x: {axisLabelFormatter: timeLabel, axisLabelWidth: 64, pixelsPerLabel: 90},
        y: {axisLabelFormatter: () => '', axisLabelWidth: 72, drawGrid: false}}});
    for (const {title, variables: chosen} of data.panels) addPanel(title, chosen.map(i => variables[i]));
    join();
  }

  function recolour() {
    for (const graph of graphs) graph.updateOptions(colourOptions(graph.colourNumbers));
  }
  darkScheme.addEventListener('change', recolour);
  const redraw = () => {
    // A page is printed before any observer is told of its width.
    for (const graph of graphs) graph.resize();
    recolour();
  };
  addEventListener('beforeprint', redraw);
  addEventListener('afterprint', redraw);

  tellAll();
  drawAll();
  // For tests and for the curious: what is drawn, and after how many milliseconds it was.
  window.flightPlot = {graphs, points, variables, rows, drawnAfter: performance.now()};
})();
