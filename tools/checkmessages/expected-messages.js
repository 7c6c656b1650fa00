// expected-messages.js: which snapshot messages a mailbox file implies.
//
// This is a second reading of the rules, made from their description and not from the agent's code, so that the demo
// can tell whether what arrived is right. It stops at what it has no rule for, such as calls that are made to fail,
// rather than guess.
'use strict';

const { numberStore } = require('./numbered-store');

const CONTACT_FOLDER_CLASS = 'IPF.Contact';
const CONTACT_CLASS = 'IPM.Contact';
const EXCHANGE = 'EX';

const MAILBOX_KEYS = ['stores', 'addressBook', 'fastShutdown', 'rowsPerQuery'];
const STORE_KEYS = [
  'name', 'provider', 'default', 'public', 'openError', 'folders', 'rootFolders', 'ipmSubtree', 'root', 'entryId',
  'aliases', 'properties',
];
const FOLDER_KEYS = [
  'name', 'class', 'hidden', 'openError', 'shortTermIds', 'messages', 'folders', 'entryId', 'aliases', 'properties',
];
const MESSAGE_KEYS = [
  'class', 'displayName', 'givenName', 'middleName', 'surname', 'company', 'businessPhone', 'homePhone', 'mobilePhone',
  'businessFax', 'email', 'openError', 'entryId', 'aliases', 'properties',
];
const EMAIL_KEYS = ['type', 'address', 'displayName', 'addressBook'];
const ENTRY_KEYS = ['displayName', 'smtpAddress', 'address', 'openError', 'entryId', 'aliases', 'properties'];

// What the agent reads: given as a property it would need a rule here. A contact's own PR_SMTP_ADDRESS is not among
// these, as it is never sent.
const READ_PROPERTIES = [
  'PR_DISPLAY_NAME', 'PR_GIVEN_NAME', 'PR_MIDDLE_NAME', 'PR_SURNAME', 'PR_COMPANY_NAME',
  'PR_BUSINESS_TELEPHONE_NUMBER', 'PR_HOME_TELEPHONE_NUMBER', 'PR_MOBILE_TELEPHONE_NUMBER', 'PR_BUSINESS_FAX_NUMBER',
  'PR_ENTRYID', 'PR_PARENT_ENTRYID', 'PR_OBJECT_TYPE', 'PR_CONTAINER_CLASS', 'PR_MESSAGE_CLASS', 'PR_ATTR_HIDDEN',
  'PR_MDB_PROVIDER', 'PR_IPM_SUBTREE_ENTRYID',
  'PidLidEmail1AddressType', 'PidLidEmail1EmailAddress', 'PidLidEmail1OriginalEntryId',
];
const PLAIN_NAME = /^(PR_|PidLid|PidName)/;

/** The mailbox file uses something that has no rule here. */
class NoRuleError extends Error {}

function check(object, keys, place) {
  for (const key of Object.keys(object)) {
    if (!keys.includes(key)) {
      throw new NoRuleError(`${place}/${key}: there is no rule for this`);
    }
  }
  for (const name of Object.keys(object.properties || {})) {
    // A tag or the number of a named property could be any of them.
    if (!PLAIN_NAME.test(name) || READ_PROPERTIES.includes(name.replace(/_W$/, ''))) {
      throw new NoRuleError(`${place}/properties/${name}: there is no rule for this property here`);
    }
  }
}

/** Whether an object can be opened; a result that is no failure, such as MAPI_W_ERRORS_RETURNED, opens it. */
function opens({ openError }) {
  return openError === undefined || /^(S_|MAPI_W_|0x[0-7][0-9a-f]{7}$)/i.test(openError);
}

/** Reads one store: tells which contacts its snapshot holds. */
class StoreReader {
  constructor(store, storePlace, addressBook) {
    this._store = store;
    this._storePlace = storePlace;
    this._addressBook = addressBook;
    /** The contacts whose address came from an Exchange user. */
    this.exchangeAddresses = 0;
  }

