// How "scripts/test --full" goes through its parts, in a copy of scripts/lib whose scripts/test says what it is told to.
'use strict';

const assert = require('node:assert');
const { spawnSync } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const test = require('node:test');

const ROOT = path.join(__dirname, '..', '..');
const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'full-'));
test.after(() => fs.rmSync(folder, { recursive: true }));
fs.cpSync(path.join(ROOT, 'scripts', 'lib'), path.join(folder, 'scripts', 'lib'), {
  recursive: true, filter: (from) => !from.includes('node_modules'),
});
fs.mkdirSync(path.join(folder, 'tests', 'mutation'), { recursive: true });
fs.writeFileSync(path.join(folder, 'tests', 'mutation', 'faults.json'), '[]');
fs.mkdirSync(path.join(folder, 'docs'));
const marks = /<!-- What follows.*? -->[^]*?<!-- That was it. -->/;
fs.writeFileSync(path.join(folder, 'docs', 'testing.md'), marks.exec(fs.readFileSync(path.join(ROOT, 'docs', 'testing.md'), 'utf8'))[0]);

/** What --full prints and gives, when scripts/test runs these lines of bash. */
function full(test, ...words) {
  fs.writeFileSync(path.join(folder, 'scripts', 'test'), `#!/bin/bash\n${test}\n`, { mode: 0o755 });
  fs.writeFileSync(path.join(folder, 'scripts', 'full'), [
    '#!/bin/bash',
    'source "$(dirname -- "$0")/lib/common.sh"',
    'source "$LINKWELL_ROOT/scripts/lib/build.sh"',
    'source "$LINKWELL_ROOT/scripts/lib/full.sh"',
    'run_full "$@"',
  ].join('\n'), { mode: 0o755 });
  const { LINKWELL_PRESET, ...env } = process.env;
  const run = spawnSync(path.join(folder, 'scripts', 'full'), words, { encoding: 'utf8', env });
  return { ...run, last: run.stdout.trimEnd().split('\n').at(-1) };
}

test('the parts are run one after the other, also behind one that fails, and counted together', () => {
  const { status, last, stdout } = full('case "$*" in *fuzz*) echo "3 passed, 1 failed"; exit 8 ;; esac; echo "2 passed, 0 failed"',
    'fuzz', 'long');
  assert.equal(last, '5 passed, 1 failed');
  assert.equal(status, 1);
  assert.match(stdout, /fuzz: 3 passed, 1 failed\n.*long: 2 passed, 0 failed\n/);
  assert.match(stdout, /\| long \| .* \| 2 \| 0 \| 0 \|/);
});

test('what has not come to its tests has failed', () => {
  const { status, last } = full('echo "error: the build failed" >&2; exit 1', 'suite');
  assert.equal(last, '0 passed, 1 failed');
  assert.equal(status, 1);
});

test('what was not run is counted, and not as passed', () => {
  const { status, last, stdout } = full('echo "           4 not run"; echo "2 passed, 0 failed"', 'suite');
  assert.equal(last, '2 passed, 0 failed');
  assert.equal(status, 0);
  assert.match(stdout, /\| suite \| .* \| 2 \| 0 \| 4 \|/);
});

test('each hardened build is one run, and one row of their table', () => {
  const { last, stdout } = full('[[ $LINKWELL_PRESET != clang-release ]] || { echo "4 passed, 1 failed"; exit 8; }; echo " 2 not run"; echo "5 passed, 0 failed"',
    'hardened');
  assert.equal(last, '9 passed, 1 failed');
  assert.match(stdout, /### Hardened builds\n\n.*\n.*\n\| mingw-hardened \| 5 \| 0 \| 2 \| \d+ \|\n\| clang-release \| 4 \| 1 \| 0 \| \d+ \|/);
});

test('the scripts that it runs have its turn', () => {
  const take = 'source "$(dirname -- "$0")/lib/common.sh"; LINKWELL_TURN_SECONDS=1 take_turn; echo "1 passed, 0 failed"';
  assert.equal(full(take, 'suite').last, '1 passed, 0 failed');
});

test('the page is written when that is asked for, and only then', () => {
  const page = () => fs.readFileSync(path.join(folder, 'docs', 'testing.md'), 'utf8');
  const before = page();
  full('echo "77 passed, 0 failed"', 'suite');
  assert.equal(page(), before);
  full('exit 1', '--write', 'tables');
  assert.match(page(), /\| suite \| .* \| 77 \| 0 \| 0 \|/);
});

test('an unknown part is refused', () => {
  const { status, stderr } = full('exit 1', 'fuzzing');
  assert.equal(status, 2);
  assert.match(stderr, /^error: --full has no part "fuzzing"\n       There are: suite sweep/);
});
