// What scripts/package makes: the same bytes each time, and what ZIPs, MSI and bill of materials hold.
'use strict';

const assert = require('assert/strict');
const { createHash } = require('crypto');
const fs = require('fs');
const path = require('path');
const { before, test } = require('node:test');

const { run } = require('../../packaging/lib/run');
const { BUILD, ROOT, TIME, VERSION, emptyFolder, fileOf, makePackages, namesIn, table } = require('./support');

const NAME = `linkwell-${VERSION}`;
const DESKTOP = ['LinkwellAgent.exe', 'THIRD-PARTY-NOTICES.txt', 'linkwell-closeagent.exe', 'linkwell-support.exe'];
const PROGRAMS = [...DESKTOP.filter((name) => name.endsWith('.exe')), 'linkwell-hostcheck.exe'];
const folder = emptyFolder('packages');
const packages = path.join(folder, 'first');
const unpacked = path.join(folder, 'unpacked', NAME);
let msi;

before(() => {
  makePackages(packages);
  msi = fileOf(packages, '.msi');
  run('unzip', ['-q', fileOf(packages, `${VERSION}.zip`), '-d', path.dirname(unpacked)]);
});

const sha = (algorithm, content) => createHash(algorithm).update(content).digest('hex');
const sortedNames = (names) => [...names].sort();

test('are the same bytes when they are made again, in another place, with another mask, time zone and language', () => {
  const again = path.join(folder, 'a second time', 'packages');
  fs.mkdirSync(path.dirname(again));
  const mask = process.umask(0o077);
  makePackages(again, { env: { TMPDIR: path.dirname(again), TZ: 'Asia/Kathmandu', LC_ALL: 'C' } });
  process.umask(mask);
  assert.deepEqual(fs.readdirSync(again), fs.readdirSync(packages));
  for (const file of fs.readdirSync(packages)) {
    assert.ok(fs.readFileSync(path.join(again, file)).equals(fs.readFileSync(path.join(packages, file))), file);
  }
});

test('have one version, by which they are named', () => {
  assert.deepEqual(fs.readdirSync(packages),
    ['SHA256SUMS', `${NAME}-symbols.zip`, `${NAME}-x64.msi`, `${NAME}.spdx.json`, `${NAME}.zip`]);
  const heading = /^## (\S+),/m.exec(fs.readFileSync(path.join(unpacked, 'CHANGELOG.md'), 'utf8'));
  const { version } = JSON.parse(fs.readFileSync(path.join(unpacked, 'hosts/node/package.json'), 'utf8'));
  const sbom = JSON.parse(fs.readFileSync(fileOf(packages, '.json')));
  const property = table(msi, 'Property').find(({ Property }) => Property === 'ProductVersion').Value;
  assert.deepEqual([heading[1], version, sbom.packages[0].versionInfo, property], Array(4).fill(VERSION));
});

test('have checksums that sha256sum takes', () => {
  const checked = run('sha256sum', ['--check', '--strict', 'SHA256SUMS'], { cwd: packages });
  assert.equal(checked.match(/: OK$/gm).length, fs.readdirSync(packages).length - 1);
});

test('the ZIP has programs, hosts and documents, all below one folder, with one time', () => {
  const names = namesIn(fileOf(packages, `${VERSION}.zip`));
  assert.deepEqual(names, sortedNames(names));
  const expected = [...DESKTOP, 'CHANGELOG.md', 'README.md', 'SECURITY.md',
    'docs/host-lifecycle.md', 'docs/log.md', 'docs/wire-protocol.md', 'docs/protocol-samples/snapshot.bin',
    'docs/protocol-samples/snapshot.json', 'hosts/cpp/LinkwellHost.h', 'hosts/cpp/LinkwellHost.cpp',
    'hosts/node/linkwell-host.js', 'hosts/node/lib/host.js', 'hosts/node/bin/linkwell-host.js'];
  assert.deepEqual(expected.filter((name) => !names.includes(`${NAME}/${name}`)), []);
  assert.deepEqual(names.filter((name) => name.endsWith('.exe')).map((name) => path.basename(name)), sortedNames(PROGRAMS));
  const strange = names.filter((name) => !name.startsWith(`${NAME}/`)
    || /node_modules|package-lock|CMakeLists|\/\.|\/(test|tests|build|bench|support|types-test|target|obj)\/|testing\.md|architecture\.md/.test(name));
  assert.deepEqual(strange, []);
  for (const name of names) {
    assert.equal(fs.statSync(path.join(unpacked, '..', name)).mtimeMs / 1000, TIME + 1, name); // a ZIP counts in twos
  }
});

