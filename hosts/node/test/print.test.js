'use strict';

const assert = require('assert/strict');
const { test } = require('node:test');
const { parseMessage } = require('../lib/message');
const { formatJson, formatMessage, printable } = require('../lib/print');

function format(text) {
  return [...formatMessage(parseMessage(text), Buffer.byteLength(text))].join('');
}

test('prints a contact with labels, and leaves out what is absent', () => {
  const text = '2;snapshot;contact;1;3\nAnna Berg;Anna;;Berg;Nordlicht AG;;+49 30 1111;;+49 170 2222;;00A1;00E5';
  assert.equal(format(text), [
    '=== snapshot: store 2 of 3, 1 contact line, 94 bytes',
    '     1  Anna Berg',
    '          first name   Anna',
    '          last name    Berg',
    '          company      Nordlicht AG',
    '          business     +49 30 1111',
    '          mobile       +49 170 2222',
    '          entry id     00A1',
    '          folder id    00E5',
    '',
  ].join('\n'));
});

test('prints deleted folders', () => {
  assert.equal(format('2;delete;folder;0;1\n00E5\n00E6'), [
    '=== delete: 2 folder lines, 29 bytes',
    '     1  folder 00E5',
    '     2  folder 00E6',
    '',
  ].join('\n'));
});

test('shows a line that has not twelve fields as it came, with the reason', () => {
  assert.equal(format('2;add;contact;0;1\nBerg; Anna;;;;;;;;;;00A1;00E5'), [
    '=== add: 1 contact line, 47 bytes',
    '     1  ?  13 field(s) instead of 12: a ";" or a line break in a field',
    '          Berg; Anna;;;;;;;;;;00A1;00E5',
    '    (1 of 1 contact line could not be read)',
    '',
  ].join('\n'));
});

test('prints a contact without a name', () => {
  assert.match(format('2;delete;contact;0;1\n;;;;;;;;;;00A1;'), /\n {5}1 {2}\(no name\)\n {10}entry id +00A1\n$/);
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
    { event: 'message', bytes: 3, ...parseMessage('2;add;contact;0;1\nAnna;;;;;;;;;;00A1;00E5\n"\u2028\\') },
  ]) {
    const line = [...formatJson(event)].join('');
    assert.equal(line.indexOf('\n'), line.length - 1);
    assert.deepEqual(JSON.parse(line), event);
  }
});
