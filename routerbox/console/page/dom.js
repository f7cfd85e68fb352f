// Elements, and texts from outside in them. Text becomes text nodes only, never markup.

export function el(tag, properties = {}, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(properties)) {
    if (value === undefined || value === false) continue;
    if (name.startsWith('on')) element.addEventListener(name.slice(2), value);
    else if (name === 'class') element.className = value;
    else if (name === 'text') element.textContent = value;
    else if (name === 'value') element.value = value;
    else if (name === 'checked') element.checked = value;
    else element.setAttribute(name, value === true ? '' : value);
  }
  element.append(...children);
  return element;
}

export const button = (text, onclick, more = {}) => el('button', {type: 'button', text, onclick, ...more});

let labels = 0;

// A field with its label beside it.
export function field(label, control) {
  control.id ||= `field-${++labels}`;
  return el('div', {class: 'field'}, el('label', {for: control.id, text: label}), control);
}

// A check box that looks and speaks like a switch; `change` gets what it is to be.
export function toggle(label, checked, change) {
  const input = el('input', {type: 'checkbox', role: 'switch', checked, onchange: () => change(input.checked)});
  return el('label', {class: 'toggle'}, input, el('span', {text: label}));
}

// Control characters, and those that turn the direction of writing, made visible.
export function visible(text) {
  return String(text).replace(/[\u0000-\u001f\u007f-\u009f\u200e\u200f\u202a-\u202e\u2066-\u2069]/g, (c) => {
    const code = c.charCodeAt(0);
    if (code < 0x20) return String.fromCharCode(0x2400 + code);
    return code === 0x7f ? '\u2421' : `\\u${code.toString(16).padStart(4, '0')}`;
  });
}

export const visibleLines = (text) => String(text).split('\n').map(visible).join('\n');

export function setText(element, text) {
  if (element.textContent !== text) element.textContent = text;
}

// Puts one element for each row into `parent`, in their order, and keeps those that are there: the focus stays.
export function keep(parent, rows, keyOf, make, update) {
  const there = new Map([...parent.children].map((child) => [child.dataset.key, child]));
  let place = parent.firstElementChild;
  for (const row of rows) {
    const key = String(keyOf(row));
    let child = there.get(key);
    if (!child) {
      child = make(row);
      child.dataset.key = key;
    }
    there.delete(key);
    if (child === place) place = place.nextElementSibling;
    else parent.insertBefore(child, place);
    update(child, row);
  }
  for (const child of there.values()) child.remove();
}
