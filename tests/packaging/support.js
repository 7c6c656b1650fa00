// support.js: what the tests of the packages share. ctest gives the build folder in LINKWELL_BUILD_FOLDER.
'use strict';

const assert = require('assert/strict');
const { spawnSync } = require('child_process');
const fs = require('fs');
const path = require('path');

const { run } = require('../../packaging/lib/run');

const ROOT = path.join(__dirname, '..', '..');
const BUILD = process.env.LINKWELL_BUILD_FOLDER ?? path.join(ROOT, 'build', 'mingw-release');
const VERSION = /^project\(Linkwell VERSION (\S+)/m.exec(fs.readFileSync(path.join(ROOT, 'CMakeLists.txt'), 'utf8'))[1];
/** The time that the packages of the tests have: a second of 2023, odd, as a ZIP has even ones only. */
const TIME = 1700000001;

/** A new, empty folder in the build folder, where it is left for a person to look at. */
function emptyFolder(name) {
  const folder = path.join(BUILD, 'packaging-tests', name);
  fs.rmSync(folder, { recursive: true, force: true });
  fs.mkdirSync(folder, { recursive: true });
  return folder;
}

/** Makes packages of what is built, into a folder. */
function makePackages(output, { options = [], revision = 'commit 0123', env = {} } = {}) {
  return run(path.join(ROOT, 'packaging', 'make.js'),
    ['--build', BUILD, '--output', output, '--time', String(TIME), '--revision', revision, ...options], { env });
}

/** The one file of a folder whose name has this end. */
function fileOf(folder, end) {
  const names = fs.readdirSync(folder).filter((name) => name.endsWith(end));
  assert.equal(names.length, 1, `${end}: ${names}`);
  return path.join(folder, names[0]);
}

/** The rows of a table of an MSI, each an object by the names of its columns. */
function table(msi, name) {
  const [columns, , , ...rows] = run('msiinfo', ['export', msi, name]).trimEnd().split('\r\n').map((line) => line.split('\t'));
  return rows.map((row) => Object.fromEntries(columns.map((column, at) => [column, row[at]])));
}

/** The names of the files in a ZIP, in their order. */
function namesIn(zip) {
  return run('unzip', ['-Z1', zip]).trimEnd().split('\n');
}

/** A program's end, whatever it was. */
function endOf(program, args, options = {}) {
  const { status, stdout, stderr } = spawnSync(program, args, { encoding: 'utf8', ...options });
  return { status, output: stdout + stderr };
}

module.exports = { BUILD, ROOT, TIME, VERSION, emptyFolder, endOf, fileOf, makePackages, namesIn, table };
