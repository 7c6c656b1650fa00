// That what the documents tell people to type is there: scripts and their options, presets, tests, files, variables. Whether
// it works, scripts/check-commands tries, which takes an hour.
'use strict';

const assert = require('node:assert');
const { execFileSync, spawnSync } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');
const test = require('node:test');

const { PROGRAM, ROOT, RULES, commandsOf, documents, ruleOf } = require('../../scripts/lib/commands/read');

const commands = documents().flatMap(commandsOf);
const sources = execFileSync('git', ['grep', '-hIE', 'LINKWELL_[A-Z_]+|linkwell_add_tests|NAME [a-z_]+', '--', ':!*.md', ':!tests/documents'],
  { cwd: ROOT, encoding: 'utf8', maxBuffer: 1 << 26 });
const presets = Object.entries(JSON.parse(fs.readFileSync(path.join(ROOT, 'CMakePresets.json'), 'utf8')))
  .flatMap(([kind, list]) => (kind.endsWith('Presets') ? list.map(({ name }) => name) : []));

const helps = new Map();
function helpOf(script) {
  if (!helps.has(script)) {
    const ask = (file) => spawnSync(file, ['--help'], { encoding: 'utf8' }).stdout;
    // What scripts/test does not know it gives to ctest.
    helps.set(script, ask(path.join(ROOT, script)) + (script === 'scripts/test' ? ask('ctest') : ''));
  }
  return helps.get(script);
}

/** What is wrong with a command, at the first word that is. */
function faultOf({ text, windows, folder }) {
  const words = text.replaceAll('\\', windows ? '/' : '').split(/\s+/).map((word) => word.replace(/^['"]|['"]$/g, ''));
  const script = words.find((word) => /^scripts\/[a-z-]+$/.test(word));
  for (const [at, word] of words.entries()) {
    const before = words[at - 1];
    const file = path.join(ROOT, folder, word);
    if (/^(\.\/)?(scripts|\.ci|hosts|tools|tests|docs|agent|sandbox|packaging)\//.test(word) && !fs.existsSync(file)) {
      return `there is no ${word}`;
    }
    if (/^scripts\/[a-z-]+$/.test(word) && (fs.statSync(file).mode & 0o111) === 0) {
      return `${word} can't be run`;
    }
    const option = /^--[a-z][a-z-]*/.exec(word)?.[0];
    // The options of sandboxctl are known to that program, which only Wine can run.
    if (option && script && script !== 'scripts/sandboxctl' && !helpOf(script).includes(option)) {
      return `${script} does not know ${option}`;
    }
    if (before === '--preset' && !presets.includes(word)) {
      return `there is no preset ${word}`;
    }
    for (const [name] of word.matchAll(/\bLINKWELL_[A-Z_]+|\blinkwell_[a-z0-9_]+_tests\b/g)) {
      if (!new RegExp(`\\b${name}\\b`).test(sources)) {
        return `nothing knows ${name}`;
      }
    }
    const npmScript = words[0] === 'npm' && (before === 'run' || word === 'test') ? word : undefined;
    if (npmScript && !JSON.parse(fs.readFileSync(path.join(ROOT, folder, 'package.json'), 'utf8')).scripts?.[npmScript]) {
      return `${folder}/package.json has no script ${npmScript}`;
    }
  }
  return windows || PROGRAM.test(text) ? undefined : 'its program is not known to scripts/lib/commands/read.js';
}

test('every command names what there is', () => {
  const faults = commands.map((command) => [`${command.page}:${command.line}: ${command.text}`, faultOf(command)]);
  assert.deepStrictEqual(faults.filter(([, fault]) => fault !== undefined), []);
  assert.ok(commands.length > 20);
});

test('so does what stands in the midst of sentences', () => {
  const faults = documents().flatMap(({ page, text }) =>
    [...text.replace(/```[^]*?```/g, '').matchAll(/`((?:scripts|\.ci)\/[a-z-]+(?: [^`]*)?)`/g)].map(([, span]) =>
      [`${page}: ${span}`, faultOf({ text: span, folder: '.', windows: false })]));
  assert.deepStrictEqual(faults.filter(([, fault]) => fault !== undefined), []);
  assert.ok(faults.length > 10);
});

test('each rule is for a command that there is, and says one thing', () => {
  for (const rule of RULES) {
    assert.ok(commands.some((command) => ruleOf(command) === rule), `${rule.commands} is in no document`);
    assert.strictEqual(['endAt', 'beside', 'notRun'].filter((key) => rule[key]).length, 1, rule.commands);
  }
});

test('a page is read as people read it', () => {
  const page = ['Text', '', '    scripts/demo   # quick', '    VAR=$(date +%s) scripts/test \\', '        -R one', '', '    scripts are here', '',
    '- item', '', '  ```sh', '  # first', '  unknown --option', "  cat <<'END'", '  scripts/no', '  END', '  cd hosts', '  npm test', '  ```',
    '```', 'git status', '```', '```js', 'node here', '```', '```bat', 'msiexec /x ^', '  a.msi', '```'].join('\n');
  const read = commandsOf({ page: 'docs/page.md', text: page });
  assert.deepStrictEqual(read.map(({ line, text }) => [line, text]), [
    [3, 'scripts/demo'], [4, 'VAR=$(date +%s) scripts/test \\\n        -R one'], [13, 'unknown --option'],
    [14, "cat <<'END'\nscripts/no\nEND"], [17, 'cd hosts'], [18, 'npm test'], [21, 'git status'], [27, 'msiexec /x ^\n  a.msi']]);
  assert.deepStrictEqual(read.map(({ folder }) => folder), ['.', '.', '.', '.', '.', 'hosts', '.', '.']);
  assert.deepStrictEqual(read.map(({ windows }) => windows), [...Array(7).fill(false), true]);
});

test('a command that names what is not there is found', () => {
  for (const [text, fault] of [
    ['scripts/nothing', 'there is no scripts/nothing'],
    ['scripts/demo --fast', 'scripts/demo does not know --fast'],
    ['cmake --preset none', 'there is no preset none'],
    ['scripts/test --only linkwell_no_tests', 'nothing knows linkwell_no_tests'],
    ['LINKWELL_NO=1 scripts/test', 'nothing knows LINKWELL_NO'],
    ['npm run nothing', './package.json has no script nothing'],
    ['frobnicate', 'its program is not known to scripts/lib/commands/read.js'],
  ]) {
    assert.strictEqual(faultOf({ text, windows: false, folder: text.startsWith('npm') ? 'hosts/node' : '.' })?.replace('hosts/node', '.'), fault);
  }
});
