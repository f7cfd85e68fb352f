// What the router says of itself, switched by the verbs wan, disk and set.
import {box} from './box.js';
import {button, el, field, keep, setText, toggle, visible} from './dom.js';
import {act} from './notice.js';

const set = (path, value) => act('set', {path, value: String(value)},
    (result) => `${path}: ${JSON.stringify(result.before)} → ${JSON.stringify(result.value)}`);

// A text of the state, changed by Enter or by leaving it. `pathOf` may depend on the state.
function stateText(label, pathOf) {
  const input = el('input', {autocomplete: 'off', spellcheck: 'false'});
  const change = () => {
    if (input.value !== input.was) set(pathOf(box.seen.state.state), input.value);
    input.was = input.value;
  };
  input.addEventListener('change', change);
  const show = (state) => {
    const value = String(pathOf(state).split('.').reduce((at, step) => at?.[step], state) ?? '');
    if (document.activeElement !== input) input.value = visible(value);
    input.was = document.activeElement === input ? input.was : input.value;
  };
  return {element: field(label, input), show};
}

// `WAN_Type` 0 is a dial-up link, which has DNS servers of its own.
const dnsPath = (number) => (state) => `WAN.WAN_${state.WAN?.WAN_Type === 0 ? 'PPPoE' : 'STATIC'}_DNS${number}`;

function wanToggle(label, member, change) {
  const element = toggle(label, false, change);
  return {element, show: (state) => element.querySelector('input').checked = Number(state.WAN?.[member]) === 1};
}

function wifiList() {
  const element = el('div', {class: 'toggles'});
  const make = (wifi) => toggle('', false, (on) => set(`WIFIStatus.${wifi.index}.WIFI_Status`, on ? 1 : 0));
  const update = (child, wifi) => {
    setText(child.querySelector('span'), visible(`${wifi.WIFI_SSID} · ${wifi.WIFI_WirelessFrequency} GHz`));
    child.querySelector('input').checked = Number(wifi.WIFI_Status) === 1;
  };
  const rowsOf = (state) => Array.isArray(state.WIFIStatus) ? state.WIFIStatus.map((wifi, index) => ({...wifi, index})) : [];
  return {element, show: (state) => keep(element, rowsOf(state), (wifi) => wifi.index, make, update)};
}

function diskList() {
  const list = el('ul', {class: 'disks'});
  const make = (disk) => el('li', {}, el('span'),
      button('remove', () => act('disk', {change: 'remove', name: disk.Partition}, () => `${disk.Partition} is gone`),
          {'aria-label': `remove disk ${disk.Partition}`}));
  const update = (child, disk) => setText(child.firstChild,
      visible(`${disk.Partition}  ${Math.round(Number(disk.Used) / 1024)} of ${Math.round((Number(disk.Used) + Number(disk.Available)) / 1024)} MiB`));
  const name = el('input', {placeholder: 'sdb1', required: true, 'aria-label': 'new disk', autocomplete: 'off'});
  const add = async (event) => {
    event.preventDefault();
    if (await act('disk', {change: 'add', name: name.value}, () => `${name.value} is there`)) name.value = '';
  };
  const element = el('div', {}, el('h3', {text: 'disks'}), list,
      el('form', {class: 'inline', onsubmit: add}, name, el('button', {text: 'add disk'})));
  return {element, show: (state) => keep(list, state.DiskInfo ?? [], (disk) => disk.Partition, make, update)};
}

export function mount(root) {
  const parts = [
    wanToggle('WAN link', 'WAN_NET', (on) => act('wan', {state: on ? 'up' : 'down'}, () => `the WAN link is ${on ? 'up' : 'down'}`)),
    wanToggle('cable', 'WAN_LINE', (on) => set('WAN.WAN_LINE', on ? 1 : 0)),
    wifiList(),
    stateText('address', () => 'WAN.WAN_IP'),
    stateText('DNS 1', dnsPath(1)),
    stateText('DNS 2', dnsPath(2)),
    diskList(),
  ];
  const none = el('p', {class: 'hint', text: 'no router: start the box with --router, or router = true in box.toml'});
  const [wan, cable, ...others] = parts.map((part) => part.element);
  const body = el('div', {class: 'body', hidden: true}, el('div', {class: 'toggles'}, wan, cable), ...others);
  root.append(el('h2', {id: 'router-title', text: 'Router'}), none, body);
  box.on('state', (found) => {
    none.hidden = found !== null;
    body.hidden = found === null;
    if (found) parts.forEach((part) => part.show(found.state));
  });
}
