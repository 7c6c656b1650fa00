// contact-store.js: what a host knows of the contacts, kept by the agent's messages.
'use strict';

const { EventEmitter } = require('events');
const { CONTACT_FIELDS } = require('./item-lines');
const { Slices } = require('./timing');

/**
 * The contacts by their entry identifiers, and by their folders. Each message that changes anything gives one event
 * 'change' ({@link Change}).
 *
 * A snapshot has no mark for its beginning: a message of one counts as the first of a new run of the agent, before which
 * all is forgotten, when it can't go on with the snapshot before it, as its index is not above the last one, its number
 * of stores is another, or a change came in between. Who starts the agent knows better, and calls `clear`.
 */
class ContactStore extends EventEmitter {
  constructor() {
    super();
    this._contacts = new Map();
    this._folders = new Map(); // the set of a folder's contacts, by its identifier
    this._snapshot = null; // index and total of the last message, when that was one of a snapshot
    this._turn = Promise.resolve();
  }

  /** The contacts by their entry identifiers; live, and not to be written to. */
  get contacts() {
    return this._contacts;
  }

  get size() {
    return this._contacts.size;
  }

  /** The identifiers of all folders that have contacts. */
  get folders() {
    return [...this._folders.keys()];
  }

  /** The contact, or undefined. */
  get(entryId) {
    return this._contacts.get(entryId);
  }

  /** The contacts of a folder. */
  contactsIn(folderEntryId) {
    return [...(this._folders.get(folderEntryId) ?? [])];
  }

  /**
   * Applies a message: `host.on('message', (message) => store.apply(message))`. Large ones are applied in slices, so that
   * nothing else has to wait; several calls are done one after the other.
   * @returns {Promise<Change>}  fulfilled when all is applied and the listeners of 'change' have run.
   */
  apply(message) {
    return this._inTurn(() => this._apply(message));
  }

  /** Forgets everything, as when an agent has been started anew. Resolves as `apply` does. */
  clear() {
    return this._inTurn(() => this._clear());
  }

  _inTurn(work) {
    const turn = this._turn.then(work);
    this._turn = turn.catch(() => {});
    return turn;
  }

  async _apply({ operation, kind, index, total, items }) {
    if (operation === 'snapshot') {
      if (this._snapshot === null ? this.size > 0 : !continues(this._snapshot, { index, total })) {
        this._clear();
      }
      this._snapshot = { index, total };
    } else {
      this._snapshot = null;
    }

    const change = { operation, kind, added: [], changed: [], removed: [], unknown: [], unreadable: [] };
    const slices = new Slices();
    for (const item of items) {
      // A folder may take as many contacts along as a message can have items.
      for (const _ of this._applyItem(operation, item, change)) {
        if (slices.over) {
          await slices.next();
        }
      }
    }
    this._tell(change);
    return change;
  }

  /** Yields after each thing that may take its time: a map of 100,000 takes milliseconds when it grows. */
  *_applyItem(operation, { contact, folderEntryId, text }, change) {
    if (folderEntryId !== undefined) {
      const gone = this.contactsIn(folderEntryId);
      for (const known of gone) {
        this._remove(known);
        change.removed.push(known);
        yield;
      }
      if (gone.length === 0) {
        change.unknown.push(folderEntryId);
      }
    } else if (contact === undefined || contact.entryId === '') {
      change.unreadable.push(text);
    } else {
      const before = this._contacts.get(contact.entryId);
      if (operation !== 'delete') {
        yield* this._put(contact, before, change);
      } else if (before === undefined) {
        change.unknown.push(contact.entryId);
      } else {
        this._remove(before);
        change.removed.push(before);
      }
    }
    yield;
  }

  *_put(contact, before, change) {
    if (before === undefined) {
      change.added.push(contact);
    } else if (CONTACT_FIELDS.some((field) => contact[field] !== before[field])) {
      change.changed.push({ before, after: contact });
      this._remove(before);
    } else {
      return;
    }
    this._contacts.set(contact.entryId, contact);
    yield;
    const folder = this._folders.get(contact.folderEntryId);
    if (folder === undefined) {
      this._folders.set(contact.folderEntryId, new Set([contact]));
    } else {
      folder.add(contact);
    }
  }

  _remove(contact) {
    this._contacts.delete(contact.entryId);
    const folder = this._folders.get(contact.folderEntryId);
    folder.delete(contact);
    if (folder.size === 0) {
      this._folders.delete(contact.folderEntryId);
    }
  }

  _clear() {
    const removed = [...this._contacts.values()];
    this._contacts.clear();
    this._folders.clear();
    this._snapshot = null;
    const change = {
      operation: 'clear', kind: 'contact', added: [], changed: [], removed, unknown: [], unreadable: [],
    };
    this._tell(change);
    return change;
  }

  _tell(change) {
    if (change.added.length + change.changed.length + change.removed.length > 0) {
      this.emit('change', change);
    }
  }
}

/** Whether a message of a snapshot can be of the same snapshot as the one before it. */
function continues(last, { index, total }) {
  return index > last.index && total === last.total;
}

module.exports = { ContactStore };
