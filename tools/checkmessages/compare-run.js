// compare-run.js: the differences between what a whole run of the demo is to bring and what it has brought, in words.
'use strict';

const { compareMessages } = require('./compare-messages');

/**
 * The marks tell which of the recorded events came of what: each is a word and how many events there were by then.
 * "snapshot" stands for the end of the snapshot, "edit" for the end of an edit, "end" for that of the run.
 * @param {string[]} marks  such as "snapshot 6".
 * @param {object[]} events
 * @returns {{word: string, events: object[]}[]}  the events up to each mark; at last, without a word, those behind it.
 */
function cutAtMarks(marks, events) {
  let from = 0;
  const parts = marks.map((mark) => {
    const [, word, text] = /^(snapshot|edit|end) ([0-9]+)$/.exec(mark) || [];
    const to = Number(text);
    if (word === undefined || to < from || to > events.length) {
      throw new Error(`"${mark}" is no mark in a record of ${events.length} event(s), of which ${from} are before it`);
    }
    const part = { word, events: events.slice(from, to) };
    from = to;
    return part;
  });
  return [...parts, { word: undefined, events: events.slice(from) }];
}

/** What is to come up to each mark. */
function expectedParts(stores, edits) {
  const ofStores = stores
    .filter(({ message }) => message !== null)
    .map(({ name, message }) => ({ of: `the store "${name}"`, text: message }));
  return [
    { word: 'snapshot', name: 'the snapshot', expected: ofStores },
    ...edits.map(({ shows, messages }, at) => ({
      word: 'edit',
      name: `edit ${at + 1} ("${shows}")`,
      expected: messages.map((text) => ({ of: `"${text.split('\n')[0]}"`, text })),
    })),
    { word: 'end', name: 'the time after the last edit', expected: [] },
  ];
}

/**
 * @param {{name: string, message: string|null}[]} stores  as expectedSnapshot gives them.
 * @param {{shows: string, messages: string[]}[]} edits  as expectedEdits gives them.
 * @param {object[]} events  what the host has recorded.
 * @param {string[]} marks  those of the snapshot and of each edit; without one of the end, what comes after the last
 *     edit counts for nothing.
 * @returns {string[]}  one text per difference; empty when all is as expected.
 * @throws {Error}  when the marks make no sense.
 */
function compareRun(stores, edits, events, marks) {
  const expected = expectedParts(stores, edits);
  const parts = cutAtMarks(marks, events);
  const rest = parts.pop();
  if (marks.length <= edits.length) {
    parts.push(rest);
  }
  return parts.flatMap((part, at) => {
    if (expected[at] === undefined || ![expected[at].word, undefined].includes(part.word)) {
      throw new Error(`the mark "${marks[at]}" is not where it should be`);
    }
    const { name, expected: messages } = expected[at];
    const differences = compareMessages(messages, part.events).map((difference) => `${name}: ${difference}`);
    return part.word === undefined ? [...differences, `${name}: its end has not been seen`] : differences;
  });
}

module.exports = { compareRun };
