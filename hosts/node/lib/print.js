// print.js: messages in a form for people, and events as lines of JSON.
'use strict';

const LABELS = {
  displayName: 'name',
  givenName: 'first name',
  middleName: 'middle name',
  surname: 'last name',
  company: 'company',
  email: 'e-mail',
  businessPhone: 'business',
  homePhone: 'home',
  mobilePhone: 'mobile',
  businessFax: 'fax',
  entryId: 'entry id',
  folderEntryId: 'folder id',
};
const LABEL_WIDTH = Math.max(...Object.values(LABELS).map((label) => label.length));
const INDENT = ' '.repeat(10);

// Identifiers have some 100 digits, of which the last ones differ from contact to contact.
const LONGEST_ID = 16;
const SHORT_ID = 12;

const NAMES_SHOWN = 5;

// A contact's text comes from anywhere. Control characters could move a terminal's cursor or change its state, and
// characters that turn the direction of writing could make a line read as another.
const UNSAFE = /[\u0000-\u001f\u007f-\u009f\u200e\u200f\u2028-\u202e\u2066-\u2069]/g;

/** The text with every character that a terminal would act on written as its code. */
function printable(text) {
  return text.replace(UNSAFE, (character) => `\\u{${character.codePointAt(0).toString(16)}}`);
}

/** The end of a long identifier, for the eye; it is not sure to be the only one that ends so. */
function shortId(id) {
  return id.length > LONGEST_ID ? `…${id.slice(-SHORT_ID)}` : id;
}

/**
 * What a message holds, in a form for people. Both generators here give a message in pieces, as the whole text of a
 * large one could be longer than a string can be.
 * @param {Message} message
 * @param {Change} change  what the message has changed in a ContactStore, which knows the names of what is deleted.
 * @returns {Generator<string>}  pieces of text; the last ends in a line feed.
 */
function* formatMessage(message, change) {
  const { operation, kind, index, total, bytes, items } = message;
  const store = operation === 'snapshot' ? `store ${index + 1} of ${total}, ` : '';
  yield `=== ${operation}: ${store}${items.length} ${kind}${items.length === 1 ? '' : 's'}, ${bytes} bytes\n`;
  const removed = groupRemoved(kind, change.removed);
  let number = 0;
  for (const item of items) {
    number += 1;
    const place = `${String(number).padStart(6)}  `;
    const lines = operation === 'delete' ? formatDeleted(item, removed) : formatItem(item);
    yield `${place}${lines.join(`\n${INDENT}`)}\n`;
  }
}

/** What is gone, by the identifiers that the message names. */
function groupRemoved(kind, contacts) {
  const groups = new Map();
  for (const contact of contacts) {
    const id = kind === 'folder' ? contact.folderEntryId : contact.entryId;
    const group = groups.get(id);
    if (group === undefined) {
      groups.set(id, [contact]);
    } else {
      group.push(contact);
    }
  }
  return groups;
}

function formatItem({ text, contact, guessed }) {
  if (contact === undefined) {
    return text === '' ? ['(an empty line)'] : ['?  no contact can be made of this', printable(text)];
  }
  const lines = [nameOf(contact)];
  for (const field of Object.keys(LABELS)) {
    if (field !== 'displayName' && contact[field] !== '') {
      const value = field.endsWith('ntryId') ? shortId(contact[field]) : printable(contact[field]);
      lines.push(label(field, value));
    }
  }
  if (guessed) {
    const ids = contact.entryId.length + contact.folderEntryId.length + 2;
    lines.push('a ";" stands in a field, so where fields begin is guessed. As it came:', printable(text.slice(0, -ids)));
  }
  return lines;
}

function formatDeleted({ text, contact, folderEntryId }, removed) {
  if (folderEntryId !== undefined) {
    const contacts = removed.get(folderEntryId) ?? [];
    const names = contacts.slice(0, NAMES_SHOWN).map(nameOf);
    const more = contacts.length > names.length ? `, and ${contacts.length - names.length} more` : '';
    return [`folder ${shortId(folderEntryId)}`, contacts.length === 0 ? '(no known contact was in it)'
      : `with ${names.join(', ')}${more}`];
  }
  if (contact === undefined) {
    return formatItem({ text });
  }
  const [known] = removed.get(contact.entryId) ?? [];
  return [known === undefined ? '(not known here)' : nameOf(known), label('entryId', shortId(contact.entryId))];
}

function nameOf({ displayName }) {
  return printable(displayName) || '(no name)';
}

function label(field, value) {
  return `${LABELS[field].padEnd(LABEL_WIDTH)}  ${value}`;
}

/** The event as one line of JSON. @returns {Generator<string>}  pieces of text; the last ends in a line feed. */
function* formatJson(event) {
  if (!event.items) {
    yield `${JSON.stringify(event)}\n`;
    return;
  }
  const { items, ...rest } = event;
  yield `${JSON.stringify(rest).slice(0, -1)},"items":[`;
  let separator = '';
  for (const item of items) {
    yield `${separator}${JSON.stringify(item)}`;
    separator = ',';
  }
  yield ']}\n';
}

module.exports = { formatJson, formatMessage, printable, shortId };
