// tree.mjs: the tree of stores, folders and contacts, by the tree pattern of the ARIA Authoring Practices: one row has the
// focus, arrows move it, and what has the focus is selected. Of however many rows, only those that can be seen are in the
// document, and the one with the focus.

import { REMOVED } from './model.mjs';
import { count, element, foreign, shortId } from './text.mjs';

const ROW_PIXELS = 34; // as in style.css
const ROWS_AROUND = 8;
const TYPING_MILLISECONDS = 700;

export class Tree {
  /**
   * @param {HTMLElement} place
   * @param {Model} model
   * @param {function(object)} onSelect  told the row that is selected, again when it has changed; null when it is gone.
   */
  constructor(place, model, onSelect) {
    this._place = place;
    this._model = model;
    this._onSelect = onSelect;
    this._rows = [];
    this._indexes = new Map();
    this._shown = new Map(); // elements of rows by their keys
    this._active = null; // the key of the row that has the focus when the tree has it
    this._selected = null;
    this._typed = '';
    this._typedAt = -Infinity;
    this._inner = element('div', { role: 'none', class: 'tree-inner' });
    place.append(this._inner);
    place.addEventListener('scroll', () => this._draw());
    place.addEventListener('keydown', (event) => this._onKey(event));
    place.addEventListener('click', (event) => this._onClick(event));
    place.addEventListener('focus', () => this._focus()); // by the skip link
    new ResizeObserver(() => this._draw()).observe(place);
  }

  /** Shows the model anew. Returns how many contacts fit the search. */
  update() {
    const before = this._indexes.get(this._active);
    const hadFocus = this._inner.contains(document.activeElement);
    const { rows, found } = this._model.rows();
    this._rows = rows;
    this._indexes = new Map(rows.map(({ key }, index) => [key, index]));
    this._followRemoved();
    if (!this._indexes.has(this._active)) {
      this._active = rows[Math.min(before ?? 0, rows.length - 1)]?.key ?? null;
    }
    this._place.hidden = rows.length === 0; // what is hidden has no height to draw in
    this._inner.style.height = `${rows.length * ROW_PIXELS}px`;
    this._draw(true);
    if (hadFocus && !this._inner.contains(document.activeElement)) {
      this._focus();
    }
    const selected = this._rows[this._indexes.get(this._selected)];
    if (selected !== undefined) {
      this._onSelect(selected);
    } else if (this._selected !== null && !this._model.has(this._selected)) {
      this._selected = null;
      this._onSelect(null);
    }
    return found;
  }

  /** The row of a contact that has been deleted is another one for as long as that is marked. */
  _followRemoved() {
    for (const place of ['_active', '_selected']) {
      const removed = `${this[place]}${REMOVED}`;
      if (!this._indexes.has(this[place]) && this._indexes.has(removed)) {
        this[place] = removed;
      }
    }
  }

  /** Selects a contact, wherever it is, and brings it into view. */
  show(contact) {
    this._model.reveal(contact);
    this.update();
    const index = this._indexes.get(contact.key);
    if (index !== undefined) {
      this._select(index);
    }
  }

  focus() {
    this._focus();
  }

  get length() {
    return this._rows.length;
  }

  _draw(anew = false) {
    const first = Math.max(0, Math.floor(this._place.scrollTop / ROW_PIXELS) - ROWS_AROUND);
    const last = Math.min(this._rows.length,
      Math.ceil((this._place.scrollTop + this._place.clientHeight) / ROW_PIXELS) + ROWS_AROUND);
    const wanted = new Set();
    for (let index = first; index < last; index += 1) {
      wanted.add(index);
    }
    const active = this._indexes.get(this._active);
    if (active !== undefined) {
      wanted.add(active);
    }
    const keys = new Set([...wanted].map((index) => this._rows[index].key));
    for (const [key, shown] of this._shown) {
      if (!keys.has(key)) {
        shown.remove();
        this._shown.delete(key);
      }
    }
    // In the order of the rows, as those who read the document in its own order have to.
    let previous = null;
    for (const index of [...wanted].sort((left, right) => left - right)) {
      const shown = this._drawRow(index, anew);
      const next = previous === null ? this._inner.firstChild : previous.nextSibling;
      if (shown !== next) {
        this._inner.insertBefore(shown, next);
      }
      previous = shown;
    }
  }

