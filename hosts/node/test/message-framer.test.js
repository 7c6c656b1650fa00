'use strict';

const assert = require('assert/strict');
const { test } = require('node:test');
const { OversizedMessageError } = require('linkwell-host');
const { MessageFramer } = require('../lib/message-framer');
const { framed } = require('../support/agents');

const LIMIT = 1000;

/** The bodies that are whole, and the last one as far as it has come. */
function pushAll(framer, chunks) {
  const texts = [];
  let parts = [];
  for (const { bytes, last } of chunks.flatMap((chunk) => [...framer.push(chunk)])) {
    parts.push(bytes);
    if (last) {
      texts.push(Buffer.concat(parts).toString('utf8'));
      parts = [];
    }
  }
  return texts;
}

function framedAll(...texts) {
  return Buffer.concat(texts.map(framed));
}

test('hands out the text of the wire protocol\'s example', () => {
  const bytes = Buffer.from('00000024323b64656c6574653b666f6c6465723b303b310a30303030303030304535463630373138', 'hex');
  assert.deepEqual(pushAll(new MessageFramer(LIMIT), [bytes]), ['2;delete;folder;0;1\n00000000E5F60718']);
});

test('reads the length with its most significant byte first', () => {
  const framer = new MessageFramer(0x01020304);
  assert.deepEqual([...framer.push(Buffer.from([1, 2, 3, 4]))], []);
  assert.equal(framer.expectedBytes, 0x01020304);
});

test('reads a length above 2 GB as a positive number', () => {
  const framer = new MessageFramer(0xffffffff);
  assert.deepEqual([...framer.push(Buffer.from([0xff, 0xff, 0xff, 0xff]))], []);
  assert.equal(framer.expectedBytes, 0xffffffff);
});

test('gives the same messages wherever two of them are cut into two chunks', () => {
  const bytes = framedAll('Anna Berg;Жанна', '山田 太郎');
  for (let cut = 0; cut <= bytes.length; cut += 1) {
    const texts = pushAll(new MessageFramer(LIMIT), [bytes.subarray(0, cut), bytes.subarray(cut)]);
    assert.deepEqual(texts, ['Anna Berg;Жанна', '山田 太郎'], `cut at ${cut}`);
  }
});

test('gives the same messages when every byte comes by itself', () => {
  const bytes = framedAll('first', '', '👩‍💻');
  const chunks = Array.from(bytes, (byte) => Buffer.from([byte]));
  assert.deepEqual(pushAll(new MessageFramer(LIMIT), chunks), ['first', '', '👩‍💻']);
});

test('hands out each of several messages in one chunk, and keeps the start of the next', () => {
  const framer = new MessageFramer(LIMIT);
  const bytes = framedAll('one', 'two', 'three');
  assert.deepEqual(pushAll(framer, [bytes.subarray(0, bytes.length - 2)]), ['one', 'two']);
  assert.equal(framer.pendingBytes, 4 + 3);
  assert.equal(framer.expectedBytes, 5);
  assert.deepEqual([...framer.push(bytes.subarray(bytes.length - 2))], [{ bytes: Buffer.from('ee'), last: true }]);
  assert.equal(framer.pendingBytes, 0);
  assert.equal(framer.expectedBytes, null);
});

test('counts an unfinished length field as pending', () => {
  const framer = new MessageFramer(LIMIT);
  pushAll(framer, [Buffer.from([0, 0])]);
  assert.equal(framer.pendingBytes, 2);
  assert.equal(framer.expectedBytes, null);
});

test('accepts a message of exactly the limit and refuses one byte more', () => {
  assert.deepEqual(pushAll(new MessageFramer(4), [framed('four')]), ['four']);
  assert.throws(() => pushAll(new MessageFramer(4), [framed('fives').subarray(0, 4)]), OversizedMessageError);
});

test('hands out what stands before a refused length', () => {
  const framer = new MessageFramer(4);
  const seen = [];
  assert.throws(() => {
    for (const { bytes } of framer.push(framedAll('ok', 'too long'))) {
      seen.push(bytes.toString());
    }
  }, OversizedMessageError);
  assert.deepEqual(seen, ['ok']);
});

test('hands out a body as it comes, and keeps nothing of it', () => {
  const framer = new MessageFramer(LIMIT);
  const bytes = framed('in two parts');
  assert.deepEqual([...framer.push(bytes.subarray(0, 7))], [{ bytes: Buffer.from('in '), last: false }]);
  assert.deepEqual([...framer.push(bytes.subarray(7))], [{ bytes: Buffer.from('two parts'), last: true }]);
});
