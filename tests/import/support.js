// support.js: what the tests share: scripts/import's program, run on files of a folder that goes with the test.
'use strict';

const { spawnSync } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');

const ROOT = path.join(__dirname, '..', '..');
const PROGRAM = path.join(ROOT, 'scripts', 'lib', 'import', 'main.js');

/** A folder that goes with the test. */
function makeFolder(t) {
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'linkwell-import-'));
  t.after(() => fs.rmSync(folder, { recursive: true }));
  return folder;
}

/**
 * Imports files, given as their contents by name, in a folder of their own.
 * @returns what came of it: exit status, both outputs, the mailbox as text and its contacts; null if none was written.
 */
function importFiles(t, files, { args = [], node = [] } = {}) {
  const folder = makeFolder(t);
  for (const [name, content] of Object.entries(files)) {
    fs.writeFileSync(path.join(folder, name), content);
  }
  const words = [...node, PROGRAM, ...Object.keys(files), '-o', 'mailbox.json', ...args];
  const { status, stdout, stderr } = spawnSync(process.execPath, words, { cwd: folder, encoding: 'utf8' });
  const mailbox = path.join(folder, 'mailbox.json');
  const text = fs.existsSync(mailbox) ? fs.readFileSync(mailbox, 'utf8') : null;
  const contacts = text === null ? null : JSON.parse(text).stores[0].folders[0].messages;
  return { status, stdout, stderr, mailbox, text, contacts };
}

module.exports = { PROGRAM, ROOT, importFiles, makeFolder };
