// Draws the triage page from its data element: the fleet's verdicts, then
// each recorded stream's story. Everything in the data comes from untrusted
// files, so it goes into the page only as text.
'use strict';

const data = JSON.parse(document.getElementById('data').textContent);
const texts = data.texts;
const PAGE_ROWS = 200;
const PALETTE = ['#4e79a7', '#f28e2b', '#e15759', '#76b7b2', '#59a14f',
                 '#edc948', '#b07aa1', '#ff9da7', '#9c755f', '#bab0ac'];
const MARK_COLOURS = {appear: '#1a7f37', disappear: '#57606a', resize: '#8250df'};
// Every history chart's value axis is this wide, so that their time axes line up.
const VALUE_AXIS_WIDTH = 64;

// A row is [input, ...its columns, analysis lines, record, change]; the
// columns of data.inputColumns are its input's, in data.inputs.
const streamColumns = data.columns.filter((name) => !data.inputColumns.includes(name));
const column = new Map(streamColumns.map((name, i) => [name, i + 1]));
const inputColumn = new Map(data.inputColumns.map((name, i) => [name, i]));
const LINES = streamColumns.length + 1;
const RECORD = LINES + 1;
const CHANGE = LINES + 2;

Chart.defaults.animation = false;
Chart.defaults.maintainAspectRatio = false;
Chart.defaults.font.size = 11;
// Tests and scripts see from its canvas that a chart drew.
Chart.register({id: 'drawn', afterRender(chart) { chart.canvas.dataset.drawn = 'true'; }});
// Dashed vertical lines where a stream appears, disappears or is resized.
Chart.register({
  id: 'marks',
  afterDatasetsDraw(chart, args, options) {
    if (!options.list) return;
    const {ctx, chartArea: area, scales: {x}} = chart;
    ctx.save();
    ctx.setLineDash([4, 3]);
    for (const [seconds, kind, text] of options.list) {
      const at = x.getPixelForValue(seconds);
      if (at < area.left || at > area.right) continue;
      ctx.strokeStyle = ctx.fillStyle = MARK_COLOURS[kind] || '#000';
      ctx.beginPath();
      ctx.moveTo(at, area.top);
      ctx.lineTo(at, area.bottom);
      ctx.stroke();
      if (options.labels) ctx.fillText(text, at + 3, area.top + 10);
    }
    ctx.restore();
  },
});

function el(tag, text, className) {
  const node = document.createElement(tag);
  if (text !== undefined) node.textContent = String(text);
  if (className) node.className = className;
  return node;
}

function canvasIn(parent, className) {
  const box = el('div', undefined, className);
  const canvas = el('canvas');
  box.append(canvas);
  parent.append(box);
  return canvas;
}

// One colour per owner, the same in every chart.
const ownerColours = new Map();
function ownerColour(owner) {
  if (!ownerColours.has(owner)) {
    const n = ownerColours.size;
    ownerColours.set(owner, n < PALETTE.length ? PALETTE[n] : `hsl(${(n * 47) % 360},55%,55%)`);
  }
  return ownerColours.get(owner);
}

function inputField(values, name) {
  return name === 'error' ? values[values.length - 1] : values[inputColumn.get(name)];
}

function cell(row, name) {
  if (inputColumn.has(name)) return inputField(data.inputs[row[0]], name);
  const value = row[column.get(name)];
  return data.textColumns.includes(name) ? texts[value] : value;
}

function inputSourceName(n) {
  return `${n} (${data.inputSourceNames[n]})`;
}

function signed(n) {
  return n > 0 ? `+${n}` : String(n);
}

// ---- the fleet ----

function inputName(values) {
  const [source, entry] = [inputField(values, 'source'), inputField(values, 'entry')];
  return entry ? `${source}: ${entry}` : source;
}

function counted(count, noun) {
  return `${count} ${noun}${count === 1 ? '' : 's'}`;
}

