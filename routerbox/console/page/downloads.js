// The download daemon's tasks.
import {box} from './box.js';
import {button, el, keep, setText, visible} from './dom.js';
import {act} from './notice.js';

const kOver = new Set(['complete', 'error', 'removed']);
const size = (bytes) => bytes < 1024 ? `${bytes} B` : bytes < 1048576 ? `${(bytes / 1024).toFixed(0)} KiB` : `${(bytes / 1048576).toFixed(1)} MiB`;
const nameOf = (task) => task.file.split('/').pop() || task.url || task.id;

function factsOf(task) {
  const speed = task.state === 'active' ? ` · ${size(task.bytes_per_second)}/s` : '';
  return `${task.plugin || 'of nobody'} · ${task.state} · ${size(task.completed)} of ${size(task.total)}${speed}${task.error ? ` · ${task.error}` : ''}`;
}

function make(task) {
  const change = (verb) => button(verb, () => act('download', {change: verb, id: task.id}, () => `${nameOf(task)}: ${verb} done`),
      {'data-change': verb, 'aria-label': `${verb} ${nameOf(task)}`});
  return el('li', {class: 'download'}, el('b', {title: visible(task.url)}), el('progress', {max: '1', 'aria-label': `progress of ${nameOf(task)}`}),
      el('p', {class: 'facts'}), el('span', {class: 'tools'}, change('pause'), change('resume'), change('delete')));
}

function update(item, task) {
  setText(item.querySelector('b'), visible(nameOf(task)));
  setText(item.querySelector('.facts'), visible(factsOf(task)));
  item.dataset.state = task.state;
  item.querySelector('progress').value = task.total > 0 ? task.completed / task.total : 0;
  item.querySelector('[data-change=pause]').disabled = kOver.has(task.state) || task.state === 'paused';
  item.querySelector('[data-change=resume]').disabled = task.state !== 'paused';
}

export function mount(root) {
  const list = el('ul'), hint = el('p', {class: 'hint'});
  root.append(el('h2', {id: 'downloads-title', text: 'Downloads'}), hint, list);
  const show = (found) => {
    setText(hint, found ? 'no downloads so far' : 'no download daemon: it is stopped, or the box was started without');
    hint.hidden = (found?.downloads ?? []).length > 0;
    keep(list, found?.downloads ?? [], (task) => task.id, make, update);
  };
  box.on('downloads', show);
  show(null);
}
