// linkwell-hostcheck on hosts that are right, and on hosts that are broken in one way each. docs/host-check.md has the
// tables that these tests hold. Needs LINKWELL_BIN, the folder of the programs.
'use strict';

const assert = require('node:assert');
const { execFile, spawn } = require('node:child_process');
const { once } = require('node:events');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { describe, test } = require('node:test');

const ROOT = path.join(__dirname, '..', '..');
const BIN = process.env.LINKWELL_BIN;
const TOOL = path.join(BIN, 'linkwell-hostcheck.exe');
const BROKEN = path.join(BIN, 'linkwell_brokenhost.exe');
const NODE_HOST = path.join(ROOT, 'hosts', 'node', 'bin', 'linkwell-host.js');
const page = fs.readFileSync(path.join(ROOT, 'docs', 'host-check.md'), 'utf8');

/** Runs a program to its end. */
function run(program, ...words) {
  return new Promise((resolve, reject) => {
    execFile(program, words, { maxBuffer: 1 << 24 }, (error, stdout, stderr) => {
      if (error !== null && typeof error.code !== 'number') {
        reject(error);
      } else {
        const [output, errors] = [stdout, stderr].map((text) => text.replaceAll('\r\n', '\n'));
        resolve({ status: error === null ? 0 : error.code, stdout: output, stderr: errors });
      }
    });
  });
}

async function check(...words) {
  process.env.LINKWELL_SANDBOX_DLL = path.join(BIN, 'LinkwellSandbox.dll'); // for the agent, and asked for by --agent
  const { status, stdout, stderr } = await run(TOOL, '--json', ...words);
  assert.strictEqual(stderr, '');
  return { status, ...JSON.parse(stdout) };
}

/** The checks that came to one of these results. */
function named({ checks }, ...results) {
  return checks.filter(({ result }) => results.includes(result)).map((one) => one.check);
}

/** The rows of the page's table with this head, as lists of cells. */
function rowsBelow(head) {
  const [, rows] = new RegExp(`^\\| ${head} \\|\n[|-]+\n((?:\\|.*\n)+)`, 'm').exec(page) || assert.fail(`no table "${head}"`);
  return rows.trimEnd().split('\n').map((row) => row.slice(2, -2).split(' | '));
}

