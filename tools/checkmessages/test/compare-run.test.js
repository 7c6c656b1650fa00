'use strict';

const assert = require('assert/strict');
const { test } = require('node:test');
const { compareRun } = require('../compare-run');

const STORES = [{ name: 'a', message: '2;snapshot;contact;0;2\nx' }, { name: 'b', message: null }];
const EDITS = [
  { shows: 'An addition.', messages: ['2;add;contact;0;1\ny'] },
  { shows: 'Nothing.', messages: [] },
  { shows: 'A move.', messages: ['2;delete;contact;0;1\ny', '2;add;contact;0;1\nz'] },
];
const MARKS = ['snapshot 2', 'edit 3', 'edit 3', 'edit 5'];

function message(operation, line, total = 1) {
  return { event: 'message', operation, kind: 'contact', index: 0, total, items: [{ text: line }] };
}

const LISTENING = { event: 'listening' };
const SNAPSHOT = message('snapshot', 'x', 2);
const ADDED = message('add', 'y');
const GONE = message('delete', 'y');
const BACK = message('add', 'z');
const RECORD = [LISTENING, SNAPSHOT, ADDED, GONE, BACK];

test('finds no difference when each part has brought its messages', () => {
  assert.deepEqual(compareRun(STORES, EDITS, RECORD, MARKS), []);
  assert.deepEqual(compareRun(STORES, EDITS, [...RECORD, { event: 'closed' }], [...MARKS, 'end 6']), []);
});

test('finds a message that has come of another edit', () => {
  assert.deepEqual(compareRun(STORES, EDITS, RECORD, ['snapshot 2', 'edit 2', 'edit 3', 'edit 5']), [
    'edit 1 ("An addition."): the message of "2;add;contact;0;1" has not arrived',
    'edit 2 ("Nothing."): a message that is not expected has arrived: "2;add;contact;0;1\\ny"',
  ]);
});

test('finds a message that has come before the first edit', () => {
  const [difference] = compareRun(STORES, EDITS, RECORD, ['snapshot 3', 'edit 3', 'edit 3', 'edit 5']);
  assert.equal(difference, 'the snapshot: a message that is not expected has arrived: "2;add;contact;0;1\\ny"');
});

test('finds the messages of an edit in another order, and ones that differ', () => {
  assert.equal(compareRun(STORES, EDITS, [LISTENING, SNAPSHOT, ADDED, BACK, GONE], MARKS).length, 2);
  assert.deepEqual(compareRun(STORES, EDITS, [LISTENING, SNAPSHOT, message('add', 'Y'), GONE, BACK], MARKS), [
    'edit 1 ("An addition."): message 1, of "2;add;contact;0;1", differs in line 2:\n  expected "y"\n  arrived  "Y"',
  ]);
});

test('counts what comes after the last edit only when the end is marked', () => {
  assert.deepEqual(compareRun(STORES, EDITS, [...RECORD, ADDED], MARKS), []);
  assert.deepEqual(compareRun(STORES, EDITS, [...RECORD, ADDED], [...MARKS, 'end 6']), [
    'the time after the last edit: a message that is not expected has arrived: "2;add;contact;0;1\\ny"',
  ]);
});

test('tells which part has not ended', () => {
  assert.deepEqual(compareRun(STORES, EDITS, RECORD.slice(0, 1), []), [
    'the snapshot: the message of the store "a" has not arrived',
    'the snapshot: its end has not been seen',
  ]);
  assert.deepEqual(compareRun(STORES, EDITS, RECORD, MARKS.slice(0, 3)), [
    'edit 3 ("A move."): its end has not been seen',
  ]);
});

test('refuses marks that make no sense', () => {
  for (const marks of [
    ['snapshot 2', 'edit 9'], ['snapshot 2', 'edit 1'], ['snapshot two'], ['pause 2'], ['edit 2'], ['snapshot 2', 'end 3'],
    [...MARKS, 'edit 5'], [...MARKS, 'end 5', 'end 5'],
  ]) {
    assert.throws(() => compareRun(STORES, EDITS, RECORD, marks), /mark/);
  }
});
