// What happened, as it happens: only the rows that can be seen are elements.
import {box} from './box.js';
import {button, el, setText, visible} from './dom.js';
import {closeLine, mountLine, openLine} from './line.js';
import {kMostLines, Window} from './window.js';

const kChannels = ['bus', 'events', 'router', 'downloads', 'files', 'life'];
const kRowHeight = 22;  // as in style.css
const kGood = new Set(['', 'OK', '0', '200', '206', 'given']);
const kCells = ['at', 'channel', 'way', 'what', 'result', 'ms'];

const lines = new Window();
const wanted = {channels: new Set(kChannels), party: '', text: ''};
let selected = -1;  // number of a line
let follows = true;
let drawing = 0;
let lastTop = 0;  // where the list was when it was drawn
let list, space, count, followButton;
const rows = [];

const matches = (line) => wanted.channels.has(line.channel) &&
    (!wanted.party || line.from === wanted.party || line.to === wanted.party) &&
    (!wanted.text || line.raw.toLowerCase().includes(wanted.text));

function looksBad(line) {
  if (line.fault || line.what === 'sanitizer') return true;
  if (line.channel === 'life') return line.from === 'author' ? line.result !== 'OK' : line.what === 'end' && line.result !== 'with status 0';
  return !kGood.has(line.result);
}

const texts = {
  at: (line) => line.at.toFixed(3),
  channel: (line) => line.channel,
  way: (line) => `${line.from} → ${line.to}`,
  what: (line) => line.fault ? `${line.what}  [fault: ${line.fault}]` : line.what,
  result: (line) => line.result,
  ms: (line) => line.ms === undefined ? '' : `${line.ms.toFixed(1)} ms`,
};

function makeRow(index) {
  const row = el('div', {role: 'option', id: `row-${index}`, class: 'row'}, ...kCells.map((name) => el('span', {class: name})));
  row.addEventListener('click', () => select(row.number));
  space.append(row);
  return row;
}

function fillRow(row, line, place) {
  row.number = line.number;
  row.hidden = false;
  row.style.transform = `translateY(${place * kRowHeight}px)`;
  row.dataset.channel = line.channel;
  row.classList.toggle('bad', looksBad(line));
  row.setAttribute('aria-selected', line.number === selected);
  row.setAttribute('aria-posinset', place + 1);
  row.setAttribute('aria-setsize', lines.shown.length);
  kCells.forEach((name, cell) => setText(row.children[cell], visible(texts[name](line)).slice(0, 300)));
  if (line.number === selected) list.setAttribute('aria-activedescendant', row.id);
}

function draw() {
  drawing = 0;
  const height = lines.shown.length * kRowHeight;
  space.style.height = `${height}px`;
  if (follows) list.scrollTop = height;
  lastTop = list.scrollTop;
  const first = Math.max(0, Math.floor(list.scrollTop / kRowHeight) - 2);
  const many = Math.min(lines.shown.length - first, Math.ceil(list.clientHeight / kRowHeight) + 4);
  while (rows.length < many) rows.push(makeRow(rows.length));
  list.removeAttribute('aria-activedescendant');
  // A line keeps its element while it is in sight.
  rows.forEach((row) => row.used = false);
  for (let place = first; place < first + many; ++place) {
    const row = rows[place % rows.length];
    row.used = true;
    fillRow(row, lines.shown[place], place);
  }
  for (const row of rows) if (!row.used) row.hidden = true;
  setText(count, `${lines.shown.length.toLocaleString('en')} of ${lines.lines.length.toLocaleString('en')} lines`);
  count.title = `the last ${kMostLines.toLocaleString('en')} or more are here, all are in the trace: routerbox log`;
  list.classList.toggle('empty', lines.shown.length === 0);
  list.dataset.empty = lines.lines.length === 0 ? 'nothing has happened yet' : 'no line passes the filters';
}

function drawSoon() {
  drawing ||= requestAnimationFrame(draw);
}

function follow(on) {
  follows = on;
  followButton.setAttribute('aria-pressed', on);
  drawSoon();
}

function refilter() {
  lines.filter(matches);
  drawSoon();
}

