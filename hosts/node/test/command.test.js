'use strict';

const assert = require('assert/strict');
const { spawn } = require('child_process');
const { once } = require('events');
const fs = require('fs');
const http = require('http');
const net = require('net');
const path = require('path');
const readline = require('readline');
const { test } = require('node:test');
const { ON_WINDOWS, exchange, makeFolder, makePipe } = require('../support/agents');

const COMMAND = path.join(__dirname, '..', 'bin', 'linkwell-host.js');

/** Runs the command to its end. */
async function run(...options) {
  const child = spawn(process.execPath, [COMMAND, ...options]);
  const output = { stdout: '', stderr: '' };
  child.stdout.on('data', (chunk) => { output.stdout += chunk; });
  child.stderr.on('data', (chunk) => { output.stderr += chunk; });
  const [status] = await once(child, 'close');
  return { status, ...output };
}

/** Starts the command on a pipe of its own, and a way to send it a text. */
function start(t, options, stdio) {
  const pipe = makePipe(t);
  const child = spawn(process.execPath, [COMMAND, '--pipe', pipe, ...options], { stdio });
  t.after(() => child.kill('SIGKILL')); // A test that fails would leave it listening.
  const connect = async () => {
    const agent = net.connect(pipe);
    await once(agent, 'connect');
    return agent;
  };
  const complaints = [];
  child.stderr.on('data', (chunk) => complaints.push(String(chunk)));
  return { pipe, child, closed: once(child, 'close'), complaints, send: (text) => exchange(connect, text) };
}

/** Sends the texts to a command of which all output is read. */
async function serve(t, texts, ...options) {
  const host = start(t, ['--count', String(texts.length), ...options]);
  const lines = readline.createInterface({ input: host.child.stdout })[Symbol.asyncIterator]();
  const first = (await lines.next()).value;
  for (const text of texts) {
    assert.equal(await host.send(text), 'ack');
  }
  const rest = [];
  for await (const line of lines) {
    rest.push(line);
  }
  const [status] = await host.closed;
  return { pipe: host.pipe, first, rest, status, complaints: host.complaints };
}

/** Resolves when a file has this many lines. */
async function waitForLines(file, count) {
  const lines = () => (fs.existsSync(file) ? fs.readFileSync(file, 'utf8').split('\n').slice(0, -1) : []);
  while (lines().length < count) {
    await new Promise((resolve) => { setTimeout(resolve, 20); });
  }
  return lines().map((line) => JSON.parse(line));
}

const ANNA = '2;add;contact;0;1\nAnna;;;;;;;;;;00000000A1;00000000E5';
const TEXTS = [ANNA, 'hello', '2;delete;contact;0;1\n;;;;;;;;;;00000000A1;'];

test('prints what arrives, and ends after the given number of messages', async (t) => {
  const { pipe, first, rest, status } = await serve(t, TEXTS);
  assert.equal(first, `Listening on ${pipe}`);
  assert.deepEqual(rest, [
    '=== add: 1 contact, 53 bytes',
    '     1  Anna',
    '          entry id     00000000A1',
    '          folder id    00000000E5',
    '=== the header line does not end',
    '    hello',
    '=== delete: 1 contact, 42 bytes',
    '     1  Anna',
    '          entry id     00000000A1',
    'Closed after 3 message(s).',
  ]);
  assert.equal(status, 0);
});

test('prints one JSON object a line with --json', async (t) => {
  const { pipe, first, rest, status } = await serve(t, TEXTS, '--json');
  assert.deepEqual(JSON.parse(first), { event: 'listening', pipe });
  const events = rest.map((line) => JSON.parse(line));
  assert.deepEqual(events.map(({ event }) => event), ['message', 'error', 'message', 'closed']);
  assert.equal(events[0].operation, 'add');
  assert.equal(events[0].bytes, 53);
  assert.equal(events[0].items[0].contact.displayName, 'Anna');
  assert.deepEqual(events[1],
    { event: 'error', code: 'ERR_LINKWELL_HEADER', reason: 'the header line does not end', text: 'hello' });
  assert.deepEqual(events[3], { event: 'closed', answered: 3 });
  assert.equal(status, 0);
});

test('keeps the JSON lines in a file beside the readable form with --record', async (t) => {
  const record = path.join(makeFolder(t), 'record');
  const { first } = await serve(t, TEXTS, '--record', record);
  assert.match(first, /^Listening on /);
  const events = fs.readFileSync(record, 'utf8').trimEnd().split('\n').map((line) => JSON.parse(line));
  assert.deepEqual(events.map(({ event }) => event), ['listening', 'message', 'error', 'message', 'closed']);
});

