// main.js FILES... -o MAILBOX: what scripts/import does; its options are described there.
'use strict';

const fs = require('fs');
const path = require('path');
const { parseArgs } = require('util');

const { readCsv } = require('./csv');
const { Fault, withoutMark } = require('./text');
const { readVCards } = require('./vcard');

const DONE = 0;
const LEFT_OUT = 1;
const NOTHING_WRITTEN = 2;

/** What ends the program with NOTHING_WRITTEN, in words for a person. */
class Refusal extends Error {}

const reasonOf = (error) => ({
  EACCES: 'it is not yours to use', EISDIR: 'it is a folder', ENOENT: 'there is no such file or folder',
}[error.code] ?? error.message);

function readArguments(words) {
  const options = { output: { type: 'string', short: 'o' }, force: { type: 'boolean' } };
  try {
    const { values, positionals } = parseArgs({ args: words, options, allowPositionals: true });
    if (positionals.length === 0 || !values.output) {
      throw new Error(positionals.length === 0 ? 'there is no file to import' : 'there is no mailbox file to write: -o FILE');
    }
    return { files: positionals, ...values };
  } catch (error) {
    throw new Refusal(`${error.message.split('. ')[0]}\n       Try: scripts/import --help`);
  }
}

/** The contacts and faults of a file, which counts as vCards if it is called so or begins so. */
function readFile(file) {
  let bytes;
  try {
    bytes = withoutMark(fs.readFileSync(file));
  } catch (error) {
    throw new Refusal(`${file}: ${reasonOf(error)}`);
  }
  const isVCard = /\.(vcf|vcard)$/i.test(file) || /^\s*BEGIN:\s*VCARD/i.test(bytes.toString('latin1', 0, 200));
  return isVCard ? readVCards(bytes) : readCsv(bytes);
}

function mailboxOf(messages) {
  return { stores: [{ name: 'Imported', default: true, folders: [{ name: 'Contacts', class: 'IPF.Contact', messages }] }] };
}

/** Imports, and says what it did. @returns {number}  the exit status. @throws {Refusal} */
function main(words) {
  const { files, output, force } = readArguments(words);
  if (files.some((file) => path.resolve(file) === path.resolve(output))) {
    throw new Refusal(`${output} is to be imported: name another file for the mailbox`);
  }
  if (!force && fs.existsSync(output)) {
    throw new Refusal(`${output} is there already: name another file, or add --force to have it replaced`);
  }
  const found = files.flatMap((file) => readFile(file).map((one) => ({ file, one })));
  const contacts = found.filter(({ one }) => !(one instanceof Fault)).map(({ one }) => one);
  for (const { file, one } of found.filter(({ one }) => one instanceof Fault)) {
    console.error(`${file}: line ${one.line}: ${one.message}`);
  }
  if (contacts.length === 0) {
    throw new Refusal(`there is no contact in ${files.join(', ')}; nothing has been written`);
  }
  try {
    fs.writeFileSync(output, `${JSON.stringify(mailboxOf(contacts), null, 2)}\n`, { flag: force ? 'w' : 'wx' });
  } catch (error) {
    throw new Refusal(`${output} can't be written: ${reasonOf(error)}`);
  }
  const leftOut = found.length - contacts.length;
  console.log(`${output}: ${contacts.length} ${contacts.length === 1 ? 'contact' : 'contacts'}${leftOut > 0 ? `; left out: ${leftOut}, named above` : ''}`);
  console.log(`See them arrive: scripts/demo --mailbox ${output}`);
  return leftOut > 0 ? LEFT_OUT : DONE;
}

try {
  process.exitCode = main(process.argv.slice(2));
} catch (error) {
  if (!(error instanceof Refusal)) {
    throw error;
  }
  console.error(`error: ${error.message}`);
  process.exitCode = NOTHING_WRITTEN;
}
