// The demo's record, which scripts/lib/demo-transcript.txt keeps, through the whole library.
'use strict';

const assert = require('assert/strict');
const { test } = require('node:test');
const { ContactStore } = require('linkwell-host');
const { exchange, startHost } = require('../support/agents');
const { readTranscript } = require('../support/transcript');

test('takes the demo\'s record whole', async (t) => {
  const { host, errors, connect } = await startHost(t);
  const store = new ContactStore();
  const changes = [];
  host.on('message', async (message) => changes.push(await store.apply(message)));
  const send = async ({ texts }) => {
    for (const text of texts) {
      assert.equal(await exchange(connect, text), 'ack');
    }
  };
  const find = (name) => [...store.contacts.values()].find(({ displayName }) => displayName === name);
  const [snapshot, ...edits] = readTranscript();
  await send(snapshot);

  assert.equal(snapshot.texts.length, 3);
  assert.equal(store.size, 37);
  const { entryId, folderEntryId, ...fields } = find('Grün; Müller; Partner');
  assert.deepEqual(fields, {
    displayName: 'Grün; Müller; Partner',
    givenName: 'Klaus',
    middleName: '',
    surname: 'Grün',
    company: 'Beispiel GmbH\r\nAbteilung 7; Haus B\nBerlin',
    email: 'kontakt@example.net',
    businessPhone: '+49 30 23125 007',
    homePhone: '',
    mobilePhone: '',
    businessFax: '+49 30 23125 008',
  });
  assert.ok(entryId.endsWith('120000'));
  assert.equal(folderEntryId, find('Åsa Öberg').folderEntryId);
  assert.ok([...store.contacts.values()].every((contact) => /^([0-9A-F]{2})+$/.test(contact.entryId)));

  const gone = edits.findIndex(({ heading }) => heading.includes('a folder is deleted'));
  for (const edit of edits.slice(0, gone)) {
    await send(edit);
  }
  assert.equal(store.size, 40);
  assert.notEqual(find('Grün; Müller; Partner'), undefined);
  assert.equal(find('Åsa Öberg').mobilePhone, '+46 70 174 06 99');
  assert.equal(find('Only A. Name'), undefined);
  assert.notEqual(find('Ana Ferreira'), undefined);

  for (const edit of edits.slice(gone)) {
    await send(edit);
  }
  assert.equal(store.size, 32);
  assert.equal(find('Ana Ferreira'), undefined); // she went with her folder
  assert.deepEqual(errors, []);
  for (const change of changes) {
    assert.deepEqual([change.unknown, change.unreadable], [[], []]);
  }
});
