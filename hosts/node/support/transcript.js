// transcript.js: what the demo records, as scripts/lib/demo-transcript.txt keeps it.
'use strict';

const assert = require('assert/strict');
const fs = require('fs');
const path = require('path');

const TRANSCRIPT = path.join(__dirname, '..', '..', '..', 'scripts', 'lib', 'demo-transcript.txt');

/** The texts of all messages below each heading of the transcript. */
function readTranscript() {
  const sections = [];
  const lines = fs.readFileSync(TRANSCRIPT, 'utf8').replaceAll('\r\n', '\n').split('\n');
  for (let place = 0; place < lines.length; place += 1) {
    const [, bytes] = /^message of ([0-9]+) bytes$/.exec(lines[place]) ?? [];
    if (lines[place].startsWith('== ')) {
      sections.push({ heading: lines[place], texts: [] });
    } else if (bytes !== undefined) {
      let text = '';
      do {
        place += 1;
        text += lines[place].slice(4);
      } while (text.endsWith('⏎'));
      text = text.replaceAll('⏎', '\n')
        .replace(/\\u\{([0-9a-f]+)\}/g, (_, code) => String.fromCodePoint(Number.parseInt(code, 16)));
      assert.equal(Buffer.byteLength(text), Number(bytes), 'the transcript is read as it was written');
      sections.at(-1).texts.push(text);
    }
  }
  return sections;
}

module.exports = { readTranscript };
