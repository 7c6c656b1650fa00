// writers.js: other programs and libraries that write vCards of people, and what of a person they can write.
'use strict';

const { execFileSync } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');
const v4 = require('vcard4');

const ENV = { ...process.env, LC_ALL: 'C.UTF-8' };
const isSet = ([, value]) => value !== '';

/** Version 2.1, in quoted-printable where it must. It has the middle name beside the first one. */
const gammu = {
  write(people, folder) {
    const types = {
      FirstName: 'givenName', SecondName: 'middleName', LastName: 'surname', Company: 'company', Email: 'email',
      NumberWork: 'businessPhone', NumberHome: 'homePhone', NumberMobile: 'mobilePhone', NumberFax: 'businessFax',
    };
    const lines = people.flatMap((person, at) => [`[PhonePBK${at + 1}]`, `Location = ${at + 1}`,
      ...Object.entries(types).map(([type, field]) => [type, person[field]]).filter(isSet)
        .flatMap(([type, text], entry) => [`Entry0${entry}Type = ${type}`, `Entry0${entry}Text = "${text}"`])]);
    fs.writeFileSync(path.join(folder, 'in.backup'), ['[Backup]', 'Format = 1.05', ...lines, ''].join('\n'));
    execFileSync('gammu', ['convertbackup', 'in.backup', 'out.vcf'], { cwd: folder, env: ENV, stdio: 'pipe' });
    return fs.readFileSync(path.join(folder, 'out.vcf'));
  },
  keeps: ({ givenName, middleName, ...others }) =>
    ({ ...others, givenName: `${givenName} ${middleName}`.trim(), middleName: '' }),
};

/** No version. Of a name the last word is the surname, and there is no company. */
const abook = {
  write(people, folder) {
    const keys = {
      name: 'displayName', email: 'email', phone: 'homePhone', workphone: 'businessPhone', mobile: 'mobilePhone', fax: 'businessFax',
    };
    const lines = people.flatMap((person, at) => [`[${at}]`,
      ...Object.entries(keys).map(([key, field]) => [key, person[field]]).filter(isSet).map(([key, text]) => `${key}=${text}`)]);
    fs.writeFileSync(path.join(folder, 'in.abook'), [...lines, ''].join('\n'));
    execFileSync('abook', ['--convert', '--informat', 'abook', '--infile', 'in.abook', '--outformat', 'vcard', '--outfile', 'out.vcf'],
      { cwd: folder, env: { ...ENV, HOME: folder } });
    return fs.readFileSync(path.join(folder, 'out.vcf'));
  },
  keeps: (person) => ({
    ...person,
    givenName: person.displayName.split(' ').slice(0, -1).join(' '),
    middleName: '',
    surname: person.displayName.split(' ').at(-1),
    company: '',
  }),
};

/** Version 3.0. */
const vobject = {
  write: (people) => execFileSync('/usr/bin/python3', [path.join(__dirname, 'vobject-cards.py')],
    { input: JSON.stringify(people), env: ENV }),
  keeps: (person) => person,
};

/** Version 4.0. */
const vcard4 = {
  write(people) {
    const types = { businessPhone: ['work', 'voice'], homePhone: ['home', 'voice'], mobilePhone: ['cell'], businessFax: ['work', 'fax'] };
    const text = (value) => new v4.TextType(value);
    const typesOf = (field) => new v4.TypeParameter('TelProperty', types[field].map((type) => new v4.ParameterValueType(type)));
    return people.map((person) => new v4.VCARD([
      new v4.FNProperty([], text(person.displayName)),
      new v4.NProperty([], new v4.SpecialValueType('NProperty',
        [person.surname, person.givenName, person.middleName, '', ''].map((name) => (name === '' ? null : text(name))))),
      ...(person.company === '' ? [] : [new v4.OrgProperty([], new v4.SpecialValueType('OrgProperty', [text(person.company)]))]),
      ...(person.email === '' ? [] : [new v4.EmailProperty([], text(person.email))]),
      ...Object.keys(types).filter((field) => person[field] !== '').map((field) => new v4.TelProperty([typesOf(field)], text(person[field]))),
    ]).repr()).join('');
  },
  keeps: (person) => person,
};

module.exports = { abook, gammu, vcard4, vobject };