// The lists and the table hold the newest inputs only when there are too
// many for a page; the counts and the splits are of every input.
function drawInputs() {
  const counts = data.counts;
  const refused = data.inputs.filter((values) => inputField(values, 'error'));
  const read = data.inputs.filter((values) => !inputField(values, 'error'));
  document.getElementById('summary').textContent =
      `${counted(counts.inputs, 'input')}: ${counts.inputs - counts.refused} read, ` +
      `${counts.refused} refused; ${counted(counts.streams, 'stream')} judged`;
  const body = document.querySelector('#refused tbody');
  for (const values of refused) {
    const tr = el('tr');
    tr.append(el('td', inputField(values, 'source')), el('td', inputField(values, 'entry')),
              el('td', inputField(values, 'error')));
    body.append(tr);
  }
  document.getElementById('refused').hidden = refused.length === 0;
  const details = document.getElementById('read');
  details.querySelector('summary').textContent =
      `${counted(counts.inputs - counts.refused, 'input')} read`;
  // Thousands of names are listed only when asked for.
  details.addEventListener('toggle', () => {
    const list = details.querySelector('ol');
    if (list.childElementCount) return;
    for (const values of read) list.append(el('li', inputName(values)));
  });
  if (counts.leftOutInputs) {
    document.getElementById('left-out').textContent =
        `This page holds the newest ${counted(data.rows.length, 'stream')} of ` +
        `${counts.inputs - counts.leftOutInputs} inputs; ` +
        `${counted(counts.leftOutStreams, 'older stream')} of ${counts.leftOutInputs} inputs ` +
        'are left out of its lists and its table of streams, though every chart and count ' +
        'covers them. --page-streams 0 writes a page that holds every stream; --csv lists them.';
  }
}

// A split's [key, count] pairs, labelled, the largest first.
function countBy(split, label) {
  return data.splits[split].map(([key, count]) => [label(key), count])
      .sort((a, b) => b[1] - a[1] || String(a[0]).localeCompare(String(b[0])));
}

function barChart(canvas, counts, colours, onClick) {
  new Chart(canvas, {
    type: 'bar',
    data: {
      labels: counts.map(([label]) => label),
      datasets: [{data: counts.map(([, count]) => count), backgroundColor: colours}],
    },
    options: {indexAxis: 'y', plugins: {legend: {display: false}}, onClick},
  });
}

function drawSplits() {
  const owners = countBy('owner', (text) => texts[text]);
  barChart(document.getElementById('by-owner'), owners,
           owners.map(([owner]) => ownerColour(owner)), (event, bars) => {
             if (bars.length) filterByOwner(owners[bars[0].index][0]);
           });
  const body = document.querySelector('#owner-counts tbody');
  for (const [owner, count] of owners) {
    const swatch = el('td', '\u25a0');
    swatch.style.color = ownerColour(owner);
    const tr = el('tr');
    tr.append(swatch, el('td', owner), el('td', count));
    body.append(tr);
  }
  barChart(document.getElementById('by-component'),
           countBy('component', (component) => component || '(no stream)'), '#4e79a7');
  barChart(document.getElementById('by-input-source'),
           countBy('inputSource', (source) => (source === null ? '(no stream)' : inputSourceName(source))),
           '#76b7b2');
  const filter = document.getElementById('owner-filter');
  filter.append(new Option(`every owner (${data.counts.streams})`, ''));
  for (const [owner, count] of owners) filter.append(new Option(`${owner} (${count})`, owner));
  filter.addEventListener('change', () => filterByOwner(filter.value));
}

// ---- the table of streams ----

const HEADERS = data.columns;
const collator = new Intl.Collator(undefined, {numeric: true});
const table = {order: data.rows.map((row, i) => i), sortedBy: null, direction: 1, owner: '',
               module: null, build: null, shown: PAGE_ROWS};

function value(i, name) {
  return cell(data.rows[i], name);
}

function drawTable() {
  const head = document.querySelector('#rows thead tr');
  for (const name of HEADERS) {
    const th = el('th', name);
    th.addEventListener('click', () => sortBy(name, th));
    head.append(th);
  }
  document.getElementById('rows').addEventListener('click', (event) => {
    const tr = event.target.closest('tbody tr');
    if (tr) location.hash = `detail=${tr.dataset.row}`;
  });
  document.getElementById('more').addEventListener('click', () => {
    table.shown += PAGE_ROWS;
    drawRows();
  });
  drawRows();
}

function shownRow(i) {
  const row = data.rows[i];
  return (table.owner === '' || cell(row, 'owner') === table.owner) &&
         (table.module === null || data.release.rowModules[i] === table.module) &&
         (table.build === null || rowBuild(row) === table.build);
}

