import {box} from './box.js';
import {setText, visible} from './dom.js';
import * as downloads from './downloads.js';
import * as faults from './faults.js';
import * as plugins from './plugins.js';
import * as record from './record.js';
import * as router from './router.js';
import * as send from './send.js';
import * as timeline from './timeline.js';

const kConnections = {
  connecting: 'connecting',
  running: 'live',
  ended: 'the box has ended; routerbox up starts it, and this page goes on',
  gone: 'no connection: routerbox console has ended; what you see is old',
  refused: 'open the address that routerbox console printed: it has the key',
};

for (const [id, panel] of Object.entries({plugins, timeline, router, send, faults, downloads, record}))
  panel.mount(document.getElementById(id));

const state = document.getElementById('connection');
function showConnection(connection) {
  document.body.dataset.connection = connection;
  setText(state, kConnections[connection]);
  setText(document.getElementById('box-name'), visible(box.name));
  document.title = box.name ? `${visible(box.name)} · routerbox` : 'routerbox';
  for (const id of ['plugins', 'controls', 'record']) document.getElementById(id).inert = connection !== 'running';
}
box.on('connection', showConnection);
showConnection(box.connection);

const kShortcuts = {'/': '#filter', m: '#message-text'};
addEventListener('keydown', (event) => {
  const typing = event.target.matches('input, textarea, select');
  const target = kShortcuts[event.key];
  if (typing || !target || event.ctrlKey || event.metaKey || event.altKey) return;
  event.preventDefault();
  document.querySelector(target).focus();
});

box.begin();