test('serves a page with --inspect, whose address is in no record', async (t) => {
  const record = path.join(makeFolder(t), 'record');
  const { child, closed, send } = start(t, ['--json', '--count', '1', '--record', record, '--inspect']);
  const lines = readline.createInterface({ input: child.stdout })[Symbol.asyncIterator]();
  await lines.next();
  const { event, address } = JSON.parse((await lines.next()).value);
  assert.equal(event, 'inspecting');
  const answer = await new Promise((resolve, reject) => {
    http.get(address, { agent: false }, resolve).on('error', reject);
  });
  assert.equal(answer.statusCode, 200);
  answer.resume();
  assert.equal(await send(ANNA), 'ack');
  const [status] = await closed;
  assert.equal(status, 0);
  assert.deepEqual((await waitForLines(record, 3)).map((line) => line.event), ['listening', 'message', 'closed']);
});

test('says that the port of the page is in use, and serves nothing', async (t) => {
  const other = net.createServer().listen(0, '127.0.0.1');
  t.after(() => other.close());
  await once(other, 'listening');
  const { port } = other.address();
  const { status, stdout, stderr } = await run('--pipe', makePipe(t), '--inspect', String(port));
  assert.deepEqual([status, stdout], [1, '']);
  assert.equal(stderr, `linkwell-host: port ${port} is in use; name another, or none to have a free one\n`);
});

test('goes on when its output is closed', async (t) => {
  const record = path.join(makeFolder(t), 'record');
  const { child, closed, complaints, send } = start(t, ['--count', '3', '--record', record]);
  await once(child.stdout, 'data');
  child.stdout.destroy();
  for (const text of TEXTS) {
    assert.equal(await send(text), 'ack');
  }
  const [status] = await closed;
  assert.equal(status, 1);
  assert.match(complaints.join(''), /^linkwell-host: the output can't be written: .*; going on\n$/);
  assert.equal((await waitForLines(record, 5)).length, 5);
});

test('goes on when nobody reads its output', async (t) => {
  const record = path.join(makeFolder(t), 'record');
  const { child, closed, send } = start(t, ['--count', '3', '--record', record]);
  await waitForLines(record, 1);
  const contact = `${'x'.repeat(1000)};;;;;;;;;;00000000A1;00000000E5\n`;
  assert.equal(await send(`2;add;contact;0;1\n${contact.repeat(1000)}`), 'ack');
  assert.equal(await send(ANNA), 'ack');
  let shown = '';
  child.stdout.on('data', (chunk) => { shown += chunk; });
  while (!shown.includes('xxx')) {
    await once(child.stdout, 'data');
  }
  assert.equal(await send(ANNA), 'ack');
  const [status] = await closed;
  assert.equal(status, 0);
  assert.equal((await waitForLines(record, 5)).length, 5);
  assert.match(shown, /\nClosed after 3 message\(s\)\.\n$/);
  assert.match(shown, /\n=== [1-3] event\(s\) are not shown: the output was not read\n/);
});

test('goes on when its output is full', { skip: ON_WINDOWS && 'there is no device that is always full' }, async (t) => {
  const record = path.join(makeFolder(t), 'record');
  const full = fs.openSync('/dev/full', 'w');
  t.after(() => fs.closeSync(full));
  const { closed, complaints, send } = start(t, ['--count', '3', '--record', record], ['ignore', full, 'pipe']);
  await waitForLines(record, 1);
  for (const text of TEXTS) {
    assert.equal(await send(text), 'ack');
  }
  const [status] = await closed;
  assert.equal(status, 1);
  assert.match(complaints.join(''), /^linkwell-host: the output can't be written: ENOSPC.*; going on\n$/);
  assert.equal((await waitForLines(record, 5)).length, 5);
});

test('shows its options with --help', async () => {
  const { status, stdout } = await run('--help');
  assert.equal(status, 0);
  for (const option of ['--json', '--record', '--count', '--max-bytes', '--inspect', '--control', '--pipe', '--help']) {
    assert.ok(stdout.includes(option), option);
  }
});

test('ends with status 2 and a word on the option that is wrong', async () => {
  for (const [options, message] of [
    [['--nonsense'], /unknown option "--nonsense"/],
    [['--count'], /--count needs a value/],
    [['--count', '0'], /--count needs a positive number/],
    [['--inspect', '0'], /--inspect needs a positive number/],
    [['--inspect', '70000'], /--inspect needs a port up to 65535, not 70000/],
    [['--control', 'sandbox'], /--control is for the page of --inspect/],
    [['--max-bytes', '9999999999'], /maxMessageBytes must be between/],
  ]) {
    const { status, stderr } = await run(...options);
    assert.equal(status, 2);
    assert.match(stderr, message);
  }
});

test('ends with status 1 when the pipe can\'t be served, or the record not be opened', async () => {
  const missing = ON_WINDOWS ? 'Z:\\no\\pipe' : '/nonexistent/pipe';
  const served = await run('--pipe', missing);
  assert.equal(served.status, 1);
  assert.match(served.stderr, /^linkwell-host: the pipe .* can't be served: listen /);
  const recorded = await run('--record', missing);
  assert.equal(recorded.status, 1);
  assert.match(recorded.stderr, /^linkwell-host: ENOENT/);
});
