// transcript.js: turns what scripts/demo has recorded, on standard input, into the form of demo-transcript.txt.
// Lines of JSON are events as "linkwell-host --record" writes them; all others are headings and stay as they are.
'use strict';

const fs = require('fs');
const { printable } = require('../../hosts/node/lib/print');

/** A message as it came through the pipe: "⏎" stands for its line feeds, codes for other control characters. */
function formatMessage({ bytes, operation, kind, index, total, items }) {
  const text = [`2;${operation};${kind};${index};${total}`, ...items.map((item) => item.text)].join('\n');
  return `message of ${bytes} bytes\n    ${text.split('\n').map(printable).join('⏎\n    ')}`;
}

function formatLine(line) {
  if (!line.startsWith('{')) {
    return line;
  }
  const event = JSON.parse(line);
  return event.event === 'message' ? formatMessage(event) : printable(line);
}

const lines = fs.readFileSync(0, 'utf8').split('\n');
process.stdout.write(lines.map(formatLine).join('\n'));
