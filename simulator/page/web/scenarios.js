// Scenarios, the gallery and copies. What a scenario is and how it is played, the simulator knows; here its lines are
// shown with what they met, and buttons ask for the next move. What is opened, dropped or linked never acts by itself.
'use strict';

const scenarioLimit = 64 * 1024;
// Browsers and chats take an address of this length.
const linkLimit = 8000;

// ---- The scenario that is shown ----

// What the simulator plays; only the newest counts.
let player = {name: '', load: 0};
// {name, text, lines, title, introduction, stored, load: the player's number once it is loaded there, pictures: name to
// PBM for what was brought}.
let shown = null;
const ownFiles = new Map();

const isLoaded = () => shown !== null && shown.load === player.load && player.name !== '';
const isBusy = () => player.mode === 'play' || player.mode === 'seek';

async function ask(path) {
  try {
    const response = await fetch(path);
    const reply = await response.json();
    return response.ok ? {ok: true, reply} : {ok: false, error: reply.error};
  } catch {
    return {ok: false, error: noAnswer};
  }
}

function tellScenario(text, kind = '') { say($('scenario-reply'), text, kind); }

async function loadScenarioList() {
  const {ok, reply, error} = await ask('/api/scenarios');
  if (!ok) return tellScenario(error, 'bad');
  storeReadOnly = reply.readOnly;
  const option = ({name, title}) => make('option', {value: `stored:${name}`, textContent: title});
  const own = [...ownFiles.keys()].map((name) => make('option', {value: `own:${name}`, textContent: name}));
  const groups = [['Courses of events', reply.scenarios.filter(({gallery}) => !gallery).map(option)],
    ['Gallery', reply.scenarios.filter(({gallery}) => gallery).map(option)], ['Own', own]];
  const choice = $('scenario-choice');
  const filled = groups.filter(([, options]) => options.length > 0);
  choice.replaceChildren(make('option', {value: '', textContent: 'Choose one…'}),
    ...filled.map(([label, options]) => make('optgroup', {label}, ...options)));
  showChosen();
}

let storeReadOnly = '';

function showChosen() {
  const wanted = shown ? `${shown.stored ? 'stored' : 'own'}:${shown.name}` : '';
  const choice = $('scenario-choice');
  choice.value = [...choice.options].some((option) => option.value === wanted) ? wanted : '';
}

async function chooseStored(name) {
  const {ok, reply, error} = await ask(`/api/scenarios/${encodeURIComponent(name)}`);
  if (!ok) return tellScenario(error, 'bad');
  showScenario({...reply, load: null, pictures: new Map()});
}

// A text from a file or a link: it is read, and nothing else happens.
async function showText(name, text, files = [], about = '') {
  if (text.length > scenarioLimit) return tellScenario(`${name} is longer than 64 KiB.`, 'bad');
  const reply = await post(`/api/scenarios?name=${encodeURIComponent(name)}`, text);
  if (!reply.ok) return tellScenario(reply.error, 'bad');
  const pictures = new Map();
  for (const {file} of reply.lines.flatMap((line) => line.files)) {
    const found = files.find(({path}) => path === file || path.endsWith(`/${file}`)) ??
      files.find(({path}) => path.split('/').pop() === file.split('/').pop());
    if (found) pictures.set(file, found.text);
  }
  ownFiles.set(reply.name, {text, files});
  showScenario({...reply, load: null, pictures, introduction: about || reply.introduction});
  await loadScenarioList();
}

function showScenario(scenario) {
  shown = scenario;
  tellScenario('');
  $('scenario-about').textContent = scenario.introduction || (scenario.stored ? '' : `${scenario.name}, of your own`);
  drawLines();
  showChosen();
  showPlayer();
}

// ---- Its lines ----

const lineRows = new Map();
const otherRows = [];

