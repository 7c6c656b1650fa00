// linked-in.js: what of the compiler and of header libraries is in a program, told by its link map and by what its sources
// have included.
'use strict';

const fs = require('fs');
const path = require('path');

const { PackagingError, run } = require('./run');

/**
 * @typedef {object} Component
 * @property {string} name
 * @property {string} license  SPDX expression, as its Debian copyright file has it.
 * @property {string} [comment]  on the licence
 * @property {string[]} packages  Debian packages with their versions, "<name> <version> <architecture>", that its files
 *   have come from.
 */

/** By the path of a file; the first one that fits counts. */
const COMPONENTS = [
  {
    name: 'libstdc++',
    license: 'GPL-3.0-or-later WITH GCC-exception-3.1',
    holds: /\/libstdc\+\+\.a$|\/include\/c\+\+\//,
  },
  {
    name: 'libgcc',
    license: 'GPL-3.0-or-later WITH GCC-exception-3.1',
    holds: /^\/usr\/lib\/gcc\//,
  },
  {
    name: 'winpthreads',
    license: 'MIT AND BSD-3-Clause',
    holds: /\/lib(win)?pthread\.a$|\/(pthread[^/]*|sched|semaphore)\.h$/,
  },
  {
    name: 'mingw-w64 runtime',
    license: 'ZPL-2.1',
    comment: 'Parts are in the public domain or under other permissive licences; THIRD-PARTY-NOTICES.txt has them all.',
    holds: /^\/usr\/(x86_64-w64-mingw32|share\/mingw-w64)\//,
  },
  { name: 'CLI11', license: 'BSD-3-Clause', holds: /^\/usr\/include\/CLI\// },
  {
    name: 'nlohmann-json',
    license: 'MIT',
    comment: 'A part of it is in the public domain; THIRD-PARTY-NOTICES.txt has all.',
    holds: /^\/usr\/include\/nlohmann\//,
  },
];

/** The object files and archives that the linker took something from. */
function linkedFiles(map) {
  const archives = [...map.matchAll(/^(\S.*\.a)\(.*\)$/gm)].map(([, archive]) => archive);
  return archives.concat([...map.matchAll(/^LOAD (.*\.o)$/gm)].map(([, object]) => object));
}

/** All headers that the sources of a program of the build folder have included. */
function includedFiles(buildFolder, program) {
  const objects = run('ninja', ['-C', buildFolder, '-t', 'inputs', program]).match(/\S.*\.(obj|gch)$/gm) ?? [];
  return run('ninja', ['-C', buildFolder, '-t', 'deps', ...objects]).match(/^ +\S.*$/gm).map((line) => line.trim());
}

/** @returns {Map<string, string>}  for each file its Debian package, version and architecture. */
function debianPackages(files) {
  const packages = new Map();
  const versions = new Map();
  for (const line of run('dpkg-query', ['-S', ...files]).trim().split('\n')) {
    const [, name, file] = /^([^:,]+).*?: (\/.*)$/.exec(line);
    if (!versions.has(name)) {
      versions.set(name, run('dpkg-query', ['-W', '-f', '${Package} ${Version} ${Architecture}', name]));
    }
    packages.set(file, versions.get(name));
  }
  return packages;
}

/**
 * What a program of a build folder has in it beside this project's own code.
 * @param {string} program  relative to the build folder, e.g. "bin/LinkwellAgent.exe".
 * @returns {Component[]}  in the order of their names.
 */
function linkedIn(buildFolder, sourceFolder, program) {
  const map = path.join(buildFolder, `${program}.map`);
  if (!fs.existsSync(map)) {
    throw new PackagingError(`${map} is missing: build ${program} by the preset mingw-release`);
  }
  const own = [sourceFolder, buildFolder].map((folder) => `${fs.realpathSync(folder)}/`);
  const foreign = [...new Set([...linkedFiles(fs.readFileSync(map, 'utf8')), ...includedFiles(buildFolder, program)]
    .map((file) => fs.realpathSync(path.resolve(buildFolder, file))))]
    .filter((file) => !own.some((folder) => file.startsWith(folder)));
  const packages = debianPackages(foreign);

  const found = new Map();
  for (const file of foreign) {
    const component = COMPONENTS.find(({ holds }) => holds.test(file));
    if (component === undefined || !packages.has(file)) {
      throw new PackagingError(`${program} has something of ${file} in it: name it in COMPONENTS of packaging/lib/linked-in.js`);
    }
    found.set(component, (found.get(component) ?? new Set()).add(packages.get(file)));
  }
  return [...found].map(([{ name, license, comment }, from]) => ({ name, license, comment, packages: [...from].sort() }))
    .sort((one, other) => (one.name < other.name ? -1 : 1));
}

module.exports = { linkedIn };
