// The page's doings: shows what the simulator tells over its stream of events, and posts lines of the
// scenario language for whatever is pressed, typed or moved. It knows no word of the display and no control of the box:
// both come from the server.
'use strict';

const $ = (id) => document.getElementById(id);
const make = (tag, properties = {}, ...children) => {
  const element = Object.assign(document.createElement(tag), properties);
  element.append(...children);
  return element;
};

// A text that has not changed is left alone: what announces changes would announce it again.
function setText(place, text) {
  if (place.textContent !== text) place.textContent = text;
}

// ---- Asking the simulator ----

const noAnswer = 'The simulator does not answer.';

async function post(path, text) {
  try {
    const response = await fetch(path, {method: 'POST', body: text, headers: {'Content-Type': 'text/plain'}});
    return {status: response.status, ...await response.json()};
  } catch {
    return {ok: false, status: 0, error: noAnswer};
  }
}

// One line; what comes of it is said in `place`.
async function perform(line, place, praise = '') {
  const reply = await post('/api/do', line);
  if (!reply.ok) say(place, reply.error, 'bad'); else praiseIn(place, praise, line);
  return reply.ok;
}

// Hands a file to the browser, which puts it where downloads go.
function saveAs(name, blob) {
  const address = URL.createObjectURL(blob);
  make('a', {href: address, download: name}).click();
  setTimeout(() => URL.revokeObjectURL(address), 60000);
}

// A sentence; what follows on further lines is drawn with characters.
function say(place, text, kind) {
  const [first, ...rest] = text.split('\n');
  place.replaceChildren(first, ...rest.length ? [make('pre', {textContent: rest.join('\n')})] : []);
  place.className = `reply ${text ? kind : ''}`;
}

// While time stands still, the display takes nothing yet.
function praiseIn(place, praise, line) {
  const [command] = line.split(' ');
  const waits = state?.speed === 0 && (command === 'send' || command in shows);
  say(place, waits ? `${praise} Taken when time goes on.`.trim() : praise, waits ? 'later' : 'good');
}

let commands = {};

