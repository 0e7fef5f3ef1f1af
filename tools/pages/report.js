'use strict';
// The program of a report page: bins that choose flights, and a table of them to sort and to filter.
(() => {
  // A browser takes seconds for the cells of all flights, and nobody reads so many.
  const SHOWN_AT_ONCE = 500;
  const VERDICTS = [...Object.keys(data.verdicts).filter(verdict => verdict !== 'same'), 'same'];
  const total = Object.values(data.verdicts).reduce((sum, count) => sum + count, 0);
  const number = value => value.toLocaleString('en');
  const flightsText = count => `${number(count)} flight${count === 1 ? '' : 's'}`;

  const colourOf = verdict => `var(--${verdict === 'same' || verdict === 'changed' || verdict === 'unstable' ? verdict
    : verdict.startsWith('failed') ? 'failed' : 'other'})`;

  function coloured(verdict, tag, className, ...children) {
    const made = element(tag, className, ...children);
    made.style.setProperty('--verdict', colourOf(verdict));
    return made;
  }

  function link(flight) {
    if (flight.noPage) return element('small', '', `no page: ${flight.noPage}`);
    if (!flight.page) return '';
    const made = element('a', 'link', 'A and B');
    made.href = `${encodeURIComponent(data.folder)}/${encodeURIComponent(flight.page)}`;
    return made;
  }

  function cause(flight) {
    const lines = [flight.reason, flight.cut && `cut or damaged: ${flight.cut}`].filter(line => line);
    return [flight.what || '', ...lines.map(line => element('small', '', line))];
  }

  /// `value` is what a column sorts by, undefined where a flight has none; `first` is the direction of the first sort.
  const COLUMNS = [
    {title: 'Flight', first: 1, value: flight => flight.flight},
    {title: 'Verdict', first: 1, value: flight => VERDICTS.indexOf(flight.verdict),
      cell: flight => [coloured(flight.verdict, 'span', 'verdict', flight.verdict)], isText: true},
    {title: 'First difference or reason', first: 1, value: flight => flight.what, cell: cause, isText: true},
    {title: 'At step', first: 1, value: flight => flight.step},
    {title: 'Steps differ', first: -1, value: flight => flight.differ},
    {title: 'Steps', first: -1, value: flight => flight.steps},
    {title: 'Seconds', first: -1, value: flight => flight.seconds, cell: flight => [flight.seconds.toFixed(1)]},
    {title: 'Exports', cell: flight => [link(flight)], isText: true},
  ];

  let sorted = {column: COLUMNS[1], direction: 1};
  let chosenBin = null;
  let found = [], shown = 0;
  const verdictsChosen = new Set();

  // ---- The table

  /// Flights without a value come last in both directions.
  function order(column, direction) {
    return (one, other) => {
      const x = column.value(one), y = column.value(other);
      if (x === y) return 0;
      if (x === undefined || y === undefined) return x === undefined ? 1 : -1;
      return (x < y ? -1 : 1) * direction;
    };
  }

  function isWanted() {
    const text = byId('search').value.toLowerCase();
    const steps = Number(byId('least-steps').value), seconds = Number(byId('least-seconds').value);
    return flight => (verdictsChosen.size === 0 || verdictsChosen.has(flight.verdict))
      && (!chosenBin || (flight.verdict === chosenBin.verdict && (flight.what || '') === chosenBin.what))
      && (!text || [flight.flight, flight.what, flight.reason].some(part => part && part.toLowerCase().includes(text)))
      && (flight.steps || 0) >= steps && flight.seconds >= seconds;
  }

  function cellOf(column, flight) {
    const value = column.value && column.value(flight);
    const content = column.cell ? column.cell(flight) : value === undefined ? [] : [typeof value === 'number' ? number(value) : value];
    const cell = element('td', column.isText || typeof value === 'string' ? 'text' : 'number', ...content);
    cell.dataset.title = column.title;
    return cell;
  }

  function showMore() {
    const more = found.slice(shown, shown + SHOWN_AT_ONCE);
    byId('flights').tBodies[0].append(
      ...more.map(flight => element('tr', '', ...COLUMNS.map(column => cellOf(column, flight)))));
    shown += more.length;
    const rest = found.length - shown;
    byId('more').hidden = rest === 0;
    byId('more').textContent = `Show ${number(Math.min(rest, SHOWN_AT_ONCE))} more of ${flightsText(rest)}`;
    const chosen = chosenBin ? `, only ${chosenBin.verdict}: ${chosenBin.what}` : '';
    byId('shown').textContent = (rest > 0 ? `the first ${number(shown)} of ` : '') + flightsText(found.length) + chosen;
  }

  function fill() {
    // Flights that the column has equal are in the order of their first differences.
    const step = COLUMNS.find(column => column.title === 'At step');
    const byColumn = order(sorted.column, sorted.direction), byStep = order(step, 1);
    found = data.flights.filter(isWanted()).sort((one, other) => byColumn(one, other) || byStep(one, other));
    byId('flights').tBodies[0].replaceChildren();
    shown = 0;
    showMore();
    [...byId('flights').tHead.rows[0].cells].forEach((cell, i) => {
      if (COLUMNS[i] === sorted.column) cell.setAttribute('aria-sort', sorted.direction > 0 ? 'ascending' : 'descending');
      else cell.removeAttribute('aria-sort');
    });
    for (const made of document.querySelectorAll('[aria-pressed]')) made.setAttribute('aria-pressed', made.isPressed());
  }

  function headOf(column) {
    const cell = element('th', column.isText || column.title === 'Flight' ? 'text' : '');
    cell.scope = 'col';
    if (!column.value) {
      cell.classList.add('fixed');
      cell.append(column.title);
      return cell;
    }
    const sort = element('button', '', column.title);
    sort.type = 'button';
    sort.addEventListener('click', () => {
      sorted = {column, direction: sorted.column === column ? -sorted.direction : column.first};
      fill();
    });
    cell.append(sort);
    return cell;
  }

  // ---- What chooses flights

  function toggle(isPressed, press, ...children) {
    const made = element('button', '', ...children);
    made.type = 'button';
    made.setAttribute('aria-pressed', 'false');
    made.isPressed = isPressed;
    made.addEventListener('click', () => {
      press();
      fill();
    });
    return made;
  }

  function verdictButton(verdict) {
    return toggle(() => verdictsChosen.has(verdict), () => verdictsChosen.delete(verdict) || verdictsChosen.add(verdict),
      coloured(verdict, 'span', 'verdict', `${verdict} ${number(data.verdicts[verdict])}`));
  }

  function binButton(bin) {
    const share = coloured(bin.verdict, 'span', 'share');
    share.style.width = `${100 * bin.flights / data.bins[0].flights}%`;
    return toggle(() => chosenBin === bin, () => { chosenBin = chosenBin === bin ? null : bin; },
      element('span', 'number', number(bin.flights)), share, coloured(bin.verdict, 'span', 'verdict', bin.verdict),
      element('span', 'what', bin.what || 'no reason given'));
  }

  function reset() {
    chosenBin = null;
    verdictsChosen.clear();
    for (const id of ['search', 'least-steps', 'least-seconds']) byId(id).value = '';
    fill();
  }

  // ---- The page

  function tellWhatIsLeftOut() {
    const left = total - data.flights.length;
    const same = data.verdicts.same - data.flights.filter(flight => flight.verdict === 'same').length;
    if (left > 0) {
      note(`The table is cut: ${flightsText(left)} left out, ` + (same === left ? 'all of them the same.'
        : `${number(left - same)} of them not the same; see ostrelLog report --list.`));
    }
    if (data.withoutPage) note(`${flightsText(data.withoutPage)} with kept exports have no page here, behind the first ${number(data.flights.filter(flight => flight.page).length)}: see ostrelLog plot.`);
  }

  document.title = byId('title').textContent = data.headline;
  data.notes.forEach(note);
  tellWhatIsLeftOut();
  const existing = VERDICTS.filter(verdict => data.verdicts[verdict] > 0);
  for (const verdict of existing) {
    const share = coloured(verdict, 'span', '');
    share.style.flexGrow = data.verdicts[verdict];
    byId('shares').append(share);
  }
  byId('missing').hidden = data.withoutRow === 0;
  byId('missing').querySelector('summary').textContent = `${flightsText(data.withoutRow)} without a row`;
  byId('missing').querySelector('p').textContent = data.namesWithoutRow.join(', ')
    + (data.namesWithoutRow.length < data.withoutRow ? ', ...' : '');
  byId('bins').hidden = data.bins.length === 0;
  byId('bins').querySelector('ul').append(...data.bins.map(bin => element('li', '', binButton(bin))));
  if (data.moreBins) byId('more-bins').textContent = `and ${number(data.moreBins)} smaller groups`;
  byId('verdicts').append(...existing.map(verdictButton));
  byId('flights').tHead.rows[0].append(...COLUMNS.map(headOf));
  for (const id of ['search', 'least-steps', 'least-seconds']) byId(id).addEventListener('input', fill);
  byId('reset').addEventListener('click', reset);
  byId('more').addEventListener('click', showMore);
  fill();
  // For tests and for the curious: after how many milliseconds the page was there.
  window.fleetReport = {drawnAfter: performance.now()};
})();
