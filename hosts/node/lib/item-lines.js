// item-lines.js: makes items of the lines behind a message's header, by the rules of docs/wire-protocol.md.
//
// The format has no escapes: a field that holds a ";" or a line feed goes on the wire as it is. So lines are joined until
// a contact's identifiers end them, and where fields are too many, it is guessed which belong together.
//
// Lines come in pieces, and what is made of them is only ever joined, not searched again: a line as long as a whole
// message costs no more than many short ones.
'use strict';

/** The twelve fields of a contact, in the order of the wire. */
const CONTACT_FIELDS = [
  'displayName',
  'givenName',
  'middleName',
  'surname',
  'company',
  'email',
  'businessPhone',
  'homePhone',
  'mobilePhone',
  'businessFax',
  'entryId',
  'folderEntryId',
];
const NAMES = 4; // fields in front of the company
const BEHIND_COMPANY = 7;
const LEAST_ID_DIGITS = 10;

const PARTS_JOINED = 1000;
const LONG_PART = 1000;

/** The lines of a message of folders: each is an entry identifier. */
class FolderLines {
  constructor() {
    this.items = [];
    this._text = '';
  }

  addPiece(piece) {
    this._text += piece;
  }

  endLine() {
    const text = this._text;
    this._text = '';
    this.items.push(isHex(text, 2) ? { text, folderEntryId: text } : { text });
  }

  end() {
    this.endLine();
  }
}

/** What the kinds of contact lines share: the fields of what has not ended yet. */
class ContactLines {
  constructor() {
    this.items = [];
    this._startItem();
  }

  addPiece(piece) {
    if (this._fields === null) {
      this._fields = piece.split(';');
      this._onlyPiece = piece;
      return;
    }
    this._onlyPiece = null;
    const end = piece.indexOf(';');
    this._addToLastField(end < 0 ? piece : piece.slice(0, end));
    if (end >= 0) {
      this._closeLastField();
      for (const field of piece.slice(end + 1).split(';')) {
        this._fields.push(field);
      }
    }
  }

  /** Strings that are added up are not copied until somebody reads them; a join copies, and so suits short ones. */
  _addToLastField(text) {
    this._lastFieldParts.push(text);
    if (this._lastFieldParts.length === PARTS_JOINED || text.length >= LONG_PART) {
      this._closeLastField();
    }
  }

  _closeLastField() {
    this._fields[this._fields.length - 1] += this._lastFieldParts.join('');
    this._lastFieldParts = [];
  }

  /** The item's text, joined or added up likewise. */
  _text() {
    if (this._onlyPiece !== null) {
      return this._onlyPiece;
    }
    const fields = this._fields;
    return fields.length > PARTS_JOINED ? fields.join(';') : fields.reduce((text, field) => `${text};${field}`);
  }

  _startItem() {
    this._fields = null;
    this._onlyPiece = '';
    this._lastFieldParts = [];
  }

  _finishItem(item) {
    this.items.push(item);
    this._startItem();
  }
}

/** Of a deletion: each line is an item, and has an identifier alone. */
class DeletedContactLines extends ContactLines {
  endLine() {
    this._closeLastField();
    const text = this._text();
    const fields = this._fields;
    const valid = fields.length === CONTACT_FIELDS.length && isHex(fields[10], 2) && text.length === fields[10].length + 11;
    this._finishItem(valid ? { text, contact: makeContact(fields) } : { text });
  }

  end() {
    this.endLine();
  }
}

/** Of all others: a contact may take several lines. */
class WholeContactLines extends ContactLines {
  endLine() {
    if (this._endsContact()) {
      this._finishItem(this._contact());
      return;
    }
    this._onlyPiece = null;
    this._addToLastField('\n');
    this._brokenField = this._fields.length - 1;
  }

  end() {
    this._closeLastField();
    // What is left over is no contact that anything can be done with.
    this._finishItem(this._endsContact() ? this._contact() : { text: this._text() });
  }

  _startItem() {
    super._startItem();
    this._brokenField = -1; // the last one that has a line feed in it
  }

  _endsContact() {
    const count = this._fields.length;
    if (count < CONTACT_FIELDS.length || this._brokenField === count - 1) {
      return false;
    }
    this._closeLastField();
    const ends = this._fields.slice(-2);
    return ends.every((field) => isHex(field, LEAST_ID_DIGITS) || (count === CONTACT_FIELDS.length && field === ''));
  }

  _contact() {
    const text = this._text();
    const fields = this._fields;
    const last = this.items.at(-1)?.contact;
    if (fields.length === CONTACT_FIELDS.length) {
      return { text, contact: makeContact(fields, last) };
    }
    const byBlanks = joinAtBlanks(fields);
    const guess = byBlanks.length === CONTACT_FIELDS.length ? byBlanks : joinInCompany(fields);
    return { text, contact: makeContact(guess, last), guessed: true };
  }
}

/** People write a blank, or end the line, behind a ";" of theirs, and fields seldom begin so. */
function joinAtBlanks(fields) {
  const joined = [fields[0]];
  for (const field of fields.slice(1)) {
    if (/^[ \r\n]/.test(field)) {
      joined[joined.length - 1] += `;${field}`;
    } else {
      joined.push(field);
    }
  }
  return joined;
}

/** Names from the left, address and telephones from the right; what is between is the company. */
function joinInCompany(fields) {
  const right = fields.length - BEHIND_COMPANY;
  return [...fields.slice(0, NAMES), fields.slice(NAMES, right).join(';'), ...fields.slice(right)];
}

/** Whether a text is whole bytes in upper-case hexadecimal digits. */
function isHex(text, leastDigits) {
  return text.length >= leastDigits && text.length % 2 === 0 && !/[^0-9A-F]/.test(text);
}

/** @param {string[]} fields  twelve. @param {Contact} [last]  one that is like it, perhaps; strings are shared with it. */
function makeContact(fields, last) {
  const [
    displayName, givenName, middleName, surname, company, email,
    businessPhone, homePhone, mobilePhone, businessFax, entryId, folderEntryId,
  ] = fields;
  const contact = {
    displayName, givenName, middleName, surname, company, email,
    businessPhone, homePhone, mobilePhone, businessFax, entryId, folderEntryId,
  };
  if (company === last?.company) {
    contact.company = last.company;
  }
  if (folderEntryId === last?.folderEntryId) {
    contact.folderEntryId = last.folderEntryId;
  }
  return contact;
}

/**
 * What takes the lines of a message: `addPiece`, one or more for each line, `endLine` behind all but the last one, and
 * `end`; then it has `items`.
 */
function makeItemLines(operation, kind) {
  if (kind === 'folder') {
    return new FolderLines();
  }
  return operation === 'delete' ? new DeletedContactLines() : new WholeContactLines();
}

module.exports = { CONTACT_FIELDS, makeItemLines };
