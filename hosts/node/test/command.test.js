'use strict';

const assert = require('assert/strict');
const { spawn } = require('child_process');
const { once } = require('events');
const fs = require('fs');
const net = require('net');
const os = require('os');
const path = require('path');
const readline = require('readline');
const { test } = require('node:test');

const ON_WINDOWS = process.platform === 'win32';
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

/** Starts the command on a pipe of its own, waits for its first line, and sends it the texts. */
async function serve(t, texts, ...options) {
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'linkwell-'));
  t.after(() => fs.rmSync(folder, { recursive: true }));
  const pipe = ON_WINDOWS ? `\\\\.\\pipe\\linkwell-command-${process.pid}` : path.join(folder, 'host');
  const resolved = options.map((option) => (option === 'RECORD' ? path.join(folder, 'record') : option));
  const child = spawn(process.execPath, [COMMAND, '--pipe', pipe, '--count', String(texts.length), ...resolved]);
  t.after(() => child.kill('SIGKILL')); // A test that fails would leave it listening.
  const closed = once(child, 'close');
  const lines = readline.createInterface({ input: child.stdout })[Symbol.asyncIterator]();
  const first = (await lines.next()).value;
  for (const text of texts) {
    const agent = net.connect(pipe);
    const body = Buffer.from(text, 'utf8');
    const head = Buffer.alloc(4);
    head.writeUInt32BE(body.length);
    agent.write(Buffer.concat([head, body]));
    const [answer] = await once(agent, 'data');
    assert.equal(answer.toString(), 'ack');
    agent.end();
  }
  const rest = [];
  for await (const line of lines) {
    rest.push(line);
  }
  const [status] = await closed;
  const record = path.join(folder, 'record');
  return { pipe, first, rest, status, record: fs.existsSync(record) ? fs.readFileSync(record, 'utf8') : null };
}

const TEXTS = ['2;add;contact;0;1\nAnna;;;;;;;;;;00A1;00E5', 'hello'];

test('prints what arrives, and ends after the given number of messages', async (t) => {
  const { pipe, first, rest, status } = await serve(t, TEXTS);
  assert.equal(first, `Listening on ${pipe}`);
  assert.deepEqual(rest, [
    '=== add: 1 contact line, 41 bytes',
    '     1  Anna',
    '          entry id     00A1',
    '          folder id    00E5',
    '=== malformed message: the header line does not end',
    '    hello',
    'Closed after 2 message(s).',
  ]);
  assert.equal(status, 0);
});

test('prints one JSON object a line with --json', async (t) => {
  const { pipe, first, rest, status } = await serve(t, TEXTS, '--json');
  assert.deepEqual(JSON.parse(first), { event: 'listening', pipe });
  const events = rest.map((line) => JSON.parse(line));
  assert.deepEqual(events.map(({ event }) => event), ['message', 'malformed', 'closed']);
  assert.equal(events[0].operation, 'add');
  assert.equal(events[0].bytes, 41);
  assert.equal(events[0].items[0].contact.displayName, 'Anna');
  assert.deepEqual(events[1], { event: 'malformed', reason: 'the header line does not end', text: 'hello' });
  assert.deepEqual(events[2], { event: 'closed', answered: 2 });
  assert.equal(status, 0);
});

test('keeps the JSON lines in a file beside the readable form with --record', async (t) => {
  const { first, record } = await serve(t, TEXTS, '--record', 'RECORD');
  assert.match(first, /^Listening on /);
  const events = record.trimEnd().split('\n').map((line) => JSON.parse(line));
  assert.deepEqual(events.map(({ event }) => event), ['listening', 'message', 'malformed', 'closed']);
});

test('shows its options with --help', async () => {
  const { status, stdout } = await run('--help');
  assert.equal(status, 0);
  for (const option of ['--json', '--record', '--count', '--max-bytes', '--pipe', '--help']) {
    assert.ok(stdout.includes(option), option);
  }
});

test('ends with status 2 and a word on the option that is wrong', async () => {
  for (const [options, message] of [
    [['--nonsense'], /unknown option "--nonsense"/],
    [['--count'], /--count needs a value/],
    [['--count', '0'], /--count needs a positive number/],
    [['--max-bytes', '9999999999'], /maxMessageBytes must be between/],
  ]) {
    const { status, stderr } = await run(...options);
    assert.equal(status, 2);
    assert.match(stderr, message);
  }
});

test('ends with status 1 when the pipe can\'t be served', async () => {
  const pipe = ON_WINDOWS ? 'Z:\\no\\pipe' : '/nonexistent/pipe';
  const { status, stderr } = await run('--pipe', pipe);
  assert.equal(status, 1);
  assert.match(stderr, /^linkwell-host: listen /);
});
