'use strict';

const assert = require('assert/strict');
const { test } = require('node:test');
const { parseMailboxJson } = require('../mailbox-json');

test('reads JSON with comments of both forms', () => {
  assert.deepEqual(parseMailboxJson('// one\n{"a": /* two\n * lines */ [1, 2] // "three"\n}'), { a: [1, 2] });
});

test('leaves what looks like a comment within a text', () => {
  const value = { 'http://a': '/* b */ \\" // c', d: '\\' };
  assert.deepEqual(parseMailboxJson(JSON.stringify(value)), value);
});

test('refuses what is no JSON', () => {
  assert.throws(() => parseMailboxJson('{"a": 1,}'), SyntaxError);
});
