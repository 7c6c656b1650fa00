// message.js: reads the text of one message: a header line, then one line for each item.
//
// The format has no escapes. A name that holds a ";" or a line feed shifts what follows it, and no reader can undo
// that; so a line that doesn't have twelve fields is handed on as it stands, with a word on what is wrong with it.
'use strict';

const VERSION = '2';
const OPERATIONS = ['snapshot', 'add', 'change', 'delete'];
const KINDS = ['contact', 'folder'];

/** The twelve fields of a contact line, in the order of the wire. */
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

/** The text of a message has no valid header line. */
class MalformedMessageError extends Error {
  constructor(reason) {
    super(reason);
    this.name = 'MalformedMessageError';
  }
}

/**
 * @typedef {object} Item
 * @property {string} text  the line as it came.
 * @property {Object<string, string>} [contact]  the fields by the names of CONTACT_FIELDS; "" stands for absent.
 * @property {string} [folderEntryId]  of a folder item.
 * @property {string} [problem]  why there is neither of these two.
 *
 * @typedef {object} Message
 * @property {'snapshot'|'add'|'change'|'delete'} operation
 * @property {'contact'|'folder'} kind
 * @property {number} index  the position of the store in a snapshot; otherwise 0.
 * @property {number} total  the number of stores of a snapshot, those without contacts included; otherwise 1.
 * @property {Item[]} items
 */

/**
 * @param {string} text  a whole message.
 * @returns {Message}
 * @throws {MalformedMessageError}
 */
function parseMessage(text) {
  const headerEnd = text.indexOf('\n');
  if (headerEnd < 0) {
    throw new MalformedMessageError('the header line does not end');
  }
  const message = parseHeader(text.slice(0, headerEnd));
  const parseItem = message.kind === 'folder' ? parseFolder : parseContact;
  message.items = text.slice(headerEnd + 1).split('\n').map(parseItem);
  return message;
}

function parseHeader(line) {
  const fields = line.split(';');
  if (fields.length !== 5) {
    throw new MalformedMessageError(`the header has ${fields.length} field(s), not 5`);
  }
  const [version, operation, kind, index, total] = fields;
  if (version !== VERSION) {
    throw new MalformedMessageError(`the header begins with "${version}", not "${VERSION}"`);
  }
  if (!OPERATIONS.includes(operation)) {
    throw new MalformedMessageError(`unknown operation "${operation}"`);
  }
  if (!KINDS.includes(kind)) {
    throw new MalformedMessageError(`unknown kind "${kind}"`);
  }
  return { operation, kind, index: parseNumber('index', index), total: parseNumber('total', total), items: [] };
}

function parseNumber(name, text) {
  if (!/^(0|[1-9][0-9]{0,14})$/.test(text)) {
    throw new MalformedMessageError(`the ${name} "${text}" is not a number`);
  }
  return Number(text);
}

function parseContact(text) {
  const fields = text.split(';');
  if (text === '') {
    return { text, problem: 'an empty line: a contact of which nothing is known, or a line break in a field' };
  }
  if (fields.length !== CONTACT_FIELDS.length) {
    const problem = `${fields.length} field(s) instead of ${CONTACT_FIELDS.length}: a ";" or a line break in a field`;
    return { text, problem };
  }
  const contact = {};
  CONTACT_FIELDS.forEach((name, place) => {
    contact[name] = fields[place];
  });
  return { text, contact };
}

function parseFolder(text) {
  if (!/^([0-9A-F]{2})+$/.test(text)) {
    return { text, problem: 'not an entry identifier in hexadecimal digits' };
  }
  return { text, folderEntryId: text };
}

module.exports = { CONTACT_FIELDS, MalformedMessageError, parseMessage };
