// Faults: arming them, and what is armed and was played.
import {box} from './box.js';
import {button, el, field, keep, setText, visible} from './dom.js';
import {act} from './notice.js';

const kServices = ['router', 'downloads', 'files', 'bus'];
const kServerKinds = ['delay:1s', 'hang', 'cut:20', 'garbage', 'http500', 'trickle:20ms'];
const kBusKinds = ['late:500ms', 'drop', 'stop', 'end'];
const service = el('select', {}, ...kServices.map((name) => el('option', {value: name, text: name})));
const method = el('input', {value: '*', required: true, autocomplete: 'off', spellcheck: 'false'});
const kind = el('input', {list: 'fault-kinds', required: true, autocomplete: 'off', value: 'delay:1s'});
const kinds = el('datalist', {id: 'fault-kinds'});
const count = el('input', {placeholder: 'until cleared', autocomplete: 'off', value: 'once'});

function offerKinds() {
  const bus = service.value === 'bus';
  kinds.replaceChildren(...(bus ? kBusKinds : kServerKinds).map((value) => el('option', {value})));
  count.disabled = bus;
  if (bus && !kBusKinds.some((known) => kind.value.startsWith(known.split(':')[0]))) kind.value = kBusKinds[0];
  if (!bus && kBusKinds.includes(kind.value)) kind.value = kServerKinds[0];
}

export function prepareFault(wanted) {
  service.value = wanted.service;
  method.value = wanted.method;
  if (wanted.kind) kind.value = wanted.kind;
  offerKinds();
  kind.focus();
  kind.select();
}

async function arm(event) {
  event.preventDefault();
  const args = {service: service.value, method: method.value, kind: kind.value};
  if (!count.disabled && count.value) args.count = count.value;
  act('fault', args, () => 'the fault is armed');
}

const clear = (name) => act('fault', {service: name, method: 'clear'}, () => `no faults of ${name} any more`);

const kKnown = new Set(['service', 'method', 'kind', 'count', 'played', 'index']);
const kindOf = (fault) => [fault.kind, ...Object.entries(fault).filter(([name]) => !kKnown.has(name)).map(([name, value]) => `${name}=${value}`)].join(' ');

function updateFault(child, fault) {
  setText(child.firstChild, visible(`${fault.service} ${fault.method}: ${kindOf(fault)}`));
  const limit = fault.count === undefined || fault.count === null ? '' : ` of ${fault.count}`;
  setText(child.children[1], fault.played === undefined ? '' : `played ${fault.played}${limit}`);
}

const makeFault = (fault) => el('li', {}, el('span'), el('span', {class: 'hint'}),
    button('clear', () => clear(fault.service), {'aria-label': `clear the faults of ${fault.service}`, title: `all of ${fault.service}`}));

export function mount(root) {
  const list = el('ul', {class: 'armed'}), none = el('p', {class: 'hint', text: 'none is armed'});
  service.addEventListener('change', offerKinds);
  offerKinds();
  const times = field('times', count);
  times.classList.add('wide');
  times.append(el('button', {text: 'arm fault', class: 'main'}));
  root.append(el('h2', {id: 'faults-title', text: 'Faults'}), none, list,
      el('form', {onsubmit: arm}, field('of', service), field('method', method), field('kind', kind), kinds, times));
  box.on('faults', (found) => {
    const faults = found?.faults ?? [];
    none.hidden = faults.length > 0;
    keep(list, faults.map((fault, index) => ({...fault, index})), (fault) => `${fault.index} ${fault.service}`, makeFault, updateFault);
  });
}
