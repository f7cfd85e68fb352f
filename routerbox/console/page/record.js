// What is done by hand becomes a test.
import {box, call} from './box.js';
import {button, el, field, setText} from './dom.js';
import {copy, say} from './notice.js';

const kFile = 'recorded.bats';
let since = null;  // seconds since the box's start, while it records
let steps = 0;

function save(text) {
  const address = URL.createObjectURL(new Blob([text], {type: 'text/plain'}));
  el('a', {href: address, download: kFile}).click();
  URL.revokeObjectURL(address);
  say(`${kFile} is where your browser saves files`, `routerbox test tests/${kFile}`);
}

export function mount(root) {
  const state = el('span', {role: 'status', class: 'hint', text: 'records verbs, messages and switches as a test'});
  const title = el('input', {placeholder: 'made of the steps', autocomplete: 'off'});
  const text = el('pre', {id: 'recorded', tabindex: '0', 'aria-label': 'the recorded test'});
  const result = el('div', {class: 'recorded', hidden: true},
      el('div', {class: 'bar'}, button('copy', () => copy(text.textContent)), button('save', () => save(text.textContent)),
          button('×', () => result.hidden = true, {'aria-label': 'close the test', class: 'quiet'})), text);
  const show = async (begin) => {
    try {
      const args = {...(begin === null ? {} : {since: String(begin)}), ...(title.value ? {title: title.value} : {})};
      const found = await call('record', args);
      text.textContent = found.test;
      result.hidden = false;
      if (found.notes.length > 0) say(found.notes.join('\n'));
    } catch (error) {
      say(error.message, '', true);
    }
  };
  const main = button('record', async () => {
    if (since === null) {
      const now = await call('ps').catch(() => null);
      if (now) begin(now.at);
      return;
    }
    const begun = since;
    end();
    await show(begun);
  }, {class: 'main', 'aria-pressed': 'false'});
  const begin = (at) => {
    since = at;
    steps = 0;
    main.textContent = 'stop';
    main.setAttribute('aria-pressed', 'true');
    result.hidden = true;
    setText(state, 'recording: 0 steps');
  };
  const end = () => {
    since = null;
    main.textContent = 'record';
    main.setAttribute('aria-pressed', 'false');
    setText(state, 'records verbs, messages and switches as a test');
  };
  root.append(result, el('div', {class: 'bar'}, main, state, field('title', title),
      button('all since the box started', () => show(null), {class: 'quiet'})));
  box.on('lines', (lines) => {
    if (since === null) return;
    steps += lines.filter((line) => line.includes('"channel":"life","from":"author"')).length;
    setText(state, `recording: ${steps} steps`);
  });
  box.on('start', end);
}
