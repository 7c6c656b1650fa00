'use strict';

const assert = require('assert/strict');
const { test } = require('node:test');
const { compareReport } = require('../compare-report');

function blocks(count) {
  return `HrGetOneProp: ${count} block(s), ${count * 64} bytes`;
}

test('expects that nothing is held when no Exchange address was resolved', () => {
  assert.deepEqual(compareReport(0, false, ['Nothing is held.']), []);
  assert.equal(compareReport(0, false, [blocks(1)]).length, 2);
});

test('expects one block for each Exchange address that was resolved', () => {
  assert.deepEqual(compareReport(3, false, [blocks(3)]), []);
  assert.equal(compareReport(3, false, [blocks(2)]).length, 2);
  assert.equal(compareReport(3, false, [blocks(4)]).length, 2);
  assert.equal(compareReport(3, false, ['Nothing is held.']).length, 2);
});

test('takes more blocks where more may have been resolved, but not fewer', () => {
  assert.deepEqual(compareReport(3, true, [blocks(3)]), []);
  assert.deepEqual(compareReport(3, true, [blocks(4)]), []);
  assert.deepEqual(compareReport(0, true, ['Nothing is held.']), []);
  assert.equal(compareReport(3, true, [blocks(2)]).length, 2);
  assert.equal(compareReport(3, true, ['Nothing is held.']).length, 2);
});

test('names everything else that is held', () => {
  const line = 'IMAPITable from GetContentsTable: 1 object(s), 1 reference(s)';
  for (const orMore of [false, true]) {
    assert.deepEqual(compareReport(3, orMore, [blocks(3), line]), [`the end report says: ${line}`]);
  }
});

test('is not content with an empty report', () => {
  assert.equal(compareReport(0, false, []).length, 1);
  assert.equal(compareReport(3, true, []).length, 1);
});
