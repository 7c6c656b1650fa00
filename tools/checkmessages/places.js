// places.js: what entry identifier stands for an object at a place of a mailbox, also of one that an edit has made.
//
// A place is the path of display names that sandboxctl takes (docs/sandbox-control.md).
'use strict';

const { folderEntryId, messageEntryId } = require('./entry-ids');
const { numberStore } = require('./numbered-store');

/** A name as a path has it. */
function pathName(name) {
  return name.replace(/[\\/]/g, '\\$&');
}

/** The path of the folder in which that of `path` lies. */
function parentPath(path) {
  const [, parent] = /^((?:\\.|[^\\])*)\/(?:\\.|[^\\/])+$/s.exec(path) || [];
  if (parent === undefined) {
    throw new Error(`"${path}" is no path of a contact or a folder`);
  }
  return parent;
}

class Places {
  /** @param {object} mailbox  the value of a mailbox file. */
  constructor(mailbox) {
    /** By path: {entryId, store, number}, the last one of folders alone; null where several are meant. */
    this._objects = new Map();
    mailbox.stores.forEach((store, at) => {
      const { subtree, all, messages } = numberStore(store, at + 1);
      this._addFolder(store.name, subtree, { place: at + 1, folders: all.length, messages });
    });
  }

  /** The entry identifier of what is, or was last, at this path. */
  entryId(path) {
    return this._find(path).entryId;
  }

  /** A contact comes to be at this path, with an identifier of its own. */
  makeContact(path) {
    const { store, number } = this._findFolder(parentPath(path));
    store.messages += 1;
    this._objects.set(path, { entryId: messageEntryId(store.place, number, store.messages), store });
  }

  /** Likewise a folder. */
  makeFolder(path) {
    const { store } = this._findFolder(parentPath(path));
    store.folders += 1;
    const number = store.folders;
    this._objects.set(path, { entryId: folderEntryId(store.place, number), store, number });
  }

  /** What is at the former path comes to be at this one, with the identifier that it has. */
  keep(path, formerPath) {
    this._findFolder(parentPath(path));
    this._objects.set(path, this._find(formerPath));
  }

  _find(path) {
    const found = this._objects.get(path);
    if (!found) {
      throw new Error(`"${path}" is ${found === null ? 'more than one thing' : 'nowhere'} in the mailbox`);
    }
    return found;
  }

  _findFolder(path) {
    const found = this._find(path);
    if (found.number === undefined) {
      throw new Error(`"${path}" is no folder`);
    }
    return found;
  }

  _addFolder(path, { number, entryId, messages, below }, store) {
    this._add(path, { entryId, store, number });
    for (const { message, entryId: messageId } of messages) {
      if (typeof message.displayName === 'string') {
        this._add(`${path}/${pathName(message.displayName)}`, { entryId: messageId, store });
      }
    }
    below.forEach((each) => this._addFolder(`${path}/${pathName(each.folder.name)}`, each, store));
  }

  _add(path, object) {
    this._objects.set(path, this._objects.has(path) ? null : object);
  }
}

module.exports = { Places, parentPath };
