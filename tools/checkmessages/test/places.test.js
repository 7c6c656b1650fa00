'use strict';

const assert = require('assert/strict');
const { test } = require('node:test');
const { Places, parentPath } = require('../places');

const UID1 = '4C696E6B77656C6C53616E64626F7801';
const UID2 = '4C696E6B77656C6C53616E64626F7802';

function folderId(number, uid = UID1) {
  return `00000000${uid}0100${uid}00000000000${number}0000`;
}

function messageId(folder, number, uid = UID1) {
  return `00000000${uid}0700${uid}00000000000${folder}0000${uid}00000000000${number}0000`;
}

function places() {
  return new Places({
    stores: [
      {
        name: 'Box',
        ipmSubtree: { messages: [{ displayName: 'Top' }] },
        rootFolders: [{ name: 'Beside', messages: [{ displayName: 'Nowhere' }] }],
        folders: [
          { name: 'A', messages: [{ displayName: 'Ada' }, { displayName: 'Twin' }, { displayName: 'Twin' }] },
          { name: 'B', entryId: '00 0b', messages: [{}, { displayName: 'Guard / Night' }], folders: [{ name: 'C' }] },
        ],
      },
      { name: 'Other', folders: [{ name: 'A', messages: [{ displayName: 'Ada' }] }] },
    ],
  });
}

test('knows what the mailbox file has', () => {
  const known = places();
  assert.equal(known.entryId('Box'), folderId(2));
  assert.equal(known.entryId('Box/Top'), messageId(2, 1));
  assert.equal(known.entryId('Box/A'), folderId(3));
  assert.equal(known.entryId('Box/A/Ada'), messageId(3, 2));
  assert.equal(known.entryId('Box/B'), '000B');
  assert.equal(known.entryId('Box/B/C'), folderId(5));
  assert.equal(known.entryId('Box/B/Guard \\/ Night'), messageId(4, 6));
  assert.equal(known.entryId('Other/A/Ada'), messageId(3, 1, UID2));
});

test('gives what is made the next number of its store', () => {
  const known = places();
  known.makeContact('Box/B/Eve');
  known.makeFolder('Box/B/C/D');
  known.makeContact('Box/B/C/D/Fay');
  known.makeContact('Other/A/Gus');
  assert.equal(known.entryId('Box/B/Eve'), messageId(4, 8));
  assert.equal(known.entryId('Box/B/C/D'), folderId(7));
  assert.equal(known.entryId('Box/B/C/D/Fay'), messageId(7, 9));
  assert.equal(known.entryId('Other/A/Gus'), messageId(3, 2, UID2));
});

test('has the latest word on a place, and keeps identifiers that move along', () => {
  const known = places();
  known.makeContact('Box/A/Ada');
  assert.equal(known.entryId('Box/A/Ada'), messageId(3, 8));
  known.keep('Box/B/Ada', 'Box/A/Ada');
  assert.equal(known.entryId('Box/B/Ada'), messageId(3, 8));
});

test('does not guess', () => {
  const known = places();
  assert.throws(() => known.entryId('Box/A/Twin'), /more than one/);
  assert.throws(() => known.entryId('Box/Beside/Nowhere'), /nowhere/);
  assert.throws(() => known.makeContact('Box/A/Ada/Eve'), /no folder/);
  assert.throws(() => known.makeFolder('Box/Z/D'), /nowhere/);
  assert.throws(() => known.keep('Box/Z/Ada', 'Box/A/Ada'), /nowhere/);
});

test('tells the folder in which something lies', () => {
  assert.equal(parentPath('Box/A/Ada'), 'Box/A');
  assert.equal(parentPath('Box/A/Guard \\/ Night'), 'Box/A');
  assert.equal(parentPath('Box/A\\\\/Ada'), 'Box/A\\\\');
  assert.throws(() => parentPath('Box'), /no path/);
});
