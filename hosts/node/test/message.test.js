'use strict';

const assert = require('assert/strict');
const { test } = require('node:test');
const { CONTACT_FIELDS, MalformedMessageError, parseMessage } = require('linkwell-host');

const ANNA = 'Anna Berg;Anna;;Berg;Nordlicht AG;;+49 30 1111;;+49 170 2222;;00000000A1B2C3D4;00000000E5F60718';

test('reads header and contacts of a snapshot', () => {
  const message = parseMessage(`2;snapshot;contact;0;2\n${ANNA}\nOla Lind;Ola;;Lind;;;;;;;00000000A1;00000000E5`);
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
  const line = `1;2;3;4;5;6;7;8;9;10;00000000A1;00000000E5`;
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

test('makes nothing of a folder line that is no entry identifier', () => {
  const { items } = parseMessage('2;delete;folder;0;1\n00e5\nABC\n\n00FF');
  assert.deepEqual(items, [{ text: '00e5' }, { text: 'ABC' }, { text: '' }, { text: '00FF', folderEntryId: '00FF' }]);
});

test('takes an empty body for one empty item', () => {
  assert.deepEqual(parseMessage('2;delete;contact;0;1\n').items, [{ text: '' }]);
});

test('gives the length in bytes', () => {
  assert.equal(parseMessage('2;delete;contact;0;1\nЖ').bytes, 23);
});

test('leaves a carriage return where it is', () => {
  assert.equal(parseMessage('2;add;contact;0;1\nA\r;;;;;;;;;;00000000A1;00000000E5').items[0].contact.displayName, 'A\r');
});

test('names the fields of a contact in the order of the wire', () => {
  const { contact } = parseMessage(`2;add;contact;0;1\n${ANNA}`).items[0];
  assert.equal(CONTACT_FIELDS.map((field) => contact[field]).join(';'), ANNA);
  assert.deepEqual(Object.keys(contact), CONTACT_FIELDS);
});

for (const [what, code, text] of [
  ['an empty text', 'HEADER', ''],
  ['a header without a line feed', 'HEADER', '2;snapshot;contact;0;1'],
  ['a newer version', 'VERSION', '3;snapshot;contact;0;1\n'],
  ['a newer version with other fields', 'VERSION', '10;snapshot;contact\n'],
  ['a version that is no number', 'HEADER', 'x;snapshot;contact;0;1\n'],
  ['a missing field', 'HEADER', '2;snapshot;contact;0\n'],
  ['a field too many', 'HEADER', '2;snapshot;contact;0;1;\n'],
  ['an unknown operation', 'OPERATION', '2;update;contact;0;1\n'],
  ['an operation in capitals', 'OPERATION', '2;Snapshot;contact;0;1\n'],
  ['an unknown kind', 'KIND', '2;snapshot;contacts;0;1\n'],
  ['an operation that folders don\'t have', 'OPERATION', '2;add;folder;0;1\n'],
  ['an empty index', 'HEADER', '2;snapshot;contact;;1\n'],
  ['a negative index', 'HEADER', '2;snapshot;contact;-1;1\n'],
  ['a padded index', 'HEADER', '2;snapshot;contact;00;1\n'],
  ['a total that is no number', 'HEADER', '2;snapshot;contact;0;x\n'],
  ['a byte order mark', 'HEADER', '\ufeff2;snapshot;contact;0;1\n'],
  ['a carriage return behind the header', 'HEADER', '2;snapshot;contact;0;1\r\n'],
  ['a header as long as a message', 'HEADER', `${'2;'.repeat(100000)}\n2`],
]) {
  test(`refuses ${what}, and keeps its text`, () => {
    assert.throws(() => parseMessage(text), (error) => {
      assert.ok(error instanceof MalformedMessageError);
      assert.deepEqual([error.code, error.text], [`ERR_LINKWELL_${code}`, text]);
      return true;
    });
  });
}