  _drawRow(index, anew) {
    const row = this._rows[index];
    let shown = this._shown.get(row.key);
    if (shown === undefined || anew) {
      const made = shown ?? element('div', { role: 'treeitem', 'aria-level': row.level });
      made.replaceChildren(...rowContent(row, this._model.stores));
      made.className = `row ${row.kind}${row.contact?.mark ? ` mark-${row.contact.mark}` : ''}`;
      made.setAttribute('aria-setsize', row.of);
      made.setAttribute('aria-posinset', row.place + 1);
      if (row.open === undefined) {
        made.removeAttribute('aria-expanded');
      } else {
        made.setAttribute('aria-expanded', row.open);
      }
      made.dataset.key = row.key;
      shown = made;
      this._shown.set(row.key, shown);
    }
    shown.style.top = `${index * ROW_PIXELS}px`;
    shown.tabIndex = row.key === this._active ? 0 : -1;
    shown.setAttribute('aria-selected', row.key === this._selected);
    return shown;
  }

  _onClick(event) {
    const shown = event.target.closest('[role=treeitem]');
    const index = this._indexes.get(shown?.dataset.key);
    if (index === undefined) {
      return;
    }
    const row = this._rows[index];
    if (event.target.closest('.twist') && row.open !== undefined) {
      this._setOpen(row, !row.open);
    }
    this._select(this._indexes.get(row.key));
    this._focus();
  }

  _onKey(event) {
    const index = this._indexes.get(this._active);
    if (index === undefined || event.ctrlKey || event.altKey || event.metaKey || event.key === '/') {
      return;
    }
    const row = this._rows[index];
    const page = Math.max(1, Math.floor(this._place.clientHeight / ROW_PIXELS) - 1);
    const last = this._rows.length - 1;
    const moves = {
      ArrowDown: () => this._move(index + 1),
      ArrowUp: () => this._move(index - 1),
      PageDown: () => this._move(Math.min(index + page, last)),
      PageUp: () => this._move(Math.max(index - page, 0)),
      Home: () => this._move(0),
      End: () => this._move(last),
      ArrowRight: () => {
        if (row.open === false) {
          this._setOpen(row, true);
        } else if (row.open) {
          this._move(index + 1);
        }
      },
      ArrowLeft: () => {
        if (row.open && this._model.query === '') {
          this._setOpen(row, false);
        } else {
          this._move(this._parentOf(index));
        }
      },
      Enter: () => this._toggleOrSelect(row, index),
      ' ': () => this._toggleOrSelect(row, index),
      '*': () => this._openSisters(row),
    };
    if (moves[event.key] !== undefined) {
      this._typedAt = -Infinity;
      moves[event.key]();
      event.preventDefault();
    } else if (event.key.length === 1) {
      this._jumpTo(event.key, index);
      event.preventDefault();
    }
  }

  _toggleOrSelect(row, index) {
    if (row.open !== undefined) {
      this._setOpen(row, !row.open);
    }
    this._select(index);
  }

  _openSisters({ level }) {
    for (const row of this._rows) {
      if (row.level === level && row.open === false) {
        this._model.setOpen(row.key, true);
      }
    }
    this.update();
  }

