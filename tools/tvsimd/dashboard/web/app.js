// The dashboard page: one picture of the TV from /api/picture, then the
// changes from /api/events. Changes are merged as they arrive and drawn once
// per animation frame, so a busy TV costs one DOM update per frame.
'use strict';

const token = document.querySelector('meta[name="tvsim-token"]').content;
const $ = (id) => document.getElementById(id);

const state = {
  values: new Map(),   // path -> {type, value}
  actions: {}, tables: {}, faults: {paths: {}, framework: {}}, panel: {},
  requests: new Map(), // index -> entry
  requestCount: 0,
  scenario: null,      // the play in progress or the last one: its steps and expectations with their states
};
let pending = null;    // changes not drawn yet
let sequence = 0;
let events = null;

// ---- Talking to tvsimd ----

async function send(route, body) {
  const response = await fetch(route, {
    method: 'POST',
    headers: {'Content-Type': 'application/json', 'X-TvSim-Token': token},
    body: JSON.stringify(body),
  });
  if (!response.ok) {
    const text = await response.text();
    let message = text;
    try { message = JSON.parse(text).error; } catch (ignored) { /* not JSON: show it as it is */ }
    showMessage(`${route}: ${message}`);
    return false;
  }
  showMessage('');
  return true;
}

function showMessage(text) { $('message').textContent = text; }

function setLink(up) {
  $('link').textContent = up ? 'live' : 'reconnecting…';
  $('link').className = up ? 'link up' : 'link down';
}

async function start() {
  if (events) { events.close(); events = null; }
  try {
    const response = await fetch('/api/picture', {cache: 'no-store'});
    const {sequence: at, picture} = await response.json();
    sequence = at;
    takePicture(picture);
    events = new EventSource(`/api/events?since=${sequence}`);
    events.addEventListener('open', () => setLink(true));
    events.addEventListener('change', (event) => {
      sequence = Number(event.lastEventId);
      merge(JSON.parse(event.data));
    });
    events.addEventListener('resync', start);
    events.addEventListener('error', () => { setLink(false); events.close(); setTimeout(start, 1000); });
  } catch (error) {
    setLink(false);
    setTimeout(start, 1000);
  }
}

// ---- Merging changes until the next frame ----

function takePicture(picture) {
  state.values = new Map(Object.entries(picture.values));
  state.requests = new Map(picture.requests.map((entry) => [entry.index, entry]));
  Object.assign(state, {actions: picture.actions, tables: picture.tables, faults: picture.faults,
                        panel: picture.panel, requestCount: picture.requestCount,
                        requestsDropped: picture.requestsDropped, scenario: picture.scenario});
  pending = null;
  drawAll();
}

function merge(change) {
  if (!pending) {
    pending = {values: new Map(), requests: new Map(), requestsReset: false};
    requestAnimationFrame(drawPending);
  }
  for (const [path, value] of Object.entries(change.values || {})) pending.values.set(path, value);
  if (change.requestsReset) { pending.requestsReset = true; pending.requests.clear(); }
  for (const entry of change.requests || []) pending.requests.set(entry.index, entry);
  for (const part of ['panel', 'actions', 'tables', 'faults', 'requestCount', 'requestsDropped', 'scenario']) {
    if (part in change) pending[part] = change[part];
  }
}

function drawPending() {
  const change = pending;
  pending = null;
  let pathsChanged = false;
  for (const [path, value] of change.values) {
    pathsChanged = pathsChanged || value === null || !state.values.has(path);
    if (value === null) state.values.delete(path); else state.values.set(path, value);
  }
  if (change.requestsReset) state.requests.clear();
  for (const [index, entry] of change.requests) state.requests.set(index, entry);
  for (const part of ['panel', 'actions', 'tables', 'faults', 'requestCount', 'requestsDropped', 'scenario']) {
    if (part in change) state[part] = change[part];
  }
  if (pathsChanged || 'faults' in change) {
    drawTree();
  } else {
    for (const path of change.values.keys()) drawValue(path, true);
  }
  if ('panel' in change) drawPanel(true);
  if (change.requests.size || change.requestsReset) drawRequests(change.requestsReset ? null : change.requests);
  if ('actions' in change) drawActions();
  if ('tables' in change) drawTables();
  if ('faults' in change) drawFaults();
  if ('scenario' in change) drawScenario();
}

function drawAll() {
  drawPanel(false); drawTree(); drawRequests(null); drawActions(); drawTables(); drawFaults(); drawScenario();
}

