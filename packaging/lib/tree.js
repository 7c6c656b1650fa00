// tree.js: the files of a package in a folder, in one order, with fixed times and modes.
'use strict';

const fs = require('fs');
const path = require('path');

const { run } = require('./run');

/** The files below a folder, by their paths relative to it with "/", sorted by their bytes. */
function filesBelow(folder, prefix = '') {
  return fs.readdirSync(path.join(folder, prefix), { withFileTypes: true })
    .flatMap((entry) => (entry.isDirectory() ? filesBelow(folder, `${prefix}${entry.name}/`) : [prefix + entry.name]))
    .sort((one, other) => Buffer.compare(Buffer.from(one), Buffer.from(other)));
}

/** Installs some components of a build folder (packaging/CMakeLists.txt) into a new folder. */
function install(buildFolder, components, folder) {
  fs.mkdirSync(folder, { recursive: true });
  for (const component of components) {
    run('cmake', ['--install', buildFolder, '--component', component, '--prefix', folder]);
  }
}

/** Gives all files one time, in seconds since 1970, and modes by their kinds. */
function settle(folder, seconds) {
  for (const file of filesBelow(folder)) {
    fs.chmodSync(path.join(folder, file), /\.exe$|\/bin\//.test(file) ? 0o755 : 0o644);
    fs.utimesSync(path.join(folder, file), seconds, seconds);
  }
}

/** Packs a folder with its name into a ZIP: the same bytes from the same names, contents, times and modes. */
function zip(folder, file) {
  const name = path.basename(folder);
  run('zip', ['-X', '-D', '-9', '-q', '-@', file], {
    cwd: path.dirname(folder),
    input: filesBelow(folder).map((each) => `${name}/${each}\n`).join(''),
  });
}

module.exports = { filesBelow, install, settle, zip };