function drawRows() {
  const rows = table.order.filter(shownRow);
  const body = el('tbody');
  for (const i of rows.slice(0, table.shown)) {
    const tr = el('tr');
    tr.dataset.row = i;
    for (const name of HEADERS) {
      const td = el('td', value(i, name), name);
      if (name === 'entry') td.title = td.textContent;
      tr.append(td);
    }
    body.append(tr);
  }
  document.querySelector('#rows tbody').replaceWith(body);
  document.getElementById('shown').textContent =
      `${Math.min(rows.length, table.shown)} of ${rows.length} shown`;
  document.getElementById('more').hidden = rows.length <= table.shown;
}

function sortBy(name, th) {
  table.direction = table.sortedBy === name ? -table.direction : 1;
  table.sortedBy = name;
  for (const other of th.parentNode.children) delete other.dataset.sort;
  th.dataset.sort = table.direction > 0 ? 'asc' : 'desc';
  table.order.sort((a, b) => collator.compare(String(value(a, name)), String(value(b, name))) *
                                 table.direction || a - b);
  drawRows();
}

function filterByOwner(owner) {
  table.owner = owner;
  table.shown = PAGE_ROWS;
  document.getElementById('owner-filter').value = owner;
  drawRows();
}

// ---- the release view ----

// A row's build is its input's; without a build column every row is of the unknown build.
function rowBuild(row) {
  return (inputColumn.has('build') && cell(row, 'build')) || data.release.unknownBuild;
}

function filterByRelease(module, build) {
  table.module = module;
  table.build = build;
  table.shown = PAGE_ROWS;
  const label = document.getElementById('release-filter');
  label.replaceChildren();
  if (module !== null || build !== null) {
    const clear = el('button', 'show all');
    clear.addEventListener('click', () => filterByRelease(null, null));
    label.append(module !== null ? `module ${data.release.modules[module]}` : `build ${build}`, clear);
  }
  drawRows();
}

function shownValue(value) {
  return value === null ? '' : value;
}

function drawReleaseTable() {
  const release = data.release;
  const head = document.querySelector('#release-builds thead tr');
  for (const name of release.columns.builds) head.append(el('th', name));
  const body = document.querySelector('#release-builds tbody');
  release.table.builds.forEach((row, i) => {
    const tr = el('tr', undefined, i % release.modules.length === 0 ? 'first' : '');
    for (const name of release.columns.builds) {
      const td = el('td', shownValue(row[name]), name === 'mark' ? `mark ${row.mark}` : name);
      if (name === 'build') td.addEventListener('click', () => filterByRelease(null, row.build));
      if (name === 'module') {
        td.addEventListener('click', () => filterByRelease(i % release.modules.length, null));
      }
      tr.append(td);
    }
    body.append(tr);
  });
  const findings = release.table.findings;
  const findingColumns = release.columns.findings;
  const findingHead = document.querySelector('#release-findings thead tr');
  for (const name of findingColumns) findingHead.append(el('th', name));
  const findingBody = document.querySelector('#release-findings tbody');
  for (const finding of findings) {
    const tr = el('tr');
    for (const name of findingColumns) tr.append(el('td', finding[name], name === 'mark' ? finding.mark : name));
    findingBody.append(tr);
  }
}

// The builds' rows of the release table are by build, then by module.
function drawComparison() {
  const release = data.release;
  const [from, to] = ['compare-from', 'compare-to'].map((id) => Number(document.getElementById(id).value));
  const share = (build, m) => release.table.builds[build * release.modules.length + m];
  const body = el('tbody');
  release.modules.forEach((module, m) => {
    const [change, p, mark] = release.pairs[from][to][m];
    const tr = el('tr');
    const range = (row) => `${row.share} (${row.low}–${row.high})`;
    tr.append(el('td', module), el('td', range(share(from, m))), el('td', range(share(to, m))),
              el('td', signed(change)), el('td', p.toPrecision(2)), el('td', mark, mark));
    body.append(tr);
  });
  document.querySelector('#release-compare tbody').replaceWith(body);
}