// ---- Drawing ----

function flash(element) {
  element.animate([{backgroundColor: 'var(--flash)'}, {backgroundColor: 'transparent'}], {duration: 1200});
}

function element(tag, className, text) {
  const made = document.createElement(tag);
  if (className) made.className = className;
  if (text !== undefined) made.textContent = text;
  return made;
}

function setText(target, text, highlight) {
  if (target.textContent === text) return;
  target.textContent = text;
  if (highlight) flash(target);
}

function drawPanel(highlight) {
  const panel = state.panel;
  const channel = panel.channel;
  setText($('channel-number'), channel ? channel.number : '–', highlight);
  setText($('channel-name'), channel ? channel.name : 'no channel', highlight);
  setText($('channel-uri'), channel ? channel.uri : '', highlight);
  for (const resource of ['video', 'audio', 'psi']) {
    const cell = $(`holder-${resource}`);
    setText(cell, panel[resource] || '–', highlight);
    cell.className = panel[resource] === 'web engine' ? 'holder-web' : 'holder-system';
  }
  setText($('playback'), panel.playbackStatus === undefined ? '–' : String(panel.playbackStatus), highlight);
  setText($('no-banner'), panel.noBanner === null || panel.noBanner === undefined ? '–' : String(panel.noBanner),
          highlight);
}

const valueCells = new Map();  // path -> the value's element in the tree

function valueText(value) {
  return typeof value === 'string' ? value : JSON.stringify(value);
}

// A value longer than tvsimd sends comes cut: the start of its text, and its whole length in bytes.
function shownText(entry) {
  return entry.cut === undefined ? valueText(entry.value) : `${entry.value}… (cut: ${entry.cut} bytes)`;
}

function gettersCanFail(type) {
  return type === 'string' || type.endsWith('-vector');
}

// The tree is rebuilt only when paths come or go (or faults change); values update in place.
function drawTree() {
  const filter = $('filter').value.trim();
  const open = new Set([...document.querySelectorAll('#tree details[open]')].map((node) => node.dataset.group));
  const firstDraw = valueCells.size === 0;
  valueCells.clear();
  const root = {children: new Map(), leaves: []};
  for (const path of [...state.values.keys()].sort()) {
    if (filter && !path.includes(filter)) continue;
    const parts = path.split('.');
    let node = root;
    for (const part of parts.slice(0, -1)) {
      if (!node.children.has(part)) node.children.set(part, {children: new Map(), leaves: []});
      node = node.children.get(part);
    }
    node.leaves.push(path);
  }
  const fragment = document.createDocumentFragment();
  drawGroup(root, '', fragment, open, firstDraw || filter !== '');
  $('tree').replaceChildren(fragment);
  $('path-count').textContent = `(${state.values.size} values)`;
  const options = (paths) => paths.map((path) => new Option(path)).reduce((list, option) => {
    list.appendChild(option); return list;
  }, document.createDocumentFragment());
  $('value-paths').replaceChildren(options([...state.values.keys()]));
  $('all-paths').replaceChildren(options([...state.values.keys(), ...Object.keys(state.actions),
                                          ...Object.keys(state.tables)].sort()));
}

function drawGroup(node, prefix, parent, open, openAll) {
  for (const [name, child] of node.children) {
    const group = prefix ? `${prefix}.${name}` : name;
    const details = element('details');
    details.dataset.group = group;
    details.open = openAll || open.has(group);
    details.appendChild(element('summary', '', name));
    drawGroup(child, group, details, open, openAll);
    parent.appendChild(details);
  }
  for (const path of node.leaves) parent.appendChild(leaf(path));
}

function leaf(path) {
  const entry = state.values.get(path);
  const type = entry.type;
  const row = element('div', 'leaf');
  row.dataset.path = path;
  row.appendChild(element('span', 'name', path.slice(path.lastIndexOf('.') + 1)));
  row.appendChild(element('span', 'type', type));
  const cell = element('span', 'value', shownText(entry));
  row.appendChild(cell);
  valueCells.set(path, cell);
  const faults = state.faults.paths[path] || {};
  row.classList.toggle('failing', 'fail-getter' in faults);
  if (gettersCanFail(type)) {
    const failing = 'fail-getter' in faults;
    const button = element('button', 'fault', failing ? 'getter fails' : 'fail getter');
    button.type = 'button';
    button.dataset.fault = 'fail-getter';
    button.setAttribute('aria-pressed', String(failing));
    button.addEventListener('click', (event) => {
      event.stopPropagation();
      send('/api/fault', failing ? {fault: 'fail-getter', path, clear: true} : {fault: 'fail-getter', path, status: -1});
    });
    row.appendChild(button);
  } else {
    row.appendChild(element('span'));
  }
  row.addEventListener('click', () => {
    const shown = state.values.get(path);
    $('set-path').value = path;
    $('set-value').value = shown.cut === undefined ? valueText(shown.value) : '';
    showMessage(shown.cut === undefined ? '' : `${path} is too long for the page to copy; it shows its start`);
    $('set-value').focus();
  });
  return row;
}

