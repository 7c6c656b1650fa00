'use strict';

const assert = require('assert/strict');
const { test } = require('node:test');
const { compareMessages } = require('../compare-messages');

const EXPECTED = [
  { of: 'the store "a"', text: '2;snapshot;contact;0;3\nx\ny;z' },
  { of: 'the store "c"', text: '2;snapshot;contact;2;3\nw' },
];

function event(index, ...lines) {
  return {
    event: 'message', operation: 'snapshot', kind: 'contact', index, total: 3, items: lines.map((text) => ({ text })),
  };
}

const FIRST = event(0, 'x', 'y;z');
const LAST = event(2, 'w');

test('finds no difference when exactly the expected messages have arrived', () => {
  assert.deepEqual(compareMessages(EXPECTED, [{ event: 'listening' }, FIRST, LAST, { event: 'closed' }]), []);
  assert.deepEqual(compareMessages([], []), []);
});

test('names the message that has not arrived', () => {
  assert.deepEqual(compareMessages(EXPECTED, [FIRST]), ['the message of the store "c" has not arrived']);
});

test('shows the first line that differs', () => {
  assert.deepEqual(compareMessages(EXPECTED, [event(0, 'x', 'y'), LAST]), [
    'message 1, of the store "a", differs in line 3:\n  expected "y;z"\n  arrived  "y"',
  ]);
});

test('shows a line that is missing, and one too many', () => {
  assert.match(compareMessages(EXPECTED, [event(0, 'x'), LAST])[0], /expected "y;z"\n {2}arrived {2}\(no such line\)$/);
  assert.match(compareMessages(EXPECTED, [FIRST, event(2, 'w', '')])[0],
    /expected \(no such line\)\n {2}arrived {2}""$/);
});

test('finds wrong header fields, and messages in another order', () => {
  assert.equal(compareMessages(EXPECTED, [FIRST, event(1, 'w')]).length, 1);
  assert.equal(compareMessages(EXPECTED, [FIRST, { ...LAST, operation: 'change' }]).length, 1);
  assert.equal(compareMessages(EXPECTED, [LAST, FIRST]).length, 2);
});

test('finds a message too many', () => {
  assert.deepEqual(compareMessages(EXPECTED, [FIRST, LAST, event(2, 'w')]), [
    'a message that is not expected has arrived: "2;snapshot;contact;2;3\\nw"',
  ]);
});

test('reports what went wrong on the host\'s side', () => {
  const events = [FIRST, { event: 'malformed', reason: 'why' }, { event: 'incomplete' }, LAST];
  assert.deepEqual(compareMessages(EXPECTED, events), [
    'the host reports "malformed": why',
    'the host reports "incomplete"',
  ]);
});