function quoted(cell) {
  return [...cell.matchAll(/`([^`]*)`/g)].map(([, text]) => text);
}

/** A folder that goes with the test. */
function makeFolder(t) {
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'hostcheck-'));
  t.after(() => fs.rmSync(folder, { recursive: true }));
  return folder;
}

const brokenHosts = rowsBelow('A host that \\| Findings');

describe('finds in a host that', { concurrency: 8 }, () => {
  [...brokenHosts].reverse().forEach(([what, findings], number) => { // those that take longest stand last
    test(what, async (t) => {
      const pipe = `hostcheck-${process.pid}-${number}`;
      const report = await check('--pipe', pipe, '--timeout', '15', '--large', '1',
        '--', BROKEN, what, pipe, path.join(makeFolder(t), 'runs'));
      assert.deepStrictEqual(report.findings, quoted(findings), JSON.stringify(report.checks, null, 2));
      assert.strictEqual(report.status, report.findings.length === 0 ? 0 : 1);
    });
  });
});

test('the page has each of the broken hosts', async () => {
  const { stdout } = await run(BROKEN, '--list');
  assert.deepStrictEqual(brokenHosts.map(([what]) => what), stdout.trimEnd().split('\n'));
});

test('the page has each check, with what it means and what to do', async () => {
  const { stdout } = await run(TOOL, '--list');
  const rows = rowsBelow('Check \\| All is well when \\| Otherwise').map(([name, right, advice]) => [...quoted(name), right, advice]);
  const lines = stdout.trimEnd().split('\n');
  const listed = lines.flatMap((line, at) => (at % 2 === 0 ? [[line.slice(0, 20).trim(), line.slice(20), lines[at + 1].trim()]] : []));
  assert.deepStrictEqual(rows, listed);
});

// ---- The project's own hosts ----------------------------------------------------------------------------------------

const ownHosts = [
  { name: 'for Node.js', words: [process.execPath, NODE_HOST], runtime: ['--runtime', 'node'], notes: ['default-timeout', 'squat', 'access-list', 'remote'] },
  { name: 'in C++', words: [path.join(BIN, 'linkwell-cpphost.exe')], runtime: [], notes: ['remote'] },
];

for (const { name, words, runtime, notes } of ownHosts) {
  test(`finds nothing in the host ${name}, with a large message and with the agent`, async () => {
    const report = await check(...runtime, '--agent', path.join(BIN, 'LinkwellAgent.exe'), '--', ...words);
    assert.deepStrictEqual(report.findings, [], JSON.stringify(report.checks, null, 2));
    assert.strictEqual(report.status, 0);
    assert.deepStrictEqual(named(report, 'note'), notes);
    assert.deepStrictEqual(named(report, 'not tried'), []);
    const protocol = fs.readFileSync(path.join(ROOT, 'docs', 'wire-protocol.md'), 'utf8');
    const places = [...protocol.matchAll(/^#+ (.*)$/gm)].map(([, heading]) => heading.toLowerCase().replace(/ /g, '-'));
    for (const { see } of report.checks) {
      assert.ok(places.includes(see.replace('docs/wire-protocol.md#', '')), see);
    }
  });
}

// ---- The command ------------------------------------------------------------------------------------------------------

test('takes a host that listens already, and leaves it alone', async (t) => {
  const pipe = `hostcheck-${process.pid}-listening`;
  const host = spawn(process.execPath, [NODE_HOST, '--pipe', `\\\\.\\pipe\\${pipe}`], { stdio: ['ignore', 'pipe', 'inherit'] });
  t.after(() => host.kill('SIGKILL'));
  await once(host.stdout, 'data');
  host.stdout.resume();
  const report = await check('--pipe', pipe, '--only', 'restart', '--only', 'operations');
  assert.deepStrictEqual(named(report, 'right'), ['operations']);
  assert.deepStrictEqual(named(report, 'not tried'), ['restart']);
  assert.strictEqual(report.status, 0);
  assert.strictEqual(host.exitCode, null);

  const second = await run(TOOL, '--pipe', pipe, '--', process.execPath, NODE_HOST);
  assert.deepStrictEqual(second, { status: 3, stdout: '', stderr: 'linkwell-hostcheck: another program serves the pipe already\n' });
});

test('tries checks alone, which then say by themselves what is wrong', async () => {
  const pipe = `hostcheck-${process.pid}-alone`;
  const alone = ['ack', 'one-write', 'operations', 'large', 'time-to-ack'];
  const report = await check('--pipe', pipe, '--timeout', '1', '--large', '1', ...alone.flatMap((name) => ['--only', name]),
    '--', BROKEN, 'never answers', pipe);
  assert.deepStrictEqual(report.findings, alone);
});

test('prints a table with advice', async () => {
  const pipe = `hostcheck-${process.pid}-table`;
  const { status, stdout } = await run(TOOL, '--pipe', pipe, '--only', 'instances', '--only', 'operations', '--',
    BROKEN, 'has two instances', pipe);
  assert.strictEqual(status, 1);
  assert.strictEqual(stdout, [
    'WRONG      instances           there are four instances of the pipe, or more',
    '                               2 with one client connected, at most 2',
    '                               Create four at once, before the agent starts, and replace each as soon as it is taken.',
    '                               docs/wire-protocol.md#the-reference-sequence',
    'right      operations          every operation and kind is acknowledged',
    '1 right, 1 WRONG, 0 SLOW, 0 note, 0 not tried',
    '',
  ].join('\n'));
});

test('says why there is nothing to be checked', async () => {
  delete process.env.LINKWELL_SANDBOX_DLL; // without it, no sandbox is registered in the Wine prefix
  const reasons = [
    [['--pipe', 'hostcheck-none'], 3, 'there is no pipe of that name; start the host first, or name it behind --'],
    [['--pipe', 'hostcheck-none', '--', BROKEN, 'nothing that is known', 'hostcheck-none'], 3,
      'the host that was started has ended without serving the pipe'],
    [['--pipe', 'hostcheck-none', '--', 'nowhere.exe'], 3, 'CreateProcessW failed, error 2'],
    [['--only', 'nothing'], 2, "--only: there is no check 'nothing'; --list shows all"],
    [['--runtime', 'java'], 2, '--runtime: java not in {dotnet,node}'],
    [['--agent', 'nowhere.exe'], 2, '--agent: there is no such file'],
    [['--agent', path.join(BIN, 'LinkwellAgent.exe')], 2,
      '--agent: the sandbox is not the default mail client of this machine, so the agent would send contacts of the user: '
      + 'docs/sandbox.md says how to register it'],
    [['--agent', path.join(BIN, 'LinkwellAgent.exe'), '--pipe', 'other'], 2,
      '--agent: the agent knows no other pipe than its own: leave --pipe out'],
  ];
  for (const [words, status, reason] of reasons) {
    const result = await run(TOOL, ...words);
    assert.strictEqual(result.stdout, '');
    assert.strictEqual(result.stderr.split('\n')[0], `linkwell-hostcheck: ${reason}`);
    assert.strictEqual(result.status, status);
  }
});

test('tells its version', async () => {
  const [, version] = /project\(Linkwell VERSION ([\d.]+)/.exec(fs.readFileSync(path.join(ROOT, 'CMakeLists.txt'), 'utf8'));
  assert.deepStrictEqual(await run(TOOL, '--version'), { status: 0, stdout: `linkwell-hostcheck ${version}\n`, stderr: '' });
});
