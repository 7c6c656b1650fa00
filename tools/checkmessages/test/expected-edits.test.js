'use strict';

const assert = require('assert/strict');
const { test } = require('node:test');
const { expectedEdits } = require('../expected-edits');

const UID = '4C696E6B77656C6C53616E64626F7801';
const FOLDER = `00000000${UID}0100${UID}0000000000030000`;
const ADA = `00000000${UID}0700${UID}0000000000030000${UID}0000000000010000`;
const EVE = `00000000${UID}0700${UID}0000000000030000${UID}0000000000020000`;

const MAILBOX = { stores: [{ name: 'Box', folders: [{ name: 'A', messages: [{ displayName: 'Ada' }] }] }] };

function edit(more) {
  return { shows: 'Something.', command: ['list'], arrives: [], ...more };
}

function arriving(...items) {
  return edit({ arrives: [{ header: '2;change;contact;0;1', items }] });
}

test('writes the messages as they are on the wire', () => {
  const edits = [
    edit({
      makes: [['contact', 'Box/A/Eve']],
      exchangeAddresses: 1,
      arrives: [
        { header: '2;delete;contact;0;1', items: [{ goneContact: 'Box/A/Ada' }] },
        { header: '2;add;contact;0;1', items: [{ contact: 'Box/A/Eve', fields: 'Eve;2;3;4;5;6;7;8;9;10' }] },
      ],
    }),
    edit(),
    edit({ arrives: [{ header: '2;delete;folder;0;1', items: [{ goneFolder: 'Box/A' }] }] }),
  ];
  assert.deepEqual(expectedEdits(MAILBOX, edits), [
    {
      shows: 'Something.',
      messages: [
        `2;delete;contact;0;1\n;;;;;;;;;;${ADA};`,
        `2;add;contact;0;1\nEve;2;3;4;5;6;7;8;9;10;${EVE};${FOLDER}`,
      ],
      exchangeAddresses: 1,
    },
    { shows: 'Something.', messages: [], exchangeAddresses: 0 },
    { shows: 'Something.', messages: [`2;delete;folder;0;1\n${FOLDER}`], exchangeAddresses: 0 },
  ]);
});

test('tells what is there after the edits before it', () => {
  const [, second] = expectedEdits(MAILBOX, [
    edit({ makes: [['folder', 'Box/B'], ['keeps', 'Box/B/Ada', 'Box/A/Ada']] }),
    arriving({ contact: 'Box/B/Ada', fields: 'Ada;;;;;;;;;' }),
  ]);
  assert.deepEqual(second.messages, [
    `2;change;contact;0;1\nAda;;;;;;;;;;${ADA};00000000${UID}0100${UID}0000000000040000`,
  ]);
});

for (const [what, wrong] of Object.entries({
  'an edit with an unknown key': edit({ arrive: [] }),
  'an edit that does not say what arrives': { shows: 'Something.', command: [] },
  'something made that is neither contact nor folder': edit({ makes: [['store', 'Box/B']] }),
  'an item of an unknown kind': arriving({ store: 'Box' }),
  'a contact with other than ten fields': arriving({ contact: 'Box/A/Ada', fields: 'Ada;;;;;;;;' }),
  'an item that is nowhere': arriving({ goneContact: 'Box/A/Eve' }),
})) {
  test(`refuses ${what}`, () => {
    assert.throws(() => expectedEdits(MAILBOX, [wrong]));
  });
}
