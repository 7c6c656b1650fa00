'use strict';

const assert = require('assert/strict');
const { test } = require('node:test');
const { ContactStore, parseMessage } = require('linkwell-host');
const { countTurns } = require('../support/agents');

const FOLDER = '00000000F1';
const OTHER_FOLDER = '00000000F2';

function line(name, id, folder = FOLDER) {
  return `${name};;;;;;;;;;00000000${id};${folder}`;
}

/** A store to which the texts have been applied, and its changes, in short, of all of them or of the last one. */
async function storeWith(...texts) {
  const store = new ContactStore();
  const changes = [];
  store.on('change', ({ operation, added, changed, removed }) => changes.push({
    operation,
    added: added.map(({ displayName }) => displayName),
    changed: changed.map(({ before, after }) => `${before.displayName} to ${after.displayName}`),
    removed: removed.map(({ displayName }) => displayName),
  }));
  let change;
  for (const text of texts) {
    change = await store.apply(parseMessage(text));
  }
  return { store, changes, change };
}

function namesIn(store) {
  return [...store.contacts.values()].map(({ displayName }) => displayName);
}

const SNAPSHOT = `2;snapshot;contact;0;3\n${line('Anna', 'A1')}\n${line('Ola', 'A2', OTHER_FOLDER)}`;
const SECOND_STORE = `2;snapshot;contact;2;3\n${line('Jun', 'A3', '00000000F3')}`;

test('has the contacts of all stores of a snapshot', async () => {
  const { store, changes } = await storeWith(SNAPSHOT, SECOND_STORE);
  assert.deepEqual(namesIn(store), ['Anna', 'Ola', 'Jun']);
  assert.equal(store.size, 3);
  assert.equal(store.get('00000000A2').displayName, 'Ola');
  assert.equal(store.get('00000000A9'), undefined);
  assert.deepEqual(store.folders, [FOLDER, OTHER_FOLDER, '00000000F3']);
  assert.deepEqual(store.contactsIn(FOLDER).map(({ displayName }) => displayName), ['Anna']);
  assert.deepEqual(store.contactsIn('00000000F9'), []);
  assert.deepEqual(changes, [
    { operation: 'snapshot', added: ['Anna', 'Ola'], changed: [], removed: [] },
    { operation: 'snapshot', added: ['Jun'], changed: [], removed: [] },
  ]);
});

test('adds, and changes what is added again', async () => {
  const { store, changes } = await storeWith(SNAPSHOT, `2;add;contact;0;1\n${line('Mia', 'A4')}\n${line('Anna Berg', 'A1')}`);
  assert.deepEqual(namesIn(store).sort(), ['Anna Berg', 'Mia', 'Ola']);
  assert.deepEqual(changes[1], { operation: 'add', added: ['Mia'], changed: ['Anna to Anna Berg'], removed: [] });
});

test('changes, adds what it does not know, and says nothing of what stays as it is', async () => {
  const { changes } = await storeWith(
    SNAPSHOT, `2;change;contact;0;1\n${line('Anna Berg', 'A1')}\n${line('Mia', 'A4')}\n${line('Ola', 'A2', OTHER_FOLDER)}`,
    `2;change;contact;0;1\n${line('Mia', 'A4')}`,
  );
  assert.equal(changes.length, 2);
  assert.deepEqual(changes[1], { operation: 'change', added: ['Mia'], changed: ['Anna to Anna Berg'], removed: [] });
});

test('moves a contact to another folder', async () => {
  const { store } = await storeWith(SNAPSHOT, `2;change;contact;0;1\n${line('Anna', 'A1', OTHER_FOLDER)}`);
  assert.deepEqual(store.folders, [OTHER_FOLDER]);
  assert.equal(store.contactsIn(OTHER_FOLDER).length, 2);
});

test('deletes, with the contact as it was, and names what it does not know', async () => {
  const { store, change } = await storeWith(SNAPSHOT, '2;delete;contact;0;1\n;;;;;;;;;;00000000A1;\n;;;;;;;;;;00000000A9;\n');
  assert.deepEqual(namesIn(store), ['Ola']);
  assert.deepEqual(change.removed.map(({ displayName }) => displayName), ['Anna']);
  assert.deepEqual([change.unknown, change.unreadable], [['00000000A9'], ['']]);
});

test('deletes a folder with its contacts', async () => {
  const { store, change } = await storeWith(SNAPSHOT, `2;delete;folder;0;1\n${OTHER_FOLDER}\n00000000F9`);
  assert.deepEqual(namesIn(store), ['Anna']);
  assert.deepEqual(store.folders, [FOLDER]);
  assert.deepEqual(change.removed.map(({ displayName }) => displayName), ['Ola']);
  assert.deepEqual(change.unknown, ['00000000F9']);
});

test('keeps nothing that has no identifier', async () => {
  const { store, change } = await storeWith('2;add;contact;0;1\nAnna;;;;;;;;;;;');
  assert.equal(store.size, 0);
  assert.deepEqual(change.unreadable, ['Anna;;;;;;;;;;;']);
});

for (const [what, texts] of Object.entries({
  'begins at the same store': [SNAPSHOT, SNAPSHOT],
  'begins at an earlier store': [SNAPSHOT, SECOND_STORE, SNAPSHOT],
  'has another number of stores': [SECOND_STORE.replace('2;3', '0;3'), SNAPSHOT.replace('0;3', '1;4')],
  'comes behind a change': [SNAPSHOT, `2;add;contact;0;1\n${line('Mia', 'A4')}`, SECOND_STORE],
})) {
  test(`forgets all when a snapshot ${what}`, async () => {
    const { store, changes } = await storeWith(...texts);
    const last = parseMessage(texts.at(-1)).items.map(({ contact }) => contact.displayName);
    assert.deepEqual(namesIn(store), last);
    assert.equal(changes.at(-2).operation, 'clear');
    assert.deepEqual(changes.at(-1), { operation: 'snapshot', added: last, changed: [], removed: [] });
  });
}

test('forgets all when it is told to', async () => {
  const { store, changes } = await storeWith(SNAPSHOT);
  await store.clear();
  assert.equal(store.size, 0);
  assert.deepEqual(store.folders, []);
  assert.deepEqual(changes[1], { operation: 'clear', added: [], changed: [], removed: ['Anna', 'Ola'] });
  await store.apply(parseMessage(SECOND_STORE));
  assert.equal(changes.length, 3);
});

test('applies a large message in slices, and calls one after the other', async () => {
  const store = new ContactStore();
  const lines = Array.from({ length: 100000 }, (_, place) => line('Anna', `A1${String(place).padStart(6, '0')}`));
  const message = parseMessage(`2;add;contact;0;1\n${lines.join('\n')}`);
  const turns = countTurns();
  const added = store.apply(message);
  const removed = store.apply(parseMessage(`2;delete;folder;0;1\n${FOLDER}`));
  assert.equal((await added).added.length, 100000);
  const counted = turns();
  assert.equal((await removed).removed.length, 100000);
  assert.equal(store.size, 0);
  assert.ok(counted >= 2, `${counted} turns of the event loop`);
});

test('goes on behind a listener that throws', async () => {
  const store = new ContactStore();
  store.once('change', () => { throw new Error('no'); });
  await assert.rejects(store.apply(parseMessage(SNAPSHOT)), /no/);
  await store.apply(parseMessage(SECOND_STORE));
  assert.equal(store.size, 3);
});
