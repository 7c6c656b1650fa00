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

// ---- Tables ---------------------------------------------------------------------------------------------------------------

/** The rows of the page's table with this head, as lists of cells. */
function rowsBelow(head) {
  const [, rows] = new RegExp(`^\\| ${head} \\|\n[|-]+\n((?:\\|.*\n)+)`, 'm').exec(protocol) || assert.fail(`no table "${head}"`);
  return rows.trimEnd().split('\n').map((row) => row.slice(2, -2).split(' | '));
}

/** What stands between backticks. */
function quoted(cell) {
  return [...cell.matchAll(/`([^`]*)`/g)].map(([, text]) => text);
}

function withoutCode(page) {
  return page.replace(/```[^]*?```/g, '');
}

const messages = names.flatMap((name) => textsOf(bytesOf(name)).map(readMessage));
const isSnapshot = ({ operation }) => operation === 'snapshot';

test('the layout of a message is that of the recordings', () => {
  assert.deepStrictEqual(rowsBelow('Offset \\| Bytes \\| Content').map((cells) => cells.slice(0, 2)), [['0', '4'], ['4', 'N']]);
  // textsOf goes by it, and ends with the last byte of each recording.
});

test('the header has the values of the page', () => {
  const [version, operation, kind, index, total] = rowsBelow('Header field \\| Values').map(([, values]) => quoted(values));
  const valuesOf = (field) => [...new Set(messages.map((message) => String(message[field])))].sort();
  assert.deepStrictEqual(valuesOf('version'), version);
  assert.deepStrictEqual(valuesOf('operation'), operation.sort());
  assert.deepStrictEqual(valuesOf('kind'), kind.sort());
  for (const message of messages.filter((one) => !isSnapshot(one))) {
    assert.deepStrictEqual([[String(message.index)], [String(message.total)]], [index, total]);
  }
  assert.ok(messages.filter(isSnapshot).every((message) => message.index < message.total));
  assert.ok(messages.filter(isSnapshot).some((message) => message.index > 0));
});

test('the operations and kinds of the page go together, and no others', () => {
  const together = rowsBelow('Operation \\| Kind \\| .*').map((cells) => `${quoted(cells[0])} ${quoted(cells[1])}`);
  const recorded = new Set(messages.map(({ operation, kind }) => `${operation} ${kind}`));
  assert.deepStrictEqual([...recorded].sort(), together.sort());
});

test('the fields of a contact are in the order of the page', () => {
  const fields = textsOf(bytesOf('fields'))[0].split('\n')[1].split(';');
  const rows = rowsBelow('# \\| Field \\| # \\| Field').flatMap(([one, left, other, right]) => [[one, left], [other, right]]);
  assert.deepStrictEqual(rows.map(([number]) => Number(number)).sort((a, b) => a - b), [...fields.keys()].map((at) => at + 1));
  for (const [number, name] of rows) {
    assert.match(fields[number - 1], name.startsWith('EntryId') ? /^[0-9A-F]{16}$/ : new RegExp(`^${name}$`));
  }
});

// ---- Examples ---------------------------------------------------------------------------------------------------------------

test('the message of the page is the first of snapshot.bin', () => {
  const [, example] = /\n\n((?: {4}2;snapshot.*\n)(?: {4}.*\n)*)/.exec(protocol);
  assert.strictEqual(example.replace(/^ {4}/gm, '').trimEnd(), textsOf(bytesOf('snapshot'))[0]);
});

test('bytes in hexadecimal are an answer, or stand in the recordings', () => {
  const blocks = [...protocol.matchAll(/(?<=\n\n)(?: {4}(?:[0-9A-F]{2} ?)+\n)+/g)].map(([block]) => block);
  const inline = quoted(withoutCode(protocol)).filter((text) => /^[0-9A-F]{2}( [0-9A-F]{2})+$/.test(text));
  assert.ok(blocks.length >= 2 && inline.length >= 2);
  const recorded = Buffer.concat(names.map(bytesOf));
  for (const text of [...blocks, ...inline]) {
    const bytes = Buffer.from(text.replace(/\s/g, ''), 'hex');
    assert.ok(bytes.equals(Buffer.from('ack')) || recorded.includes(bytes), text);
  }
});
