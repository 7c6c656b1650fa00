#!/usr/bin/env node
// includes.js: holds every #include "..." of the tree against who-uses-whom.json. There, each folder names those below it:
// its files may include these and what is below them, beside their own. It stands for its subfolders as well, unless they
// have an entry themselves.
//
//   includes.js             prints what does not fit: forbidden includes, files that include each other, and arrows by
//                           which the first picture of docs/architecture.md differs from the table
//   includes.js --mermaid   prints the table as a picture, in Mermaid's words
//
// Exit status: 0 if everything fits.
'use strict';

const fs = require('fs');
const path = require('path');

const ROOT = path.join(__dirname, '..', '..');
const TABLE = JSON.parse(fs.readFileSync(path.join(__dirname, 'who-uses-whom.json'), 'utf8'));
const FLOORS = Object.keys(TABLE);

function isBelow(file, folder) {
  return file.startsWith(`${folder}/`);
}

/** The entry of the table that a file belongs to, or undefined. */
function floorOf(file) {
  return FLOORS.filter((floor) => isBelow(file, floor)).sort((one, other) => other.length - one.length)[0];
}

function sourcesBelow(folder) {
  return fs.readdirSync(path.join(ROOT, folder), { withFileTypes: true }).flatMap((entry) => {
    const name = `${folder}/${entry.name}`;
    return entry.isDirectory() ? sourcesBelow(name) : /\.(h|cpp)$/.test(name) ? [name] : [];
  });
}

/** @returns {{file: string, line: number, target: string}[]} */
function includesOf(file) {
  return fs.readFileSync(path.join(ROOT, file), 'utf8').split('\n').flatMap((text, at) => {
    const [, name] = /^\s*#\s*include\s*"([^"]+)"/.exec(text) || [];
    if (name === undefined) {
      return [];
    }
    const beside = path.posix.join(path.posix.dirname(file), name);
    return [{ file, line: at + 1, target: fs.existsSync(path.join(ROOT, beside)) ? beside : name }];
  });
}

/** All that a folder's files may include beside their own. */
function allBelow(floor) {
  return [...new Set(TABLE[floor].flatMap((next) => [next, ...allBelow(next)]))];
}

/** Why a file may not include another; undefined when it may. */
function objection(file, target) {
  const from = floorOf(file);
  const to = floorOf(target);
  if (TABLE[from] === 'everything') {
    return undefined;
  }
  if (!fs.existsSync(path.join(ROOT, target))) {
    return 'which is no path from the root of the tree, nor beside that file';
  }
  if (to === undefined) {
    return 'which belongs to no folder of tests/architecture/who-uses-whom.json';
  }
  const allowed = ['itself', ...allBelow(from)];
  return from === to || allowed.includes(to) ? undefined : `but ${from} may use only ${allowed.join(', ')}`;
}

/** The circles of the includes, each once and as the files on it. */
function circles(includes) {
  const targets = new Map();
  for (const { file, target } of includes) {
    targets.set(file, [...(targets.get(file) || []), target]);
  }
  const found = [];
  const done = new Set();
  function visit(file, trail) {
    if (trail.includes(file)) {
      found.push([...trail.slice(trail.indexOf(file)), file]);
    } else if (!done.has(file)) {
      (targets.get(file) || []).forEach((target) => visit(target, [...trail, file]));
      done.add(file);
    }
  }
  [...targets.keys()].forEach((file) => visit(file, []));
  return found;
}

function mermaid() {
  const name = (floor) => floor.replace(/\W/g, '_');
  const shown = FLOORS.filter((floor) => TABLE[floor] !== 'everything');
  return [
    'graph TD',
    ...shown.map((floor) => `  ${name(floor)}["${floor}"]`),
    ...shown.flatMap((floor) => TABLE[floor].map((next) => `  ${name(floor)} --> ${name(next)}`)),
  ].join('\n');
}

/** The arrows by which the table and its picture in docs/architecture.md differ. */
function pictureFindings() {
  const arrowsOf = (text) => text.split('\n').map((line) => line.trim()).filter((line) => line.includes(' --> '));
  const document = fs.readFileSync(path.join(ROOT, 'docs', 'architecture.md'), 'utf8');
  const drawn = arrowsOf(/```mermaid\n([^`]*)```/.exec(document)[1]);
  const wanted = arrowsOf(mermaid());
  return [
    ...wanted.filter((arrow) => !drawn.includes(arrow)).map((arrow) => `docs/architecture.md:1 does not draw ${arrow}`),
    ...drawn.filter((arrow) => !wanted.includes(arrow)).map((arrow) => `docs/architecture.md:1 draws ${arrow}, which the table lacks`),
  ];
}

function findings() {
  const folders = [...new Set(FLOORS.map((floor) => floor.split('/')[0]))];
  const files = folders.flatMap(sourcesBelow).filter((file) => !file.includes('/node_modules/'));
  const includes = files.flatMap(includesOf);
  return [
    ...files.filter((file) => floorOf(file) === undefined)
      .map((file) => `${file}:1 belongs to no folder of tests/architecture/who-uses-whom.json`),
    ...includes.map((include) => ({ ...include, why: objection(include.file, include.target) }))
      .filter(({ why }) => why !== undefined)
      .map(({ file, line, target, why }) => `${file}:${line} includes ${target}, ${why}`),
    ...pictureFindings(),
    ...circles(includes).map((files) => `${files[0]}:1 includes itself: ${files.join(' -> ')}`),
  ];
}

if (process.argv[2] === '--mermaid') {
  console.log(mermaid());
} else {
  const lines = findings();
  lines.forEach((line) => console.log(line));
  console.log(lines.length === 0 ? 'Every include goes where it may.' : `${lines.length} finding(s)`);
  process.exitCode = lines.length === 0 ? 0 : 1;
}
