// contact.js: a contact as a message of a mailbox file (docs/sandbox.md).
'use strict';

const FIELDS = ['displayName', 'givenName', 'middleName', 'surname', 'company', 'email',
  'businessPhone', 'homePhone', 'mobilePhone', 'businessFax'];

/** The texts that are more than blanks, with one blank between them. */
function joined(...texts) {
  return texts.map((text) => (text ?? '').trim()).filter((text) => text !== '').join(' ');
}

/**
 * A message of the fields that hold anything. Where no display name is given, it is made of the names with `title` and
 * `suffix`; without any, it is the company, `emailName`, or the e-mail address.
 * @returns {object | undefined}  undefined if nothing is left.
 */
function makeContact({ title, suffix, emailName, ...fields }) {
  const { displayName, givenName, middleName, surname, company, email } = fields;
  const names = [displayName, joined(title, givenName, middleName, surname, suffix), company, emailName, email];
  const texts = { ...fields, displayName: names.find((name) => joined(name) !== '') };
  const kept = FIELDS.map((field) => [field, joined(texts[field])]).filter(([, text]) => text !== '');
  return kept.length === 0 ? undefined : Object.fromEntries(kept);
}

module.exports = { joined, makeContact };
