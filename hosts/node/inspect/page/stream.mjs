// stream.mjs: the messages as they have come, the latest first.

import { BytesView } from './bytes.mjs';
import { bytesText, clock, count, element, foreign, shortId } from './text.mjs';

const SHOWN_AT_FIRST = 60;
const FRESH_MILLISECONDS = 2500;

export class Stream {
  /** @param {function(string)} onContact  told the identifier of a contact that is chosen. */
  constructor(place, onContact) {
    this._place = place;
    this._onContact = onContact;
    this._older = element('button', { type: 'button', click: () => this._showOlder() }, 'Show older messages');
    this.load([], { messages: Infinity });
  }

  load(messages, limits) {
    this._limits = limits;
    this._waiting = messages.slice(0, -SHOWN_AT_FIRST);
    this._place.replaceChildren(...messages.slice(-SHOWN_AT_FIRST).reverse().map((message) => this._entry(message)));
    this._placeOlder();
  }

  add(message) {
    const entry = this._entry(message);
    entry.classList.add('fresh');
    setTimeout(() => entry.classList.remove('fresh'), FRESH_MILLISECONDS);
    this._place.prepend(entry);
    while (this._place.childElementCount > this._limits.messages) {
      (this._older.parentElement?.previousElementSibling ?? this._place.lastElementChild).remove();
    }
  }

  /** Says that something has happened between two messages. */
  addMark(text, time) {
    this._place.prepend(element('li', { class: 'mark' }, element('span', {}, text), ' ', element('time', {}, clock(time))));
  }

  _showOlder() {
    const more = this._waiting.splice(-SHOWN_AT_FIRST);
    this._older.parentElement.before(...more.reverse().map((message) => this._entry(message)));
    this._placeOlder();
  }

  _placeOlder() {
    this._older.parentElement?.remove();
    if (this._waiting.length > 0) {
      this._place.append(element('li', { class: 'more-items' }, this._older));
    }
  }

  _entry(message) {
    const { number, time, operation, bytes } = message;
    const body = element('div', { class: 'message-body', hidden: '', id: `message-${number}` });
    const toggle = element('button', {
      type: 'button', class: 'message-head', 'aria-expanded': 'false', 'aria-controls': body.id,
      click: () => {
        const open = body.hidden;
        if (open && body.childElementCount === 0) {
          body.append(...this._body(message));
        }
        body.hidden = !open;
        toggle.setAttribute('aria-expanded', open);
      },
    },
    element('span', { class: 'twist', 'aria-hidden': 'true' }),
    element('span', { class: `operation ${operation}` }, operation),
    element('span', { class: 'what' }, ...whatOf(message)),
    element('span', { class: 'when' }, element('span', { class: 'unseen' }, `message ${number}, `), element('time', {}, clock(time)),
      element('span', { class: 'size' }, bytesText(bytes))));
    return element('li', { class: 'message', 'data-number': number }, toggle, body);
  }

  _body(message) {
    const { number, names, folders, items, operation, kind } = message;
    const parts = [element('p', { class: 'quiet' }, `Message ${number}: ${operation} of ${count(items, kind)}, `
      + `${message.bytes.toLocaleString('en')} bytes of text.`), new BytesView(message).place];
    if (folders.length > 0) {
      parts.push(element('p', {}, 'Deleted: ', ...folders.flatMap((id) => [element('code', {}, shortId(id)), ' '])));
    }
    if (names.length > 0) {
      const more = message.added + message.changed + message.removed - names.length;
      parts.push(element('ul', { class: 'names' }, ...names.map(({ how, name, entryId }) => element('li', { class: how },
        element('button', { type: 'button', class: 'link', click: () => this._onContact(entryId) },
          name === '' ? '(no name)' : foreign(name)))),
      more > 0 ? element('li', { class: 'quiet' }, `and ${more.toLocaleString('en')} more`) : null));
    }
    return parts;
  }
}

/** Of a snapshot the store and how much of it is new, of a change the names. */
function whatOf(message) {
  const { added, changed, removed, kind, operation, index, total, items, names } = message;
  const quiet = (text) => element('span', { class: 'quiet' }, text);
  const none = added + changed + removed === 0;
  if (operation === 'snapshot') {
    return [`Store ${index + 1} of ${total} `, quiet(none ? 'nothing new'
      : [[added, 'new'], [changed, 'changed'], [removed, 'deleted']].filter(([amount]) => amount > 0)
        .map(([amount, how]) => `${amount.toLocaleString('en')} ${how}`).join(', '))];
  }
  const amount = kind === 'folder' ? `${count(items, kind)}: ` : items > 1 ? `${count(items, 'contact')}: ` : '';
  if (none) {
    return [amount, quiet(operation === 'delete' ? 'no contact known here' : 'nothing new')];
  }
  return [amount, ...names.flatMap(({ name }, at) => [at === 0 ? '' : ', ', name === '' ? '(no name)' : foreign(name)])];
}
