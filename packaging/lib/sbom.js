// sbom.js: the bill of materials as SPDX 2.3, and the notices that the licences of what is linked in ask for.
'use strict';

const fs = require('fs');
const path = require('path');

const { digestOf, uuidOf } = require('./identity');
const { filesBelow } = require('./tree');

const PRODUCT = 'SPDXRef-Package-Linkwell';
const idOf = (kind, name) => `SPDXRef-${kind}-${name.replace(/[^A-Za-z0-9.-]/g, '-')}`;

function purl(debianPackage) {
  const [name, version, architecture] = debianPackage.split(' ');
  return `pkg:deb/debian/${encodeURIComponent(name)}@${encodeURIComponent(version)}?arch=${architecture}`;
}

function spdxFile(tree, name) {
  const content = fs.readFileSync(path.join(tree, name));
  return {
    SPDXID: idOf('File', name),
    fileName: `./${name}`,
    fileTypes: [/\.exe$/.test(name) ? 'BINARY' : /\.(js|mjs|mts|ts|h|cpp|cs|py|rs|c)$/.test(name) ? 'SOURCE' : 'OTHER'],
    checksums: ['sha1', 'sha256'].map((algorithm) => ({
      algorithm: algorithm.toUpperCase(), checksumValue: digestOf(content, algorithm),
    })),
    licenseConcluded: 'NOASSERTION',
    licenseInfoInFiles: ['NOASSERTION'],
    copyrightText: 'NOASSERTION',
  };
}

function spdxComponent({ name, license, comment, packages }) {
  return {
    SPDXID: idOf('Package', name),
    name,
    versionInfo: packages[0].split(' ')[1],
    supplier: 'Organization: Debian',
    downloadLocation: 'NOASSERTION',
    filesAnalyzed: false,
    licenseConcluded: 'NOASSERTION',
    licenseDeclared: license,
    ...(comment === undefined ? {} : { licenseComments: comment }),
    copyrightText: 'NOASSERTION',
    sourceInfo: `from Debian: ${packages.map((each) => each.split(' ').slice(0, 2).join(' ')).join(', ')}`,
    externalRefs: packages.map((each) => (
      { referenceCategory: 'PACKAGE-MANAGER', referenceType: 'purl', referenceLocator: purl(each) })),
  };
}

/**
 * @param {string} tree  the files that are handed out.
 * @param {Map<string, Component[]>} linked  for each program what is linked in (linked-in.js).
 * @param {{ version: string, revision: string, seconds: number }} build
 * @returns {string}  the document, in JSON.
 */
function makeSbom(tree, linked, { version, revision, seconds }) {
  const files = filesBelow(tree).map((name) => spdxFile(tree, name));
  const components = [...new Map([...linked.values()].flat().map((each) => [each.name, each])).values()];
  const product = {
    SPDXID: PRODUCT,
    name: 'Linkwell',
    versionInfo: version,
    supplier: 'Organization: Corvena',
    downloadLocation: 'NOASSERTION',
    primaryPackagePurpose: 'APPLICATION',
    filesAnalyzed: true,
    packageVerificationCode: {
      packageVerificationCodeValue: digestOf(files.map(({ checksums }) => checksums[0].checksumValue).sort().join(''), 'sha1'),
    },
    licenseConcluded: 'NOASSERTION',
    licenseDeclared: 'NONE',
    licenseInfoFromFiles: ['NOASSERTION'],
    copyrightText: 'NOASSERTION',
    sourceInfo: `built from ${revision}`,
  };
  const relation = (spdxElementId, relationshipType, relatedSpdxElement) => (
    { spdxElementId, relationshipType, relatedSpdxElement });
  const document = {
    spdxVersion: 'SPDX-2.3',
    dataLicense: 'CC0-1.0',
    SPDXID: 'SPDXRef-DOCUMENT',
    name: `linkwell-${version}`,
    documentNamespace: '',
    creationInfo: {
      created: new Date(seconds * 1000).toISOString().replace('.000', ''),
      creators: ['Organization: Corvena', `Tool: scripts/package-${version}`],
    },
    packages: [product, ...components.map(spdxComponent)],
    files,
    relationships: [
      relation('SPDXRef-DOCUMENT', 'DESCRIBES', PRODUCT),
      ...files.map(({ SPDXID }) => relation(PRODUCT, 'CONTAINS', SPDXID)),
      ...[...linked].flatMap(([program, parts]) => (
        parts.map(({ name }) => relation(idOf('File', program), 'STATIC_LINK', idOf('Package', name))))),
    ],
  };
  document.documentNamespace = `urn:uuid:${uuidOf(`sbom ${JSON.stringify(document)}`).toLowerCase()}`;
  return `${JSON.stringify(document, null, 2)}\n`;
}

/** The licences of all that is linked in, as the Debian packages have them, each text once. */
function makeNotices(linked) {
  const components = [...new Map([...linked.values()].flat().map((each) => [each.name, each])).values()];
  const texts = new Map();
  for (const { name, packages } of components) {
    for (const each of packages) {
      const text = fs.readFileSync(path.join('/usr/share/doc', each.split(' ')[0], 'copyright'), 'utf8');
      texts.set(text, (texts.get(text) ?? new Set()).add(name));
    }
  }
  const rule = '='.repeat(100);
  return [
    'The programs of Linkwell have parts of these libraries in them:',
    '',
    ...components.map(({ name, license, packages }) => `  ${name} (${license}), from Debian: ${packages.join(', ')}`),
    '',
    'Their licences follow, in the words of the Debian packages, whose files also tell of parts that are not in the programs.',
    ...[...texts].map(([text, names]) => `${rule}\n${[...names].join(', ')}\n${rule}\n${text.trimEnd()}`),
    '',
  ].join('\n');
}

module.exports = { makeNotices, makeSbom };
