'use strict';

const assert = require('assert/strict');
const { test } = require('node:test');
const { compareReport } = require('../compare-report');

const NONE = [{ exchangeAddresses: 0 }];
const THREE = [{ exchangeAddresses: 2 }, { exchangeAddresses: 0 }, { exchangeAddresses: 1 }];

test('expects that nothing is held when no Exchange address was resolved', () => {
  assert.deepEqual(compareReport(NONE, ['Nothing is held.']), []);
  assert.equal(compareReport(NONE, ['HrGetOneProp: 1 block(s), 64 bytes']).length, 2);
});

test('expects one block for each Exchange address that was resolved', () => {
  assert.deepEqual(compareReport(THREE, ['HrGetOneProp: 3 block(s), 192 bytes']), []);
  assert.equal(compareReport(THREE, ['HrGetOneProp: 4 block(s), 192 bytes']).length, 2);
  assert.equal(compareReport(THREE, ['Nothing is held.']).length, 2);
});

test('names everything else that is held', () => {
  const line = 'IMAPITable from GetContentsTable: 1 object(s), 1 reference(s)';
  const differences = compareReport(THREE, ['HrGetOneProp: 3 block(s), 192 bytes', line]);
  assert.deepEqual(differences, [`the end report says: ${line}`]);
});

test('is not content with an empty report', () => {
  assert.equal(compareReport(NONE, []).length, 1);
});
