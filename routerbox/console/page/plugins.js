// Plug-ins and services: how they are, and what they may do.
import {box, call} from './box.js';
import {button, el, keep, setText, toggle, visible} from './dom.js';
import {act, copy} from './notice.js';

const kOutputLines = 40;
const open = new Set();   // names of plug-ins that show more
const outputs = new Map();  // by name: the element with the last lines

const kKilled = 128;
function stateOf(row) {
  if (row.status === undefined) return row.state;
  return row.status > kKilled ? `killed, signal ${row.status - kKilled}` : `ended, status ${row.status}`;
}
const memoryOf = (row) => row.memory_kib === undefined ? '' : `${(row.memory_kib / 1024).toFixed(1)} MiB`;
const isBad = (row) => row.state === 'ended' && row.status !== 0;

async function fillOutput(name) {
  const place = outputs.get(name);
  const found = await call('output', {plugin: name, lines: kOutputLines}).catch(() => null);
  if (!found || !place) return;
  const atEnd = place.scrollTop + place.clientHeight >= place.scrollHeight - 4;
  setText(place, found.lines.filter(Boolean).map(visible).join('\n') || 'nothing so far');
  if (atEnd) place.scrollTop = place.scrollHeight;
}

async function fillAbilities(name, place) {
  const found = await call('ability', {plugin: name}).catch((error) => ({abilities: [], error}));
  if (found.error) return place.replaceChildren(el('p', {class: 'hint', text: found.error.message}));
  place.replaceChildren(...found.abilities.map((ability) => toggle(ability.name, ability.held, async (on) => {
    await act('ability', {plugin: name, ability: ability.name, change: on ? 'on' : 'off'},
        () => `${name}: ${ability.name} ${on ? 'on' : 'off'}`);
    fillAbilities(name, place);
  })));
}

function changeButtons(name) {
  const change = (verb) => button(verb, () => act(verb, {target: name}, () => `${name}: ${verb} done`),
      {'data-verb': verb, 'aria-label': `${verb} ${name}`});
  return el('span', {class: 'tools'}, change('start'), change('stop'), change('restart'));
}

function updateButtons(child, row) {
  const running = row.state === 'running';
  child.querySelector('[data-verb=start]').disabled = running;
  child.querySelector('[data-verb=stop]').disabled = !running;
}

function makeMore(row) {
  const debug = `routerbox debug ${row.name}`;
  const abilities = el('div', {class: 'abilities', 'data-plugin': row.name});
  const output = el('pre', {class: 'output', tabindex: '0', 'aria-label': `output of ${row.name}`});
  outputs.set(row.name, output);
  fillAbilities(row.name, abilities);
  fillOutput(row.name);
  return el('div', {class: 'more'},
      el('div', {class: 'bar'}, changeButtons(row.name), button('debug', () => copy(debug), {title: `copies: ${debug}`})),
      el('h3', {text: 'abilities'}), abilities, el('h3', {text: 'output'}), output);
}

function makePlugin(row) {
  const more = el('div');
  const name = el('button', {type: 'button', class: 'name', 'aria-expanded': 'false', onclick: () => show(!open.has(row.name))},
      el('span', {class: 'dot'}), el('b', {text: visible(row.name)}), el('span', {class: 'state'}));
  const show = (on) => {
    if (on) open.add(row.name);
    else open.delete(row.name);
    name.setAttribute('aria-expanded', on);
    more.replaceChildren(...(on ? [makeMore(row)] : []));
    if (!on) outputs.delete(row.name);
    else updateButtons(more, box.plugins.find((plugin) => plugin.name === row.name) ?? row);
  };
  const item = el('li', {class: 'plugin'}, name, el('p', {class: 'facts'}), more);
  if (open.has(row.name) || box.plugins.length === 1) show(true);
  return item;
}

function updatePlugin(item, row) {
  item.dataset.state = isBad(row) ? 'bad' : row.state;
  setText(item.querySelector('.state'), [stateOf(row), memoryOf(row)].filter(Boolean).join(' · '));
  setText(item.querySelector('.facts'),
      [`appid ${row.appid}`, `uid ${row.uid}`, row.pid ? `pid ${row.pid}` : ''].filter(Boolean).join(' · '));
  if (item.querySelector('.more')) updateButtons(item, row);
}

function makeService(row) {
  return el('li', {class: 'service'}, el('span', {class: 'dot'}), el('b', {text: row.name}), el('span', {class: 'state'}), changeButtons(row.name));
}

function updateService(item, row) {
  item.dataset.state = isBad(row) ? 'bad' : row.state;
  setText(item.querySelector('.state'), row.state === 'running' ? memoryOf(row) : stateOf(row));
  updateButtons(item, row);
}

// A service of several programs is one for its users; it is as the worst of them.
function wholeServices(rows) {
  const whole = new Map();
  for (const row of rows) {
    const before = whole.get(row.name);
    const worse = before && (row.state === 'running') ? before : row;
    const memory_kib = (before?.memory_kib ?? 0) + (row.memory_kib ?? 0);
    whole.set(row.name, {...worse, ...(worse.state === 'running' ? {memory_kib} : {})});
  }
  return [...whole.values()];
}

export function mount(root) {
  const plugins = el('ul'), services = el('ul'), none = el('p', {class: 'hint', text: 'no plug-ins: box.toml has none'});
  root.append(el('h2', {text: 'Plug-ins'}), none, plugins, el('h2', {text: 'Services'}), services);
  box.on('ps', (ps) => {
    none.hidden = (ps?.plugins ?? []).length > 0;
    keep(plugins, ps?.plugins ?? [], (row) => row.name, makePlugin, updatePlugin);
    keep(services, wholeServices(ps?.services ?? []), (row) => row.name, makeService, updateService);
  });
  setInterval(() => document.hidden || box.connection !== 'running' || outputs.forEach((_, name) => fillOutput(name)), 1000);
  box.on('start', () => open.forEach((name) => {
    const place = root.querySelector(`.abilities[data-plugin="${CSS.escape(name)}"]`);
    if (place) fillAbilities(name, place);
  }));
  box.on('abilities', () => root.querySelectorAll('.abilities').forEach((place) => fillAbilities(place.dataset.plugin, place)));
}
