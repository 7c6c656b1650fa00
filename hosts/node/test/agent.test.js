// Agents as processes. On Windows, and so under Wine, they are LinkwellAgent.exe on the sandbox and the closing tool from
// the folder LINKWELL_BIN; elsewhere, scripts take their places.
'use strict';

const assert = require('assert/strict');
const { once } = require('events');
const fs = require('fs');
const path = require('path');
const { test } = require('node:test');
const { AgentError, ContactStore, LinkwellHost, OptionError, closeAgent, launchAgent } = require('linkwell-host');
const { ON_WINDOWS, makeFolder } = require('../support/agents');

const skip = ON_WINDOWS && process.env.LINKWELL_BIN === undefined && 'LINKWELL_BIN names no folder with an agent';

// Runs until a file "close" is beside it.
const AGENT_SCRIPT = `
const fs = require('fs');
fs.writeFileSync(__dirname + '/runs', '');
setInterval(() => {
  if (fs.existsSync(__dirname + '/close')) {
    fs.rmSync(__dirname + '/close');
    fs.rmSync(__dirname + '/runs');
    process.exit();
  }
}, 10);
`;

const CLOSE_SCRIPT = `#!${process.execPath}
const fs = require('fs');
if (!fs.existsSync(__dirname + '/runs')) {
  process.exit(1);
}
fs.writeFileSync(__dirname + '/close', '');
setInterval(() => {
  if (!fs.existsSync(__dirname + '/runs')) {
    process.exit();
  }
}, 10);
`;

/** A path of the machine that builds, as Wine has it. */
function windowsPath(name) {
  return name.startsWith('/') ? `Z:${name.replaceAll('/', '\\')}` : name;
}

/** Options of launchAgent for an agent that runs until it is closed, and the host that it needs for that. */
async function prepare(t) {
  const running = [];
  t.after(() => Promise.all(running.map((agent) => agent.close()))); // before its folder and its host go
  const folder = makeFolder(t);
  if (!ON_WINDOWS) {
    const closeTool = path.join(folder, 'closetool');
    fs.writeFileSync(path.join(folder, 'agent.js'), AGENT_SCRIPT);
    fs.writeFileSync(closeTool, CLOSE_SCRIPT, { mode: 0o700 });
    return { running, path: process.execPath, args: [path.join(folder, 'agent.js')], closeTool };
  }
  const bin = windowsPath(process.env.LINKWELL_BIN);
  const host = new LinkwellHost();
  host.store = new ContactStore();
  host.on('message', (message) => host.store.apply(message));
  await host.listen();
  t.after(() => host.close());
  return {
    path: path.join(bin, 'LinkwellAgent.exe'),
    args: [`/log=${path.join(folder, 'agent.log')}`],
    closeTool: path.join(bin, 'linkwell-closeagent.exe'),
    env: {
      ...process.env,
      LINKWELL_SANDBOX_DLL: path.join(bin, 'LinkwellSandbox.dll'),
      LINKWELL_SANDBOX_MAILBOX: path.join(__dirname, '..', '..', '..', 'sandbox', 'mailboxes', 'sample.json'),
    },
    host,
    running,
  };
}

/** An agent that runs, and is closed at the end of the test at the latest. */
async function launch(t, more = {}) {
  const { host, running, ...options } = await prepare(t);
  const agent = await launchAgent({ ...options, ...more });
  running.push(agent);
  return { agent, host, options };
}

test('starts an agent, and closes it in order', { skip }, async (t) => {
  const { agent } = await launch(t);
  assert.ok(agent.pid > 0);
  assert.equal(agent.running, true);
  const exit = once(agent, 'exit');
  const expected = { code: 0, signal: null, requested: true };
  assert.deepEqual(await agent.close(), expected); // whether it has come up by now or not
  assert.deepEqual(await exit, [expected]);
  assert.deepEqual(await agent.exited, expected);
  assert.equal(agent.running, false);
  assert.deepEqual(await agent.close(), expected);
});

test('gets the sandbox\'s contacts from the agent', { skip: skip || (!ON_WINDOWS && 'the agent is a script here') },
  async (t) => {
    const { host } = await launch(t);
    while (host.store.size < 37) {
      await once(host.store, 'change');
    }
    const names = [...host.store.contacts.values()].map(({ displayName }) => displayName);
    assert.ok(names.includes('Grün; Müller; Partner'));
  });

