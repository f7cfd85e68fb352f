// Messages to plug-ins, and events to all that listen.
import {box} from './box.js';
import {button, el, field, visible, visibleLines} from './dom.js';
import {act} from './notice.js';

const kSubs = {wan: [[256, 'up'], [257, 'down']], disk: [[0, 'added'], [1, 'removed']], home: [[512, '']]};

function messageForm() {
  const plugin = el('select', {required: true});
  const text = el('textarea', {rows: '2', spellcheck: 'false', id: 'message-text'});
  const answer = el('output', {class: 'answer', 'aria-live': 'polite'});
  const send = async (event) => {
    event.preventDefault();
    answer.value = 'waiting for the answer';
    const result = await act('send', {plugin: plugin.value, text: text.value}, () => 'answered');
    answer.value = result === null ? '' : visibleLines(result.answer ?? `status ${result.status}: ${result.meaning}`);
  };
  const form = el('form', {onsubmit: send}, field('to', plugin), field('message', text),
      el('div', {class: 'bar'}, el('button', {text: 'send message', class: 'main'}), el('span', {class: 'hint', text: 'Ctrl+Enter'})), answer);
  text.addEventListener('keydown', (event) => {
    if (event.key === 'Enter' && (event.ctrlKey || event.metaKey)) form.requestSubmit();
  });
  box.on('ps', (ps) => {
    const names = (ps?.plugins ?? []).map((row) => row.name);
    if ([...plugin.options].map((option) => option.value).join() === names.join()) return;
    const before = plugin.value;
    plugin.replaceChildren(...names.map((name) => el('option', {value: name, text: visible(name)})));
    if (names.includes(before)) plugin.value = before;
  });
  return form;
}

function eventForm() {
  const event = el('select'), sub = el('select'), text = el('input', {autocomplete: 'off'});
  event.append(...Object.keys(kSubs).map((name) => el('option', {value: name, text: name})));
  const fill = () => sub.replaceChildren(...kSubs[event.value].map(
      ([number, meaning]) => el('option', {value: String(number), text: `${number} ${meaning}`})));
  event.addEventListener('change', fill);
  fill();
  const send = (submitted) => {
    submitted.preventDefault();
    act('event', {event: event.value, sub: sub.value, ...(text.value ? {text: text.value} : {})}, () => 'the event is sent');
  };
  return el('form', {onsubmit: send, hidden: true}, field('event', event), field('what', sub), field('text', text),
      el('div', {class: 'bar'}, el('button', {text: 'send event', class: 'main'})));
}

export function mount(root) {
  const forms = {message: messageForm(), event: eventForm()};
  const choices = Object.keys(forms).map((name) => button(name, () => choose(name), {class: 'choice'}));
  const choose = (name) => {
    for (const choice of choices) choice.setAttribute('aria-pressed', choice.textContent === name);
    for (const [key, form] of Object.entries(forms)) form.hidden = key !== name;
  };
  choose('message');
  root.append(el('div', {class: 'bar'}, el('h2', {id: 'send-title', text: 'Send'}), ...choices), forms.message, forms.event);
}
