// The package as others see it: by require, by import, and by TypeScript.
'use strict';

const assert = require('assert/strict');
const fs = require('fs');
const path = require('path');
const { test } = require('node:test');
const library = require('linkwell-host');
const { dependencies, engines, exports: entries, files, license, version } = require('linkwell-host/package.json');

const FOLDER = path.join(__dirname, '..');

test('gives the same by import and by require', async () => {
  const imported = await import('linkwell-host');
  for (const [name, value] of Object.entries(library)) {
    assert.equal(imported[name], value, name);
  }
});

test('lets nobody in but by its entries, all of which are packed', () => {
  assert.throws(() => require('linkwell-host/lib/host.js'), { code: 'ERR_PACKAGE_PATH_NOT_EXPORTED' });
  for (const file of Object.values(entries['.'])) {
    assert.ok(files.includes(file.slice(2)), file);
    assert.ok(fs.existsSync(path.join(FOLDER, file)), file);
  }
});

test('needs nothing else, and is not for everybody', () => {
  assert.equal(dependencies, undefined);
  assert.equal(license, 'UNLICENSED');
  assert.equal(engines.node, '>=18.20');
});

test('has the version of the project', () => {
  const project = fs.readFileSync(path.join(FOLDER, '..', '..', 'CMakeLists.txt'), 'utf8');
  const lock = JSON.parse(fs.readFileSync(path.join(FOLDER, 'package-lock.json'), 'utf8'));
  assert.equal(version, /project\(Linkwell VERSION ([0-9.]+)/.exec(project)[1]);
  assert.deepEqual([lock.version, lock.packages[''].version], [version, version]);
});

test('has types that TypeScript accepts, and that fit the code', () => {
  const ts = require('typescript');
  const program = ts.createProgram(['uses.mts', 'uses.cts'].map((file) => path.join(FOLDER, 'types-test', file)), {
    exactOptionalPropertyTypes: true,
    lib: ['lib.es2022.d.ts'],
    module: ts.ModuleKind.Node16,
    noEmit: true,
    strict: true,
    target: ts.ScriptTarget.ES2022,
    typeRoots: [path.join(FOLDER, 'node_modules', '@types')],
    types: ['node'],
  });
  const found = ts.getPreEmitDiagnostics(program).map(({ file, start, messageText }) => {
    const line = file === undefined ? '' : `${file.fileName}:${file.getLineAndCharacterOfPosition(start).line + 1}: `;
    return `${line}${ts.flattenDiagnosticMessageText(messageText, '\n')}`;
  });
  assert.deepEqual(found, []);

  const checker = program.getTypeChecker();
  const source = program.getSourceFiles().find(({ fileName }) => fileName.endsWith('/linkwell-host.d.ts'));
  const values = checker.getExportsOfModule(checker.getSymbolAtLocation(source))
    .filter(({ flags }) => flags & ts.SymbolFlags.Value);
  assert.deepEqual(values.map(({ name }) => name).sort(), Object.keys(library).sort());

  // What a class declares is what its code has, but for what the constructor sets.
  for (const { name, members } of values.filter(({ flags }) => flags & ts.SymbolFlags.Class)) {
    const inherited = ['on', 'once'];
    const declared = [...(members ?? new Map())].filter(([member, { flags }]) => !inherited.includes(member)
      && flags & ts.SymbolFlags.Method).map(([member]) => member);
    const actual = Object.getOwnPropertyNames(library[name].prototype).filter((member) => member !== 'constructor'
      && !member.startsWith('_') && Object.getOwnPropertyDescriptor(library[name].prototype, member).value !== undefined);
    assert.deepEqual(declared.sort(), actual.sort(), name);
  }
});
