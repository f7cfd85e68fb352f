// What came of the last action, with its command to copy.
import {call, commandOf, box} from './box.js';
import {button, el, visibleLines} from './dom.js';

const kGoodMs = 6000;
const place = document.getElementById('notice');
let hiding = 0;

export const copy = (text) => navigator.clipboard.writeText(text).then(
    () => say('copied', text), () => say('the browser does not let the page copy; here it is', text));

export function say(text, command = '', bad = false) {
  clearTimeout(hiding);
  const parts = [el('p', {class: bad ? 'bad' : '', text: visibleLines(text)})];
  if (command) parts.push(el('code', {text: visibleLines(command)}));
  if (command && text !== 'copied') parts.push(button('copy', () => copy(command)));
  parts.push(button('×', () => place.hidden = true, {'aria-label': 'close the message', class: 'quiet'}));
  place.replaceChildren(...parts);
  place.hidden = false;
  if (!bad) hiding = setTimeout(() => place.hidden = true, kGoodMs);
}

// Carries out a verb and tells what came of it; null when it failed.
export async function act(verb, args, tell = () => 'done') {
  const command = commandOf(verb, args);
  try {
    const result = await call(verb, args);
    say(tell(result), command);
    return result;
  } catch (error) {
    say(error.message, command, true);
    return null;
  } finally {
    box.lookSoon();
  }
}
