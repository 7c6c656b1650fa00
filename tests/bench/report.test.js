// What scripts/lib/bench makes of the lines that the programs of bench/ print.
'use strict';

const assert = require('node:assert');
const { spawnSync } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { test } = require('node:test');

const REPORT = path.join(__dirname, '..', '..', 'scripts', 'lib', 'bench', 'report.js');

/** Lines of one figure, party and size. */
function lines(figure, of, size, values, unit = 'ms') {
  return values.map((value) => JSON.stringify({ figure, of, size, value, unit }));
}

/** Runs report.js in a folder of its own, with these files in it. */
function report(files, ...options) {
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'linkwell-report-'));
  try {
    for (const [name, content] of Object.entries(files)) {
      fs.writeFileSync(path.join(folder, name), [content].flat().join('\n'), { mode: 0o755 });
    }
    const env = { ...process.env, PATH: `${folder}:${process.env.PATH}` };
    const run = spawnSync(process.execPath, [REPORT, ...options], { cwd: folder, encoding: 'utf8', env });
    const left = new Map(fs.readdirSync(folder, { recursive: true, withFileTypes: true }).filter((entry) => entry.isFile())
      .map((entry) => [path.relative(folder, path.join(entry.path, entry.name)),
        fs.readFileSync(path.join(entry.path, entry.name), 'utf8')]));
    return { status: run.status, output: run.stdout, errors: run.stderr, left };
  } finally {
    fs.rmSync(folder, { recursive: true });
  }
}

/** The cells of the row that begins with these. */
function row(output, ...first) {
  const rows = output.split('\n').filter((line) => line.startsWith('| ')).map((line) => line.slice(2, -2).split(' | ').map((cell) => cell.trim()));
  return rows.find((cells) => first.every((cell, at) => cells[at] === cell));
}

test('a figure has median, minimum and maximum of each party, and the ratio of the medians', () => {
  const { output, status } = report({
    a: [...lines('snapshot', 'floor', 1000, [30, 10, 20]), ...lines('snapshot', 'agent', 1000, [33, 90, 11, 31])],
  }, 'a');
  assert.strictEqual(status, 0);
  assert.deepStrictEqual(row(output, 'First snapshot'),
    ['First snapshot', '1,000 contacts', '32 (11 to 90) ms', 'floor: 20 (10 to 30) ms', '1.60', '31,250', '–']);
});

test('the agent stands beside each other party, and its own figures stand there once', () => {
  const { output } = report({
    a: [['floor', 10], ['floor with texts', 16], ['agent', 20]].flatMap(([of, value]) => lines('snapshot', of, 1000, [value])),
  }, 'a');
  assert.deepStrictEqual(row(output, 'First snapshot').slice(2, 5), ['20 ms', 'floor: 10 ms', '2.00']);
  assert.deepStrictEqual(row(output, ''), ['', '', '', 'floor with texts: 16 ms', '1.25', '', '']);
});

test('what the agent is not measured in stands beside nothing', () => {
  assert.deepStrictEqual(row(report({ a: lines('snapshot calls', 'sandbox', 10, [7]) }, 'a').output, 'its MAPI calls').slice(1),
    ['10 contacts', '–', 'sandbox: 7 ms', '–']);
});

test('growth is what the time grows by, beside the size', () => {
  const { output } = report({
    a: [...lines('snapshot', 'agent', 100, [10]), ...lines('snapshot', 'agent', 300, [45])],
  }, 'a');
  assert.strictEqual(row(output, 'First snapshot', '300 contacts').at(-1), '1.50');
});

test('an aim is met up to its bound, and is missed beyond it', () => {
  const aimOf = (agent) => row(report({
    a: [...lines('snapshot', 'agent', 10000, [agent]), ...lines('snapshot', 'floor', 10000, [1000])],
  }, 'a').output, 'Snapshot of 10,000 contacts, agent beside floor');
  assert.deepStrictEqual(aimOf(1050).slice(1), ['1.05', '1.05', 'met']);
  assert.deepStrictEqual(aimOf(1056).slice(1), ['1.05', '1.06', '**not met**']);
});

test('a growth beside the floor is that of the ratios', () => {
  const values = { agent: [[64, 100], [200, 600]], floor: [[64, 50], [200, 250]] };
  const { output } = report({
    a: Object.entries(values).flatMap(([of, sizes]) => sizes.flatMap(([size, value]) => lines('message', of, size, [value]))),
  }, 'a');
  assert.deepStrictEqual(row(output, 'Message, growth from 64 to 200 MB, agent beside floor').slice(1), ['1.1', '1.20', '**not met**']);
});

test('an aim without figures counts as not measured', () => {
  const { output } = report({ a: lines('start', 'agent', 1, [5]) }, 'a');
  assert.deepStrictEqual(row(output, 'Message of 200 MB, agent beside floor').slice(2), ['–', 'not measured']);
});

test('a figure that nobody has described is reported by its own name', () => {
  assert.match(report({ a: lines('somersaults', 'agent', 2, [5]) }, 'a').output, /\| somersaults \| 2 +\| 5 ms /);
});

