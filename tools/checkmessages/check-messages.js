#!/usr/bin/env node
// check-messages.js: tells what the demo is to do, and compares what a run of it has left with what its mailbox file and
// its edits imply.
//
//   check-messages.js stores MAILBOX             prints how many stores the agent is to open
//   check-messages.js edits EDITS                prints how many edits there are
//   check-messages.js edit EDITS N               prints of edit N, counted from 1, each behind it a zero byte: what it
//                                                shows, the command as one types it, its input, and its words
//   check-messages.js messages MAILBOX EDITS RECORD MARKS
//                                                RECORD: what "linkwell-host --record" has written
//                                                MARKS: how long the record was when the snapshot and each edit ended
//   check-messages.js report MAILBOX EDITS REPORT [--or-more]
//                                                REPORT: the sandbox's end report
//                                                --or-more: others have edited the mailbox, too
//
// Exit status: 0 when everything is as expected, 1 when it is not, 2 when it can't be told.
'use strict';

const fs = require('fs');
const { commandText, inputText } = require('./command-text');
const { compareReport } = require('./compare-report');
const { compareRun } = require('./compare-run');
const { expectedEdits } = require('./expected-edits');
const { expectedSnapshot } = require('./expected-messages');
const { parseMailboxJson } = require('./mailbox-json');

function readJson(file) {
  return parseMailboxJson(fs.readFileSync(file, 'utf8'));
}

function readLines(file) {
  return fs.readFileSync(file, 'utf8').split(/\r?\n/).filter((line) => line !== '');
}

/** Prints the differences, or the text that says there are none. */
function tell(differences, none) {
  (differences.length === 0 ? [none] : differences).forEach((line) => console.log(line));
  process.exitCode = differences.length === 0 ? 0 : 1;
}

function sum(numbers) {
  return numbers.reduce((total, number) => total + number, 0);
}

const COMMANDS = {
  stores(mailbox) {
    console.log(expectedSnapshot(readJson(mailbox)).length);
  },
  edits(edits) {
    console.log(readJson(edits).length);
  },
  edit(edits, number) {
    const edit = readJson(edits)[number - 1];
    if (edit === undefined) {
      throw new Error(`there is no edit ${number}`);
    }
    const parts = [edit.shows, commandText(edit), inputText(edit), ...edit.command];
    process.stdout.write(parts.map((part) => `${part}\0`).join(''));
  },
  messages(mailboxFile, editsFile, record, marks) {
    const mailbox = readJson(mailboxFile);
    const stores = expectedSnapshot(mailbox);
    const edits = expectedEdits(mailbox, readJson(editsFile));
    stores.forEach(({ name, contacts }, index) => {
      console.log(`store ${index + 1} of ${stores.length}, "${name}": ${contacts} contact(s) implied`);
    });
    const ofSnapshot = stores.filter(({ message }) => message !== null).length;
    const ofEdits = sum(edits.map(({ messages }) => messages.length));
    const events = readLines(record).map((line) => JSON.parse(line));
    tell(compareRun(stores, edits, events, readLines(marks)),
      `${ofSnapshot} message(s) implied by the mailbox and ${ofEdits} by ${edits.length} edits, `
      + 'and exactly these have arrived, each in its place.');
  },
  report(mailboxFile, editsFile, report, option) {
    const mailbox = readJson(mailboxFile);
    const told = [...expectedSnapshot(mailbox), ...expectedEdits(mailbox, readJson(editsFile))];
    tell(compareReport(sum(told.map(({ exchangeAddresses }) => exchangeAddresses)), option !== undefined,
      readLines(report)), 'The agent has held nothing at its end but what it keeps on purpose.');
  },
};

const ARGUMENTS = { stores: [1], edits: [1], edit: [2], messages: [4], report: [3, 4] };

try {
  const [command, ...args] = process.argv.slice(2);
  const isOptionUnknown = command === 'report' && args.length === 4 && args[3] !== '--or-more';
  if (!Object.hasOwn(COMMANDS, command) || !ARGUMENTS[command].includes(args.length) || isOptionUnknown) {
    throw new Error('wrong arguments; what there is stands at the top of this file');
  }
  COMMANDS[command](...args);
} catch (error) {
  console.error(`check-messages: ${error.message}`);
  process.exitCode = 2;
}
