// copy.js: a copy of a tree's sources, with a build folder and a Wine prefix of its own below it.
'use strict';

const fs = require('fs');
const path = require('path');
const { execFileSync } = require('child_process');

/** The files of a work tree that git knows or would add, as paths relative to it. */
function listFiles(tree) {
  const names = execFileSync('git', ['-C', tree, 'ls-files', '-z', '--cached', '--others', '--exclude-standard']);
  const present = (name) => name !== '' && fs.lstatSync(path.join(tree, name), { throwIfNoEntry: false })?.isFile();
  return [...new Set(names.toString().split('\0'))].filter(present).sort();
}

/** The sources that faults are drawn in: Map from path to text. */
function readSources(tree, files) {
  const isSource = (name) => /^(agent|utilities)\/.*\.(cpp|h)$/.test(name);
  return new Map(files.filter(isSource).map((name) => [name, fs.readFileSync(path.join(tree, name), 'utf8')]));
}

/** Writes a file unless it holds this already, so that what is built from it stays good. */
function update(file, content, mode) {
  if (fs.existsSync(file) && fs.readFileSync(file).equals(content)) {
    return;
  }
  fs.mkdirSync(path.dirname(file), { recursive: true });
  fs.writeFileSync(file, content);
  if (mode !== undefined) {
    fs.chmodSync(file, mode);
  }
}

/** Makes `copy` hold the tree's files and no others, but for its build folder. */
function copyTree(tree, files, copy) {
  const wanted = new Set(files);
  const walk = (folder) => {
    for (const entry of fs.readdirSync(path.join(copy, folder), { withFileTypes: true })) {
      const name = path.join(folder, entry.name);
      if (entry.isDirectory() && name !== 'build') {
        walk(name);
      } else if (!entry.isDirectory() && !wanted.has(name)) {
        fs.rmSync(path.join(copy, name));
      }
    }
  };
  fs.mkdirSync(copy, { recursive: true });
  walk('');
  for (const name of files) {
    const from = path.join(tree, name);
    update(path.join(copy, name), fs.readFileSync(from), fs.statSync(from).mode);
  }
}

module.exports = { copyTree, listFiles, readSources, update };