test('the documents in the ZIP lead nowhere but into it', () => {
  const pages = namesIn(fileOf(packages, `${VERSION}.zip`)).filter((name) => name.endsWith('.md')).map((name) => path.join(unpacked, '..', name));
  const dead = pages.flatMap((page) => [...fs.readFileSync(page, 'utf8').matchAll(/\]\((?!https?:|#)([^)#\s]+)(#[^)\s]*)?\)/g)]
    .filter(([, link]) => !fs.existsSync(path.join(path.dirname(page), link)))
    .map(([, link]) => `${path.relative(unpacked, page)}: ${link}`));
  assert.deepEqual(dead, []);
  assert.ok(pages.length > 5);
});

test('the host for Node.js in the ZIP can be loaded', () => {
  const { LinkwellHost } = require(path.join(unpacked, 'hosts/node'));
  assert.equal(typeof LinkwellHost, 'function');
});

test('programs in the ZIP are those that were built', () => {
  for (const program of PROGRAMS) {
    assert.ok(fs.readFileSync(path.join(unpacked, program)).equals(fs.readFileSync(path.join(BUILD, 'bin', program))), program);
  }
});

test('the symbols fit the program: the same sections at the same places, and names and lines for its code', () => {
  run('unzip', ['-q', fileOf(packages, '-symbols.zip'), '-d', folder]);
  const symbols = path.join(folder, `${NAME}-symbols`, 'LinkwellAgent.debug');
  assert.ok(!fs.readFileSync(symbols).includes(ROOT), 'has a path of this machine');
  const tool = (name, ...args) => run(`x86_64-w64-mingw32-${name}`, args);
  const sections = (file) => [...tool('objdump', '-h', file).matchAll(/^ +\d+ (\.(?:text|data|rdata|pdata|xdata|bss|idata|CRT|tls|rsrc|reloc)) +(\w+) +(\w+)/gm)]
    .map(([, name, size, address]) => `${name} ${size} ${address}`);
  assert.deepEqual(sections(symbols), sections(path.join(BUILD, 'bin', 'LinkwellAgent.exe')));
  assert.ok(sections(symbols).length >= 8);
  const main = /^(\w+) T (wWinMain|WinMain)$/m.exec(tool('nm', symbols));
  assert.match(tool('addr2line', '-f', '-e', symbols, main[1]), /WinMain\n.*main\.cpp:\d+/);
});

test('the MSI has the desktop\'s files, with the versions by which Windows Installer replaces them', () => {
  const rows = table(msi, 'File').map(({ FileName, Version, FileSize }) => [FileName, Version, FileSize]);
  assert.deepEqual(rows, DESKTOP.map((name) => (
    [name, name.endsWith('.exe') ? `${VERSION}.0` : '', String(fs.statSync(path.join(unpacked, name)).size)])));
  assert.deepEqual(table(msi, 'MsiFileHash').map(({ File_ }) => File_), ['THIRD_PARTY_NOTICES.txt']);
});

test('the MSI is one for all users of 64-bit Windows, that upgrades what is older and refuses what is newer', () => {
  const properties = Object.fromEntries(table(msi, 'Property').map(({ Property, Value }) => [Property, Value]));
  const { ProductCode, ...others } = properties;
  assert.match(ProductCode, /^\{[0-9A-F]{8}-[0-9A-F]{4}-5[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}\}$/);
  assert.deepEqual(others, {
    ALLUSERS: '1',
    ARPNOMODIFY: '1',
    ARPPRODUCTICON: 'linkwell.ico',
    Manufacturer: 'Corvena',
    ProductLanguage: '1033',
    ProductName: 'Linkwell',
    ProductVersion: VERSION,
    SecureCustomProperties: 'WIX_DOWNGRADE_DETECTED;WIX_UPGRADE_DETECTED;INSTALLFOLDER;REMEMBEREDFOLDER',
    UpgradeCode: '{22DB25C9-6F21-4A66-B578-6645C3068800}', // for ever
  });
  const found = table(msi, 'Upgrade').map(({ VersionMin, VersionMax, ActionProperty }) => [VersionMin, VersionMax, ActionProperty]);
  assert.deepEqual(found, [['', VERSION, 'WIX_UPGRADE_DETECTED'], [VERSION, '', 'WIX_DOWNGRADE_DETECTED']]);
  assert.match(table(msi, 'LaunchCondition')[0].Description, /^A newer version of Linkwell is installed\./);

  const sequence = Object.fromEntries(table(msi, 'InstallExecuteSequence').map(({ Action, Sequence }) => [Action, Number(Sequence)]));
  const actions = ['AppSearch', 'UseRememberedFolder', 'LaunchConditions', 'CostFinalize', 'TellInstallLocation', 'InstallValidate',
    'InstallInitialize', 'RemoveExistingProducts', 'ProcessComponents', 'InstallFiles', 'PublishProduct', 'InstallFinalize'];
  assert.deepEqual([...actions].sort((one, other) => sequence[one] - sequence[other]), actions);

  const summary = run('msiinfo', ['suminfo', msi]);
  assert.match(summary, /^Template: x64;1033$/m);
  assert.match(summary, /^Created: Tue Nov 14 22:13:21 2023\nLast saved: Tue Nov 14 22:13:21 2023$/m);
  const icon = run('msiinfo', ['extract', msi, 'Icon.linkwell.ico'], { encoding: 'buffer' });
  assert.ok(icon.equals(fs.readFileSync(path.join(ROOT, 'agent/resources/linkwell.ico'))));
});

test('the MSI has another package code where it has other content, and the same one else', () => {
  const packageCode = (file) => /^Revision number \(UUID\): (.*)$/m.exec(run('msiinfo', ['suminfo', file]))[1];
  const { makeMsi } = require('../../packaging/lib/msi');
  const make = (name, content) => {
    const tree = path.join(emptyFolder(`packages/${name}`), 'tree');
    fs.mkdirSync(tree);
    fs.writeFileSync(path.join(tree, 'file.txt'), content);
    fs.utimesSync(path.join(tree, 'file.txt'), TIME, TIME);
    makeMsi(tree, '1.2.3', TIME, path.join(tree, '..', 'made.msi'), path.dirname(tree));
    return path.join(tree, '..', 'made.msi');
  };
  const [one, same, other] = [make('one', 'one'), make('same', 'one'), make('other', 'two')];
  assert.ok(fs.readFileSync(one).equals(fs.readFileSync(same)));
  assert.notEqual(packageCode(one), packageCode(other));
  const product = (file) => table(file, 'Property').find(({ Property }) => Property === 'ProductCode').Value;
  assert.equal(product(one), product(other));
  assert.notEqual(product(one), product(msi));
});

test('the bill of materials is whole: each file with its digests, each library with version and licence', () => {
  const sbom = JSON.parse(fs.readFileSync(fileOf(packages, '.json'), 'utf8'));
  assert.equal(sbom.spdxVersion, 'SPDX-2.3');
  assert.equal(sbom.dataLicense, 'CC0-1.0');
  assert.match(sbom.documentNamespace, /^urn:uuid:[0-9a-f-]{36}$/);
  assert.equal(sbom.creationInfo.created, '2023-11-14T22:13:21Z');

  const elements = [sbom, ...sbom.packages, ...sbom.files].map(({ SPDXID }) => SPDXID);
  assert.equal(new Set(elements).size, elements.length);
  for (const id of elements) {
    assert.match(id, /^SPDXRef-[A-Za-z0-9.-]+$/);
  }
  for (const { spdxElementId, relatedSpdxElement } of sbom.relationships) {
    assert.ok(elements.includes(spdxElementId) && elements.includes(relatedSpdxElement), `${spdxElementId} ${relatedSpdxElement}`);
  }

  const files = sbom.files.map(({ fileName }) => `${NAME}/${fileName.slice(2)}`);
  assert.deepEqual(files, namesIn(fileOf(packages, `${VERSION}.zip`)));
  for (const { fileName, checksums } of sbom.files) {
    const content = fs.readFileSync(path.join(unpacked, fileName));
    assert.deepEqual(checksums.map(({ checksumValue }) => checksumValue), [sha('sha1', content), sha('sha256', content)]);
  }
  const [product, ...libraries] = sbom.packages;
  assert.equal(product.packageVerificationCode.packageVerificationCodeValue,
    sha('sha1', sbom.files.map(({ checksums }) => checksums[0].checksumValue).sort().join('')));
  assert.equal(product.sourceInfo, 'built from commit 0123');

  const exception = 'GPL-3.0-or-later WITH GCC-exception-3.1';
  const installed = run('dpkg-query', ['-W', '-f', '${Package} ${Version}\n']).split('\n');
  assert.deepEqual(Object.fromEntries(libraries.map(({ name, licenseDeclared }) => [name, licenseDeclared])), {
    'CLI11': 'BSD-3-Clause', 'nlohmann-json': 'MIT', 'libgcc': exception, 'libstdc++': exception, 'mingw-w64 runtime': 'ZPL-2.1', 'winpthreads': 'MIT AND BSD-3-Clause',
  });
  for (const { name, sourceInfo, versionInfo, externalRefs } of libraries) {
    const from = /^from Debian: (.*)$/.exec(sourceInfo)[1].split(', ');
    assert.deepEqual(from.filter((each) => !installed.includes(each)), [], name);
    assert.equal(from[0].split(' ')[1], versionInfo);
    assert.equal(externalRefs.length, from.length);
  }
});

test('the bill of materials says of each program what the linker has taken', () => {
  const sbom = JSON.parse(fs.readFileSync(fileOf(packages, '.json'), 'utf8'));
  const nameOf = (id) => sbom.packages.find(({ SPDXID }) => SPDXID === id)?.name;
  for (const program of PROGRAMS) {
    const linked = sbom.relationships
      .filter(({ spdxElementId, relationshipType }) => spdxElementId === `SPDXRef-File-${program}` && relationshipType === 'STATIC_LINK')
      .map(({ relatedSpdxElement }) => nameOf(relatedSpdxElement));
    // What each of these libraries leaves in a program that is linked with it.
    const content = fs.readFileSync(path.join(BUILD, 'bin', program), 'latin1');
    assert.ok(linked.includes('libgcc') && linked.includes('mingw-w64 runtime'), program);
    assert.equal(linked.includes('libstdc++'), /St9exception|std::exception|basic_string/.test(content), program);
    assert.equal(linked.includes('CLI11'), content.includes('N3CLI'), program);
  }
});

test('the notices have the licence of each library in full', () => {
  const notices = fs.readFileSync(path.join(unpacked, 'THIRD-PARTY-NOTICES.txt'), 'utf8');
  for (const words of ['GCC Runtime Library Exception', 'Servicemarks (sm)', 'Lockless', 'libstdc++ (GPL-3.0-or-later WITH GCC-exception-3.1)']) {
    assert.ok(notices.includes(words), words);
  }
});
