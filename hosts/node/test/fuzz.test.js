// Messages at random, cut anywhere, against the layout and the code of docs/wire-protocol.md.
'use strict';

const assert = require('assert/strict');
const fc = require('fast-check');
const fs = require('fs');
const path = require('path');
const { test } = require('node:test');
const { MalformedMessageError, OversizedMessageError } = require('linkwell-host');
const { MessageReader } = require('../lib/message');
const { MessageFramer } = require('../lib/message-framer');
const { framed } = require('../support/agents');
const { fuzz } = require('../support/fuzz');

/** The function that the page shows. */
function readItemsOfThePage() {
  const page = fs.readFileSync(path.join(__dirname, '..', '..', '..', 'docs', 'wire-protocol.md'), 'utf8').replaceAll('\r\n', '\n');
  const [, code] = /```js\n(const NAMES[^]*?)```/.exec(page);
  return new Function(`${code}; return readItems;`)();
}

const PIECES = [
  ';', ';;;;;;;;;', ';;;;;;;;;;', '\n', ' ', '\r', 'x', '; Grün', '\0', '\u2028', '👩‍💻', ';00000000A1;00000000E5',
  ';00000000A1;00000000E5\n', ';000000A1;000000E5\n', '00000000A1', '00E5', '00e5', 'A1',
  'Anna;;;;;;;;;;00000000A1;00000000E5\n', ';;;;;;;;;;00A1;\n',
];
const piece = fc.oneof({ weight: 8, arbitrary: fc.constantFrom(...PIECES) }, fc.string({ unit: 'binary', maxLength: 3 }));
const body = fc.array(piece, { maxLength: 40 }).map((pieces) => pieces.join(''));
const cuts = fc.array(fc.nat(), { maxLength: 20 });

/** The bytes in pieces, which may be empty. */
function cutAt(bytes, places) {
  const ends = places.map((place) => place % (bytes.length + 1)).sort((a, b) => a - b);
  return [...ends, bytes.length].map((end, at) => bytes.subarray(at === 0 ? 0 : ends[at - 1], end));
}

test('frames whatever comes, however it is cut', () => {
  const texts = fc.array(fc.oneof(fc.uint8Array({ maxLength: 300 }), fc.constant(new Uint8Array())), { maxLength: 6 });
  fuzz('hosts/node, framing', fc.property(texts, cuts, fc.nat(400), (bodies, places, limit) => {
    const bytes = Buffer.concat(bodies.map((text) => framed(Buffer.from(text))));
    const tooLong = bodies.findIndex((text) => text.length > limit);
    const expected = tooLong < 0 ? bodies : bodies.slice(0, tooLong);

    const framer = new MessageFramer(limit);
    const found = [];
    let parts = [];
    const read = () => {
      for (const chunk of cutAt(bytes, places)) {
        for (const { bytes: part, last } of framer.push(chunk)) {
          parts.push(part);
          if (last) {
            found.push(Buffer.concat(parts));
            parts = [];
          }
        }
      }
    };
    if (tooLong < 0) {
      read();
      assert.equal(framer.pendingBytes, 0);
      assert.equal(framer.expectedBytes, null);
    } else {
      assert.throws(read, OversizedMessageError);
    }
    assert.deepEqual(found, expected.map((text) => Buffer.from(text)));
  }));
});

/** A message that is read in these pieces; the error, if its header can't be read. */
function read(bytes, places) {
  const reader = new MessageReader();
  const chunks = cutAt(bytes, places);
  chunks.forEach((chunk, at) => {
    for (const _ of reader.push(chunk, at === chunks.length - 1)) {
      // at once
    }
  });
  try {
    return reader.end();
  } catch (error) {
    assert.ok(error instanceof MalformedMessageError, error);
    return error;
  }
}

test('reads headers and items as the page does, however they are cut', () => {
  const readItems = readItemsOfThePage();
  const operations = fc.constantFrom(
    ['snapshot', 'contact'], ['add', 'contact'], ['change', 'contact'], ['delete', 'contact'], ['delete', 'folder'],
  );
  const numbers = fc.tuple(fc.nat(), fc.nat());
  fuzz('hosts/node, items', fc.property(operations, numbers, body, cuts, ([operation, kind], [index, total], text, places) => {
    const bytes = Buffer.from(`2;${operation};${kind};${index};${total}\n${text}`);
    const sent = bytes.toString(); // a half of a pair has become a mark
    const { items, ...header } = read(bytes, places);
    assert.deepEqual(header, { version: 2, operation, kind, index, total, bytes: bytes.length });
    assert.deepEqual(items, readItems(operation, kind, sent.slice(sent.indexOf('\n') + 1).split('\n')));
  }));
});

test('takes a header that the page does not know for malformed, and no other', () => {
  const known = /^2;((snapshot|add|change|delete);contact|delete;folder);(0|[1-9][0-9]{0,14});(0|[1-9][0-9]{0,14})$/;
  const field = fc.constantFrom(
    '2', 'snapshot', 'add', 'change', 'delete', 'contact', 'folder', '0', '1', '17', '01', '-1', '', '3', ' 2', '2\r', '\uFEFF2',
  );
  const good = fc.constantFrom('2;snapshot;contact;0;3', '2;delete;folder;0;1', '2;add;contact;0;1');
  const wild = fc.array(field, { minLength: 3, maxLength: 6 }).map((fields) => fields.join(';'));
  const near = fc.tuple(good, fc.nat(4), field)
    .map(([line, place, other]) => line.split(';').map((one, at) => (at === place ? other : one)).join(';'));
  fuzz('hosts/node, headers', fc.property(fc.oneof(good, near, wild), body, cuts, (line, text, places) => {
    const message = read(Buffer.from(`${line}\n${text}`), places);
    assert.equal(message instanceof MalformedMessageError, !known.test(line), line);
    if (message instanceof MalformedMessageError) {
      assert.equal(message.text, Buffer.from(`${line}\n${text}`).toString());
    }
  }));
});

test('reads bytes of every kind, those that are no UTF-8 as U+FFFD', () => {
  const readItems = readItemsOfThePage();
  // How many marks there are for bytes in a row is not said.
  const marksInOne = (text) => text.replace(/\uFFFD+/g, '\uFFFD');
  const bytes = fc.array(fc.oneof(fc.uint8Array({ maxLength: 4 }), piece.map((text) => Buffer.from(text))), { maxLength: 30 });
  fuzz('hosts/node, bytes', fc.property(bytes, cuts, (parts, places) => {
    const text = Buffer.concat(parts);
    const { items } = read(Buffer.concat([Buffer.from('2;delete;contact;0;1\n'), text]), places);
    const decoded = new TextDecoder('utf-8', { ignoreBOM: true }).decode(text);
    const textsOf = (list) => list.map((item) => marksInOne(item.text));
    assert.deepEqual(textsOf(items), textsOf(readItems('delete', 'contact', decoded.split('\n'))));
  }));
});
