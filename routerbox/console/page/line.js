// An opened line: what was sent and what came of it, and what one can do with it.
import {box, call} from './box.js';
import {button, el, visible, visibleLines} from './dom.js';
import {prepareFault} from './faults.js';
import {act, copy, say} from './notice.js';

const wasCut = (text) => /\.\.\. \(\d+ bytes\)$/.test(text);
let root, title, tools, meta, sides;

// Servers keep bodies as texts; what is JSON in them is shown as such.
function opened(value) {
  if (typeof value !== 'string') return value;
  try {
    return JSON.parse(value);
  } catch {
    return value;
  }
}

const pretty = (value) => typeof value === 'string' ? visibleLines(value) : visibleLines(JSON.stringify(value, null, 2));

// The members that the channels have for both sides.
function sidesOf(details) {
  const {request, data, parameters, arguments: words, answer, result, ...rest} = details;
  const sent = [request, data, parameters, words].find((value) => value !== undefined && value !== '');
  const came = answer ?? result;
  return [['sent', sent], ['answer', came], ['more', Object.keys(rest).length > 0 ? rest : undefined]];
}

// The verb that does it once more, or a text why there is none.
function againOf(line, details) {
  if (line.channel === 'bus' && line.what === 'send_cmd') {
    if (!box.plugins.some((plugin) => plugin.name === line.to)) return `${line.to} is no plug-in of this box`;
    const text = details.data?.msg;
    if (typeof text !== 'string' || wasCut(text)) return 'the trace has only the beginning of the message';
    return {verb: 'send', args: {plugin: line.to, text}};
  }
  const [event, sub] = line.what.split(' ');
  if (line.channel === 'events' && ['wan', 'disk', 'home'].includes(event)) {
    const text = details.data?.data;
    return {verb: 'event', args: {event, sub, ...(typeof text === 'string' ? {text} : {})}};
  }
  if (line.from === 'author' && details.arguments && JSON.stringify(details.arguments).search(/\(\d+ bytes\)"/) < 0)
    return {verb: line.what.split(' ')[0], args: details.arguments};
  return 'only messages, events and verbs can be sent from here';
}

function faultOf(line) {
  if (line.channel === 'router' || line.channel === 'downloads')
    return {service: line.channel, method: line.what.split(',')[0]};
  if (line.channel === 'files' && line.what.startsWith('GET '))
    return line.to === 'files' ? {service: 'files', method: '*'} : {service: 'hosts', method: line.to};
  if (line.channel === 'bus' || line.channel === 'events') return {service: 'bus', method: '*', kind: 'late:500ms'};
  return 'faults are of the router, downloads, files, hosts and the bus';
}

// Greyed, and saying why, where there is nothing to be done.
function tool(text, what, run) {
  const reason = typeof what === 'string' ? what : undefined;
  return button(text, () => run(what), {disabled: reason !== undefined, title: reason});
}

async function copyStep(raw) {
  try {
    copy((await call('record', {line: raw})).test);
  } catch (error) {
    say(error.message, '', true);
  }
}

export function openLine(line) {
  const whole = JSON.parse(line.raw);
  const details = whole.details && typeof whole.details === 'object' ? whole.details : {more: whole.details};
  title.textContent = title.title = visible(`${line.channel}  ${line.from} → ${line.to}  ${line.what}`);
  meta.textContent = `${whole.time}   result ${visible(line.result) || 'none'}${line.ms === undefined ? '' : `   ${line.ms} ms`}`;
  tools.replaceChildren(
      tool('send again', againOf(line, details), ({verb, args}) => act(verb, args, (result) => result.answer ?? 'sent')),
      tool('make a fault of this', faultOf(line), prepareFault),
      button('copy as test step', () => copyStep(line.raw)),
      button('copy JSON', () => copy(line.raw)));
  sides.replaceChildren(
      ...sidesOf(details).filter(([, value]) => value !== undefined && value !== null).map(
          ([name, value]) => el('div', {class: 'side'}, el('h3', {text: name}), el('pre', {tabindex: '0', text: pretty(opened(value))}))));
  root.hidden = false;
}

export function closeLine() {
  root.hidden = true;
}

export function mountLine(close) {
  title = el('h2');
  tools = el('span', {class: 'tools'});
  meta = el('p', {class: 'meta'});
  sides = el('div', {class: 'sides'});
  root = el('section', {id: 'line', 'aria-label': 'The chosen line', hidden: true,
    onkeydown: (event) => event.key === 'Escape' && close()},
      el('div', {class: 'bar'}, title, tools, button('×', close, {'aria-label': 'close the line', class: 'quiet'})), meta, sides);
  return root;
}
