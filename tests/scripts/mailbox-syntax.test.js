// The check of a mailbox file's syntax that scripts/demo makes before it builds anything.
'use strict';

const assert = require('node:assert');
const { spawnSync } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const test = require('node:test');

const ROOT = path.join(__dirname, '..', '..');
const PROGRAM = path.join(ROOT, 'scripts', 'lib', 'mailbox-syntax.js');
const SAMPLE = path.join(ROOT, 'sandbox', 'mailboxes', 'sample.json');
const { syntaxFault } = require(PROGRAM);

test('takes what is JSON, and comments', () => {
  for (const text of ['{}', '[]', ' "a\\u00e9\\n\\"" ', '-0.5e+7', 'null // end', '// begin\n{"a": /* "[" */ [1, {"b": true}]}',
    '["// no comment", "/* neither */"]', '{"ä": [[], {}, false]}\n']) {
    assert.strictEqual(syntaxFault(text), undefined, text);
  }
});

test('takes all that JSON.parse takes, and nothing else', () => {
  const whole = '{"a": [1, -2.5e3, "x\\\\", {}, []], "b": {"c": null, "d": true}}';
  const isJson = (text) => {
    try {
      JSON.parse(text);
      return true;
    } catch {
      return false;
    }
  };
  for (let at = 0; at < whole.length; at += 1) {
    for (const piece of ['', '"', ',', ':', '{', '}', '[', ']', '0', '.', ' ', '\\', 'x']) {
      const text = whole.slice(0, at) + piece + whole.slice(at + 1);
      assert.strictEqual(syntaxFault(text) === undefined, isJson(text), text);
    }
  }
});

test('names line and column of the first fault', () => {
  for (const [text, fault] of [
    ['', 'line 1, column 1: value expected; the file ends'],
    ['{\n  "ä": [1 2]\n}', 'line 2, column 11: comma expected; here is "2]"'],
    ['{"a": 1,}', 'line 1, column 9: property name expected; here is "}"'],
    ['["open\n"]', 'line 1, column 2: unexpected end of string; here is "\\"open"'],
    ['[\n/* open', 'line 2, column 1: unexpected end of comment; here is "/*"'],
  ]) {
    assert.strictEqual(syntaxFault(text), fault, text);
  }
});

test('says of a file by its exit status whether it is well formed', (t) => {
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'mailbox-syntax-'));
  t.after(() => fs.rmSync(folder, { recursive: true }));
  const broken = path.join(folder, 'broken.json');
  fs.writeFileSync(broken, fs.readFileSync(SAMPLE, 'utf8').replace('"stores":', '"stores"'));
  const check = (file) => {
    const { status, stdout, stderr } = spawnSync(process.execPath, [PROGRAM, file], { encoding: 'utf8' });
    return { status, stdout, stderr };
  };
  assert.deepStrictEqual(check(SAMPLE), { status: 0, stdout: '', stderr: '' });
  assert.deepStrictEqual(check(broken),
    { status: 1, stdout: 'line 14, column 12: colon expected; here is "["\n', stderr: '' });
});
