'use strict';

const assert = require('assert/strict');
const { test } = require('node:test');
const { CONTACT_FIELDS, MalformedMessageError, parseMessage } = require('../lib/message');

const ANNA = 'Anna Berg;Anna;;Berg;Nordlicht AG;;+49 30 1111;;+49 170 2222;;00000000A1B2C3D4;00000000E5F60718';

test('reads header and contacts of a snapshot', () => {
  const message = parseMessage(`2;snapshot;contact;0;2\n${ANNA}\nOla Lind;Ola;;Lind;;;;;;;00A1;00E5`);
  assert.equal(message.operation, 'snapshot');
  assert.equal(message.kind, 'contact');
  assert.equal(message.index, 0);
  assert.equal(message.total, 2);
  assert.equal(message.items.length, 2);
  assert.equal(message.items[0].text, ANNA);
  assert.deepEqual(message.items[0].contact, {
    displayName: 'Anna Berg',
    givenName: 'Anna',
    middleName: '',
    surname: 'Berg',
    company: 'Nordlicht AG',
    email: '',
    businessPhone: '+49 30 1111',
    homePhone: '',
    mobilePhone: '+49 170 2222',
    businessFax: '',
    entryId: '00000000A1B2C3D4',
    folderEntryId: '00000000E5F60718',
  });
  assert.equal(message.items[1].contact.displayName, 'Ola Lind');
});

test('puts the home telephone before the mobile telephone', () => {
  const line = CONTACT_FIELDS.map((_, place) => String(place + 1)).join(';');
  const { contact } = parseMessage(`2;add;contact;0;1\n${line}`).items[0];
  assert.equal(contact.homePhone, '8');
  assert.equal(contact.mobilePhone, '9');
  assert.equal(contact.businessFax, '10');
});

test('reads a deleted contact, of which the entry identifier alone is known', () => {
  const { operation, items } = parseMessage('2;delete;contact;0;1\n;;;;;;;;;;00000000A1B2C3D4;');
  assert.equal(operation, 'delete');
  assert.equal(items[0].contact.entryId, '00000000A1B2C3D4');
  assert.equal(items[0].contact.displayName, '');
  assert.equal(items[0].contact.folderEntryId, '');
});

test('reads deleted folders', () => {
  const { kind, items } = parseMessage('2;delete;folder;0;1\n00000000E5F60718\n00AB');
  assert.equal(kind, 'folder');
  assert.deepEqual(items.map((item) => item.folderEntryId), ['00000000E5F60718', '00AB']);
});

test('says that a folder line is no entry identifier', () => {
  const { items } = parseMessage('2;delete;folder;0;1\n00e5\nABC\n\n00FF');
  assert.deepEqual(items.map((item) => Boolean(item.problem)), [true, true, true, false]);
});

test('hands on a line with a semicolon in a name, without fields', () => {
  const { items } = parseMessage(`2;add;contact;0;1\nBerg; Anna;;;;;;;;;;00A1;00E5\n${ANNA}`);
  assert.equal(items[0].text, 'Berg; Anna;;;;;;;;;;00A1;00E5');
  assert.equal(items[0].contact, undefined);
  assert.match(items[0].problem, /^13 field\(s\) instead of 12/);
  assert.equal(items[1].contact.displayName, 'Anna Berg');
});

test('hands on both halves of a line with a line break in a field', () => {
  const { items } = parseMessage('2;add;contact;0;1\nAnna;;;;Nordlicht\nAG;;;;;;00A1;00E5');
  assert.deepEqual(items.map((item) => item.text), ['Anna;;;;Nordlicht', 'AG;;;;;;00A1;00E5']);
  assert.match(items[0].problem, /^5 field/);
  assert.match(items[1].problem, /^8 field/);
});

test('takes an empty line for a contact of which nothing is known', () => {
  const { items } = parseMessage(`2;snapshot;contact;0;1\n${ANNA}\n\n${ANNA}`);
  assert.equal(items.length, 3);
  assert.match(items[1].problem, /^an empty line/);
});

test('takes an empty body for one empty item', () => {
  assert.equal(parseMessage('2;snapshot;contact;0;1\n').items.length, 1);
});

test('leaves a carriage return where it is', () => {
  assert.equal(parseMessage('2;add;contact;0;1\nA\r;;;;;;;;;;00A1;00E5').items[0].contact.displayName, 'A\r');
});

for (const [what, text] of Object.entries({
  'an empty text': '',
  'a header without a line feed': '2;snapshot;contact;0;1',
  'another version': '3;snapshot;contact;0;1\n',
  'a missing field': '2;snapshot;contact;0\n',
  'a field too many': '2;snapshot;contact;0;1;\n',
  'an unknown operation': '2;update;contact;0;1\n',
  'an operation in capitals': '2;Snapshot;contact;0;1\n',
  'an unknown kind': '2;snapshot;contacts;0;1\n',
  'an empty index': '2;snapshot;contact;;1\n',
  'a negative index': '2;snapshot;contact;-1;1\n',
  'a padded index': '2;snapshot;contact;00;1\n',
  'a total that is no number': '2;snapshot;contact;0;x\n',
  'a byte order mark': '\ufeff2;snapshot;contact;0;1\n',
  'a carriage return behind the header': '2;snapshot;contact;0;1\r\n',
})) {
  test(`refuses ${what}`, () => {
    assert.throws(() => parseMessage(text), MalformedMessageError);
  });
}
