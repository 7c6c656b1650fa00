'use strict';

const assert = require('assert/strict');
const fs = require('fs');
const path = require('path');
const { test } = require('node:test');
const { expectedEdits } = require('../expected-edits');
const { parseMailboxJson } = require('../mailbox-json');

const ROOT = path.join(__dirname, '../../..');

function read(file) {
  return parseMailboxJson(fs.readFileSync(path.join(ROOT, file), 'utf8'));
}

test('the demo\'s edits fit its mailbox', () => {
  const edits = expectedEdits(read('sandbox/mailboxes/sample.json'), read('scripts/lib/demo-edits.json'));
  const messages = edits.flatMap((edit) => edit.messages);
  for (const message of messages) {
    assert.match(message, /^2;(add|change|delete);(contact|folder);0;1\n/);
  }
  for (const operation of ['add', 'change', 'delete']) {
    assert.ok(messages.some((message) => message.startsWith(`2;${operation};contact;`)), operation);
  }
  assert.ok(messages.some((message) => message.startsWith('2;delete;folder;')), 'a deleted folder');
  assert.ok(edits.some((edit) => edit.messages.length === 0), 'an edit that brings nothing');
});
