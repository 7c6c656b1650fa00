// print.js: messages in a form for people.
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

// A contact's text comes from anywhere. Control characters could move a terminal's cursor or change its state, and
// characters that turn the direction of writing could make a line read as another.
const UNSAFE = /[\u0000-\u001f\u007f-\u009f\u200e\u200f\u2028-\u202e\u2066-\u2069]/g;

/** The text with every character that a terminal would act on written as its code. */
function printable(text) {
  return text.replace(UNSAFE, (character) => `\\u{${character.codePointAt(0).toString(16)}}`);
}

/**
 * What a message holds, in a form for people. Both generators here give a message in pieces, as the whole text of a
 * large one could be longer than a string can be.
 * @returns {Generator<string>}  pieces of text; the last ends in a line feed.
 */
function* formatMessage(message, bytes) {
  const { operation, kind, index, total, items } = message;
  // Lines, not contacts: a contact with a line break in a field has more than one.
  const count = `${items.length} ${kind} line${items.length === 1 ? '' : 's'}`;
  const store = operation === 'snapshot' ? `store ${index + 1} of ${total}, ` : '';
  yield `=== ${operation}: ${store}${count}, ${bytes} bytes\n`;
  let number = 0;
  let problems = 0;
  for (const item of items) {
    number += 1;
    problems += item.problem ? 1 : 0;
    yield `${formatItem(item, number).join('\n')}\n`;
  }
  if (problems > 0) {
    yield `    (${problems} of ${count} could not be read)\n`;
  }
}

function formatItem(item, number) {
  const place = String(number).padStart(6);
  if (item.problem) {
    return [`${place}  ?  ${item.problem}`, `          ${printable(item.text)}`];
  }
  if (item.folderEntryId) {
    return [`${place}  folder ${item.folderEntryId}`];
  }
  const lines = [`${place}  ${printable(item.contact.displayName) || '(no name)'}`];
  for (const [field, label] of Object.entries(LABELS)) {
    if (field !== 'displayName' && item.contact[field] !== '') {
      lines.push(`          ${label.padEnd(LABEL_WIDTH)}  ${printable(item.contact[field])}`);
    }
  }
  return lines;
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

module.exports = { formatJson, formatMessage, printable };
