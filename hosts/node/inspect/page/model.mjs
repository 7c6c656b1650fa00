// model.mjs: what the host knows, as this page has been told, and the rows of the tree that shows it. Knows no document.

/** For how long a change is marked where it happened. */
export const MARK_MILLISECONDS = 8000;

/** How many stores are shown of which nothing has come: anyone can send a number, and a profile has a few. */
const STORES_SHOWN = 100;

/** What the key of a contact that has been deleted ends in, as long as that is marked. */
export const REMOVED = ' removed';

const collator = new Intl.Collator(undefined, { sensitivity: 'base', numeric: true });

/** How texts are compared in a search: without accents, case, or the blanks in a number. */
export function folded(text) {
  return text.normalize('NFKD').replace(/\p{M}/gu, '').toLowerCase();
}

class Contact {
  constructor(row) {
    this.row = row; // the twelve fields in the order of the wire, and whether they are guessed
    this.mark = null; // 'added', 'changed' or 'removed', for a while
    this.before = null; // the row before the last change, while it is marked
    this._searched = null;
    this._key = `contact ${row[10]}`;
  }

  get key() {
    return this.mark === 'removed' ? `${this._key}${REMOVED}` : this._key;
  }

  get name() {
    return this.row[0];
  }

  get id() {
    return this.row[10];
  }

  get folder() {
    return this.row[11];
  }

  get guessed() {
    return this.row[12] === 1;
  }

  matches(words) {
    if (this._searched === null) {
      const text = folded(this.row.slice(0, 10).join('\n'));
      this._searched = `${text}\n${text.replace(/[ ()/.-]/g, '')}`;
    }
    return words.every((word) => this._searched.includes(word));
  }
}

class Folder {
  constructor(id) {
    this.id = id;
    this.contacts = new Map();
    this._sorted = null;
  }

  put(contact) {
    this.contacts.set(contact.id, contact);
    this._sorted = null;
  }

  drop(contact) {
    this.contacts.delete(contact.id);
    this._sorted = null;
  }

  get sorted() {
    this._sorted ??= [...this.contacts.values()].sort((left, right) => collator.compare(left.name, right.name));
    return this._sorted;
  }

  get size() {
    let size = this.contacts.size;
    for (const { mark } of this._marked()) {
      size -= mark === 'removed' ? 1 : 0;
    }
    return size;
  }

  * _marked() {
    for (const contact of this.contacts.values()) {
      if (contact.mark !== null) {
        yield contact;
      }
    }
  }

  /** What is marked in it, as far as there is anything: the number of each kind. */
  get marks() {
    const marks = { added: 0, changed: 0, removed: 0 };
    for (const { mark } of this._marked()) {
      marks[mark] += 1;
    }
    return marks;
  }
}

export class Model {
  constructor() {
    this._closed = new Set(); // keys of rows that are closed
    this.query = '';
    this.clear();
  }

  /** Forgets everything, as the host has. */
  clear() {
    this.stores = 0; // how many there are, as the snapshot has said
    this._storeOf = new Map();
    this._folders = new Map();
    this._contacts = new Map();
    this._removed = new Set();
  }

  /** @param {object} state  as the host sends it. */
  load({ stores, folders, contacts }) {
    this.clear();
    this._takeFolders(stores, folders);
    contacts.forEach((row) => this._put(row));
  }

  /** Applies an event of the host's; what it has changed is marked until `unmark`. A snapshot is news as a whole. */
  apply({ message, added, changed, removed, folders, stores }) {
    const news = message.operation !== 'snapshot';
    this._takeFolders(stores, folders);
    const marked = [];
    const mark = (contact, kind) => {
      contact.mark = kind;
      marked.push(contact);
    };
    for (const id of removed) {
      const contact = this._contacts.get(id);
      if (contact !== undefined) {
        this._contacts.delete(id);
        this._removed.add(contact);
        mark(contact, 'removed');
      }
    }
    for (const row of added) {
      const contact = this._put(row);
      if (news) {
        mark(contact, 'added');
      }
    }
    for (const [before, after] of changed) {
      const contact = this._put(after);
      contact.before = before;
      mark(contact, 'changed');
    }
    return marked;
  }

  /** The end of the marks that `apply` has made; what is gone disappears. */
  unmark(marked) {
    for (const contact of marked) {
      contact.mark = null;
      contact.before = null;
      if (this._removed.delete(contact)) {
        this._dropFromFolder(contact);
      }
    }
  }