  /** @returns {string[]}  the contact lines, in the order of the snapshot. */
  contactLines() {
    const { subtree, all } = numberStore(this._store, this._storePlace);
    for (const { folder, messages, place } of all) {
      check(folder, FOLDER_KEYS, place);
      messages.forEach((each) => check(each.message, MESSAGE_KEYS, each.place));
    }
    return this._walk(subtree);
  }

  _walk({ folder, entryId, messages, below }) {
    const lines = [];
    if (maybeContactFolder(folder)) {
      for (const { message, entryId: messageId, place } of messages) {
        if (opens(message)) {
          lines.push(this._contactLine(message, messageId, entryId, place));
        }
      }
    }
    for (const subfolder of below) {
      // A folder that is hidden, or that opens with anything but S_OK, hides what lies below it.
      if (subfolder.folder.hidden !== true && subfolder.folder.openError === undefined) {
        lines.push(...this._walk(subfolder));
      }
    }
    return lines;
  }

  _contactLine(message, entryId, folderId, place) {
    return [
      message.displayName,
      message.givenName,
      message.middleName,
      message.surname,
      message.company,
      this._email(message.email, `${place}/email`),
      message.businessPhone,
      message.homePhone,
      message.mobilePhone,
      message.businessFax,
      entryId,
      folderId,
    ].map((field) => field || '').join(';');
  }

  _email(email, place) {
    if (email === undefined || typeof email === 'string') {
      return email;
    }
    check(email, EMAIL_KEYS, place);
    const key = email.addressBook;
    const entry = key === undefined ? undefined : this._addressBook[key];
    if (key !== undefined && entry === undefined) {
      throw new NoRuleError(`${place}/addressBook: no entry "${key}"`);
    }
    const type = email.type === undefined && entry ? EXCHANGE : email.type;
    if (type === EXCHANGE) {
      // The address itself is not used: the SMTP address of the object that the entry identifier opens is.
      if (!entry || !opens(entry) || entry.smtpAddress === undefined) {
        return '';
      }
      this.exchangeAddresses += 1;
      return entry.smtpAddress;
    }
    return email.address === undefined && entry ? entry.address || `/o=Example/cn=Recipients/cn=${key}` : email.address;
  }
}

/** A folder with a class goes by that alone; one without is a contact folder if it is empty or holds a contact. */
function maybeContactFolder({ class: containerClass, messages = [] }) {
  if (containerClass !== undefined) {
    return containerClass === CONTACT_FOLDER_CLASS;
  }
  return messages.length === 0
    || messages.some(({ class: messageClass = CONTACT_CLASS }) => messageClass === CONTACT_CLASS);
}

/** The stores that open, in the order of the snapshot: the default store, then the others, public ones last. */
function orderedStores(stores) {
  let order = [];
  stores.forEach((store, at) => {
    check(store, STORE_KEYS, `/stores/${at}`);
    const entry = { store, place: at + 1 };
    if (opens(store)) {
      order = store.default ? [entry, ...order] : [...order, entry];
    }
  });
  return [...order.filter(({ store }) => !store.public), ...order.filter(({ store }) => store.public)];
}

/**
 * @param {object} mailbox  the value of a mailbox file.
 * @returns {{name: string, message: string|null, contacts: number, exchangeAddresses: number}[]}  for each store that
 *     opens, in the order of the snapshot: its name; the text of its message, null when it holds no contact and thus
 *     sends nothing; the number of its contacts; and how many of them have the address of an Exchange user.
 * @throws {NoRuleError}
 */
function expectedSnapshot(mailbox) {
  check(mailbox, MAILBOX_KEYS, '');
  const addressBook = mailbox.addressBook || {};
  Object.entries(addressBook).forEach(([key, entry]) => check(entry, ENTRY_KEYS, `/addressBook/${key}`));
  const stores = orderedStores(mailbox.stores || []);
  return stores.map(({ store, place }, index) => {
    const reader = new StoreReader(store, place, addressBook);
    const lines = reader.contactLines();
    const header = `2;snapshot;contact;${index};${stores.length}`;
    return {
      name: store.name,
      contacts: lines.length,
      exchangeAddresses: reader.exchangeAddresses,
      message: lines.length === 0 ? null : [header, ...lines].join('\n'),
    };
  });
}

module.exports = { NoRuleError, expectedSnapshot };
