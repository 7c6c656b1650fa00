'use strict';

const assert = require('assert/strict');
const { test } = require('node:test');
const { MessageFramer, OversizedMessageError } = require('../lib/message-framer');

const LIMIT = 1000;

function framed(...texts) {
  return Buffer.concat(texts.map((text) => {
    const body = Buffer.from(text, 'utf8');
    const head = Buffer.alloc(4);
    head.writeUInt32BE(body.length);
    return Buffer.concat([head, body]);
  }));
}

function pushAll(framer, chunks) {
  return chunks.flatMap((chunk) => [...framer.push(chunk)].map((body) => body.toString('utf8')));
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
  const bytes = framed('Anna Berg;Жанна', '山田 太郎');
  for (let cut = 0; cut <= bytes.length; cut += 1) {
    const texts = pushAll(new MessageFramer(LIMIT), [bytes.subarray(0, cut), bytes.subarray(cut)]);
    assert.deepEqual(texts, ['Anna Berg;Жанна', '山田 太郎'], `cut at ${cut}`);
  }
});

test('gives the same messages when every byte comes by itself', () => {
  const bytes = framed('first', '', '👩‍💻');
  const chunks = Array.from(bytes, (byte) => Buffer.from([byte]));
  assert.deepEqual(pushAll(new MessageFramer(LIMIT), chunks), ['first', '', '👩‍💻']);
});

test('hands out each of several messages in one chunk, and keeps the start of the next', () => {
  const framer = new MessageFramer(LIMIT);
  const bytes = framed('one', 'two', 'three');
  assert.deepEqual(pushAll(framer, [bytes.subarray(0, bytes.length - 2)]), ['one', 'two']);
  assert.equal(framer.pendingBytes, 4 + 3);
  assert.equal(framer.expectedBytes, 5);
  assert.deepEqual(pushAll(framer, [bytes.subarray(bytes.length - 2)]), ['three']);
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
    for (const body of framer.push(framed('ok', 'too long'))) {
      seen.push(body.toString());
    }
  }, OversizedMessageError);
  assert.deepEqual(seen, ['ok']);
});