function drawValue(path, highlight) {
  const cell = valueCells.get(path);
  if (cell) setText(cell, shownText(state.values.get(path)), highlight);
}

function argumentsText(list) {
  return list.map((argument) => `${argument.position}: ${argument.value}`).join(', ');
}

function outcomeText(entry) {
  switch (entry.outcome) {
    case 'results': return entry.results.length ? `results ${argumentsText(entry.results)}` : 'success';
    case 'failure': return `failure ${entry.error}`;
    case 'refused': return `refused (status ${entry.status})`;
    default: return 'no reply yet';
  }
}

const requestRows = new Map();  // index -> row
const kShownRequests = 500;

function requestRow(entry) {
  const row = element('tr');
  row.dataset.index = entry.index;
  row.appendChild(element('td', 'mono', String(entry.actionId || '–')));
  row.appendChild(element('td', 'mono', entry.path));
  row.appendChild(element('td', 'args', argumentsText(entry.arguments)));
  const outcomeClass = entry.outcome === 'no reply yet' ? 'outcome-pending' : `outcome-${entry.outcome}`;
  row.appendChild(element('td', outcomeClass, outcomeText(entry)));
  row.appendChild(element('td', 'mono', entry.tookMs === undefined ? '' : `${entry.tookMs.toFixed(1)} ms`));
  return row;
}

// Newest first. Only the given entries are (re)drawn; null redraws them all.
function drawRequests(changed) {
  const body = $('requests').tBodies[0];
  if (changed === null) {
    requestRows.clear();
    body.replaceChildren();
    changed = state.requests;
  }
  for (const [index, entry] of [...changed].sort((a, b) => a[0] - b[0])) {
    const row = requestRow(entry);
    const old = requestRows.get(index);
    if (old) old.replaceWith(row); else body.insertBefore(row, body.firstChild);
    requestRows.set(index, row);
    if (old || changed !== state.requests) flash(row);
  }
  while (requestRows.size > kShownRequests) {
    const oldest = Math.min(...requestRows.keys());
    requestRows.get(oldest).remove();
    requestRows.delete(oldest);
    state.requests.delete(oldest);
  }
  const dropped = state.requestsDropped ? `, the oldest ${state.requestsDropped} dropped` : '';
  $('request-count').textContent = `(${state.requestCount}${dropped})`;
}

function answerText(answer) {
  if (answer === null) return 'its own answer';
  const delay = answer.delayMs ? ` after ${answer.delayMs} ms` : '';
  return answer.answer === 'failure' ? `failure ${answer.error}${delay}`
    : answer.answer === 'none' ? 'no reply' : `success${delay}`;
}

function drawActions() {
  const body = $('actions').tBodies[0];
  body.replaceChildren();
  for (const [path, answer] of Object.entries(state.actions)) {
    const row = element('tr');
    row.dataset.path = path;
    row.appendChild(element('td', 'mono', path));
    row.appendChild(element('td', '', answerText(answer)));
    const form = element('form', 'inline');
    const kind = element('select');
    for (const [value, label] of [['own', 'own'], ['success', 'success'], ['failure', 'failure'], ['none', 'no reply']]) {
      kind.appendChild(new Option(label, value));
    }
    const code = element('input');
    code.type = 'number'; code.value = '1'; code.title = 'failure code';
    const delay = element('input');
    delay.type = 'number'; delay.min = '0'; delay.value = '0'; delay.title = 'delay (ms)';
    form.append(kind, code, delay, element('button', '', 'Apply'));
    form.addEventListener('submit', (event) => {
      event.preventDefault();
      send('/api/answer', {path, answer: kind.value, error: Number(code.value), delayMs: Number(delay.value)});
    });
    const cell = element('td');
    cell.appendChild(form);
    row.appendChild(cell);
    body.appendChild(row);
  }
}