function drawCompareSelects() {
  const release = data.release;
  ['compare-from', 'compare-to'].forEach((id, side) => {
    const select = document.getElementById(id);
    release.builds.forEach(([build], i) => select.append(new Option(build, String(i))));
    select.value = String(side === 0 ? Math.max(0, release.builds.length - 2) : release.builds.length - 1);
    select.addEventListener('change', drawComparison);
  });
  drawComparison();
}

// Each day's reports with each module stacked (a report with two modules is
// in both), a dashed line on each build's first day.
function drawDays() {
  const release = data.release;
  const days = release.days.map(([day]) => day);
  const rollouts = release.builds.filter(([, day]) => days.includes(day))
                       .map(([build, day]) => [days.indexOf(day), 'rollout', build]);
  new Chart(document.getElementById('by-day'), {
    type: 'bar',
    data: {
      labels: days,
      datasets: release.modules.map((module, m) => ({
        label: module,
        data: release.days.map(([, , counts]) => counts[m]),
        backgroundColor: PALETTE[m % PALETTE.length],
      })),
    },
    options: {
      scales: {x: {stacked: true}, y: {stacked: true, beginAtZero: true, title: {display: true, text: 'reports'}}},
      plugins: {legend: {align: 'start', labels: {boxWidth: 12}}, marks: {list: rollouts, labels: true}},
      onClick: (event, bars) => { if (bars.length) filterByRelease(bars[0].datasetIndex, null); },
    },
  });
}

function drawRelease() {
  if (!data.release) return;
  document.getElementById('release').hidden = false;
  drawReleaseTable();
  drawCompareSelects();
  drawDays();
}

// ---- a stream's detail ----

// The deciding check is the finding and its dispatch line; what the dump
// cannot decide, and what is said only under an assumption, is incomplete.
function lineClass(kind, assumed) {
  const classes = [];
  if (assumed || kind === 'undecidable') classes.push('incomplete');
  else if (kind === 'passed') classes.push('passed');
  if (kind === 'finding' || kind === 'dispatch') classes.push('decisive');
  return classes.join(' ');
}

// A counter the stream does not have is null.
function countersTable(record, change) {
  const tableEl = el('table', undefined, 'counters');
  const head = el('tr');
  head.append(el('th', 'counter'), el('th', 'now'), el('th', 'last second'));
  tableEl.append(head);
  data.counters.forEach(([, label], i) => {
    if (record[i] === null) return;
    const tr = el('tr');
    tr.append(el('td', label), el('td', record[i]), el('td', change ? signed(change[i]) : ''));
    tableEl.append(tr);
  });
  return tableEl;
}

function showDetail(event) {
  const box = document.getElementById('detail');
  const match = /^#detail=(\d+)$/.exec(location.hash);
  const row = match && data.rows[Number(match[1])];
  box.hidden = !row;
  if (!row) return;
  const stream = cell(row, 'stream');
  box.replaceChildren(
      el('h3', inputName(data.inputs[row[0]])),
      el('p', `${stream === '' ? 'no stream' : `strId(${stream}) ${cell(row, 'component')}`}` +
                  ` \u2014 ${cell(row, 'owner')}${cell(row, 'complete') ? '' : ' (incomplete)'}`));
  const lines = el('div', undefined, 'lines');
  for (const line of row[LINES]) {
    const [text, kind, assumed] = data.lines[line];
    lines.append(el('div', texts[text], lineClass(kind, assumed)));
  }
  const columns = el('div', undefined, 'columns');
  columns.append(lines);
  if (row[RECORD]) {
    const counters = el('div');
    counters.append(el('h4', `record of ${cell(row, 'recordTime')}`), countersTable(row[RECORD], row[CHANGE]));
    columns.append(counters);
  }
  box.append(columns);
  // Opened from the table, not when the page loads on its URL.
  if (event) box.scrollIntoView();
}

// ---- the history ----

const fixedWidth = (scale) => { scale.width = VALUE_AXIS_WIDTH; };

