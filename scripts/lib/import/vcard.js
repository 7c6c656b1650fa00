// vcard.js: vCards of the versions 2.1, 3.0 and 4.0 as contacts.
//
// ical.js reads the properties of 3.0 and 4.0. No library that is well kept reads 2.1, so what is peculiar to that is
// written here in the words of 3.0 first: parameters without a name, quoted-printable, character sets.
'use strict';

const ical = require('ical.js');
const libqp = require('libqp');

const { joined, makeContact } = require('./contact');
const { Fault, decode } = require('./text');
const { splitCards } = require('./vcard-lines');

const VERSIONS = ['2.1', '3.0', '4.0'];
const PROPERTY = /^(?:[\w-]+\.)?([\w-]+)((?:;(?:[^":;]|"[^"]*")*)*):([^]*)$/;
const PARAMETER = /;((?:[^":;]|"[^"]*")+)/g;
const ENCODINGS = ['QUOTED-PRINTABLE', 'BASE64', 'B', '8BIT', '7BIT'];
const USED = ['VERSION', 'FN', 'N', 'ORG', 'TEL', 'EMAIL'];
const NOT_PREFERRED = 101; // behind the 100 degrees of 4.0

/** A line's property: its name in capitals, its parameters by name, those without one as types, and its value. */
function readProperty({ line, text }) {
  const [, name, words, value] = PROPERTY.exec(text) ?? [];
  if (name === undefined) {
    throw new Fault(line, 'this is no property, which is a name, a colon and a value');
  }
  const property = { line, name: name.toUpperCase(), parameters: '', value };
  for (const [, word] of words.matchAll(PARAMETER)) {
    const [, key, argument] = /^(?:([\w-]+)=)?([^]*)$/.exec(word);
    if (key?.toUpperCase() === 'CHARSET') {
      property.charset = argument;
    } else if (key?.toUpperCase() === 'ENCODING' || (key === undefined && ENCODINGS.includes(argument.toUpperCase()))) {
      property.encoding = argument.toUpperCase();
    } else {
      property.parameters += `;${key ?? 'TYPE'}=${argument}`;
    }
  }
  return property;
}

/** The value as text with the masks of 3.0; in 2.1 only a semicolon has one. */
function readValue({ line, value, encoding, charset }, version) {
  const bytes = encoding === 'QUOTED-PRINTABLE' ? libqp.decode(value) : Buffer.from(value, 'latin1');
  let text;
  try {
    text = decode(bytes, charset);
  } catch {
    throw new Fault(line, `the character set ${charset} is not known`);
  }
  const masked = version === '2.1' ? text.replace(/\\(?![;,\\])/g, '\\\\').replace(/(?<!\\),/g, '\\,') : text;
  return masked.replace(/\r\n?|\n/g, '\\n');
}

/** How far in front a property stands among its like. */
function degreeOf({ types, pref }) {
  return types.includes('pref') ? 1 : Number(pref ?? NOT_PREFERRED) || NOT_PREFERRED;
}

/** The properties of one name as ical.js reads them, the preferred ones first. */
function read(properties, name, version) {
  const design = ical.design.getDesignSet(version === '4.0' ? 'vcard' : 'vcard3');
  return properties.filter((property) => property.name === name).map((property) => {
    try {
      const line = `${name}${property.parameters}:${readValue(property, version)}`;
      const [, { type = [], pref }, , value] = ical.parse.property(line, design);
      return { types: [type].flat().map((one) => one.toLowerCase()), pref, value };
    } catch (error) {
      throw error instanceof Fault ? error : new Fault(property.line, `${name} can't be read`);
    }
  }).sort((one, other) => degreeOf(one) - degreeOf(other));
}

/** The field in which a telephone number of these types stands, if there is one. */
function fieldOf(types) {
  const is = (...names) => names.some((name) => types.includes(name));
  if (is('pager', 'modem', 'bbs', 'car', 'isdn', 'textphone')) {
    return undefined;
  }
  if (is('fax')) {
    return is('home') ? undefined : 'businessFax';
  }
  if (is('cell', 'mobile')) {
    return 'mobilePhone';
  }
  return is('home') ? 'homePhone' : 'businessPhone';
}

/** Telephone numbers by field, the first of each; one that is of no place counts behind those of work. */
function readNumbers(properties, version) {
  const numbers = {};
  const isWork = ({ types }) => types.includes('work');
  for (const { types, value } of read(properties, 'TEL', version).sort((one, other) => isWork(other) - isWork(one))) {
    const field = fieldOf(types);
    if (field !== undefined) {
      // tel:+44-1632-960001;ext=12
      numbers[field] ??= /^tel:/i.test(value) ? value.slice(4).replace(/;ext=/i, ' ext. ').replace(/;.*/, '') : value;
    }
  }
  return numbers;
}

/** @returns {object}  the contact of a card. @throws {Fault}  where the card can't be read. */
function readCard({ line, lines }) {
  const properties = lines.map(readProperty).filter(({ name }) => USED.includes(name));
  // What came before there were versions to tell apart, and what some programs write still, is 2.1.
  const { value: version, line: versionLine } = properties.find(({ name }) => name === 'VERSION') ?? { value: '2.1' };
  if (!VERSIONS.includes(version.trim())) {
    throw new Fault(versionLine, `version ${version.trim()} is none of ${VERSIONS.join(', ')}`);
  }
  const first = (name) => read(properties, name, version.trim())[0]?.value;
  const [surname, givenName, middleName, title, suffix] = [first('N')].flat().map((part) => joined(...[part].flat()));
  const contact = makeContact({
    title, givenName, middleName, surname, suffix,
    displayName: first('FN'),
    company: [first('ORG')].flat()[0],
    email: first('EMAIL')?.replace(/^mailto:/i, ''),
    ...readNumbers(properties, version.trim()),
  });
  if (contact === undefined) {
    throw new Fault(line, 'the card has no name, company, e-mail address or telephone number');
  }
  return contact;
}

/**
 * @param {Buffer} bytes  a file, without a byte order mark.
 * @returns {(object | Fault)[]}  a contact for each card, or what is wrong with it.
 */
function readVCards(bytes) {
  return splitCards(bytes).map((card) => {
    try {
      return card instanceof Fault ? card : readCard(card);
    } catch (error) {
      if (error instanceof Fault) {
        return error;
      }
      throw error;
    }
  });
}

module.exports = { readVCards };
