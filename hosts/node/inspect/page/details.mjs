// details.mjs: what is known of the row that is selected in the tree.

import { documentLink } from './documents.mjs';
import { storeName } from './tree.mjs';
import { element, foreign, shortId } from './text.mjs';

const LABELS = ['Display name', 'First name', 'Middle name', 'Last name', 'Company', 'E-mail', 'Business', 'Home', 'Mobile',
  'Business fax', 'EntryId', 'Folder'];
const NAME = 0;
const FIRST_ID = 10;

export class Details {
  /** @param {function(object): Node[]} moreOf  what else belongs below a row's details. */
  constructor(place, model, moreOf) {
    this._place = place;
    this._model = model;
    this._moreOf = moreOf;
    this._shown = null;
    this.show(null);
  }

  /** @param {object} row  of the tree, or null for none. */
  show(row) {
    // What is being typed below stays as long as the details are of the same row and nothing in them has changed.
    const state = row === null ? null : JSON.stringify([row.key, row.contact?.row, row.contact?.mark, row.size,
      row.folder?.size]);
    if (state !== null && state === this._shown) {
      return;
    }
    this._shown = state;
    this._place.replaceChildren(...(row === null ? nothing() : this._contentOf(row)), ...this._moreOf(row));
  }

  _contentOf(row) {
    switch (row.kind) {
      case 'store': return this._store(row);
      case 'folder': return this._folder(row.folder);
      default: return this._contact(row.contact);
    }
  }

  _store({ index, folders, size }) {
    if (index === null) {
      return [heading('Store unknown'), element('p', {}, `These folders came with changes, which name no store, and no snapshot
        of this run has shown them. `, documentLink('wire-protocol.md', 'What to reckon with'))];
    }
    return [
      heading(`${storeName(index)} of ${this._model.stores}`),
      list([['Folders', String(folders.length)], ['Contacts', size.toLocaleString('en')]]),
      element('p', { class: 'quiet' }, folders.length === 0
        ? 'No contact of this store has come: it has none, or it is still being read. The agent sends nothing for an empty store. '
        : 'The number is its place in the snapshot. The agent sends no names of stores and folders. ',
      documentLink('host-lifecycle.md', 'The start')),
    ];
  }

  _folder(folder) {
    const store = this._model.storeOf(folder.id);
    return [
      heading(`Folder ${shortId(folder.id)}`),
      list([
        ['Contacts', folder.size.toLocaleString('en')],
        ['Store', store === null ? 'unknown: no snapshot has shown this folder' : `${storeName(store)} of ${this._model.stores}`],
        ['EntryId', code(folder.id)],
      ]),
    ];
  }

  _contact(contact) {
    const { row, before, mark, guessed } = contact;
    const lines = LABELS.map((label, field) => [label, field]).filter(([, field]) => field !== NAME
      && (row[field] !== '' || (before?.[field] ?? '') !== ''));
    return [
      element('h3', { class: mark === 'removed' ? 'gone' : undefined },
        contact.name === '' ? element('i', {}, '(no name)') : foreign(contact.name)),
      mark === 'removed' ? element('p', { class: 'notice removed' }, 'This contact has been deleted.') : null,
      guessed ? element('p', { class: 'notice guess' }, `A “;” stands in one of its texts, so where fields begin is guessed. The
        identifiers are certain. `, documentLink('wire-protocol.md', 'Reading the items')) : null,
      before !== null && before[NAME] !== row[NAME]
        ? element('p', { class: 'was' }, 'was ', foreign(before[NAME])) : null,
      list(lines.map(([label, field]) => {
        const value = row[field] === '' ? element('i', {}, 'empty') : field >= FIRST_ID ? code(row[field]) : foreign(row[field]);
        const changed = before !== null && before[field] !== row[field];
        return [label, changed
          ? element('span', { class: 'changed-value' }, value, ' ', element('span', { class: 'was' }, 'was ',
            before[field] === '' ? element('i', {}, 'empty') : foreign(field >= FIRST_ID ? shortId(before[field]) : before[field])))
          : value];
      })),
    ].filter((part) => part !== null);
  }
}

function nothing() {
  return [element('p', { class: 'quiet' }, 'Select a store, a folder or a contact to see all that is known of it.')];
}

function heading(text) {
  return element('h3', {}, text);
}

function code(text) {
  return element('code', { class: 'id' }, text);
}

function list(pairs) {
  return element('dl', { class: 'fields' },
    ...pairs.flatMap(([label, value]) => [element('div', {}, element('dt', {}, label), element('dd', {}, value))]));
}