function select(number) {
  selected = number;
  const place = lines.placeOf(number);
  const line = lines.shown[place];
  if (line?.number !== number) return;
  follow(false);
  openLine(line);
  draw();
  reveal(place);
}

function reveal(place) {
  const top = place * kRowHeight;
  if (top < list.scrollTop) list.scrollTop = top;
  if (top + kRowHeight > list.scrollTop + list.clientHeight) list.scrollTop = top + kRowHeight - list.clientHeight;
  drawSoon();
}

function unselect() {
  selected = -1;
  closeLine();
  drawSoon();
}

const kKeys = {ArrowDown: 1, ArrowUp: -1, PageDown: 20, PageUp: -20, Home: -Infinity, End: Infinity};

function onKey(event) {
  if (event.key === 'Escape') unselect();
  if (event.key === 'Enter') {
    event.preventDefault();  // or the button would be pressed, too
    document.querySelector('#line button:enabled')?.focus();
  }
  const step = kKeys[event.key];
  if (step === undefined || lines.shown.length === 0) return;
  event.preventDefault();
  const last = lines.shown.length - 1;
  const from = selected < 0 ? last + (step > 0 ? 0 : 1) : lines.placeOf(selected);
  select(lines.shown[Math.min(last, Math.max(0, from + step))].number);
}

// Only who goes back stops following: the end may also be out of sight because the list has become smaller.
function onScroll() {
  const atEnd = list.scrollTop + list.clientHeight >= list.scrollHeight - kRowHeight;
  if (follows && !atEnd && list.scrollTop < lastTop) follow(false);
  if (!follows && atEnd && selected < 0) follow(true);
  drawSoon();
}

function channelButton(channel) {
  const it = button(channel, () => {
    const on = !wanted.channels.has(channel);
    if (on) wanted.channels.add(channel);
    else wanted.channels.delete(channel);
    it.setAttribute('aria-pressed', on);
    refilter();
  }, {'aria-pressed': 'true', 'data-channel': channel, class: 'channel'});
  return it;
}

function fillParties(choice, ps) {
  const names = ['', ...(ps?.plugins ?? []).map((row) => row.name), 'author', 'root'];
  if ([...choice.options].map((option) => option.value).join() === names.join()) return;
  choice.replaceChildren(...names.map((name) => el('option', {value: name, text: visible(name) || 'everybody'})));
  choice.value = wanted.party = names.includes(wanted.party) ? wanted.party : '';
}

export function mount(root) {
  const search = el('input', {type: 'search', id: 'filter', placeholder: 'text in a line', 'aria-label': 'only lines with this text',
    oninput: () => { wanted.text = search.value.toLowerCase(); refilter(); }});
  const choice = el('select', {'aria-label': 'only lines of', onchange: () => { wanted.party = choice.value; refilter(); }});
  count = el('span', {class: 'count', id: 'count'});
  followButton = button('follow', () => { unselect(); follow(true); }, {'aria-pressed': 'true', id: 'follow'});
  space = el('div', {class: 'space', role: 'presentation'});
  list = el('div', {id: 'lines', role: 'listbox', tabindex: '0', 'aria-label': 'What happened', onkeydown: onKey, onscroll: onScroll}, space);
  root.append(
      el('div', {class: 'bar', role: 'toolbar', 'aria-label': 'Filters'}, el('span', {class: 'channels'}, ...kChannels.map(channelButton)),
          choice, search, followButton, button('clear', () => { lines.clear(); unselect(); }, {title: 'from this page; the trace keeps all'}), count),
      list, mountLine(() => { unselect(); list.focus(); }));
  new ResizeObserver(() => {
    const place = lines.placeOf(selected);
    if (lines.shown[place]?.number === selected) reveal(place);
    drawSoon();
  }).observe(list);
  box.on('ps', (ps) => fillParties(choice, ps));
  fillParties(choice, null);
  box.on('start', () => { lines.clear(); unselect(); follow(true); });
  box.on('lines', (texts) => {
    const gone = lines.add(texts);
    if (gone > 0 && !follows) list.scrollTop -= gone * kRowHeight;
    drawSoon();
  });
  drawSoon();
}