function lineChart(parent, title, seconds, stream, series, axis, marks) {
  const datasets = series.map(([key, label], n) => ({
    label,
    data: seconds.map((x, i) => ({x, y: stream.series[key][i] === null ? NaN : stream.series[key][i]})),
    borderColor: PALETTE[n],
    backgroundColor: PALETTE[n],
    borderWidth: 1.5,
    pointRadius: 0,
  }));
  new Chart(canvasIn(parent, 'chart'), {
    type: 'line',
    data: {datasets},
    options: {
      parsing: false,
      normalized: true,
      interaction: {mode: 'nearest', axis: 'x', intersect: false},
      scales: {x: Object.assign({}, axis), y: {beginAtZero: true, title: {display: true, text: title}, afterFit: fixedWidth}},
      plugins: {legend: {align: 'start', labels: {boxWidth: 12}}, marks: {list: marks, labels: title === 'fps'}},
    },
  });
}

// Runs of one owner verdict, as floating bars on the shared time axis.
function verdictBand(parent, seconds, stream, axis) {
  const runs = [];
  seconds.forEach((at, i) => {
    const owner = texts[stream.owner[i]];
    const finding = texts[stream.finding[i]];
    const last = runs[runs.length - 1];
    if (last && last.owner === owner && last.finding === finding) last.to = at;
    else runs.push({owner, finding, from: at, to: at});
  });
  runs.forEach((run, i) => { run.to = i + 1 < runs.length ? runs[i + 1].from : run.to + 1; });
  new Chart(canvasIn(parent, 'chart band'), {
    type: 'bar',
    data: {
      labels: ['owner'],
      datasets: [{
        data: runs.map((run) => ({x: [run.from, run.to], y: 'owner'})),
        backgroundColor: runs.map((run) => ownerColour(run.owner)),
        barPercentage: 1,
        categoryPercentage: 1,
      }],
    },
    options: {
      indexAxis: 'y',
      scales: {x: Object.assign({title: {display: true, text: 'seconds'}}, axis), y: {afterFit: fixedWidth}},
      plugins: {
        legend: {display: false},
        tooltip: {callbacks: {label: (item) => `${runs[item.dataIndex].owner}: ${runs[item.dataIndex].finding}`}},
      },
    },
  });
  const legend = el('p');
  for (const owner of new Set(runs.map((run) => run.owner))) {
    const swatch = el('span', '\u25a0 ');
    swatch.style.color = ownerColour(owner);
    legend.append(swatch, owner, '  ');
  }
  parent.append(legend);
}

function drawHistory() {
  if (!data.histories.length) return;
  const section = document.getElementById('history');
  section.hidden = false;
  const byInput = new Map();
  for (const stream of data.histories) {
    if (!byInput.has(stream.input)) byInput.set(stream.input, []);
    byInput.get(stream.input).push(stream);
  }
  for (const [index, streams] of byInput) {
    section.append(el('h3', inputName(data.inputs[index])));
    const start = Math.min(...streams.map((s) => s.ms[0]));
    const end = Math.max(...streams.map((s) => s.ms[s.ms.length - 1]));
    const axis = {type: 'linear', min: 0, max: Math.max(1, Math.ceil((end - start) / 1000))};
    for (const stream of streams) {
      const box = el('div', undefined, 'recorded');
      box.append(el('h4', `strId(${stream.stream}) ${stream.component}`));
      section.append(box);
      const seconds = stream.ms.map((ms) => (ms - start) / 1000);
      const marks = stream.marks.map(([ms, kind, text]) => [(ms - start) / 1000, kind, text]);
      lineChart(box, 'fps', seconds, stream, [['decodeFps', 'decode'], ['inputFps', 'input']], axis, marks);
      lineChart(box, 'pending', seconds, stream,
                [['pendingES', 'ES'], ['pendingFB', 'FB'], ['pendingVDEC', 'VDEC']], axis, marks);
      lineChart(box, 'per second', seconds, stream,
                [['inputLate', 'input late'], ['decodeLate', 'decode late'], ['fbLate', 'fb late'],
                 ['drop', 'drop'], ['skip', 'skip']], axis, marks);
      if (stream.sideBand) {
        lineChart(box, 'SideBand', seconds, stream,
                  [['queueCnt', 'queue /s'], ['flipCnt', 'flip /s'], ['pendingRender', 'pending render']],
                  axis, marks);
      }
      verdictBand(box, seconds, stream, axis);
    }
  }
}

drawInputs();
drawSplits();
drawTable();
drawRelease();
drawHistory();
window.addEventListener('hashchange', showDetail);
showDetail(null);
document.body.dataset.ready = String(performance.now());