  get size() {
    return this._contacts.size;
  }

  get folderCount() {
    return [...this._folders.values()].filter(({ size }) => size > 0).length;
  }

  get folders() {
    return [...this._folders.values()];
  }

  contact(id) {
    return this._contacts.get(id);
  }

  /** Whether what the row with this key shows is there, seen or not. */
  has(key) {
    const [kind, id] = key.split(' ');
    return kind === 'store' || this._folders.has(id) || (this._contacts.has(id) && !key.endsWith(REMOVED));
  }

  /** The place of a folder's store; null where no snapshot has shown it. */
  storeOf(folder) {
    return this._storeOf.get(folder) ?? null;
  }

  isOpen(key) {
    return this.query !== '' || !this._closed.has(key);
  }

  setOpen(key, open) {
    if (open) {
      this._closed.delete(key);
    } else {
      this._closed.add(key);
    }
  }

  /** Opens what hides a contact. */
  reveal({ folder }) {
    this.setOpen(folderKey(folder), true);
    this.setOpen(storeKey(this.storeOf(folder)), true);
  }

  /**
   * The rows that are to be seen, from top to bottom: of stores, their folders, and their contacts, of the latter those that
   * fit the search.
   * @returns {{rows: object[], found: number}}  of each row its key, kind, level, place among its sisters, and what it shows.
   */
  rows() {
    const words = folded(this.query).split(/\s+/).filter((word) => word !== '');
    const rows = [];
    let found = 0;
    const stores = this._byStore(words);
    stores.forEach(({ index, folders }, storePlace) => {
      const store = { key: storeKey(index), kind: 'store', level: 1, index, place: storePlace, of: stores.length, folders };
      store.open = folders.length === 0 ? undefined : this.isOpen(store.key);
      store.size = folders.reduce((sum, { folder }) => sum + folder.size, 0);
      rows.push(store);
      folders.forEach(({ folder, contacts }, folderPlace) => {
        found += contacts.length;
        if (!store.open) {
          return;
        }
        const key = folderKey(folder.id);
        const open = contacts.length === 0 ? undefined : this.isOpen(key);
        rows.push({ key, kind: 'folder', level: 2, folder, place: folderPlace, of: folders.length, open });
        if (open) {
          contacts.forEach((contact, place) => {
            rows.push({ key: contact.key, kind: 'contact', level: 3, contact, place, of: contacts.length });
          });
        }
      });
    });
    return { rows, found };
  }

  /** In a search, what has no match is left out. */
  _byStore(words) {
    const searching = words.length > 0;
    const stores = new Map();
    if (!searching) {
      for (let index = 0; index < Math.min(this.stores, STORES_SHOWN); index += 1) {
        stores.set(index, { index, folders: [] });
      }
    }
    for (const folder of this._folders.values()) {
      const contacts = searching ? folder.sorted.filter((contact) => contact.matches(words)) : folder.sorted;
      if (!searching || contacts.length > 0) {
        const index = this.storeOf(folder.id);
        if (!stores.has(index)) {
          stores.set(index, { index, folders: [] });
        }
        stores.get(index).folders.push({ folder, contacts });
      }
    }
    const order = (index) => index ?? Infinity;
    return [...stores.values()].sort((left, right) => order(left.index) - order(right.index));
  }

  _takeFolders(stores, folders) {
    this.stores = stores;
    for (const [folder, store] of folders) {
      if (store !== null) {
        this._storeOf.set(folder, store);
      }
    }
  }

  _put(row) {
    const contact = new Contact(row);
    const known = this._contacts.get(contact.id);
    if (known !== undefined) {
      this._dropFromFolder(known);
    }
    this._contacts.set(contact.id, contact);
    let folder = this._folders.get(contact.folder);
    if (folder === undefined) {
      folder = new Folder(contact.folder);
      this._folders.set(contact.folder, folder);
    }
    folder.put(contact);
    return contact;
  }

  _dropFromFolder(contact) {
    const folder = this._folders.get(contact.folder);
    if (folder?.contacts.get(contact.id) === contact) {
      folder.drop(contact);
      if (folder.contacts.size === 0) {
        this._folders.delete(folder.id);
      }
    }
  }
}

export function storeKey(index) {
  return `store ${index ?? 'unknown'}`;
}

export function folderKey(id) {
  return `folder ${id}`;
}
