#!/usr/bin/env node
// make.js: makes the packages of what a build folder has, for scripts/package and the tests. Installs nothing, builds nothing.
//
//   make.js --build FOLDER --output FOLDER --time SECONDS --revision TEXT [--trust FILE] [--sign OPTIONS...]
'use strict';

const fs = require('fs');
const os = require('os');
const path = require('path');
const { parseArgs } = require('util');

const { digestOf } = require('./lib/identity');
const { linkedIn } = require('./lib/linked-in');
const { makeMsi } = require('./lib/msi');
const { PackagingError } = require('./lib/run');
const { makeNotices, makeSbom } = require('./lib/sbom');
const { sign } = require('./lib/signing');
const { filesBelow, install, settle, zip } = require('./lib/tree');

const SOURCE = path.join(__dirname, '..');

function versionOf(buildFolder) {
  const cache = path.join(buildFolder, 'CMakeCache.txt');
  const version = fs.existsSync(cache) && /^CMAKE_PROJECT_VERSION:STATIC=(.*)$/m.exec(fs.readFileSync(cache, 'utf8'));
  if (!version) {
    throw new PackagingError(`${buildFolder} is no build folder of this project: scripts/package makes one`);
  }
  return version[1];
}

/** Makes all packages of a build folder in the folder "work", and gives their names. */
function make(build, work, output) {
  const { folder, version, seconds, signing, trusted } = build;
  const name = `linkwell-${version}`;
  const zipTree = path.join(work, 'zip', name);
  const msiTree = path.join(work, 'msi');
  const symbolTree = path.join(work, 'symbols', `${name}-symbols`);
  install(folder, ['desktop', 'development'], zipTree);
  install(folder, ['desktop'], msiTree);
  install(folder, ['symbols'], symbolTree);

  const programs = filesBelow(zipTree).filter((file) => file.endsWith('.exe'));
  if (signing !== undefined) {
    for (const program of programs) {
      const file = path.join(zipTree, program);
      sign(file, signing, trusted);
      if (fs.existsSync(path.join(msiTree, program))) {
        fs.copyFileSync(file, path.join(msiTree, program));
      }
    }
  }
  const linked = new Map(programs.map((program) => [program, linkedIn(folder, SOURCE, `bin/${program}`)]));
  for (const tree of [zipTree, msiTree]) {
    fs.writeFileSync(path.join(tree, 'THIRD-PARTY-NOTICES.txt'), makeNotices(linked));
  }
  for (const tree of [zipTree, msiTree, symbolTree]) {
    settle(tree, seconds);
  }

  const msi = path.join(output, `${name}-x64.msi`);
  fs.writeFileSync(path.join(output, `${name}.spdx.json`), makeSbom(zipTree, linked, build));
  zip(zipTree, path.join(output, `${name}.zip`));
  zip(symbolTree, path.join(output, `${name}-symbols.zip`));
  makeMsi(msiTree, version, seconds, msi, work);
  if (signing !== undefined) {
    sign(msi, signing, trusted);
  }
}

/** The form of sha256sum. */
function checksums(folder) {
  return filesBelow(folder).map((file) => `${digestOf(fs.readFileSync(path.join(folder, file)))}  ${file}\n`).join('');
}

function main(args) {
  const signAt = args.indexOf('--sign');
  const { values } = parseArgs({
    args: signAt < 0 ? args : args.slice(0, signAt),
    options: Object.fromEntries(['build', 'output', 'time', 'revision', 'trust'].map((name) => [name, { type: 'string' }])),
  });
  const folder = path.resolve(values.build);
  const output = path.resolve(values.output);
  const work = fs.mkdtempSync(path.join(os.tmpdir(), 'linkwell-package-'));
  try {
    const made = path.join(work, 'packages');
    fs.mkdirSync(made);
    make({
      folder,
      version: versionOf(folder),
      revision: values.revision,
      seconds: Number(values.time),
      signing: signAt < 0 ? undefined : args.slice(signAt + 1),
      trusted: values.trust,
    }, work, made);
    fs.writeFileSync(path.join(made, 'SHA256SUMS'), checksums(made));
    // All or nothing: what was there before goes when the new packages are whole.
    fs.rmSync(output, { recursive: true, force: true });
    fs.cpSync(made, output, { recursive: true });
    for (const file of filesBelow(output)) {
      const content = fs.readFileSync(path.join(output, file));
      process.stdout.write(`${digestOf(content)} ${String(content.length).padStart(9)}  ${file}\n`);
    }
  } finally {
    fs.rmSync(work, { recursive: true, force: true });
  }
}

try {
  main(process.argv.slice(2));
} catch (error) {
  if (!(error instanceof PackagingError)) {
    throw error;
  }
  process.stderr.write(`error: ${error.message}\n`);
  process.exitCode = 1;
}
