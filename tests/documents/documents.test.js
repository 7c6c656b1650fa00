// What the documents for authors of hosts say, held against the recordings of docs/protocol-samples, which the end-to-end
// tests hold against the agent.
'use strict';

const assert = require('node:assert');
const fs = require('node:fs');
const path = require('node:path');
const test = require('node:test');

const DOCS = path.join(__dirname, '..', '..', 'docs');
const SAMPLES = path.join(DOCS, 'protocol-samples');
const protocol = fs.readFileSync(path.join(DOCS, 'wire-protocol.md'), 'utf8');
const names = fs.readdirSync(SAMPLES).filter((file) => file.endsWith('.bin')).map((file) => path.parse(file).name);

/** The function that the page shows. */
function readItemsOfThePage() {
  const [, code] = /```js\n(const NAMES[^]*?)```/.exec(protocol);
  return new Function(`${code}; return readItems;`)();
}

function bytesOf(name) {
  return fs.readFileSync(path.join(SAMPLES, `${name}.bin`));
}

/** The texts of a stream's messages. */
function textsOf(bytes) {
  const texts = [];
  for (let at = 0; at < bytes.length; ) {
    const length = bytes.readUInt32BE(at);
    assert.ok(length <= bytes.length - at - 4, 'a message is cut');
    texts.push(new TextDecoder('utf-8', { fatal: true, ignoreBOM: true }).decode(bytes.subarray(at + 4, at + 4 + length)));
    at += 4 + length;
  }
  return texts;
}

function readMessage(text) {
  const [header, ...lines] = text.split('\n');
  const [version, operation, kind, index, total] = header.split(';');
  return {
    version: Number(version),
    operation,
    kind,
    index: Number(index),
    total: Number(total),
    items: readItemsOfThePage()(operation, kind, lines),
  };
}

for (const name of names) {
  test(`the code of the page reads ${name}.bin as ${name}.json says`, () => {
    const expected = JSON.parse(fs.readFileSync(path.join(SAMPLES, `${name}.json`), 'utf8'));
    assert.deepStrictEqual(textsOf(bytesOf(name)).map(readMessage), expected);
  });
}

test('there are recordings', () => assert.ok(names.length > 0));
