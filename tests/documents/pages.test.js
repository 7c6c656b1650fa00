// What all documents name: tests, links, and the scheduled task of docs/deployment.md.
'use strict';

const assert = require('node:assert');
const { execFileSync } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');
const test = require('node:test');

const { ROOT, documents } = require('../../scripts/lib/commands/read');

const pages = documents();
const headings = (text) => [...text.matchAll(/^#+ (.*)$/gm)].map(([, heading]) =>
  heading.toLowerCase().replace(/[^\w -]/g, '').replace(/ /g, '-'));

test('the tests that the pages name are there', () => {
  const tests = execFileSync('git', ['grep', '-hE', '^(TEST|TEST_F|TEST_P|TYPED_TEST)\\(', '--', 'tests', 'hosts', 'tools'],
    { cwd: ROOT, encoding: 'utf8', maxBuffer: 1 << 26 });
  const named = pages.flatMap(({ page, text }) =>
    [...text.replace(/```[^]*?```/g, '').matchAll(/`([A-Z]\w+Test)(?:\.(\w+))?`/g)].map(([, fixture, one]) => ({ page, fixture, one })));
  for (const { page, fixture, one } of named) {
    assert.match(tests, new RegExp(`\\(${fixture}, ${one ?? '\\w+'}\\)`), `${page} names ${fixture}.${one}`);
  }
  for (const page of ['docs/wire-protocol.md', 'docs/host-lifecycle.md', 'docs/deployment.md']) {
    assert.ok(named.some((one) => one.page === page), page);
  }
});

test('what the pages link to is there', () => {
  for (const { page, text } of pages) {
    for (const [, file, place] of text.replace(/```[^]*?```/g, '').matchAll(/\]\((?!https?:)([^)#]*)(?:#([^)]*))?\)/g)) {
      const target = path.join(ROOT, file === '' ? page : path.join(path.dirname(page), file));
      assert.ok(fs.existsSync(target), `${page} links to ${file}`);
      assert.ok(place === undefined || headings(fs.readFileSync(target, 'utf8')).includes(place), `${page} links to #${place}`);
    }
  }
});

// Windows alone can say that it takes the task. Here it is XML, and has the elements and values that the page explains.
test('the scheduled task is as the page says', () => {
  const file = path.join(ROOT, 'packaging', 'linkwell-agent.task.xml');
  const text = execFileSync('xmllint', ['--nonet', file], { encoding: 'utf8' });
  assert.match(text, /<Task xmlns="http:\/\/schemas\.microsoft\.com\/windows\/2004\/02\/mit\/task" version="1\.2">/);
  assert.strictEqual(/<Actions Context="(\w+)">/.exec(text)[1], /<Principal id="(\w+)">/.exec(text)[1]);
  const settings = [...text.matchAll(/<(\w+)>([^<]*\S[^<]*)<\/\1>/g)].map(([, name, value]) => [name, value])
    .filter(([name]) => name !== 'Description');
  const { text: page } = pages.find((one) => one.page === 'docs/deployment.md');
  const explained = [...page.matchAll(/^\| `(\w+)` \| `(.*?)` \| .+ \|$/gm)].map(([, name, value]) => [name, value]);
  assert.deepStrictEqual(settings, explained);
});
