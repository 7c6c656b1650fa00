// The command: its mailbox file, what it refuses, what it says and ends with.
'use strict';

const Ajv = require('ajv');
const assert = require('node:assert/strict');
const { spawnSync } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');
const { test } = require('node:test');

const { PROGRAM, ROOT, importFiles, makeFolder } = require('./support');

const GOOD = 'BEGIN:VCARD\nVERSION:3.0\nFN:Ada\nTEL;TYPE=CELL:1\nEND:VCARD\n';
const NO_NETWORK = path.join(__dirname, 'no-network.js');

test('writes one store with one contact folder, by the schema, of all files in their order', (t) => {
  const { status, stdout, stderr, text } = importFiles(t, { 'a.vcf': GOOD + GOOD, 'b.csv': 'Last Name\r\nBerg\r\n', 'c.txt': GOOD });
  assert.deepEqual([status, stderr], [0, '']);
  assert.equal(stdout, 'mailbox.json: 4 contacts\nSee them arrive: scripts/demo --mailbox mailbox.json\n');
  const mailbox = JSON.parse(text);
  const ada = { displayName: 'Ada', mobilePhone: '1' };
  assert.deepEqual(mailbox, {
    stores: [{
      name: 'Imported', default: true,
      folders: [{ name: 'Contacts', class: 'IPF.Contact', messages: [ada, ada, { displayName: 'Berg', surname: 'Berg' }, ada] }],
    }],
  });
  const schema = JSON.parse(fs.readFileSync(path.join(ROOT, 'docs', 'mailbox.schema.json'), 'utf8'));
  const isMailbox = new Ajv({ strict: false, logger: false }).compile(schema);
  assert.ok(isMailbox(mailbox), JSON.stringify(isMailbox.errors));
  mailbox.stores[0].folders[0].messages[0].nickname = 'A';
  assert.equal(isMailbox(mailbox), false);
});

test('replaces a file only when it is told to', (t) => {
  const folder = makeFolder(t);
  fs.writeFileSync(path.join(folder, 'a.vcf'), GOOD);
  fs.writeFileSync(path.join(folder, 'mine.json'), 'mine');
  const run = (...args) => spawnSync(process.execPath, [PROGRAM, 'a.vcf', '-o', 'mine.json', ...args], { cwd: folder, encoding: 'utf8' });
  const { status, stderr } = run();
  assert.deepEqual([status, stderr], [2, 'error: mine.json is there already: name another file, or add --force to have it replaced\n']);
  assert.equal(fs.readFileSync(path.join(folder, 'mine.json'), 'utf8'), 'mine');
  assert.equal(run('--force').status, 0);
  assert.match(fs.readFileSync(path.join(folder, 'mine.json'), 'utf8'), /Ada/);
});

test('says in one line what it does not take', (t) => {
  const folder = makeFolder(t);
  fs.writeFileSync(path.join(folder, 'a.vcf'), GOOD);
  fs.writeFileSync(path.join(folder, 'none.vcf'), 'nothing');
  const tries = [
    [[], 'error: there is no file to import'],
    [['a.vcf'], 'error: there is no mailbox file to write: -o FILE'],
    [['a.vcf', '-o', 'm.json', '--to'], "error: Unknown option '--to'"],
    [['b.vcf', '-o', 'm.json'], 'error: b.vcf: there is no such file or folder'],
    [['.', '-o', 'm.json'], 'error: .: it is a folder'],
    [['a.vcf', '-o', './a.vcf', '--force'], 'error: ./a.vcf is to be imported: name another file for the mailbox'],
    [['a.vcf', '-o', 'no/m.json'], "error: no/m.json can't be written: there is no such file or folder"],
    [['none.vcf', '-o', 'm.json'], 'none.vcf: line 1: this is in no card: BEGIN:VCARD is missing'],
  ];
  for (const [args, line] of tries) {
    const { status, stdout, stderr } = spawnSync(process.execPath, [PROGRAM, ...args], { cwd: folder, encoding: 'utf8' });
    assert.deepEqual([status, stdout, stderr.split('\n')[0]], [2, '', line]);
  }
  assert.deepEqual(fs.readdirSync(folder).sort(), ['a.vcf', 'none.vcf']);
});

test('needs no network and no other program', (t) => {
  const control = spawnSync(process.execPath, ['--require', NO_NETWORK, '-e', 'require("net").connect(9)']);
  assert.equal(control.status, 99);
  const { status, contacts } = importFiles(t, { 'a.vcf': GOOD, 'b.csv': 'Last Name\r\nBerg\r\n' }, { node: ['--require', NO_NETWORK] });
  assert.deepEqual([status, contacts.length], [0, 2]);
});

test('is shown by scripts/demo, which says what it does not take', () => {
  const tries = [
    [['--mailbox'], 'error: --mailbox takes a file'],
    [['--mailbox', 'none.json'], 'error: there is no mailbox file none.json'],
    [['--mailbox', __filename, '--record'], 'error: --keep, --inspect or --mailbox, and --record exclude each other'],
  ];
  for (const [args, line] of tries) {
    const { status, stderr } = spawnSync(path.join(ROOT, 'scripts', 'demo'), args, { encoding: 'utf8' });
    assert.deepEqual([status, stderr.split('\n')[0]], [2, line]);
  }
});

test('is told by scripts/import, which knows what it takes', () => {
  const { status, stdout } = spawnSync(path.join(ROOT, 'scripts', 'import'), ['--help'], { encoding: 'utf8' });
  assert.equal(status, 0);
  for (const option of fs.readFileSync(PROGRAM, 'utf8').matchAll(/(\w+): \{ type: '(?:string|boolean)'/g)) {
    assert.ok(stdout.includes(`--${option[1]}`), option[1]);
  }
});