function drawTables() {
  const list = document.createDocumentFragment();
  for (const [path, table] of Object.entries(state.tables)) {
    list.appendChild(element('h3', 'mono', path));
    const view = element('table');
    view.dataset.path = path;
    const head = view.createTHead().insertRow();
    for (const column of table.columns) head.appendChild(element('th', '', column));
    const body = view.createTBody();
    for (const row of table.rows) {
      const line = body.insertRow();
      for (const cell of row) line.appendChild(element('td', 'mono', cell));
    }
    list.appendChild(view);
  }
  $('table-list').replaceChildren(list);
}

const kFrameworkFaults = [
  ['refuse-interface-reference', 'interface reference refused'],
  ['empty-interface-reference', 'interface reference empty'],
  ['null-root-object', 'root object null'],
];

function drawFaults() {
  const toggles = document.createDocumentFragment();
  for (const [fault, label] of kFrameworkFaults) {
    const box = element('input');
    box.type = 'checkbox';
    box.dataset.fault = fault;
    box.checked = Boolean(state.faults.framework[fault]);
    box.addEventListener('change', () => send('/api/fault', box.checked ? {fault} : {fault, clear: true}));
    const labelled = element('label');
    labelled.append(box, ` ${label}`);
    toggles.appendChild(labelled);
  }
  $('framework-faults').replaceChildren(toggles);
  const list = document.createDocumentFragment();
  for (const [path, faults] of Object.entries(state.faults.paths)) {
    for (const [fault, detail] of Object.entries(faults)) {
      const item = element('li', 'mono', `${path}: ${fault} ${JSON.stringify(detail)} `);
      const clear = element('button', 'fault', 'clear');
      clear.type = 'button';
      clear.addEventListener('click', () => send('/api/fault', {fault, path, clear: true}));
      item.appendChild(clear);
      list.appendChild(item);
    }
  }
  $('faults-in-force').replaceChildren(list);
}

function countOf(list, state) {
  return list.filter((entry) => entry.state === state).length;
}

// "playing: 1 of 2 steps done, 1 of 3 expectations met, 2 pending", or how the play ended.
function scenarioSummary(scenario) {
  const steps = scenario.steps.length - countOf(scenario.steps, 'pending');
  const expected = scenario.expectations;
  let summary = `${steps} of ${scenario.steps.length} steps done, ${countOf(expected, 'met')} of ${expected.length} ` +
    `expectations met, ${countOf(expected, 'pending')} pending`;
  if (countOf(expected, 'unmet')) summary += `, ${countOf(expected, 'unmet')} unmet`;
  if (scenario.unexpected.length) summary += `, ${scenario.unexpected.length} unexpected requests`;
  return scenario.finished ? `finished with exit code ${scenario.exitCode}: ${summary}` : `playing: ${summary}`;
}

function drawScenario() {
  const scenario = state.scenario;
  $('scenario-name').textContent = scenario ? scenario.name : '';
  setText($('scenario-summary'), scenario ? scenarioSummary(scenario) : 'no scenario played', true);
  const rows = document.createDocumentFragment();
  for (const entry of scenario ? [...scenario.steps, ...scenario.expectations] : []) {
    const row = element('tr');
    row.appendChild(element('td', 'mono', entry.label));
    row.appendChild(element('td', `state-${entry.state.replace(' ', '-')}`,
                            entry.why ? `${entry.state}: ${entry.why}` : entry.state));
    rows.appendChild(row);
  }
  $('scenario-entries').tBodies[0].replaceChildren(rows);
}

// ---- Controls ----

function parseValue(type, text) {
  if (type === 'string') return text;
  return JSON.parse(text);
}

$('set-form').addEventListener('submit', (event) => {
  event.preventDefault();
  const path = $('set-path').value;
  const known = state.values.get(path);
  let value;
  try {
    value = parseValue(known ? known.type : 'string', $('set-value').value);
  } catch (error) {
    showMessage(`not a value of type ${known.type}: ${error.message}`);
    return;
  }
  send('/api/value', {path, value});
});

$('fault-form').addEventListener('submit', (event) => {
  event.preventDefault();
  const fault = $('fault-kind').value;
  const request = {fault, path: $('fault-path').value};
  if (fault !== 'fail-getter' && fault !== 'report-type') request.count = Number($('fault-count').value);
  if (['fail-getter', 'fail-connects', 'refuse-invokes'].includes(fault)) request.status = Number($('fault-status').value);
  if (fault === 'report-type') request.type = Number($('fault-type').value);
  send('/api/fault', request);
});

$('filter').addEventListener('input', drawTree);

start();
