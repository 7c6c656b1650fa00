'use strict';

const assert = require('assert/strict');
const { test } = require('node:test');
const { NoRuleError, expectedSnapshot } = require('../expected-messages');

const UID1 = '4C696E6B77656C6C53616E64626F7801';

function folderId(number) {
  return `00000000${UID1}0100${UID1}${number}0000`;
}

function messageId(folder, number) {
  return `00000000${UID1}0700${UID1}${folder}0000${UID1}${number}0000`;
}

function message(displayName, more = {}) {
  return { displayName, ...more };
}

function names({ message: text }) {
  return text === null ? [] : text.split('\n').slice(1).map((line) => line.split(';')[0]);
}

/** The names of the contacts that a store with these folders sends. */
function namesOf(folders, more = {}) {
  return names(expectedSnapshot({ stores: [{ name: 'Mailbox', folders, ...more }] })[0]);
}

test('writes a contact with all fields in the order of the wire', () => {
  const [store] = expectedSnapshot({
    stores: [{
      name: 'Mailbox',
      folders: [{
        name: 'Contacts',
        class: 'IPF.Contact',
        messages: [{
          displayName: 'd', givenName: 'g', middleName: 'm', surname: 's', company: 'c', email: 'e', businessPhone: 'b',
          homePhone: 'h', mobilePhone: 'o', businessFax: 'f',
        }],
      }],
    }],
  });
  const ids = `${messageId('000000000003', '000000000001')};${folderId('000000000003')}`;
  assert.equal(store.message, `2;snapshot;contact;0;1\nd;g;m;s;c;e;b;h;o;f;${ids}`);
  assert.equal(store.contacts, 1);
});

test('numbers the folders depth first, the root and those beside the IPM subtree included', () => {
  const [store] = expectedSnapshot({
    stores: [{
      name: 'Mailbox',
      root: { messages: [message('of the root')] },
      rootFolders: [{ name: 'beside', class: 'IPF.Contact', messages: [message('beside')] }],
      folders: [
        { name: 'a', class: 'IPF.Note', folders: [{ name: 'b', class: 'IPF.Contact', messages: [message('in b')] }] },
        { name: 'c', class: 'IPF.Contact', messages: [message('in c')] },
      ],
    }],
  });
  assert.deepEqual(store.message.split('\n').slice(1), [
    `in b;;;;;;;;;;${messageId('000000000004', '000000000002')};${folderId('000000000004')}`,
    `in c;;;;;;;;;;${messageId('000000000005', '000000000003')};${folderId('000000000005')}`,
  ]);
});

test('takes an entry identifier of the file, without its blanks and in upper case', () => {
  const [store] = expectedSnapshot({
    stores: [{
      name: 'Mailbox',
      folders: [{ name: 'a', entryId: '00 0a 0b', messages: [message('x', { entryId: '000c' })] }],
    }],
  });
  assert.equal(store.message.split('\n')[1], 'x;;;;;;;;;;000C;000A0B');
});

test('goes by the exact class of a folder that has one', () => {
  const folders = ['IPF.Contact', 'IPF.contact', 'IPF.Contact.Sub', 'IPF.Note', ''].map((name) => (
    { name, class: name, messages: [message(`in ${name}`)] }));
  assert.deepEqual(namesOf(folders), ['in IPF.Contact']);
});

test('takes a folder without a class for a contact folder if one of its messages is a contact', () => {
  assert.deepEqual(namesOf([
    { name: 'mixed', messages: [message('list', { class: 'IPM.DistList' }), message('contact')] },
    { name: 'mail', messages: [message('note', { class: 'IPM.Note' }), message('none', { class: null })] },
    { name: 'empty', messages: [] },
  ]), ['list', 'contact']);
});

test('walks the IPM subtree itself, hidden or not', () => {
  assert.deepEqual(namesOf([], { ipmSubtree: { hidden: true, messages: [message('top')] } }), ['top']);
});

test('leaves out a hidden folder and one that does not open, with all below them', () => {
  const below = [{ name: 'below', messages: [message('below')] }];
  assert.deepEqual(namesOf([
    { name: 'hidden', hidden: true, messages: [message('hidden')], folders: below },
    { name: 'shut', openError: '0x80070005', messages: [message('shut')], folders: below },
    { name: 'warns', openError: 'MAPI_W_ERRORS_RETURNED', messages: [message('warns')], folders: below },
    { name: 'shown', hidden: false, messages: [message('shown')] },
  ]), ['shown']);
});

