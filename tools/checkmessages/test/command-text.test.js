'use strict';

const assert = require('assert/strict');
const { execFileSync } = require('child_process');
const { test } = require('node:test');
const { commandText, inputText } = require('../command-text');

/** The words that a shell makes of the command, and what it gives it to read. */
function asTyped(edit) {
  const shell = 'sandboxctl() { printf "%s\\n" "$@"; cat; }';
  const text = commandText(edit).replace('scripts/sandboxctl', 'sandboxctl');
  return execFileSync('sh', ['-c', `${shell}; ${text}`], { input: '' }).toString('utf8');
}

test('writes words as they are where a shell takes them so', () => {
  assert.equal(commandText({ command: ['add', 'contact', 'Mailbox/Kontakte', '--name', '王小明'] }),
    'scripts/sandboxctl add contact Mailbox/Kontakte --name 王小明');
});

test('quotes what a shell would take for something else', () => {
  assert.equal(commandText({ command: ['delete', '#00'] }), 'scripts/sandboxctl delete \'#00\'');
  const words = ['', 'two words', 'O\'Shea', '"$HOME"', '`', '\\/', '*', '~', '#0A', '{"a": 1}', '!', ';'];
  assert.equal(asTyped({ command: words }), words.map((word) => `${word}\n`).join(''));
});

test('gives the input as a here-document, a line for each request', () => {
  const edit = { command: ['batch', '-'], input: [{ do: 'delete', object: 'a/O\'Shea' }, { do: '$HOME' }] };
  assert.equal(inputText(edit), '[\n  {"do":"delete","object":"a/O\'Shea"},\n  {"do":"$HOME"}\n]\n');
  assert.equal(asTyped(edit), `batch\n-\n${inputText(edit)}`);
  assert.equal(inputText({ command: [] }), '');
});
