// CSV as Outlook exports contacts.
'use strict';

const assert = require('node:assert/strict');
const { test } = require('node:test');

const { importFiles } = require('./support');

const ENGLISH = ['Title', 'First Name', 'Middle Name', 'Last Name', 'Suffix', 'Company', 'Department', 'Business Fax',
  'Business Phone', 'Business Phone 2', 'Home Phone', 'Mobile Phone', 'E-mail Address', 'E-mail Type', 'E-mail Display Name', 'Notes'];
const GERMAN = ['Anrede', 'Vorname', 'Weitere Vornamen', 'Nachname', 'Suffix', 'Firma', 'Abteilung', 'Fax geschäftlich',
  'Telefon geschäftlich', 'Telefon geschäftlich 2', 'Telefon privat', 'Mobiltelefon', 'E-Mail-Adresse', 'E-Mail-Typ',
  'E-Mail: Angezeigter Name', 'Notizen'];
const ROWS = [
  ['Dr.', 'Zoë', 'Maria', 'Grün', '', 'Müller, Söhne; Co.\r\n"Lager 7"', 'x', '1', '2', 'x', '3', '4', 'zoe@example.com', 'SMTP', 'x', 'a\r\n\r\nb'],
  ['', '', '', '', '', 'Nordlicht AG', '', '', '', '', '', '', '/o=Example/cn=n', 'EX', 'x', ''],
  ['', '', '', '', '', '', '', '', '', '', '', '', 'ola@example.com', 'SMTP', 'Ola', ''],
];
const CONTACTS = [
  {
    displayName: 'Dr. Zoë Maria Grün', givenName: 'Zoë', middleName: 'Maria', surname: 'Grün',
    company: 'Müller, Söhne; Co.\n"Lager 7"', email: 'zoe@example.com', businessPhone: '2', homePhone: '3', mobilePhone: '4', businessFax: '1',
  },
  { displayName: 'Nordlicht AG', company: 'Nordlicht AG' },
  { displayName: 'Ola', email: 'ola@example.com' },
];

const quoted = (value) => (value === '' ? '' : `"${value.replaceAll('"', '""')}"`);
const csv = (rows, delimiter = ',') => rows.map((row) => `${row.map(quoted).join(delimiter)}\r\n`).join('');

test('reads headings in English and German, commas, semicolons and tabs, quoted line breaks, in each encoding', (t) => {
  const texts = [ENGLISH, GERMAN].flatMap((headings) => [',', ';', '\t'].map((delimiter) => csv([headings, ...ROWS], delimiter)));
  const contents = texts.flatMap((text) =>
    [text, `\uFEFF${text}`, Buffer.from(text, 'latin1'), Buffer.from(`\uFEFF${text}`, 'utf16le')]);
  const { status, stderr, contacts } = importFiles(t, Object.fromEntries(contents.map((content, at) => [`${at}.csv`, content])));
  assert.deepEqual([status, stderr], [0, '']);
  assert.deepEqual(contacts, contents.flatMap(() => CONTACTS));
});

test('reads what Windows-1252 has and Latin-1 has not', (t) => {
  const content = Buffer.concat([Buffer.from('"Last Name"\r\n"'), Buffer.from([0x8A]), Buffer.from('kvorcov'), Buffer.from([0x80]), Buffer.from('"\r\n')]);
  assert.deepEqual(importFiles(t, { 'a.csv': content }).contacts, [{ displayName: 'Škvorcov€', surname: 'Škvorcov€' }]);
});

test('names bad rows by file and line, and goes on', (t) => {
  const content = [
    'First Name,Last Name,Notes', 'Ada,Berg,"two', 'lines"', 'Too,few', 'A,B,C,D', ',,nothing of use', 'Ola "Lu" Lind,Lind,', 'Never,"closed', 'Ida,Dahl,',
  ].join('\r\n');
  const { status, stderr, contacts } = importFiles(t, { 'bad.csv': content });
  assert.equal(status, 1);
  assert.deepEqual(contacts.map(({ displayName }) => displayName), ['Ada Berg', 'Ola "Lu" Lind Lind']);
  assert.deepEqual(stderr.trimEnd().split('\n'), [
    'bad.csv: line 4: the row has more or fewer values than there are headings',
    'bad.csv: line 5: the row has more or fewer values than there are headings',
    'bad.csv: line 6: the row has no name, company, e-mail address or telephone number',
    'bad.csv: line 8: a quotation mark is not closed, which takes all that follows',
  ]);
});

test('refuses headings that it does not know', (t) => {
  for (const content of ['Prénom,Nom\r\nZoë,Grün\r\n', '', '\r\n']) {
    const { status, stderr, contacts } = importFiles(t, { 'other.csv': content });
    assert.deepEqual([status, contacts], [2, null]);
    assert.match(stderr, /^other\.csv: line 1: no heading of this line is one of Outlook's in English or German/);
  }
});
