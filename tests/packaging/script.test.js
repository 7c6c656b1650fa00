// What scripts/package refuses before it does anything, each time in one line, in a repository of the test's own.
'use strict';

const assert = require('assert/strict');
const fs = require('fs');
const path = require('path');
const { before, test } = require('node:test');

const { run } = require('../../packaging/lib/run');
const { ROOT, emptyFolder, endOf } = require('./support');

const repository = emptyFolder('script');
const git = (...args) => run('git', ['-C', repository, '-c', 'user.name=Test', '-c', 'user.email=test@localhost', ...args]);

/** How the script ends in that repository. */
function packageWith(args = [], env = {}) {
  const { LINKWELL_PRESET, SOURCE_DATE_EPOCH, ...others } = process.env;
  return endOf(path.join(repository, 'scripts/package'), args, { env: { ...others, GIT_CEILING_DIRECTORIES: path.dirname(repository), ...env } });
}

before(() => {
  fs.cpSync(path.join(ROOT, 'scripts/package'), path.join(repository, 'scripts/package'));
  fs.cpSync(path.join(ROOT, 'scripts/lib'), path.join(repository, 'scripts/lib'), { recursive: true });
});

test('a folder that git knows nothing of, and what is not committed', () => {
  assert.deepEqual(packageWith(['--allow-dirty']),
    { status: 1, output: `error: git knows no commit of ${repository}: what is packaged could not be traced to one\n` });
  git('init', '-q');
  git('add', '.');
  git('commit', '-q', '-m', 'All');
  fs.writeFileSync(path.join(repository, 'new'), '');
  assert.deepEqual(packageWith(),
    { status: 1, output: 'error: there are changes that are not committed: commit them, or say --allow-dirty for a try\n' });
});

test('times that no ZIP can have, and programs of another preset', () => {
  for (const time of ['yesterday', '-1', '1', '315619199', '4354819200', '1e9']) {
    assert.deepEqual(packageWith(['--allow-dirty'], { SOURCE_DATE_EPOCH: time }),
      { status: 1, output: `error: SOURCE_DATE_EPOCH=${time}: it takes seconds since 1970, of a year from 1980 to 2107\n` });
  }
  assert.deepEqual(packageWith(['--allow-dirty'], { LINKWELL_PRESET: 'mingw-debug' }),
    { status: 1, output: 'error: LINKWELL_PRESET=mingw-debug: packages are made of mingw-release alone\n' });
});

test('wrong arguments', () => {
  for (const [args, fault] of [
    [['--fast'], 'unknown argument "--fast"'],
    [['--sign'], '--sign takes options for osslsigncode'],
    [['--trust'], '--trust takes a file'],
    [['--trust', 'none.pem', '--sign', '-key', 'none'], '--trust none.pem: there is no such file to read'],
    [['--trust', __filename], '--trust says what a signature is verified by, and there is no --sign'],
  ]) {
    assert.deepEqual(packageWith(args), { status: 2, output: `error: ${fault}\n       Try: scripts/package --help\n` });
  }
  const help = packageWith(['--help']);
  assert.equal(help.status, 0);
  assert.match(help.output, /^Usage: scripts\/package/);
});
