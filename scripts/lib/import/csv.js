// csv.js: CSV as Outlook exports contacts, in English or German, as contacts.
'use strict';

const { parse } = require('csv-parse/sync');

const { makeContact } = require('./contact');
const { Fault, decode } = require('./text');

const DELIMITERS = [',', ';', '\t'];

/** The columns of each field. They are compared by letters and digits alone. */
const COLUMNS = {
  title: ['Title', 'Anrede'],
  givenName: ['First Name', 'Vorname'],
  middleName: ['Middle Name', 'Weitere Vornamen'],
  surname: ['Last Name', 'Nachname'],
  suffix: ['Suffix'],
  company: ['Company', 'Firma'],
  email: ['E-mail Address', 'E-Mail-Adresse'],
  emailType: ['E-mail Type', 'E-Mail-Typ'],
  emailName: ['E-mail Display Name', 'E-Mail: Angezeigter Name'],
  businessPhone: ['Business Phone', 'Telefon geschäftlich'],
  homePhone: ['Home Phone', 'Telefon privat'],
  mobilePhone: ['Mobile Phone', 'Mobiltelefon'],
  businessFax: ['Business Fax', 'Fax geschäftlich'],
};

const key = (heading) => heading.normalize('NFC').toLowerCase().replace(/[^\p{L}\p{N}]/gu, '');
const FIELDS = new Map(Object.entries(COLUMNS).flatMap(([field, headings]) =>
  headings.map((heading) => [key(heading), field])));

/** The rows of a text, and the faults of what are none, each with its first line. */
function readRows(text, delimiter) {
  const faults = [];
  const records = parse(text, {
    delimiter,
    info: true,
    relax_quotes: true, // a stray quotation mark is part of its value, and costs no other row
    skip_empty_lines: true,
    skip_records_with_error: true,
    on_skip: ({ code, lines, message }) => faults.push({ end: lines, fault: code === 'CSV_QUOTE_NOT_CLOSED'
      ? 'a quotation mark is not closed, which takes all that follows'
      : code === 'CSV_RECORD_INCONSISTENT_FIELDS_LENGTH' ? 'the row has more or fewer values than there are headings' : message }),
  });
  let end = 0;
  return [...records.map(({ record, info }) => ({ end: info.lines, values: record })), ...faults]
    .sort((one, other) => one.end - other.end)
    .map((row) => {
      const line = end + 1;
      end = row.end;
      return { line, ...row };
    });
}

/** A row's contact. An address that is not of the Internet is left out, as nothing here can resolve it. */
function readRow({ line, values }, fields) {
  const texts = values.map((value, at) => [fields[at], value]).filter(([field]) => field !== undefined);
  const { emailType = '', ...contact } = Object.fromEntries(texts);
  if (!['', 'SMTP'].includes(emailType.toUpperCase())) {
    contact.email = undefined;
  }
  return makeContact(contact) ?? new Fault(line, 'the row has no name, company, e-mail address or telephone number');
}

/**
 * @param {Buffer} bytes  a file, without a byte order mark.
 * @returns {(object | Fault)[]}  a contact for each row, or what is wrong with it; where no heading is known, that alone.
 */
function readCsv(bytes) {
  const text = decode(bytes).replace(/\r\n?/g, '\n');
  const known = (delimiter) => (readRows(text.slice(0, text.indexOf('\n') + 1 || undefined), delimiter)[0]?.values ?? [])
    .map((heading) => FIELDS.get(key(heading)));
  const count = (delimiter) => known(delimiter).filter((field) => field !== undefined).length;
  const delimiter = DELIMITERS.reduce((best, one) => (count(one) > count(best) ? one : best));
  if (count(delimiter) === 0) {
    return [new Fault(1, 'no heading of this line is one of Outlook\'s in English or German (docs/import.md)')];
  }
  const fields = known(delimiter);
  return readRows(text, delimiter).slice(1)
    .map((row) => (row.fault === undefined ? readRow(row, fields) : new Fault(row.line, row.fault)));
}

module.exports = { readCsv };