// A word as the language wants it: quoted where needed. Some commands take the rest of the line as it is.
function lineOf(command, ...words) {
  const asItIs = commands[command]?.takesRest;
  const quoted = words.map((word) => {
    if (asItIs || (word !== '' && !/[\s"\\]/.test(word))) return word;
    return `"${word.replace(/[\\"]/g, '\\$&')}"`;
  });
  return [command, ...quoted].join(' ');
}

// ---- The panels ----

const dark = [5, 8, 12, 255];
const lit = [223, 241, 255, 255];

function showPicture(picture) {
  const canvas = $(`panel-${picture.view}`);
  const image = new ImageData(picture.width, picture.height);
  const digitsPerRow = Math.ceil(picture.width / 8) * 2;
  for (let y = 0; y < picture.height; y++) {
    for (let x = 0; x < picture.width; x++) {
      const digit = parseInt(picture.rows[y * digitsPerRow + (x >> 2)], 16);
      image.data.set(digit & (8 >> (x & 3)) ? lit : dark, (y * picture.width + x) * 4);
    }
  }
  canvas.width = picture.width;
  canvas.height = picture.height;
  canvas.getContext('2d', {willReadFrequently: true}).putImageData(image, 0, 0);
  closer.show(picture.view);
}

// What the simulator can read on a panel, for who can't look at it. It is told when asked for and not by itself: the
// voltage alone would not stop talking.
function showTexts(view, texts) {
  $(`texts-${view}`).replaceChildren(...texts.map((text) => make('li', {textContent: text})));
  closer.show(view);
}

// ---- The words ----

const titles = {channel: 'Channels', mode: 'Modes', overlay: 'Overlays', firmware: 'Firmware'};

function explain(element, text) {
  element.title = text;
  element.setAttribute('aria-description', text);
  const show = () => { $('meaning').textContent = text; };
  element.addEventListener('focus', show);
  element.addEventListener('mouseenter', show);
}

async function send(button, word, ...further) {
  const line = lineOf('send', word, ...further);
  if (!await perform(line, $('sent'), `Sent: ${line.slice('send '.length)}.`)) return;
  button.classList.add('done');
  setTimeout(() => button.classList.remove('done'), 250);
}

function wordButton(entry) {
  const button = make('button', {type: 'button', className: 'word', textContent: entry.word});
  button.dataset.word = entry.word;
  explain(button, entry.meaning);
  return button;
}

const examples = {code: 'E12', seconds: '120', type: 'MAIN_FW'};

// A word with arguments: its button sends what stands in the fields beside it.
function wordForm(entry) {
  const button = wordButton(entry);
  button.type = 'submit';
  const fields = entry.arguments.map((argument) => make('input', {
    type: argument.type === 'i' ? 'number' : 'text', name: argument.name, title: argument.name,
    ariaLabel: `${entry.word}: ${argument.name}`, placeholder: argument.name,
    value: examples[argument.name] ?? '', autocomplete: 'off',
    min: -2147483648, max: 2147483647, required: argument.type === 'i',
  }));
  const form = make('form', {className: 'filled'}, button, ...fields);
  form.dataset.word = entry.word;
  form.addEventListener('submit', (event) => {
    event.preventDefault();
    send(button, entry.word, ...fields.map((field) => field.value));
  });
  return form;
}

// One stop of the Tab key for a group; arrow keys go from word to word.
function walkWithArrows(keys) {
  const buttons = [...keys.querySelectorAll(':scope > .word')];
  buttons.forEach((button, index) => { button.tabIndex = index === 0 ? 0 : -1; });
  keys.addEventListener('keydown', (event) => {
    const here = buttons.indexOf(event.target);
    const steps = {ArrowRight: here + 1, ArrowDown: here + 1, ArrowLeft: here - 1, ArrowUp: here - 1,
                   Home: 0, End: buttons.length - 1};
    if (here < 0 || !(event.key in steps)) return;
    event.preventDefault();
    buttons[(steps[event.key] + buttons.length) % buttons.length].focus();
  });
  keys.addEventListener('focusin', (event) => {
    if (!buttons.includes(event.target)) return;
    for (const button of buttons) button.tabIndex = button === event.target ? 0 : -1;
  });
}

function wordGroup(group) {
  const title = titles[group.group] ?? group.group;
  const keys = make('div', {className: 'keys', role: 'toolbar', ariaLabel: title});
  for (const entry of group.words.filter((word) => word.arguments.length === 0)) {
    const button = wordButton(entry);
    button.addEventListener('click', () => send(button, entry.word));
    keys.append(button);
  }
  walkWithArrows(keys);
  for (const entry of group.words.filter((word) => word.arguments.length > 0)) keys.append(wordForm(entry));
  return make('div', {className: 'group'}, make('h3', {textContent: title}), keys);
}

async function loadWords() {
  const groups = await (await fetch('/api/vocabulary')).json();
  const order = Object.keys(titles);
  groups.sort((a, b) => order.indexOf(a.group) - order.indexOf(b.group));
  $('groups').replaceChildren(...groups.map(wordGroup));
}

async function loadCommands() {
  const list = await (await fetch('/api/commands')).json();
  commands = Object.fromEntries(list.map((command) => [command.name, command]));
  $('commands').replaceChildren(...list.map((command) => make('option', {
    value: `${command.name} `, label: `${command.name} ${command.arguments} – ${command.meaning}`,
  })));
}

// ---- The box ----

const boxReply = $('box-reply');

// What shows a part of the box, by its command: its word, or null for what can't be read.
const shows = {};
const unreadable = 'can’t be read';

function showTruth(command) {
  if (state && command in state.box) shows[command](state.box[command]);
}

// A field that somebody types in is left alone until the person leaves it.
function watchTyping(field, command) {
  let typing = false;
  field.addEventListener('input', () => { typing = true; });
  for (const end of ['change', 'blur']) {
    field.addEventListener(end, () => { typing = false; if (end === 'blur') showTruth(command); });
  }
  return () => typing;
}

// What is wrong with what was entered: beside the field, until something else is entered.
function complaint(field, command, label) {
  const place = make('span', {className: 'wrong', id: `wrong-${command}`, role: 'alert'});
  field.setAttribute('aria-describedby', place.id);
  const tell = (text) => {
    place.textContent = text;
    if (text) field.setAttribute('aria-invalid', 'true'); else field.removeAttribute('aria-invalid');
  };
  // What the box has, if that can be told.
  tell.readable = (word) => {
    if (word === null) return tell(`${label}: ${unreadable}`);
    if (place.textContent.endsWith(unreadable)) tell('');
  };
  field.addEventListener('input', () => tell(''));
  return [place, tell];
}

// While a slider moves, only its newest value is sent, one at a time. After a refusal the control shows what the box
// has, and `tell` says what is wrong with the answer.
function sender(command, tell) {
  let newest = null;
  const set = async (word) => {
    newest = word;
    if (set.busy) return;
    set.busy = true;
    let reply;
    while (newest !== null) {
      const next = newest;
      newest = null;
      reply = await post('/api/do', lineOf(command, next));
    }
    set.busy = false;
    tell(reply);
    if (reply.ok) praiseIn(boxReply, '', command);
    if (!reply.ok) showTruth(command);
  };
  set.busy = false;
  return set;
}

// A comma or a point between the digits; nothing for what is no number.
function numberIn(text) {
  const plain = text.trim().replace('\u2212', '-').replace(',', '.');
  return /^[-+]?(\d+\.?\d*|\.\d+)$/.test(plain) ? Number(plain) : null;
}

// A slider and a number for the same value, and a check box for "none".
function drawMeasure({name, label, unit, min, max, step, first, present, whole}) {
  const known = make('input', {type: 'checkbox', ariaLabel: `${label}: ${present}`});
  const slider = make('input', {type: 'range', min, max, step, value: first, ariaLabel: `${label}, slider`});
  const limits = `${label}: ${min} to ${max} ${unit}${whole ? ', a whole number' : ''}`;
  const number = make('input', {type: 'text', inputMode: 'decimal', className: 'number', value: first,
                                autocomplete: 'off', title: limits, ariaLabel: `${label} in ${unit}`});
  number.dataset.command = name;
  const typing = watchTyping(number, name);
  const [wrong, complain] = complaint(number, name, label);
  const set = sender(name, (reply) => {
    complain(reply.ok ? '' : reply.status === 400 ? limits : `${label}: ${reply.error}`);
  });
  // What lies beyond the slider is for a scenario line: there a slip of the finger is seen.
  const enter = () => {
    const value = numberIn(number.value);
    if (value !== null && value >= min && value <= max && (!whole || Number.isInteger(value))) {
      complain('');
      number.value = value;
      return set(String(value));
    }
    showTruth(name);
    complain(limits);
  };
  slider.addEventListener('input', () => { number.value = slider.value; set(slider.value); });
  number.addEventListener('change', enter);
  known.addEventListener('change', () => set(known.checked ? String(numberIn(number.value) ?? first) : 'none'));
  shows[name] = (word) => {
    const none = word === 'none' || word === null;
    complain.readable(word);
    known.checked = !none;
    known.indeterminate = word === null;
    slider.disabled = number.disabled = none;
    if (none) return;
    if (!typing()) number.value = word;
    if (!set.busy) slider.value = word;
  };
  const place = make('div', {className: 'measure'}, make('span', {textContent: label}),
    make('label', {className: 'switch'}, known, present),
    slider, make('span', {className: 'value'}, number, make('span', {className: 'unit', textContent: unit})), wrong);
  place.dataset.command = name;
  return place;
}

function drawSwitch({name, label, on, off}) {
  const box = make('input', {type: 'checkbox'});
  box.dataset.command = name;
  const [wrong, complain] = complaint(box, name, label);
  const set = sender(name, (reply) => complain(reply.ok ? '' : `${label}: ${reply.error}`));
  box.addEventListener('change', () => set(box.checked ? on : off));
  shows[name] = (word) => {
    if (set.busy) return;
    complain.readable(word);
    box.checked = word === on;
    box.indeterminate = word === null;
  };
  return make('div', {className: 'either'}, make('label', {className: 'switch'}, box, label), wrong);
}

function drawText({name, label, empty, longest, placeholder, suggestion}) {
  const field = make('input', {type: 'text', maxLength: longest, placeholder});
  field.dataset.command = name;
  const typing = watchTyping(field, name);
  const [wrong, complain] = complaint(field, name, label);
  const set = sender(name, (reply) => complain(reply.ok ? '' : `${label}: ${reply.error}`));
  field.addEventListener('change', () => set(field.value || empty));
  field.addEventListener('keydown', (event) => { if (event.key === 'Enter') field.blur(); });
  // No file, an empty one and one that can't be read are three things.
  shows[name] = (word) => {
    const none = word === 'none' && empty === 'none';
    complain.readable(word);
    field.placeholder = word === null ? unreadable : empty === 'none' && !none ? 'empty file' : placeholder;
    if (!typing() && !set.busy) field.value = none ? '' : word ?? '';
  };
  const place = make('div', {className: 'text'}, make('label', {}, make('span', {textContent: `${label} `}), field),
    wrong);
  if (suggestion === '') return place;
  field.setAttribute('list', `${name}-suggestion`);
  place.append(make('datalist', {id: `${name}-suggestion`}, make('option', {value: suggestion})));
  return place;
}

const draw = {measure: drawMeasure, switch: drawSwitch, text: drawText};

async function loadControls() {
  const groups = {};
  for (const control of await (await fetch('/api/controls')).json()) {
    groups[control.group] ??= make('fieldset', {}, make('legend', {textContent: control.group}));
    groups[control.group].append(draw[control.kind](control));
  }
  $('controls').replaceChildren(...Object.values(groups));
}

// ---- State ----

let state = null;

function showState(now) {
  const before = state;
  state = now;
  for (const [command, word] of Object.entries(now.box)) shows[command]?.(word);
  const started = !before || before.variant !== now.variant || before.bare !== now.bare;
  if (started) {
    document.querySelector(`input[name=variant][value=${now.variant}]`).checked = true;
    document.querySelector('input[name=bare]').checked = now.bare;
  }
  showChoice();
  for (const choice of document.querySelectorAll('input[name=speed]')) {
    choice.checked = Number(choice.value) === now.speed;
  }
  $('step').disabled = now.speed !== 0;
  showTrouble(now.trouble);
  $('waiting').hidden = now.waiting === '';
  setText($('waiting-line'), now.waiting && `Waiting: ${now.waiting}. Other commands are refused meanwhile.`);
  $('folder').textContent = now.folder;
  $('bus').textContent = now.bus;
  showLink();
  showRecording(now.recording, before?.recording);
}

// The first line says what has happened, the rest is what the daemon said last.
function showTrouble(text) {
  const [first, ...rest] = text.split('\n');
  $('trouble').hidden = text === '';
  setText($('trouble').querySelector('summary'), first);
  setText($('trouble').querySelector('pre'), rest.join('\n'));
}

let connected = false;

function showLink() {
  const paused = state?.speed === 0 ? 'Paused' : 'Running';
  const text = !connected ? 'Not connected' : state?.trouble ? 'Ended' : paused;
  setText($('link'), state?.target === 'armhf' && connected ? `${text} on 32-bit ARM` : text);
  $('link').className = `pill ${connected && !state?.trouble ? 'good' : 'bad'}`;
}

async function showRecording(now, before) {
  $('record').textContent = now.running ? 'Stop' : 'Record';
  $('record').setAttribute('aria-pressed', String(now.running));
  $('download').hidden = now.lines === 0;
  for (const part of $('note-form').elements) part.disabled = !now.running;
  $('note-reason').hidden = now.running;
  if (now.lines === 0) $('scenario').textContent = '';
  if (now.lines === 0 || now.lines === before?.lines && now.running === before?.running) return;
  const pre = $('scenario');
  pre.textContent = await (await fetch('/api/scenario')).text();
  pre.scrollTop = pre.scrollHeight;
  document.querySelector('#picture-form input').placeholder = freeName();
}

// ---- The log ----

const longestLog = 1000;

// A restart is a line of its own: what was before it stays.
function logLine(line) {
  if (line.started) return make('li', {className: 'started'}, make('span', {className: 'text', textContent: line.text}));
  return make('li', {className: line.error ? 'error' : ''},
    make('time', {textContent: line.seconds.toFixed(2)}),
    make('span', {className: 'text', textContent: line.text}));
}

function filterLog(items) {
  const wanted = $('log-filter').value.toLowerCase();
  for (const item of items) item.hidden = !item.textContent.toLowerCase().includes(wanted);
}

function showLogLine(line) {
  if (line.view === 'layout') return; // the other daemon says the same
  const log = $('log');
  const atEnd = log.scrollHeight - log.scrollTop - log.clientHeight < 30;
  const item = logLine(line);
  filterLog([item]);
  log.append(item);
  while (log.children.length > longestLog) log.firstChild.remove();
  if (atEnd) log.scrollTop = log.scrollHeight;
}

// As it is shown, so the filter counts.
function logText() {
  const shown = [...$('log').children].filter((item) => !item.hidden);
  return shown.map((item) => `${[...item.children].map((part) => part.textContent).join('\t')}\n`).join('');
}

async function copyLog() {
  const text = logText();
  const count = text.split('\n').length - 1;
  try {
    await navigator.clipboard.writeText(text);
    say($('log-reply'), count === 1 ? 'Copied one line.' : `Copied ${count} lines.`, 'good');
  } catch {
    getSelection().selectAllChildren($('log'));
    say($('log-reply'), 'The browser does not let a page copy; the lines are selected, press Ctrl+C.', 'later');
  }
}

function connectLog() {
  $('log-filter').addEventListener('input', () => {
    filterLog($('log').children);
    $('log').scrollTop = $('log').scrollHeight;
  });
  $('log-copy').addEventListener('click', copyLog);
  $('log-save').addEventListener('click', () => saveAs('status-display.log', new Blob([logText()], {type: 'text/plain'})));
  $('log-clear').addEventListener('click', () => { $('log').replaceChildren(); say($('log-reply'), '', ''); });
}

// ---- The stream of events ----

const retryMs = 1000;
// The simulator sends a sign of life every two seconds.
const longestSilenceMs = 7000;
let stream = null;
let heard = 0;

// Nothing that stands here can be relied on then: the panels are dim and no control works.
function showLost(reason) {
  const banner = $('lost');
  setText(banner, reason);
  banner.hidden = reason === '';
  document.body.classList.toggle('lost', reason !== '');
  for (const part of document.querySelectorAll('main > *, .running, #trouble')) part.inert = reason !== '';
  if (reason !== '') closer.close();
}

function listen() {
  if (stream) return;
  stream = new EventSource('/events');
  heard = Date.now();
  const on = (name, show) => stream.addEventListener(name, (event) => {
    heard = Date.now();
    show(JSON.parse(event.data));
  });
  on('picture-device', showPicture);
  on('picture-layout', showPicture);
  on('texts-device', (texts) => showTexts('device', texts));
  on('texts-layout', (texts) => showTexts('layout', texts));
  on('state', showState);
  on('log', showLogLine);
  on('forget', () => $('log').replaceChildren());
  on('time', (tenths) => { $('time').textContent = `${(tenths / 10).toFixed(1)} s`; });
  on('player', (player) => document.dispatchEvent(new CustomEvent('player', {detail: player})));
  on('alive', () => {});
  stream.onopen = () => { connected = true; showLost(''); showLink(); };
  stream.onerror = lose;
}

function hangUp() {
  stream?.close();
  stream = null;
  connected = false;
  showLink();
}

// A stream that was refused does not tell why; asked for plainly, it does.
async function whyLost() {
  const question = new AbortController();
  const patience = setTimeout(() => question.abort(), 3000);
  try {
    const response = await fetch('/events', {signal: question.signal});
    return response.ok ? 'The connection to the simulator was lost.' : (await response.json()).error;
  } catch {
    return noAnswer;
  } finally {
    clearTimeout(patience);
    question.abort();
  }
}

async function lose() {
  hangUp();
  const again = 'Nothing on this page is up to date. It tries again by itself.';
  if ($('lost').hidden) showLost(`${noAnswer} ${again}`);
  const why = await whyLost();
  if (!connected && !stream) showLost(`${why} ${again}`);
  setTimeout(listenWhileSeen, retryMs);
}

// A page that nobody sees holds no stream: browsers allow only six a server.
function listenWhileSeen() {
  if (document.visibilityState === 'visible') return listen();
  hangUp();
}

async function begin() {
  for (;;) {
    try {
      await Promise.all([loadWords(), loadCommands(), loadControls()]);
      break;
    } catch {
      showLost('The commands and controls could not be fetched from the simulator. The page tries again by itself.');
      await new Promise((done) => { setTimeout(done, retryMs); });
    }
  }
  document.addEventListener('visibilitychange', listenWhileSeen);
  setInterval(() => { if (stream && Date.now() - heard > longestSilenceMs) lose(); }, 1000);
  listenWhileSeen();
}

// ---- Forms and keys ----

const typed = [];
let recalled = 0;

function connectLine() {
  const line = $('line');
  $('line-form').addEventListener('submit', async (event) => {
    event.preventDefault();
    const text = line.value.trim();
    if (text === '') return;
    typed.push(text);
    recalled = typed.length;
    if (await perform(text, $('line-reply'), `Done: ${text}.`)) line.value = '';
  });
  $('give-up').addEventListener('click', () => post('/api/give-up', ''));
  line.addEventListener('keydown', (event) => {
    if (event.key === 'Escape') return line.blur();
    if (event.key !== 'ArrowUp' && event.key !== 'ArrowDown' || !event.ctrlKey && line.value.trim() !== '' &&
        line.value !== typed[recalled]) return;
    event.preventDefault();
    recalled = Math.min(Math.max(recalled + (event.key === 'ArrowUp' ? -1 : 1), 0), typed.length);
    line.value = typed[recalled] ?? '';
  });
}

async function restart(variant, bare) {
  $('restart').disabled = true;
  await perform(lineOf('start', variant, ...bare ? ['bare'] : []), $('start-reply'), 'Started.');
  $('restart').disabled = false;
  showChoice();
}

// What is chosen counts at the restart; until then it must not look as if it did.
function showChoice() {
  const {variant, bare} = $('start-form').elements;
  const pending = state !== null && (variant.value !== state.variant || bare.checked !== state.bare);
  $('start-form').classList.toggle('pending', pending);
  const names = Object.fromEntries([...variant].map((choice) => [choice.value, choice.labels[0].textContent.trim()]));
  const runs = state ? `Runs as ${names[state.variant]}${state.bare ? ' in an empty box' : ''}.` : '';
  setText($('start-state'), pending ? `${runs} Your choice counts after Restart.` : runs);
}

function connectStart() {
  const {variant, bare} = $('start-form').elements;
  $('start-form').addEventListener('submit', (event) => {
    event.preventDefault();
    restart(variant.value, bare.checked);
  });
  $('start-form').addEventListener('change', () => { say($('start-reply'), '', ''); showChoice(); });
  $('start-again').addEventListener('click', () => restart(state.variant, state.bare));
}

const saved = new Set();

// The first that the recording does not have yet: one with the same name twice could not be played. Nor has it been
// saved from here.
function freeName() {
  const lines = $('scenario').textContent.split('\n');
  let number = 1;
  while (lines.includes(`picture picture-${number}`) || saved.has(`picture-${number}`)) number++;
  return `picture-${number}`;
}

// Without a recording a picture goes where the browser puts downloads.
async function savePicture(name) {
  try {
    const response = await fetch('/api/picture.png?view=both&scale=4');
    if (!response.ok) return (await response.json()).error;
    saveAs(`${name}.png`, await response.blob());
  } catch {
    return noAnswer;
  }
  saved.add(name);
  return '';
}

async function takePicture(field, place) {
  const name = field.value || freeName();
  if (state?.recording.running) {
    if (!await perform(lineOf('picture', name), place, `Recorded the picture ${name}.`)) return;
  } else {
    const problem = await savePicture(name);
    say(place, problem || `Saved both panels as ${name}.png.`, problem ? 'bad' : 'good');
    if (problem) return;
  }
  field.value = '';
  field.placeholder = freeName();
}

function connectRecording() {
  const place = $('record-reply');
  $('record').addEventListener('click', async () => {
    const wanted = state?.recording.running ? 'stop' : 'start';
    const reply = await post('/api/record', wanted);
    const text = wanted === 'start' ? 'Recording from a fresh start.' : 'Recorded.';
    say(place, reply.ok ? text : reply.error, reply.ok ? 'good' : 'bad');
  });
  $('picture-form').addEventListener('submit', async (event) => {
    event.preventDefault();
    await takePicture(event.target.elements.name, place);
  });
  $('note-form').addEventListener('submit', async (event) => {
    event.preventDefault();
    const field = event.target.elements.note;
    if (field.value && await perform(lineOf('note', field.value), place, 'Noted in the recording.')) field.value = '';
  });
}

let usualSpeed = '1';

async function setSpeed(speed) {
  if (speed !== '0') usualSpeed = speed;
  const reply = await post('/api/speed', speed);
  if (!reply.ok && state) showState(state);
}

const step = () => perform('wait 100ms', $('line-reply'));

function connectTime() {
  $('speeds').addEventListener('change', (event) => setSpeed(event.target.value));
  $('step').addEventListener('click', step);
}

function connectKeys() {
  const keys = {
    '/': () => $('line').focus(),
    '.': () => setSpeed(state?.speed === 0 ? usualSpeed : '0'),
    ',': () => { if (state?.speed === 0) step(); },
  };
  document.addEventListener('keydown', (event) => {
    const typing = event.target.matches('input:not([type=radio], [type=checkbox], [type=range])');
    if (typing || event.ctrlKey || event.altKey || event.metaKey || !(event.key in keys)) return;
    event.preventDefault();
    keys[event.key]();
  });
}

connectLine();
connectStart();
connectRecording();
connectTime();
connectKeys();
connectLog();
closer.connect();
begin();