test('leaves out a message that does not open', () => {
  assert.deepEqual(namesOf([{
    name: 'a',
    messages: [
      message('no', { openError: '0x8004010F' }),
      message('warns', { openError: '0x00040380' }),
      message('neither', { openError: 'MAPI_E_NO_ACCESS' }),
    ],
  }]), ['warns']);
});

test('resolves an Exchange address to the SMTP address of its entry', () => {
  const emails = [
    'plain@example.com',
    { address: 'typed@example.com' },
    { type: 'ex', address: 'lower@example.com' },
    { type: null, address: 'untyped@example.com' },
    { addressBook: 'mara' },
    { addressBook: 'mara', address: 'not used' },
    { addressBook: 'mara', type: 'SMTP' },
    { addressBook: 'nameless' },
    { addressBook: 'gone' },
    { type: 'EX', address: '/o=Example' },
    {},
  ];
  const [store] = expectedSnapshot({
    addressBook: {
      mara: { smtpAddress: 'mara@example.com' },
      nameless: { displayName: 'no address' },
      gone: { smtpAddress: 'gone@example.com', openError: 'MAPI_E_NOT_FOUND' },
    },
    stores: [{ name: 'Mailbox', folders: [{ name: 'a', messages: emails.map((email) => message('x', { email })) }] }],
  });
  assert.deepEqual(store.message.split('\n').slice(1).map((line) => line.split(';')[5]), [
    'plain@example.com', 'typed@example.com', 'lower@example.com', 'untyped@example.com', 'mara@example.com',
    'mara@example.com', '/o=Example/cn=Recipients/cn=mara', '', '', '', '',
  ]);
  assert.equal(store.exchangeAddresses, 2);
});

test('never sends a contact\'s own SMTP address property', () => {
  const messages = [message('x', { properties: { PR_SMTP_ADDRESS_W: 'y' } })];
  const [store] = expectedSnapshot({ stores: [{ name: 'a', folders: [{ name: 'b', messages }] }] });
  assert.equal(store.message.split('\n')[1].split(';')[5], '');
});

test('puts the default store first, the last of several before the others, and public stores last', () => {
  const store = (name, more = {}) => ({ name, ...more, folders: [{ name: 'a', messages: [message(name)] }] });
  const snapshot = expectedSnapshot({
    stores: [
      store('public default', { public: true, default: true }),
      store('first'),
      store('public', { public: true }),
      store('default', { default: true }),
      store('shut', { openError: '0x80040111' }),
      store('later default', { default: true }),
      store('last'),
    ],
  });
  assert.deepEqual(snapshot.map(({ name }) => name), [
    'later default', 'default', 'first', 'last', 'public default', 'public',
  ]);
  assert.deepEqual(snapshot.map(({ message: text }) => text.split('\n')[0]), [0, 1, 2, 3, 4, 5].map((index) =>
    `2;snapshot;contact;${index};6`));
});

test('leaves a gap for a store without contacts', () => {
  const store = (name, messages) => ({ name, folders: [{ name: 'a', messages }] });
  const stores = [store('a', [message('x')]), store('b', []), store('c', [message('y')])];
  const snapshot = expectedSnapshot({ stores });
  assert.deepEqual(snapshot.map(({ message: text }) => text && text.split('\n')[0]), [
    '2;snapshot;contact;0;3', null, '2;snapshot;contact;2;3',
  ]);
});

for (const [what, mailbox] of Object.entries({
  'calls that are made to fail': { stores: [{ name: 'a', results: { GetProps: '0x80040111' } }] },
  'a row that differs': { stores: [{ name: 'a', folders: [{ name: 'b', row: { PR_ENTRYID: null } }] }] },
  'generated contacts': { stores: [{ name: 'a', folders: [{ name: 'b', generate: { contacts: 1 } }] }] },
  'a property that the agent reads': {
    stores: [{ name: 'a', folders: [{ name: 'b', messages: [{ properties: { PR_DISPLAY_NAME_W: 'x' } }] }] }],
  },
  'a property by its tag': { stores: [{ name: 'a', properties: { '0x34140102': '00' } }] },
  'an unknown address book entry': {
    stores: [{ name: 'a', folders: [{ name: 'b', messages: [{ email: { addressBook: 'x' } }] }] }],
  },
})) {
  test(`has no rule for ${what}`, () => {
    assert.throws(() => expectedSnapshot(mailbox), NoRuleError);
  });
}
