// inspector.js: what a host knows, kept within bounds and shown by a page for one person on the same machine.
'use strict';

const { randomBytes } = require('crypto');
const { CONTACT_FIELDS } = require('../lib/item-lines');
const { Slices } = require('../lib/timing');
const { EventLog } = require('./event-log');
const { History, LIMITS } = require('./history');
const { PageServer } = require('./page-server');

/** An event with more contacts than these says only that all is to be read anew. */
const CONTACTS_IN_EVENT = 200;
const NAMES_IN_MESSAGE = 20;
const CHARACTERS_SHOWN = 1000;
const PROBLEM_CHARACTERS_SHOWN = 300;

/**
 * Follows a host: it is given each message with what that has changed, and each error. Whoever uses it awaits these
 * calls, so that what the page shows keeps the order of the messages.
 */
class Inspector {
  /**
   * @param {object} options
   * @param {ContactStore} options.store  to which the messages are applied.
   * @param {string} [options.control]  the control pipe of a sandbox whose mailbox the page may edit.
   * @param {string} [options.token]  the secret in the address; for tests.
   */
  constructor({ store, control, token = randomBytes(32).toString('base64url') }) {
    this._store = store;
    this._events = new EventLog();
    this._history = new History();
    this._started = Date.now();
    this._agentRun = 1;
    this._forget();
    this._onChange = ({ operation }) => {
      if (operation === 'clear') {
        this._agentRun += 1;
        this._forget();
        this._events.push({ type: 'clear', agentRun: this._agentRun, time: Date.now() });
      }
    };
    store.on('change', this._onChange);
    this._server = new PageServer({
      token, control, events: this._events, history: this._history, state: () => this._state(control !== undefined),
    });
  }

  /**
   * Serves the page, on 127.0.0.1 alone.
   * @param {number} port  0 for one that is free.
   * @returns {Promise<string>}  the page's address, with the secret in it; rejects when the port can't be had.
   */
  listen(port) {
    return this._server.listen(port);
  }

  /** Tells the pages that the host has ended, and resolves when nothing is served any more. */
  async close() {
    this._store.off('change', this._onChange);
    this._events.end();
    await this._server.close();
  }

  /** Takes a message, and what `store.apply` has made of it. Large ones are read in slices. */
  async addMessage(message, change) {
    const { version, operation, kind, index, total, bytes, items } = message;
    const text = [`${version};${operation};${kind};${index};${total}`];
    let characters = text[0].length;
    const found = { guessed: [], leftOver: [], withoutId: [] };
    const folders = new Set();
    const slices = new Slices();
    for (const item of items) {
      if (characters < LIMITS.bytesOfMessage) {
        const part = item.text.slice(0, LIMITS.bytesOfMessage);
        text.push(part);
        characters += part.length + 1;
      }
      this._lookAt(item, operation, found, folders);
      if (slices.over) {
        await slices.next();
      }
    }
    if (operation === 'snapshot') {
      this._stores = total;
      folders.forEach((folder) => this._storeOf.set(folder, index));
    }
    for (const { entryId } of change.removed) {
      this._guessed.delete(entryId);
    }
    const entry = this._history.addMessage({
      time: Date.now(), operation, kind, index, total, bytes,
      items: items.length,
      added: change.added.length,
      changed: change.changed.length,
      removed: change.removed.length,
      names: namesOf(change),
      folders: kind === 'folder' ? items.slice(0, NAMES_IN_MESSAGE).map((item) => shown(item.text)) : [],
    }, text.join('\n'));
    this._events.push({ type: 'message', message: entry, ...this._contactsOf(change, folders) });
    this._reportFound(entry.number, found, change.unknown);
  }

  /** Takes an error of the host. */
  addError({ code, message, text }) {
    this._addProblem({ code, reason: message, count: 1, ...(text === undefined ? {} : { texts: [text] }) });
  }