  /** What is typed in one go is the beginning of a name to go to. */
  _jumpTo(character, from) {
    const now = performance.now();
    const goesOn = now - this._typedAt < TYPING_MILLISECONDS;
    this._typed = (goesOn ? this._typed : '') + character.toLowerCase();
    this._typedAt = now;
    const count = this._rows.length;
    for (let step = goesOn ? 0 : 1; step <= count; step += 1) {
      const index = (from + step) % count;
      if (labelOf(this._rows[index]).toLowerCase().startsWith(this._typed)) {
        this._move(index);
        return;
      }
    }
  }

  _parentOf(index) {
    const { level } = this._rows[index];
    let parent = index;
    while (parent > 0 && this._rows[parent].level >= level) {
      parent -= 1;
    }
    return this._rows[parent].level < level ? parent : index;
  }

  _setOpen({ key }, open) {
    this._model.setOpen(key, open);
    this.update();
  }

  _move(index) {
    if (index >= 0 && index < this._rows.length) {
      this._select(index);
      this._focus();
    }
  }

  _select(index) {
    const row = this._rows[index];
    this._active = row.key;
    this._selected = row.key;
    this._scrollTo(index);
    this._draw();
    this._onSelect(row);
  }

  _scrollTo(index) {
    const top = index * ROW_PIXELS;
    const { scrollTop, clientHeight } = this._place;
    if (top < scrollTop) {
      this._place.scrollTop = top;
    } else if (top + ROW_PIXELS > scrollTop + clientHeight) {
      this._place.scrollTop = top + ROW_PIXELS - clientHeight;
    }
  }

  _focus() {
    const index = this._indexes.get(this._active);
    if (index !== undefined) {
      this._scrollTo(index);
      this._draw();
      this._shown.get(this._active).focus({ preventScroll: true });
    }
  }
}

function labelOf({ kind, index, folder, contact }) {
  if (kind === 'contact') {
    return contact.name || '(no name)';
  }
  return kind === 'folder' ? `Folder ${shortId(folder.id)}` : storeName(index);
}

export function storeName(index) {
  return index === null ? 'Store unknown' : `Store ${index + 1}`;
}

function rowContent(row, stores) {
  const twist = element('span', { class: 'twist', 'aria-hidden': 'true' });
  const label = element('span', { class: 'label' });
  switch (row.kind) {
    case 'store':
      label.append(storeName(row.index));
      return [twist, label,
        element('span', { class: 'more' }, row.index === null ? 'no snapshot has shown its folders' : `of ${stores}`),
        tally(row.folders.map(({ folder }) => folder.marks)),
        element('span', { class: 'amount' }, row.folders.length === 0 ? 'nothing has come' : row.size.toLocaleString('en'))];
    case 'folder':
      label.append('Folder ', element('code', {}, shortId(row.folder.id)));
      return [twist, label, tally([row.folder.marks]),
        element('span', { class: 'amount' }, row.folder.size.toLocaleString('en'))];
    default: {
      const { name, row: fields, guessed, mark } = row.contact;
      label.append(name === '' ? element('i', {}, '(no name)') : foreign(name));
      const more = fields[4] || fields[5] || fields[8] || fields[6];
      return [twist, label, foreign(more, { class: 'more' }),
        guessed ? element('span', { class: 'chip guess', title: 'Where fields begin is guessed' }, 'guessed') : '',
        mark === null ? '' : element('span', { class: `chip ${mark}` }, MARKS[mark])];
    }
  }
}

const MARKS = { added: 'new', changed: 'changed', removed: 'deleted' };

/** How much is marked below a row, so that it is seen where that is closed, too. */
function tally(all) {
  const place = element('span', { class: 'tally' });
  for (const [kind, sign] of [['added', '+'], ['changed', '~'], ['removed', '−']]) {
    const sum = all.reduce((total, marks) => total + marks[kind], 0);
    if (sum > 0) {
      place.append(element('span', { class: `chip ${kind}` }, element('span', { 'aria-hidden': 'true' }, `${sign}${sum}`),
        element('span', { class: 'unseen' }, `${count(sum, 'contact')} ${MARKS[kind]}`)));
    }
  }
  return place;
}
