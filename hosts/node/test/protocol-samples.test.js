// The recordings of docs/protocol-samples, and texts at random, read as docs/wire-protocol.md says.
'use strict';

const assert = require('assert/strict');
const fs = require('fs');
const path = require('path');
const { test } = require('node:test');
const { MessageReader } = require('../lib/message');
const { MessageFramer } = require('../lib/message-framer');

const DOCS = path.join(__dirname, '..', '..', '..', 'docs');
const SAMPLES = path.join(DOCS, 'protocol-samples');
const names = fs.readdirSync(SAMPLES).filter((file) => file.endsWith('.bin')).map((file) => path.parse(file).name);

function pushAll(reader, bytes, last) {
  for (const _ of reader.push(bytes, last)) {
    // at once
  }
}

/** What comes of a stream that is read in chunks of this size, without the length, which the recordings don't say. */
function read(stream, chunkBytes) {
  const framer = new MessageFramer(stream.length);
  const messages = [];
  let reader = new MessageReader();
  for (let at = 0; at < stream.length; at += chunkBytes) {
    for (const { bytes, last } of framer.push(stream.subarray(at, at + chunkBytes))) {
      pushAll(reader, bytes, last);
      if (last) {
        const { bytes: length, ...message } = reader.end();
        messages.push(message);
        reader = new MessageReader();
      }
    }
  }
  assert.equal(framer.pendingBytes, 0);
  return messages;
}

test('there are recordings', () => assert.ok(names.length >= 11));

for (const name of names) {
  test(`reads ${name}.bin as ${name}.json says, however it is cut`, () => {
    const stream = fs.readFileSync(path.join(SAMPLES, `${name}.bin`));
    const expected = JSON.parse(fs.readFileSync(path.join(SAMPLES, `${name}.json`), 'utf8'));
    for (const chunkBytes of [1, 2, 3, 7, 64, stream.length]) {
      assert.deepEqual(read(stream, chunkBytes), expected, `in chunks of ${chunkBytes}`);
    }
  });
}

test('reads texts at random as the code of the page does', () => {
  const page = fs.readFileSync(path.join(DOCS, 'wire-protocol.md'), 'utf8').replaceAll('\r\n', '\n');
  const [, code] = /```js\n(const NAMES[^]*?)```/.exec(page);
  const readItems = new Function(`${code}; return readItems;`)();

  let state = 1;
  const random = (below) => {
    state = (state * 48271) % 2147483647;
    return state % below;
  };
  const pieces = [
    ';', ';;;;;;;;;', ';;;;;;;;;;', '\n', ' ', '\r', 'x', '; Grün', ';00000000A1;00000000E5', ';00000000A1;00000000E5\n',
    '00000000A1', '00E5', 'Anna;;;;;;;;;;00000000A1;00000000E5\n',
  ];
  let guessed = 0;
  for (let round = 0; round < 5000; round += 1) {
    const text = Array.from({ length: random(40) }, () => pieces[random(pieces.length)]).join('');
    for (const [operation, kind] of [['add', 'contact'], ['delete', 'contact'], ['delete', 'folder']]) {
      const reader = new MessageReader();
      const bytes = Buffer.from(`2;${operation};${kind};0;1\n${text}`);
      const cut = random(bytes.length);
      pushAll(reader, bytes.subarray(0, cut), false);
      pushAll(reader, bytes.subarray(cut), true);
      const { items } = reader.end();
      assert.deepEqual(items, readItems(operation, kind, text.split('\n')), JSON.stringify(text));
      guessed += items.filter((item) => item.guessed).length;
    }
  }
  assert.ok(guessed > 500, `${guessed} guessed`);
});
