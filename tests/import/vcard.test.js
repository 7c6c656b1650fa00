// vCards as their standards have them, and as programs write them.
'use strict';

const assert = require('node:assert/strict');
const { test } = require('node:test');

const { importFiles } = require('./support');

const card = (...lines) => ['BEGIN:VCARD', ...lines, 'END:VCARD', ''].join('\r\n');

/** The contacts of one file, of which nothing may be left out. */
function read(t, content) {
  const { status, stderr, contacts } = importFiles(t, { 'cards.vcf': content });
  assert.deepEqual([status, stderr], [0, '']);
  return contacts;
}

test('reads version 2.1: quoted-printable, character sets, soft line breaks, parameters without a name', (t) => {
  assert.deepEqual(read(t, card(
    'VERSION:2.1',
    'N;CHARSET=WINDOWS-1252;ENCODING=QUOTED-PRINTABLE:Gr=FCn;Zo=EB;Maria',
    'FN;QUOTED-PRINTABLE;CHARSET=UTF-8:Zo=C3=AB Maria=',
    ' Gr=C3=BCn',
    'ORG;ENCODING=QUOTED-PRINTABLE:Lager 7=0D=0AHaus B;Einkauf',
    'TEL;WORK;VOICE:+49 30 1',
    'TEL;CELL:+49 170 2',
    'PHOTO;ENCODING=BASE64;JPEG:',
    ' iVBORw0KGgo=',
    '',
    'EMAIL;PREF;INTERNET:zoe@example.com',
  )), [{
    displayName: 'Zoë Maria Grün', givenName: 'Zoë', middleName: 'Maria', surname: 'Grün', company: 'Lager 7\nHaus B',
    email: 'zoe@example.com', businessPhone: '+49 30 1', mobilePhone: '+49 170 2',
  }]);
});

test('in version 2.1 only a semicolon is masked, and a folded line keeps its blank', (t) => {
  const [{ displayName, company, surname }] = read(t, card(
    'VERSION:2.1', 'N:Smith, Jones;', 'FN:A long', ' name\\new', 'ORG:Grün\\; Müller, Partner'));
  assert.deepEqual([displayName, surname, company], ['A long name\\new', 'Smith, Jones', 'Grün; Müller, Partner']);
});

test('takes a card without a version for 2.1', (t) => {
  assert.deepEqual(read(t, card('FN:Ola', 'TEL;HOME:1')), [{ displayName: 'Ola', homePhone: '1' }]);
});

test('leaves out the card of an agent, which 2.1 has inside another one', (t) => {
  assert.deepEqual(read(t, card('VERSION:2.1', 'FN:Ada', 'AGENT:', card('VERSION:2.1', 'FN:Her agent').trimEnd(), 'TEL;CELL:1')),
    [{ displayName: 'Ada', mobilePhone: '1' }]);
});

test('reads version 3.0: masks, lists, groups, lines folded in the midst of a character', (t) => {
  const long = Buffer.from('FN:Zoë Grün', 'utf8');
  const folded = Buffer.concat([long.subarray(0, 6), Buffer.from('\r\n '), long.subarray(6)]); // between the bytes of ë
  assert.deepEqual(read(t, Buffer.concat([
    Buffer.from('BEGIN:VCARD\r\nVERSION:3.0\r\n'), folded,
    Buffer.from(['', 'N:Grün;Zoë;Maria,Anna;Dr.;', 'ORG:A\\, B\\; C;Unit', 'item1.TEL;type=HOME;type=VOICE;type=pref:1',
      'item1.X-ABLabel:_$!<Home>!$_', 'item2.EMAIL;type=INTERNET:z@example.com', 'END:VCARD'].join('\r\n')),
  ])), [{
    displayName: 'Zoë Grün', givenName: 'Zoë', middleName: 'Maria Anna', surname: 'Grün', company: 'A, B; C',
    email: 'z@example.com', homePhone: '1',
  }]);
});

test('reads version 4.0: addresses as URIs, quoted lists of types, degrees of preference', (t) => {
  assert.deepEqual(read(t, card(
    'VERSION:4.0',
    'FN;PREF=2:Second',
    'FN;PREF=1:王小明',
    'N:王;小明;;;',
    'ORG:Example Trading',
    'TEL;VALUE=uri;TYPE="voice,home":tel:+44-1632-960001;ext=12;phone-context=x',
    'TEL;TYPE=cell;PREF=50:2',
    'TEL;TYPE=cell;PREF=1:3',
    'EMAIL;VALUE=uri:mailto:wang@example.com',
  )), [{
    displayName: '王小明', givenName: '小明', surname: '王', company: 'Example Trading', email: 'wang@example.com',
    homePhone: '+44-1632-960001 ext. 12', mobilePhone: '3',
  }]);
});

