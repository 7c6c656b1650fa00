// text.mjs: texts that come from anywhere, made fit to be looked at, and elements made of them. Nothing here ever becomes
// markup: texts are set as text, and no function takes HTML.

// Characters that are not seen, or that change how others are seen: controls, and marks of direction and of no width.
// Those by which scripts and emoji are put together (U+200C, U+200D) stay as they are.
const HIDDEN = /[\u0000-\u001f\u007f-\u009f\u00ad\u061c\u180e\u200b\u200e\u200f\u2028-\u202e\u2060-\u2069\ufeff\ufff9-\ufffb]/g;

const NAMED = { '\t': 'TAB', '\n': 'LF', '\r': 'CR' };

/** The text with every hidden character as its name or code, all in one line. */
export function visible(text) {
  return text.replace(HIDDEN, (character) => {
    const code = character.charCodeAt(0).toString(16).toUpperCase().padStart(4, '0');
    return `‹${NAMED[character] ?? `U+${code}`}›`;
  });
}

/** A long identifier by its end, which differs. */
export function shortId(id) {
  return id.length > 16 ? `…${id.slice(-12)}` : id;
}

export function bytesText(bytes) {
  if (bytes < 1000) {
    return `${bytes} bytes`;
  }
  return bytes < 1e6 ? `${(bytes / 1e3).toFixed(1)} kB` : `${(bytes / 1e6).toFixed(1)} MB`;
}

export function count(number, singular, plural = `${singular}s`) {
  return `${number.toLocaleString('en')} ${number === 1 ? singular : plural}`;
}

export function clock(milliseconds) {
  return new Date(milliseconds).toLocaleTimeString('en-GB');
}

/**
 * An element: `element('p', { class: 'quiet' }, 'text', child)`. Strings are shown as they are; attributes that are
 * undefined are left out, and functions are listeners.
 */
export function element(name, attributes = {}, ...children) {
  const made = document.createElement(name);
  for (const [attribute, value] of Object.entries(attributes)) {
    if (typeof value === 'function') {
      made.addEventListener(attribute, value);
    } else if (value !== undefined) {
      made.setAttribute(attribute, value);
    }
  }
  made.append(...children.filter((child) => child !== null));
  return made;
}

/** A text of a contact: made visible, and set apart from the direction of writing around it. */
export function foreign(text, attributes = {}) {
  return element('bdi', attributes, visible(text));
}