function drawLines() {
  lineRows.clear();
  otherRows.length = 0;
  const known = new Map(shown.lines.map((line) => [line.number, line]));
  const rows = shown.text.replace(/^\ufeff/, '').split('\n').map((text, index) => {
    const line = known.get(index + 1);
    const trimmed = text.trim();
    if (!line) {
      const item = make('li', {className: trimmed ? 'comment' : 'empty', textContent: trimmed.replace(/^#\s*/, '')});
      otherRows.push({number: index + 1, item});
      return item;
    }
    const row = lineRow(line, trimmed);
    lineRows.set(line.number, row);
    return row.item;
  });
  const list = $('scenario-lines');
  list.replaceChildren(...rows);
  list.hidden = false;
  list.scrollTop = 0;
  for (const row of lineRows.values()) row.button.tabIndex = -1;
  lineRows.values().next().value.button.tabIndex = 0;
}

function lineRow(line, text) {
  const button = make('button', {type: 'button', className: `line ${line.command}`, textContent: text,
                                 title: `Play to line ${line.number}`});
  button.addEventListener('click', () => moveTo(String(line.number)));
  const row = {line, button, mark: null, problem: null, pictures: null, told: ''};
  row.item = make('li', {}, make('span', {className: 'number', textContent: line.number, ariaHidden: 'true'}), button);
  row.item.dataset.line = line.number;
  if (line.command === 'expect' || line.command === 'picture') {
    row.mark = make('button', {type: 'button', className: 'mark', ariaExpanded: 'false', tabIndex: -1,
                               textContent: line.command === 'expect' ? 'expected' : ''});
    row.mark.hidden = line.command === 'picture';
    row.mark.addEventListener('click', () => openPictures(row, row.pictures === null));
    row.item.append(row.mark);
  }
  return row;
}

// One stop of the Tab key; arrows go from line to line, and from a line to its mark.
function walkLines(event) {
  const rows = [...lineRows.values()];
  const here = rows.findIndex((row) => row.item.contains(event.target));
  const onLine = here >= 0 && event.target === rows[here].button;
  if (here < 0 || !onLine && event.target !== rows[here].mark) return;
  const steps = {ArrowDown: here + 1, ArrowUp: here - 1, Home: 0, End: rows.length - 1};
  let target = null;
  if (event.key in steps) target = rows[Math.min(Math.max(steps[event.key], 0), rows.length - 1)].button;
  if (event.key === 'ArrowRight' && onLine && rows[here].mark && !rows[here].mark.hidden) target = rows[here].mark;
  if (event.key === 'ArrowLeft' && !onLine) target = rows[here].button;
  if (!target) return;
  event.preventDefault();
  for (const row of rows) row.button.tabIndex = -1;
  (target.classList.contains('mark') ? rows[here].button : target).tabIndex = 0;
  target.focus();
}

const plural = (count, one, many = `${one}s`) => `${count} ${count === 1 ? one : many}`;

function markText(line, mark) {
  if (line.command === 'picture') return 'picture';
  if (!mark) return 'expected';
  if (mark.problem) return 'no picture';
  return mark.different === 0 ? 'as expected' : `${plural(mark.different, 'pixel')} differ`;
}

function showMarks() {
  const marks = new Map(isLoaded() ? (player.marks ?? []).map((mark) => [mark.line, mark]) : []);
  for (const {number, item} of otherRows) item.classList.toggle('done', isLoaded() && number < player.line);
  for (const [number, row] of lineRows) {
    const done = isLoaded() && number <= player.line;
    const failed = isLoaded() && player.problem !== '' && player.next === number;
    row.item.classList.toggle('done', done);
    row.item.classList.toggle('failed', failed);
    row.item.classList.toggle('waits', isLoaded() && player.waits && player.next === number);
    const current = isLoaded() && number === player.line;
    if (current) row.button.setAttribute('aria-current', 'step'); else row.button.removeAttribute('aria-current');
    showProblem(row, failed ? player.problem : '');
    if (!row.mark) continue;
    const mark = marks.get(number);
    const wrong = mark && (mark.problem || mark.different > 0);
    row.mark.textContent = markText(row.line, mark);
    row.mark.className = `mark ${wrong ? 'bad' : mark && row.line.command === 'expect' ? 'good' : ''}`;
    row.mark.hidden = row.line.command === 'picture' && !mark;
    row.mark.setAttribute('aria-label', `Line ${number}: ${row.mark.textContent}, pictures`);
    const told = JSON.stringify([mark ?? null, player.load]);
    if (told === row.told) continue;
    row.told = told;
    row.result = mark;
    // A picture that is wrong is shown unasked; one that is open shows what there is now.
    if (wrong || row.pictures && !row.mark.hidden) openPictures(row, true);
    if (!mark && row.pictures && row.line.command === 'picture') openPictures(row, false);
  }
}

function showProblem(row, text) {
  if (!text) {
    row.problem?.remove();
    row.problem = null;
    return;
  }
  if (row.problem) return;
  row.problem = make('div', {className: 'problem'});
  say(row.problem, text, 'bad');
  row.problem.classList.add('problem');
  row.item.append(row.problem);
}

// ---- Expected, shown, different ----

function pictureFigure(view, caption, address, number) {
  const image = make('img', {src: address, alt: `${caption}, ${view}, line ${number}`});
  image.addEventListener('error', () => image.replaceWith(`There is no picture for the ${view} yet.`));
  const className = `screen ${view} ${caption === 'Difference' ? 'difference' : ''}`;
  return make('figure', {}, make('span', {className}, image), make('figcaption', {textContent: caption}));
}

function viewPictures(row, view, file) {
  const {number} = row.line;
  const mark = row.result;
  const address = (show) => `/api/player/picture.png?line=${number}&view=${view}&show=${show}&load=${player.load}` +
    `&now=${Date.now()}`;
  if (!mark) {
    const later = `Play to this line to compare the ${view}.`;
    if (!shown.stored) return [make('p', {className: 'hint', textContent: later})];
    return [pictureFigure(view, 'Expected', `/api/expected.png?file=${encodeURIComponent(file)}`, number)];
  }
  if (row.line.command === 'picture') {
    const save = make('a', {className: 'button plain', href: `${address('actual')}&scale=4`, textContent: 'Save PNG',
                            download: `${row.button.textContent.split(' ').pop()}-${view}.png`,
                            ariaLabel: `Save the ${view}’s picture of line ${number} as PNG`});
    const figure = pictureFigure(view, view === 'device' ? 'Device' : 'Layout', address('actual'), number);
    figure.append(save);
    return [figure];
  }
  if (!mark.views?.includes(view)) return [pictureFigure(view, 'Shown, as expected', address('actual'), number)];
  if (mark.problem) return [pictureFigure(view, 'Shown', address('actual'), number)];
  return [['Expected', 'expected'], ['Shown', 'actual'], ['Difference', 'difference']].map(([caption, show]) =>
    pictureFigure(view, caption, address(show), number));
}

const isWrong = (row, {view}) => Number(row.result?.views?.includes(view) ?? false);

function openPictures(row, open) {
  const hadFocus = row.pictures?.contains(document.activeElement);
  row.pictures?.remove();
  row.pictures = null;
  row.mark.setAttribute('aria-expanded', String(open));
  if (hadFocus) row.mark.focus();
  if (!open) return;
  const files = row.line.command === 'picture' ? [{view: 'device', file: ''}, {view: 'layout', file: ''}]
    : row.line.files;
  const wrongFirst = [...files].sort((a, b) => isWrong(row, b) - isWrong(row, a));
  const strips = wrongFirst.map(({view, file}) => make('div',
    {className: `strip ${isWrong(row, {view}) ? 'differs' : ''}`}, ...viewPictures(row, view, file)));
  row.pictures = make('div', {className: 'pictures'}, ...strips);
  const mark = row.result;
  if (mark?.problem) row.pictures.append(make('p', {className: 'hint', textContent: `${mark.problem}.`}));
  if (mark && (mark.problem || mark.different > 0)) row.pictures.append(expectRow(row));
  row.item.append(row.pictures);
}

// What the panel showed at that line becomes what is expected: where that may be written, else as files to be put
// there.
function expectRow(row) {
  const {number, files} = row.line;
  const why = !shown.stored ? 'It is a scenario of your own: put the files beside it.' : storeReadOnly &&
    `Nothing can be written here: ${storeReadOnly}.`;
  if (!why) {
    const names = files.map(({file}) => file).join(' and ');
    const button = make('button', {type: 'button', className: 'plain', textContent: 'Expect this'});
    button.addEventListener('click', () => expectThis(number));
    const hint = make('p', {className: 'hint', id: `expect-${number}`,
                            textContent: `What is shown is written to simulator/scenarios/${names}.`});
    button.setAttribute('aria-describedby', hint.id);
    return make('div', {className: 'row wrap'}, button, hint);
  }
  const links = files.map(({view, file}) => {
    const name = file.split('/').pop();
    return make('a', {className: 'button plain', textContent: `Save ${name}`, download: name,
                      href: `/api/player/picture.pbm?line=${number}&view=${view}`});
  });
  return make('div', {className: 'row wrap'}, ...links, make('p', {className: 'hint', textContent: why}));
}

async function expectThis(number) {
  const reply = await post('/api/player/expect', String(number));
  if (!reply.ok) return tellScenario(reply.error, 'bad');
  tellScenario(reply.written.length ? `Line ${number}: wrote ${reply.written.join(' and ')}.`
    : `Line ${number}: it was expected already.`, 'good');
}

// ---- Playing ----

// What is shown is loaded first if something else is. True: it is.
async function loadShown() {
  if (isLoaded()) return true;
  const now = shown;
  const reply = now.stored ? await post('/api/player/open', now.name)
    : await post(`/api/player/load?name=${encodeURIComponent(now.name)}`, now.text);
  if (reply.ok) {
    now.load = reply.load;
    player = reply;
    for (const [file, text] of now.pictures) {
      const taken = await post(`/api/player/expected?file=${encodeURIComponent(file)}`, text);
      if (!taken.ok) tellScenario(taken.error, 'bad');
    }
    return true;
  }
  tellScenario(reply.error, 'bad');
  return false;
}

async function move(path, body = '') {
  if (!shown || !await loadShown()) return;
  const reply = await post(`/api/player/${path}`, body);
  if (!reply.ok && reply.status !== 0 && player.problem) return; // it stands at its line
  if (!reply.ok) tellScenario(reply.error, 'bad');
}

const moveTo = (place) => move('go', place);

function verdict() {
  const tested = (player.marks ?? []).filter((mark) => 'different' in mark);
  const wrong = tested.filter((mark) => mark.problem || mark.different > 0).length;
  if (tested.length === 0) return '';
  return wrong === 0 ? `${plural(tested.length, 'comparison')} as expected`
    : `${wrong} of ${plural(tested.length, 'comparison')} not as expected`;
}

// Said once when a run ends, not at each line.
function tellEnd(before) {
  const wasBusy = before.load === player.load && (before.mode === 'play' || before.mode === 'seek');
  const moved = before.done !== player.done || before.mode !== player.mode;
  if (!isLoaded() || isBusy() || !moved && !wasBusy) return;
  if (player.problem) return tellScenario(`Line ${player.next} was not met; the run ends there.`, 'bad');
  const atEnd = player.done === player.lines;
  const met = verdict();
  if (atEnd) return tellScenario(`Played to the end${met ? `: ${met}` : ''}.`, met.includes('not') ? 'bad' : 'good');
  tellScenario('');
}

function whereText() {
  if (!isLoaded()) {
    const other = isBusy() ? ` Now “${player.name}” is playing.` : '';
    return `${plural(shown.lines.length, 'line')}. Nothing happens until you play it.${other}`;
  }
  const place = player.done === 0 ? 'Before the first line' : `Line ${player.line}`;
  const waits = player.waits ? `, in the wait of line ${player.next}` : '';
  const met = player.done < player.lines ? verdict() : ''; // at the end it has been said
  const rest = player.disturbed ? `Since then: ${player.disturbed}. The next move plays again from a fresh box.`
    : player.done > 0 && !player.started && !isBusy() ? 'Nothing has been started yet.'
      : state?.speed === 0 && !isBusy() ? 'Time stands still.' : '';
  const done = `${player.done} of ${plural(player.lines, 'line')} done`;
  return `${place}${waits}; ${done}${met ? `, ${met}` : ''}. ${rest}`;
}

function keepInView(row) {
  if (!row) return;
  const list = $('scenario-lines');
  const [outer, inner] = [list.getBoundingClientRect(), row.item.getBoundingClientRect()];
  if (inner.top < outer.top + 30) list.scrollTop += inner.top - outer.top - 60;
  if (inner.bottom > outer.bottom - 30) list.scrollTop += Math.min(inner.bottom - outer.bottom + 60,
    inner.top - outer.top - 60);
}

function showPlayer() {
  $('scenario-keys').hidden = shown === null;
  if (shown === null) return;
  const loaded = isLoaded();
  const busy = isBusy();
  $('scenario-play').textContent = busy ? 'Pause' : 'Play';
  const film = $('scenario-film');
  film.hidden = !loaded || busy || !player.frames;
  film.href = `/api/player/film.png?load=${player.load}&frames=${player.frames}`;
  film.download = `${shown.name}-film.png`;
  $('scenario-where').textContent = whereText();
  showMarks();
}

// Another page, the gallery or a shell may have loaded another one; what nobody has played yet stays shown.
async function showWhatPlays() {
  const before = shown;
  const {ok, reply} = await ask('/api/player/scenario');
  if (!ok || shown !== before || reply.name !== player.name) return;
  showScenario({...reply, load: player.load, pictures: new Map()});
}

function takePlayer(detail) {
  const before = player;
  const followed = shown === null || shown.load !== null && shown.load === before.load;
  player = detail;
  const other = player.name !== '' && player.load !== shown?.load;
  if (other && followed && !linked) return showWhatPlays();
  showPlayer();
  if (!shown) return;
  tellEnd(before);
  if (isLoaded() && (before.line !== player.line || before.waits !== player.waits)) {
    keepInView(lineRows.get(player.waits || player.problem ? player.next : player.line));
  }
}

// ---- Files of one's own ----

async function filesOf(entry, path = '') {
  if (entry.isFile) {
    const file = await new Promise((done, failed) => { entry.file(done, failed); });
    return [{path: path + file.name, file}];
  }
  const reader = entry.createReader();
  const found = [];
  for (;;) {
    const some = await new Promise((done, failed) => { reader.readEntries(done, failed); });
    if (some.length === 0 || found.length > 500) return found;
    for (const inner of some) found.push(...await filesOf(inner, `${path}${entry.name}/`));
  }
}

async function takeFiles(files) {
  const texts = [];
  let problem = 'There is no scenario among them: a file whose name ends with .scenario.';
  for (const {path, file} of files.filter(({path: name}) => /\.(scenario|txt|pbm)$/.test(name))) {
    if (file.size <= scenarioLimit) texts.push({path, text: await file.text()});
    else problem = `${path} is longer than 64 KiB.`;
  }
  const scenarios = texts.filter(({path}) => !path.endsWith('.pbm'));
  if (scenarios.length === 0) return tellScenario(problem, 'bad');
  for (const {path, text} of scenarios.reverse()) {
    await showText(path.split('/').pop().replace(/\.(scenario|txt)$/, ''), text, texts);
  }
}

function connectFiles() {
  const card = $('scenarios');
  $('scenario-own').addEventListener('click', () => $('scenario-files').click());
  $('scenario-files').addEventListener('change', async (event) => {
    await takeFiles([...event.target.files].map((file) => ({path: file.name, file})));
    event.target.value = '';
  });
  const over = (event) => {
    if (![...event.dataTransfer.types].includes('Files')) return;
    event.preventDefault();
    card.classList.add('over');
  };
  card.addEventListener('dragenter', over);
  card.addEventListener('dragover', over);
  card.addEventListener('dragleave', (event) => {
    if (!card.contains(event.relatedTarget)) card.classList.remove('over');
  });
  card.addEventListener('drop', async (event) => {
    event.preventDefault();
    card.classList.remove('over');
    const entries = [...event.dataTransfer.items].map((item) => item.webkitGetAsEntry?.()).filter(Boolean);
    const plain = [...event.dataTransfer.files].map((file) => ({path: file.name, file}));
    await takeFiles(entries.length ? (await Promise.all(entries.map((entry) => filesOf(entry)))).flat() : plain);
  });
}

// ---- The gallery ----

let galleryDrawn = false;

async function drawGallery() {
  const {ok, reply, error} = await ask('/api/gallery');
  if (!ok) return say($('gallery-reply'), error, 'bad');
  galleryDrawn = true;
  $('gallery-sections').replaceChildren(...reply.map(gallerySection));
}

function gallerySection(section) {
  const view = document.querySelector('input[name=gallery-view]:checked').value;
  const rows = section.rows.filter((row) => row.views.includes(view));
  const title = make('h3', {id: `gallery-${section.name}`, textContent: section.title});
  const grid = make('div', {className: 'thumbs', role: 'group'}, ...rows.map((row) => thumb(section, row, view)));
  grid.setAttribute('aria-labelledby', title.id);
  const intro = make('p', {className: 'hint', textContent: section.introduction});
  return make('div', {hidden: rows.length === 0}, title, intro, grid);
}

function thumb(section, row, view) {
  const size = view === 'device' ? [64, 128] : [128, 66];
  const image = make('img', {src: `/api/expected.png?file=${encodeURIComponent(`${row.file}-${view}.pbm`)}`, alt: '',
                             width: size[0], height: size[1], loading: 'lazy'});
  const title = [row.how, row.eye].filter(Boolean).join('. ');
  const button = make('button', {type: 'button', className: 'thumb', title},
    image, make('span', {textContent: row.name}));
  button.dataset.state = `${section.name}:${row.line}`;
  button.addEventListener('click', () => bringTo(section, row));
  return button;
}

async function bringTo(section, row) {
  const place = $('gallery-reply');
  say(place, `Playing ${section.title} to line ${row.line}…`, '');
  let reply = await post('/api/player/open', section.name);
  if (reply.ok) reply = await post('/api/player/go?then=go-on', String(row.line));
  say(place, reply.ok ? `“${row.name}” in a fresh box: ${section.title}, line ${row.line}.` : reply.error,
      reply.ok ? 'good' : 'bad');
}

function connectGallery() {
  const button = $('gallery-show');
  button.addEventListener('click', async () => {
    const open = $('gallery-pictures').hidden;
    if (open && !galleryDrawn) await drawGallery();
    $('gallery-pictures').hidden = !open;
    button.setAttribute('aria-expanded', String(open));
    button.textContent = open ? 'Hide pictures' : 'Show pictures';
  });
  $('gallery-view').addEventListener('change', drawGallery);
}

// ---- Copies and links ----

const asBase64 = (bytes) => btoa(Array.from(bytes, (byte) => String.fromCharCode(byte)).join(''))
  .replace(/\+/g, '-').replace(/\//g, '_').replace(/=+$/, '');
const fromBase64 = (text) => Uint8Array.from(atob(text.replace(/-/g, '+').replace(/_/g, '/')), (c) => c.charCodeAt(0));

async function packed(text) {
  const stream = new Blob([text]).stream().pipeThrough(new CompressionStream('deflate-raw'));
  return asBase64(new Uint8Array(await new Response(stream).arrayBuffer()));
}

// A few bytes can stand for a great many: no more is unpacked than a scenario may have.
async function unpacked(text) {
  const reader = new Blob([fromBase64(text)]).stream().pipeThrough(new DecompressionStream('deflate-raw')).getReader();
  const decoder = new TextDecoder();
  let all = '';
  for (;;) {
    const {done, value} = await reader.read();
    if (done) return all + decoder.decode();
    all += decoder.decode(value, {stream: true});
    if (all.length > scenarioLimit) {
      await reader.cancel();
      throw new Error('too long');
    }
  }
}

async function linkOf(text) {
  const link = `${location.origin}/#scenario=${await packed(text)}`;
  if (link.length > linkLimit) throw new Error('too long');
  return link;
}

let linked = location.hash.startsWith('#scenario=');

// A link shows its scenario, and no more: what it does, a person starts.
async function openLink() {
  if (!location.hash.startsWith('#scenario=')) return;
  const found = /^#scenario=([A-Za-z0-9_-]*)$/.exec(location.hash);
  linked = true;
  try {
    if (!found || location.hash.length > linkLimit) throw new Error('no link of ours');
    await showText('from a link', await unpacked(found[1]), [],
      'From a link. Read its lines; nothing happens until you play it.');
  } catch {
    tellScenario('The link holds no scenario that can be read.', 'bad');
  }
  linked = false;
  $('scenarios').scrollIntoView({block: 'start'});
}

async function copyText(form, what) {
  const box = $('copy-desk').checked ? 'desk' : 'box';
  const wanted = form === 'link' ? 'scenario' : form;
  const response = await fetch(`/api/copy?as=${wanted}&what=${form === 'link' ? 'all' : what}&for=${box}`);
  if (!response.ok) throw new Error((await response.json()).error);
  const text = await response.text();
  if (form !== 'link') return text;
  return linkOf(text).catch((problem) => {
    const why = problem.message === 'too long' ? 'This is too much for a link' : 'This browser packs no links';
    throw new Error(`${why}; copy it as a scenario.`);
  });
}

// Without the clipboard the text is selected for the person to copy.
async function offer(text, name) {
  const place = $('copied');
  place.textContent = text;
  place.hidden = false;
  try {
    await navigator.clipboard.writeText(text);
    say($('copy-reply'), `Copied as ${name}.`, 'good');
  } catch {
    getSelection().selectAllChildren(place);
    place.focus();
    say($('copy-reply'), 'The browser lends no clipboard. The text is selected: copy it with Ctrl-C.', 'later');
  }
}

function connectCopies() {
  $('copy-forms').addEventListener('click', async ({target}) => {
    if (!target.matches('button')) return;
    const what = document.querySelector('input[name=copy-what]:checked').value;
    try {
      await offer(await copyText(target.value, what), target.textContent);
    } catch (problem) {
      $('copied').hidden = true;
      say($('copy-reply'), problem instanceof TypeError ? noAnswer : problem.message, 'bad');
    }
  });
}

// ---- Buttons ----

function connectScenarios() {
  $('scenario-choice').addEventListener('change', async ({target}) => {
    const [kind, ...name] = target.value.split(':');
    if (kind === 'stored') return chooseStored(name.join(':'));
    const own = ownFiles.get(name.join(':'));
    if (own) await showText(name.join(':'), own.text, own.files);
  });
  $('scenario-play').addEventListener('click', async () => {
    if (!isBusy()) return move('play');
    const reply = await post('/api/player/pause', '');
    if (!reply.ok) tellScenario(reply.error, 'bad');
  });
  $('scenario-first').addEventListener('click', () => moveTo('0'));
  $('scenario-back').addEventListener('click', () => move('back'));
  $('scenario-step').addEventListener('click', () => move('step'));
  $('scenario-end').addEventListener('click', () => moveTo('end'));
  $('scenario-lines').addEventListener('keydown', walkLines);
  window.addEventListener('hashchange', openLink);
  document.addEventListener('player', ({detail}) => takePlayer(detail));
}

connectScenarios();
connectFiles();
connectGallery();
connectCopies();
loadScenarioList().then(openLink);
// The stream may have told it before this file was there.
ask('/api/player').then(({ok, reply}) => { if (ok && player.load === 0) takePlayer(reply); });