  _lookAt({ text, contact, guessed }, operation, found, folders) {
    if (contact === undefined) {
      // An empty line is nothing; a folder's line that is no identifier is as useless as what is left of contacts.
      if (text !== '' && !isFolderLine(text)) {
        found.leftOver.push(text);
      }
    } else if (contact.entryId === '') {
      found.withoutId.push(text);
    } else if (operation !== 'delete') {
      folders.add(contact.folderEntryId);
      if (guessed) {
        found.guessed.push(contact);
        this._guessed.add(contact.entryId);
      } else {
        this._guessed.delete(contact.entryId);
      }
    }
  }

  _reportFound(message, { guessed, leftOver, withoutId }, unknown) {
    const report = (code, list, more) => {
      if (list.length > 0) {
        this._addProblem({ code, message, count: list.length, ...more(list.slice(0, NAMES_IN_MESSAGE)) });
      }
    };
    const asTexts = (list) => ({ texts: list });
    report('guessed', guessed, (list) => ({ contacts: list.map((contact) => nameOf(contact)) }));
    report('leftOver', leftOver, asTexts);
    report('withoutId', withoutId, asTexts);
    report('unknown', unknown, asTexts);
  }

  _addProblem({ texts = [], ...problem }) {
    const cut = texts.map((text) => shown(text, PROBLEM_CHARACTERS_SHOWN));
    this._events.push({ type: 'problem', problem: this._history.addProblem({ time: Date.now(), ...problem, texts: cut }) });
  }

  /** What a page needs to do as the store has done; where that is too much for an event, that all is to be read anew. */
  _contactsOf({ added, changed, removed }, folders) {
    if (added.length + changed.length + removed.length + folders.size > CONTACTS_IN_EVENT) {
      return { reload: true };
    }
    return {
      added: added.map((contact) => this._row(contact)),
      changed: changed.map(({ before, after }) => [this._row(before), this._row(after)]),
      removed: removed.map(({ entryId }) => shown(entryId)),
      folders: this._foldersAndStores(folders),
      stores: this._stores,
    };
  }

  /** The state as JSON, in pieces: of this moment, also where it changes before the last piece is asked for. */
  _state(editable) {
    const contacts = [...this._store.contacts.values()];
    const head = {
      run: this._events.run,
      sequence: this._events.sequence,
      started: this._started,
      agentRun: this._agentRun,
      editable,
      limits: LIMITS,
      fields: CONTACT_FIELDS,
      stores: this._stores,
      folders: this._foldersAndStores(this._store.folders),
      messageCount: this._history.messageCount,
      problemCount: this._history.problemCount,
      messages: this._history.messages,
      problems: this._history.problems,
    };
    const row = (contact) => this._row(contact);
    return (function* pieces() {
      yield `${JSON.stringify(head).slice(0, -1)},"contacts":[`;
      let separator = '';
      for (const contact of contacts) {
        yield `${separator}${JSON.stringify(row(contact))}`;
        separator = ',\n';
      }
      yield ']}';
    }());
  }

  _row(contact) {
    return [...CONTACT_FIELDS.map((field) => shown(contact[field])), this._guessed.has(contact.entryId) ? 1 : 0];
  }

  /** Which store a folder is in is only known where a snapshot has shown it: changes don't name one. */
  _foldersAndStores(folders) {
    return [...folders].map((folder) => [shown(folder), this._storeOf.get(folder) ?? null]);
  }

  _forget() {
    this._stores = 0;
    this._storeOf = new Map();
    this._guessed = new Set(); // identifiers of contacts whose fields are guessed
  }
}

function shown(text, length = CHARACTERS_SHOWN) {
  return text.length > length ? `${text.slice(0, length)}… (${text.length} characters)` : text;
}

function nameOf({ displayName, entryId }) {
  return { name: shown(displayName), entryId: shown(entryId) };
}

function namesOf({ added, changed, removed }) {
  const names = [];
  const take = (how, contacts, contactOf) => {
    for (const entry of contacts.slice(0, NAMES_IN_MESSAGE - names.length)) {
      names.push({ how, ...nameOf(contactOf(entry)) });
    }
  };
  take('added', added, (contact) => contact);
  take('changed', changed, ({ after }) => after);
  take('removed', removed, (contact) => contact);
  return names;
}

function isFolderLine(text) {
  return /^([0-9A-F]{2})+$/.test(text);
}

module.exports = { Inspector };
