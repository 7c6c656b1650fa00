// What other programs write, imported, and arriving at a host by the agent, field by field.
'use strict';

const assert = require('node:assert/strict');
const { spawnSync } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');
const { test } = require('node:test');

const { ROOT, importFiles, makeFolder } = require('./support');
const writers = require('./writers');

const PEOPLE = [
  {
    displayName: 'Zoë Maria Grün', givenName: 'Zoë', middleName: 'Maria', surname: 'Grün', company: 'Müller, Söhne & Co.',
    email: 'zoe@example.com', businessPhone: '+49 30 1', homePhone: '+49 30 2', mobilePhone: '+49 170 3', businessFax: '+49 30 4',
  },
  {
    displayName: '春子 吉田', givenName: '春子', middleName: '', surname: '吉田', company: '',
    email: '', businessPhone: '', homePhone: '', mobilePhone: '+81 90 5', businessFax: '',
  },
  {
    displayName: 'Åsa Ångström', givenName: 'Åsa', middleName: '', surname: 'Ångström',
    company: 'Łódź '.repeat(30).trim(), // long enough to be folded
    email: 'aa@example.org', businessPhone: '', homePhone: '+46 8 6', mobilePhone: '', businessFax: '',
  },
];

const windowsPath = (name) => `Z:${name.replaceAll('/', '\\')}`;

test('vCards of other programs arrive at the host field by field', {
  skip: process.env.LINKWELL_BIN === undefined && 'LINKWELL_BIN names no folder with an agent',
}, (t) => {
  const names = Object.keys(writers);
  const files = Object.fromEntries(names.map((name) => [`${name}.vcf`, writers[name].write(PEOPLE, makeFolder(t))]));
  const { status, stderr, mailbox } = importFiles(t, files);
  assert.deepEqual([status, stderr], [0, '']);

  const result = path.join(path.dirname(mailbox), 'arrived.json');
  const run = spawnSync(path.join(ROOT, 'scripts', 'lib', 'wine-node'),
    [path.join(__dirname, 'arrive.js'), process.env.LINKWELL_BIN, mailbox, result].map(windowsPath), { encoding: 'utf8' });
  assert.deepEqual([run.status, run.stdout, run.stderr], [0, '', '']);

  const arrived = JSON.parse(fs.readFileSync(result, 'utf8')).map(({ contact }) => contact);
  assert.equal(arrived.length, names.length * PEOPLE.length);
  names.forEach((name, at) => PEOPLE.forEach((person, place) => {
    const { entryId, folderEntryId, ...fields } = arrived[at * PEOPLE.length + place];
    assert.deepEqual(fields, writers[name].keeps(person), name);
  }));
});
