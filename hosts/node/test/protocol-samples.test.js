// The recordings of docs/protocol-samples, read as their files say.
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
