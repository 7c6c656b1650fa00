'use strict';

const assert = require('assert/strict');
const { test } = require('node:test');
const { ContactStore, parseMessage } = require('linkwell-host');
const { formatJson, formatMessage, printable, shortId } = require('../lib/print');

const LONG_ID = '000000004C696E6B77656C6C53616E64626F780107004C696E6B77656C6C00120000';

/** The last of the messages, as it is printed by a host that has had all of them. */
async function format(...texts) {
  const store = new ContactStore();
  let printed = '';
  for (const text of texts) {
    const message = parseMessage(text);
    printed = [...formatMessage(message, await store.apply(message))].join('');
  }
  return printed;
}

function lines(...texts) {
  return `${texts.join('\n')}\n`;
}

test('prints a contact with labels, and leaves out what is absent', async () => {
  const text = `2;snapshot;contact;1;3\nAnna Berg;Anna;;Berg;Nordlicht AG;;+49 30 1111;;+49 170 2222;;${LONG_ID};00000000E5`;
  assert.equal(await format(text), lines(
    `=== snapshot: store 2 of 3, 1 contact, ${text.length} bytes`,
    '     1  Anna Berg',
    '          first name   Anna',
    '          last name    Berg',
    '          company      Nordlicht AG',
    '          business     +49 30 1111',
    '          mobile       +49 170 2222',
    '          entry id     …6C6C00120000',
    '          folder id    00000000E5',
  ));
});

test('prints a contact whose fields are guessed with its text, without its identifiers', async () => {
  assert.equal(await format('2;add;contact;0;1\nGrün; Müller;;;;A\nB;;;;;;00000000A1;00000000E5'), lines(
    '=== add: 1 contact, 66 bytes',
    '     1  Grün; Müller',
    '          company      A\\u{a}B',
    '          entry id     00000000A1',
    '          folder id    00000000E5',
    '          a ";" stands in a field, so where fields begin is guessed. As it came:',
    '          Grün; Müller;;;;A\\u{a}B;;;;;',
  ));
});

test('prints what no contact can be made of', async () => {
  assert.equal(await format('2;add;contact;0;1\nAnna\nBerg'), lines(
    '=== add: 1 contact, 27 bytes',
    '     1  ?  no contact can be made of this',
    '          Anna\\u{a}Berg',
  ));
});

test('prints deleted contacts by their names', async () => {
  assert.equal(await format(
    '2;add;contact;0;1\nAnna;;;;;;;;;;00000000A1;00000000E5',
    '2;delete;contact;0;1\n;;;;;;;;;;00000000A1;\n;;;;;;;;;;00000000A2;\n',
  ), lines(
    '=== delete: 3 contacts, 65 bytes',
    '     1  Anna',
    '          entry id     00000000A1',
    '     2  (not known here)',
    '          entry id     00000000A2',
    '     3  (an empty line)',
  ));
});

test('prints deleted folders with the names of who was in them', async () => {
  const contacts = Array.from({ length: 7 }, (_, place) => `C${place};;;;;;;;;;00000000A${place};00000000E5`).join('\n');
  assert.equal(await format(
    `2;snapshot;contact;0;1\n${contacts}\nOla;;;;;;;;;;00000000B1;00000000E6`,
    '2;delete;folder;0;1\n00000000E5\n00000000E6\n00000000E7',
  ), lines(
    '=== delete: 3 folders, 52 bytes',
    '     1  folder 00000000E5',
    '          with C0, C1, C2, C3, C4, and 2 more',
    '     2  folder 00000000E6',
    '          with Ola',
    '     3  folder 00000000E7',
    '          (no known contact was in it)',
  ));
});

test('prints a contact without a name', async () => {
  assert.match(await format('2;add;contact;0;1\n;;;;;;;;;;00000000A1;00000000E5'), /\n {5}1 {2}\(no name\)\n/);
});

test('shortens long identifiers alone', () => {
  assert.equal(shortId('00000000A1B2C3D4'), '00000000A1B2C3D4');
  assert.equal(shortId('1100000000A1B2C3D4'), '…0000A1B2C3D4');
});

test('writes characters that a terminal would act on as their codes', () => {
  assert.equal(printable('a\u001b[2Jb\rc\u0000\u202ed'), 'a\\u{1b}[2Jb\\u{d}c\\u{0}\\u{202e}d');
});

test('leaves letters of any script as they are', () => {
  for (const name of ['Ægir Þórðarson', 'Жанна', '山田 太郎', 'سارة', '👩‍💻']) {
    assert.equal(printable(name), name);
  }
});

test('gives an event as one line of JSON', () => {
  for (const event of [
    { event: 'closed', answered: 2 },
    { event: 'message', bytes: 3, items: [] },
    { event: 'message', ...parseMessage('2;add;contact;0;1\nAnna;;;;;;;;;;00000000A1;00000000E5\n"\u2028\\') },
  ]) {
    const line = [...formatJson(event)].join('');
    assert.equal(line.indexOf('\n'), line.length - 1);
    assert.deepEqual(JSON.parse(line), event);
  }
});
