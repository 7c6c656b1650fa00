#!/usr/bin/env node
// check-messages.js: compares what a run has left with what its mailbox file implies.
//
//   check-messages.js stores MAILBOX             prints how many stores the agent is to open
//   check-messages.js messages MAILBOX RECORD    RECORD: what "linkwell-host --record" has written
//   check-messages.js report MAILBOX REPORT      REPORT: the sandbox's end report
//
// Exit status: 0 when everything is as expected, 1 when it is not, 2 when it can't be told.
'use strict';

const fs = require('fs');
const { compareMessages } = require('./compare-messages');
const { compareReport } = require('./compare-report');
const { expectedSnapshot } = require('./expected-messages');
const { parseMailboxJson } = require('./mailbox-json');

function readLines(file) {
  return fs.readFileSync(file, 'utf8').split(/\r?\n/).filter((line) => line !== '');
}

/** Prints the differences, or the text that says there are none. */
function tell(differences, none) {
  (differences.length === 0 ? [none] : differences).forEach((line) => console.log(line));
  process.exitCode = differences.length === 0 ? 0 : 1;
}

const COMMANDS = {
  stores(stores) {
    console.log(stores.length);
  },
  messages(stores, file) {
    stores.forEach(({ name, contacts }, index) => {
      console.log(`store ${index + 1} of ${stores.length}, "${name}": ${contacts} contact(s) implied`);
    });
    const messages = stores.filter(({ message }) => message !== null).length;
    tell(compareMessages(stores, readLines(file).map((line) => JSON.parse(line))),
      `${messages} message(s) implied, and exactly these have arrived.`);
  },
  report(stores, file) {
    tell(compareReport(stores, readLines(file)), 'The agent has held nothing at its end but what it keeps on purpose.');
  },
};

try {
  const [command, mailboxFile, file] = process.argv.slice(2);
  if (!COMMANDS[command] || !mailboxFile || (command !== 'stores' && !file)) {
    throw new Error('usage: check-messages.js stores|messages|report MAILBOX [FILE]');
  }
  COMMANDS[command](expectedSnapshot(parseMailboxJson(fs.readFileSync(mailboxFile, 'utf8'))), file);
} catch (error) {
  console.error(`check-messages: ${error.message}`);
  process.exitCode = 2;
}