test('a figure has moved when each median lies outside of the other range, and not before', () => {
  const movement = (before, now) => row(report({ b: lines('log', 'agent', 1, before), n: lines('log', 'agent', 1, now) },
    '--before', 'b', 'n').output, 'its log').slice(-2);
  assert.deepStrictEqual(movement([9, 10, 11], [14, 15, 16]), ['+50.0 %', '**moved**']);
  assert.deepStrictEqual(movement([9, 10, 15], [14, 15, 16]), ['+50.0 %', '']);
  assert.deepStrictEqual(movement([9, 10, 11], [4, 5, 6]), ['-50.0 %', '**moved**']);
});

test('a line that is no observation is named', () => {
  for (const [line, reason] of [
    ['{"figure": "log"', 'no JSON'],
    ['wine: a message', 'no JSON'],
    ['null', '"figure" is missing, or no string'],
    ['{"figure": "log", "of": "agent", "size": "2", "value": 1, "unit": "ms"}', '"size" is missing, or no number'],
    ['{"figure": "log", "of": "agent", "size": 2, "unit": "ms"}', '"value" is missing, or no number'],
  ]) {
    const { status, output, errors } = report({ a: [...lines('log', 'agent', 2, [1]), '', line] }, 'a');
    assert.deepStrictEqual([status, output, errors], [1, '', `error: a:3: ${reason}: ${line}\n`]);
  }
});

test('a figure in two units is refused', () => {
  const { status, errors } = report({ a: [...lines('log', 'agent', 2, [1]), ...lines('log', 'agent', 2, [1], 's')] }, 'a');
  assert.deepStrictEqual([status, errors], [1, 'error: log of agent is measured in ms and in s\n']);
});

test('no file and no observations are refused', () => {
  assert.strictEqual(report({}).errors, 'error: there are no observations\n');
  assert.strictEqual(report({ a: '' }, 'a').errors, 'error: there are no observations\n');
});

test('the blocks of a page are written anew, and nothing else of it', () => {
  const page = ['before', '<!-- bench: table log, pipe -->', 'stale', '<!-- /bench -->', 'between', '<!-- bench: aims -->', '<!-- /bench -->', 'behind'];
  const { status, left } = report({ 'page.md': page, a: [...lines('log', 'agent', 2, [1]), ...lines('pipe', 'agent', 2, [1])] },
    '--write', 'page.md', 'a');
  const text = left.get('page.md');
  assert.strictEqual(status, 0);
  assert.match(text, /^before\n<!-- bench: table log, pipe -->\n\n\| Figure[^]*\n\| its log[^]*\n\| its pipe[^]*\n\n<!-- \/bench -->\nbetween\n<!-- bench: aims -->\n\n\| Aim/);
  assert.match(text, /<!-- \/bench -->\nbehind$/);
  assert.doesNotMatch(text, /stale/);
});

test('a block of a figure that has not been measured leaves the page alone', () => {
  const page = ['<!-- bench: table pipe -->', 'old', '<!-- /bench -->'];
  const { status, errors, left } = report({ 'page.md': page, a: lines('log', 'agent', 2, [1]) }, '--write', 'page.md', 'a');
  assert.deepStrictEqual([status, errors], [1, 'error: page.md: nothing has been measured of "pipe"\n']);
  assert.strictEqual(left.get('page.md'), page.join('\n'));
});

test('a block of the machine is what the environment says of it', () => {
  const page = ['<!-- bench: machine -->', '<!-- /bench -->'];
  const { status, errors } = report({ 'page.md': page, a: lines('log', 'agent', 2, [1]) }, '--write', 'page.md', 'a');
  assert.deepStrictEqual([status, errors], [1, 'error: page.md: LINKWELL_BENCH_MACHINE does not say on what was measured\n']);
});

/** Writes a page with a curve, with this script in place of gnuplot. */
function drawBy(gnuplot) {
  return report({
    'page.md': ['<!-- bench: curve snapshot -->', '<!-- /bench -->'],
    a: [10, 100].flatMap((size) => [...lines('snapshot', 'agent', size, [size, size * 2]), ...lines('snapshot', 'floor', size, [size])]),
    gnuplot: `#!/bin/sh\n${gnuplot}`,
  }, '--write', 'page.md', 'a');
}

test('a curve has each party with its medians and ranges, and stands beside the page', () => {
  const { status, errors, left } = drawBy('cat >commands; printf "<svg \\n\\t<g/>\\n</svg>\\n"');
  assert.deepStrictEqual([status, errors], [0, '']);
  assert.match(left.get('page.md'), /!\[First snapshot\]\(page\/snapshot\.svg\)/);
  const commands = left.get('commands');
  assert.strictEqual(left.get('page/snapshot.svg'), '<svg\n  <g/>\n</svg>\n');
  assert.match(commands, /\n10 15 10 20\n100 150 100 200\nEND\n[^]*\n10 10 10 10\n100 100 100 100\nEND\n/);
  assert.match(commands, /title "agent"[^]*title "floor"/);
});

test('what gnuplot complains of is passed on', () => {
  const { status, errors, left } = drawBy('cat >/dev/null; echo "no such terminal" >&2');
  assert.deepStrictEqual([status, errors], [1, 'error: gnuplot can\'t draw "First snapshot": no such terminal\n']);
  assert.doesNotMatch(left.get('page.md'), /svg/);
});
