// Faults: arming them, and what is armed and was played.
import {box, call} from './box.js';
import {button, el, field, keep, setText, visible} from './dom.js';
import {act} from './notice.js';

const kServices = ['router', 'downloads', 'files', 'hosts', 'bus'];
const service = el('select', {required: true});
const method = el('select', {required: true});
const kind = el('input', {list: 'fault-kinds', required: true, autocomplete: 'off', value: 'delay:1s'});
const kinds = el('datalist', {id: 'fault-kinds'});
const count = el('input', {placeholder: 'until cleared', autocomplete: 'off', value: 'once'});

const fill = (parent, values) => parent.replaceChildren(...values.map((value) => el('option', {value, text: visible(value)})));
const nameOf = (written) => written.split(':')[0];

// What the service's faults can be for, and what they can be, is known by the box.
async function offer(wanted = method.value) {
  const name = service.value;
  count.disabled = name === 'bus';
  const found = await call('faults', {service: name}).catch(() => ({methods: [], kinds: []}));
  if (service.value !== name) return;
  fill(method, ['*', ...found.methods]);
  fill(kinds, found.kinds);
  method.value = found.methods.includes(wanted) ? wanted : '*';
  if (found.kinds.length > 0 && !found.kinds.some((known) => nameOf(known) === nameOf(kind.value))) kind.value = found.kinds[0];
}

function offerServices(ps) {
  const names = kServices.filter((name) => ps?.services.some((row) => row.name === name));
  if ([...service.options].map((option) => option.value).join() === names.join()) return;
  const before = service.value;
  fill(service, names);
  if (names.includes(before)) service.value = before;
  offer();
}

export async function prepareFault(wanted) {
  service.value = wanted.service;
  if (wanted.kind) kind.value = wanted.kind;
  await offer(wanted.method);
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
  service.addEventListener('change', () => offer());
  const times = field('times', count);
  times.classList.add('wide');
  times.append(el('button', {text: 'arm fault', class: 'main'}));
  root.append(el('h2', {id: 'faults-title', text: 'Faults'}), none, list,
      el('form', {onsubmit: arm}, field('of', service), field('method', method), field('kind', kind), kinds, times));
  box.on('ps', offerServices);
  box.on('start', () => offer());
  box.on('faults', (found) => {
    const faults = found?.faults ?? [];
    none.hidden = faults.length > 0;
    keep(list, faults.map((fault, index) => ({...fault, index})), (fault) => `${fault.index} ${fault.service}`, makeFault, updateFault);
  });
}