test('gives each kind of telephone number its field, and leaves out those that have none', (t) => {
  const fields = (...numbers) => {
    const [{ displayName, ...others }] = read(t, card('VERSION:3.0', 'FN:A', ...numbers));
    return others;
  };
  assert.deepEqual(fields('TEL;TYPE=WORK,FAX:1', 'TEL;TYPE=HOME,FAX:2', 'TEL;TYPE=PAGER:3', 'TEL;TYPE=CAR:4'),
    { businessFax: '1' });
  assert.deepEqual(fields('TEL;TYPE=FAX:1', 'TEL;TYPE=WORK,CELL:2', 'TEL;TYPE=HOME:3', 'TEL;TYPE=HOME,PREF:4'),
    { businessFax: '1', mobilePhone: '2', homePhone: '4' });
  assert.deepEqual(fields('TEL:1', 'TEL;TYPE=WORK:2'), { businessPhone: '2' });
  assert.deepEqual(fields('TEL;TYPE=VOICE:1', 'TEL;TYPE=HOME:2'), { businessPhone: '1', homePhone: '2' });
});

test('makes a display name of what there is', (t) => {
  const names = ['N:Berg;Anna;Eva;Dr.;jun.', 'ORG:Nordlicht AG', 'EMAIL:a@example.com']
    .map((line) => read(t, card('VERSION:2.1', line))[0].displayName);
  assert.deepEqual(names, ['Dr. Anna Eva Berg jun.', 'Nordlicht AG', 'a@example.com']);
  assert.deepEqual(read(t, card('VERSION:2.1', 'TEL;HOME:1')), [{ homePhone: '1' }]);
});

test('reads UTF-8 with and without a byte order mark, UTF-16, Windows-1252, and all ends of lines', (t) => {
  const text = card('VERSION:3.0', 'FN:Zoë Grün', 'N:Grün;Zoë');
  const contents = [
    text, `\uFEFF${text}`, Buffer.from(`\uFEFF${text}`, 'utf16le'), Buffer.from(`\uFEFF${text}`, 'utf16le').swap16(),
    Buffer.from(text, 'latin1'), text.replaceAll('\r\n', '\n'), text.replaceAll('\r\n', '\r'),
  ];
  const { contacts } = importFiles(t, Object.fromEntries(contents.map((content, at) => [`${at}.vcf`, content])));
  assert.deepEqual(contacts, contents.map(() => ({ displayName: 'Zoë Grün', givenName: 'Zoë', surname: 'Grün' })));
});

test('names bad cards by file and line, and goes on', (t) => {
  const bad = [
    'stray',
    'BEGIN:VCARD', 'VERSION:3.0', 'FN:No end',
    'BEGIN:VCARD', 'VERSION:3.0', 'FN:Good', 'END:VCARD',
    'BEGIN:VCARD', 'VERSION:5.0', 'FN:Of the future', 'END:VCARD',
    'BEGIN:VCARD', 'VERSION:2.1', 'FN;CHARSET=X-NONE:What', 'END:VCARD',
    'BEGIN:VCARD', 'VERSION:3.0', 'FN:A line', 'without a name', 'END:VCARD',
    'BEGIN:VCARD', 'VERSION:3.0', 'NOTE:Nothing of use', 'END:VCARD',
    'END:VCARD',
    'BEGIN:VCARD', 'VERSION:4.0', 'FN:Also good', 'END:VCARD',
    'BEGIN:VCARD', 'FN:Cut off',
  ];
  const { status, stdout, stderr, contacts } = importFiles(t, { 'bad.vcf': bad.join('\n') });
  assert.equal(status, 1);
  assert.deepEqual(contacts.map(({ displayName }) => displayName), ['Good', 'Also good']);
  assert.deepEqual(stderr.trimEnd().split('\n'), [
    'bad.vcf: line 1: this is in no card: BEGIN:VCARD is missing',
    'bad.vcf: line 2: END:VCARD is missing',
    'bad.vcf: line 10: version 5.0 is none of 2.1, 3.0, 4.0',
    'bad.vcf: line 15: the character set X-NONE is not known',
    'bad.vcf: line 20: this is no property, which is a name, a colon and a value',
    'bad.vcf: line 22: the card has no name, company, e-mail address or telephone number',
    'bad.vcf: line 26: this is in no card: BEGIN:VCARD is missing',
    'bad.vcf: line 31: END:VCARD is missing',
  ]);
  assert.match(stdout, /mailbox\.json: 2 contacts; left out: 8, named above/);
});
