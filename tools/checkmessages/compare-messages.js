// compare-messages.js: the differences between expected and recorded messages, in words.
'use strict';

const NO_FAILURES = ['listening', 'message', 'closed'];

/** The text of a recorded message as it came through the pipe. */
function messageText({ operation, kind, index, total, items }) {
  return [`2;${operation};${kind};${index};${total}`, ...items.map(({ text }) => text)].join('\n');
}

/** Names the first line in which two texts differ. */
function firstDifference(expected, arrived) {
  const expectedLines = expected.split('\n');
  const arrivedLines = arrived.split('\n');
  const count = Math.max(expectedLines.length, arrivedLines.length);
  for (let at = 0; at < count; at += 1) {
    if (expectedLines[at] !== arrivedLines[at]) {
      const shown = (line) => (line === undefined ? '(no such line)' : JSON.stringify(line));
      return `line ${at + 1}:\n  expected ${shown(expectedLines[at])}\n  arrived  ${shown(arrivedLines[at])}`;
    }
  }
  return 'no line';
}

/**
 * @param {{of: string, text: string}[]} expected  the messages, and of what each is.
 * @param {object[]} events  what the host has recorded.
 * @returns {string[]}  one text per difference; empty when all is as expected.
 */
function compareMessages(expected, events) {
  const differences = [];
  for (const { event, reason } of events) {
    if (!NO_FAILURES.includes(event)) {
      differences.push(`the host reports "${event}"${reason === undefined ? '' : `: ${reason}`}`);
    }
  }

  const arrived = events.filter(({ event }) => event === 'message').map(messageText);
  expected.forEach(({ of, text }, at) => {
    if (arrived[at] === undefined) {
      differences.push(`the message of ${of} has not arrived`);
    } else if (arrived[at] !== text) {
      differences.push(`message ${at + 1}, of ${of}, differs in ${firstDifference(text, arrived[at])}`);
    }
  });
  arrived.slice(expected.length).forEach((text) => {
    differences.push(`a message that is not expected has arrived: ${JSON.stringify(text.slice(0, 100))}`);
  });
  return differences;
}

module.exports = { compareMessages };
