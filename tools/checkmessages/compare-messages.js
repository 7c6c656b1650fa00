// compare-messages.js: the differences between expected and recorded messages, in words.
'use strict';

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
 * @param {{name: string, message: string|null}[]} stores  as expectedSnapshot gives them.
 * @param {object[]} events  what the host has recorded.
 * @returns {string[]}  one text per difference; empty when all is as expected.
 */
function compareMessages(stores, events) {
  const differences = [];
  for (const { event, reason } of events) {
    if (!['listening', 'message', 'closed'].includes(event)) {
      differences.push(`the host reports "${event}"${reason === undefined ? '' : `: ${reason}`}`);
    }
  }

  const expected = stores.filter(({ message }) => message !== null);
  const arrived = events.filter(({ event }) => event === 'message').map(messageText);
  expected.forEach(({ name, message }, at) => {
    if (arrived[at] === undefined) {
      differences.push(`the message of the store "${name}" has not arrived`);
    } else if (arrived[at] !== message) {
      const where = firstDifference(message, arrived[at]);
      differences.push(`message ${at + 1}, of the store "${name}", differs in ${where}`);
    }
  });
  arrived.slice(expected.length).forEach((text) => {
    differences.push(`a message that is not expected has arrived: ${JSON.stringify(text.slice(0, 100))}`);
  });
  return differences;
}

module.exports = { compareMessages };