test('tells of an agent that ends without having been asked to here', { skip }, async (t) => {
  const { agent, options } = await launch(t);
  let closed;
  do {
    closed = await closeAgent({ closeTool: options.closeTool }); // finds none while it starts
  } while (!closed);
  assert.deepEqual(await agent.exited, { code: 0, signal: null, requested: false });
  assert.equal(await closeAgent({ closeTool: options.closeTool }), false);
});

test('closes the agent when the signal is aborted', { skip }, async (t) => {
  const control = new AbortController();
  const { agent } = await launch(t, { signal: control.signal });
  control.abort();
  assert.deepEqual(await agent.exited, { code: 0, signal: null, requested: true });
  await assert.rejects(launchAgent({ path: 'agent', signal: control.signal }), { name: 'AbortError' });
});

test('says that an agent can\'t be started', async () => {
  await assert.rejects(launchAgent({ path: path.join(__dirname, 'none.exe') }), (error) => {
    assert.ok(error instanceof AgentError);
    assert.equal(error.code, 'ERR_LINKWELL_AGENT_START');
    return true;
  });
});

test('says that the closing tool can\'t be run, and leaves the agent running', { skip }, async (t) => {
  const { host, running, ...options } = await prepare(t);
  const agent = await launchAgent({ ...options, closeTool: path.join(__dirname, 'none.exe') });
  await assert.rejects(agent.close(), { code: 'ERR_LINKWELL_AGENT_CLOSE', message: /^the closing tool can't be run/ });
  assert.equal(agent.running, true);
  while (agent.running) {
    await closeAgent({ closeTool: options.closeTool });
  }
});

test('says that an agent has not ended in time, and leaves it running', { skip }, async (t) => {
  const { agent } = await launch(t);
  await assert.rejects(agent.close({ timeout: 0 }), { code: 'ERR_LINKWELL_AGENT_CLOSE' });
  assert.equal(agent.running, true);
});

test('says what the closing tool says', { skip: ON_WINDOWS && 'a script takes its place' }, async (t) => {
  const closeTool = path.join(makeFolder(t), 'closetool');
  fs.writeFileSync(closeTool, `#!${process.execPath}\nconsole.error('closeagent: no'); process.exitCode = 3;`, { mode: 0o700 });
  await assert.rejects(closeAgent({ closeTool }), { message: 'the agent can\'t be closed: closeagent: no' });
});

test('waits for the closing tool, and for nothing that keeps its output open', { skip: ON_WINDOWS && 'a script takes its place' },
  async (t) => {
    const folder = makeFolder(t);
    const closeTool = path.join(folder, 'closetool');
    fs.writeFileSync(closeTool, `#!${process.execPath}
const { spawn } = require('child_process');
const child = spawn('sleep', ['3600'], { stdio: 'inherit', detached: true });
require('fs').writeFileSync(__dirname + '/keeper', String(child.pid));
console.error('closeagent: no');
process.exit(3);`, { mode: 0o700 });
    const closed = await closeAgent({ closeTool, timeout: 60000 }).catch((error) => error);
    process.kill(Number(fs.readFileSync(path.join(folder, 'keeper'), 'utf8')));
    assert.equal(closed.message, 'the agent can\'t be closed: closeagent: no');
  });

test('closes its agent also where the tool leaves another one', { skip: ON_WINDOWS && 'a script takes its place' },
  async (t) => {
    const { agent, options } = await launch(t);
    fs.writeFileSync(options.closeTool, CLOSE_SCRIPT.replaceAll('process.exit()', 'process.exit(3)'));
    assert.equal((await agent.close()).code, 0);
  });

test('refuses options that it does not know', async () => {
  await assert.rejects(launchAgent({}), OptionError);
  await assert.rejects(launchAgent({ path: 'agent', argv: [] }), /launchAgent has no option "argv"/);
  await assert.rejects(closeAgent({ closeTool: 'x', timeout: -1 }), OptionError);
  await assert.rejects(closeAgent({}), OptionError);
});
