'use strict';
// What the programs of all pages share. Texts from logs and rows only ever become text nodes, never markup.
const data = JSON.parse(document.getElementById('data').textContent);
const byId = id => document.getElementById(id);

/// Makes an element with a class and with children, which are elements or texts.
function element(tag, className, ...children) {
  const made = document.createElement(tag);
  if (className) made.className = className;
  made.append(...children);
  return made;
}

/// A button that looks like a link.
function button(text, action) {
  // Long names may break behind a dot or an underscore.
  const made = element('button', 'link', ...text.split(/(?<=[._])/).flatMap(piece => [piece, element('wbr')]));
  made.type = 'button';
  made.addEventListener('click', action);
  return made;
}

/// At most so many digits, without zeros at the end.
function shortNumber(number, digits) {
  const rounded = Number(number.toPrecision(digits));
  return rounded !== 0 && Math.abs(rounded) < 1e-3 ? rounded.toExponential() : String(rounded);
}

const note = text => byId('notes').append(element('li', '', text));

// Paper is light in dark mode, too.
for (const [event, isOn] of [['beforeprint', true], ['afterprint', false]]) {
  addEventListener(event, () => document.documentElement.classList.toggle('printing', isOn));
}
