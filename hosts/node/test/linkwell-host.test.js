'use strict';

const assert = require('assert/strict');
const { once } = require('events');
const { test } = require('node:test');
const {
  ClosedError, HandlerError, IncompleteMessageError, LinkwellHost, OptionError, OversizedMessageError, PipeError,
  StateError, TimeoutError,
} = require('linkwell-host');
const { ON_WINDOWS, ON_WINE, countTurns, exchange, framed, makePipe, reply, startHost } = require('../support/agents');

const TEXT = '2;snapshot;contact;0;1\nЖанна;;;;;;;;;;00000000A1;00000000E5';

function codes(errors) {
  return errors.map(({ code }) => code);
}

test('answers a message with the three bytes "ack"', async (t) => {
  const { messages, errors, connect } = await startHost(t);
  assert.equal(await exchange(connect, TEXT), 'ack');
  assert.equal(messages.length, 1);
  assert.equal(messages[0].items[0].contact.displayName, 'Жанна');
  assert.equal(messages[0].bytes, Buffer.byteLength(TEXT));
  assert.deepEqual(errors, []);
});

test('answers nothing before the last byte', async (t) => {
  const { messages, connect } = await startHost(t);
  const agent = await connect();
  const answer = reply(agent, 3);
  const bytes = framed(TEXT);
  // Cuts the length field, then a letter of two bytes.
  const cut = bytes.indexOf(Buffer.from('Ж')) + 1;
  for (const part of [bytes.subarray(0, 2), bytes.subarray(2, cut), bytes.subarray(cut, bytes.length - 1)]) {
    agent.write(part);
    // An exchange on a second connection: by then the host has read the first part of this one.
    assert.equal(await exchange(connect, TEXT), 'ack');
    assert.equal(agent.bytesRead, 0);
  }
  agent.write(bytes.subarray(bytes.length - 1));
  assert.equal(await answer, 'ack');
  agent.end();
  assert.deepEqual(messages.map(({ items }) => items[0].contact.displayName), Array(4).fill('Жанна'));
});

test('answers each of two messages in one write', async (t) => {
  const { messages, connect } = await startHost(t);
  const agent = await connect();
  agent.write(Buffer.concat([framed(TEXT), framed('2;delete;folder;0;1\n00E5')]));
  assert.equal(await reply(agent, 6), 'ackack');
  agent.end();
  assert.deepEqual(messages.map(({ operation }) => operation), ['snapshot', 'delete']);
});

test('answers when all handlers have run, and what they have promised is done', async (t) => {
  const { host, connect } = await startHost(t);
  const steps = [];
  let release;
  host.on('message', async () => {
    steps.push('first begins');
    await new Promise((resolve) => { release = resolve; });
    steps.push('first ends');
  });
  host.once('message', () => { steps.push('second'); });
  const agent = await connect();
  const answer = reply(agent, 3).then((said) => { steps.push(said); });
  agent.write(framed(TEXT));
  while (release === undefined) {
    await new Promise(setImmediate);
  }
  assert.equal(agent.bytesRead, 0);
  release();
  await answer;
  agent.end();
  assert.deepEqual(steps, ['first begins', 'first ends', 'second', 'ack']);
});

for (const [what, handler] of Object.entries({
  throws: () => { throw new Error('no'); },
  rejects: () => Promise.reject(new Error('no')),
})) {
  test(`refuses the message of a handler that ${what}, tells it, and goes on`, async (t) => {
    const { host, errors, connect } = await startHost(t);
    host.once('message', handler);
    assert.equal(await exchange(connect, TEXT), '');
    assert.equal(errors.length, 1);
    assert.ok(errors[0] instanceof HandlerError);
    assert.equal(errors[0].code, 'ERR_LINKWELL_HANDLER');
    assert.equal(errors[0].cause.message, 'no');
    assert.equal(errors[0].refused.items[0].contact.displayName, 'Жанна');
    assert.equal(await exchange(connect, TEXT), 'ack');
  });
}

test('goes on when nobody listens for errors, and warns', async (t) => {
  const { host, connect } = await startHost(t);
  host.removeAllListeners('error');
  host.once('message', () => { throw new Error('no'); });
  const warned = once(process, 'warning');
  assert.equal(await exchange(connect, TEXT), '');
  const [warning] = await warned;
  assert.equal(warning.code, 'ERR_LINKWELL_HANDLER');
  assert.equal(await exchange(connect, TEXT), 'ack');
});

test('goes on when a listener for errors throws, and warns', async (t) => {
  const { host, connect } = await startHost(t);
  host.once('error', () => { throw new Error('worse'); });
  const warned = once(process, 'warning');
  assert.equal(await exchange(connect, 'hello'), 'ack');
  const [warning] = await warned;
  assert.equal(warning.message, 'worse');
});

test('handles messages of several connections one by one', async (t) => {
  const { host, connect } = await startHost(t);
  let running = 0;
  host.on('message', async () => {
    running += 1;
    assert.equal(running, 1);
    await new Promise(setImmediate);
    running -= 1;
  });
  const answers = await Promise.all(Array.from({ length: 5 }, () => exchange(connect, TEXT)));
  assert.deepEqual(answers, Array(5).fill('ack'));
});

test('reads no further than a chunk while a handler runs', async (t) => {
  const { host, messages, connect } = await startHost(t);
  let release;
  host.on('message', () => new Promise((resolve) => { release = resolve; }));
  const giveTime = async () => {
    for (let place = 0; place < 5; place += 1) {
      // An exchange on another connection shows that the host had the time to read.
      const told = once(host, 'error');
      (await connect()).end(Buffer.from([0]));
      await told;
    }
  };
  const agent = await connect();
  agent.write(framed(TEXT));
  while (release === undefined) {
    await new Promise(setImmediate);
  }
  // More than pipes and streams hold. On Windows, the first one is a chunk.
  const written = [false, false];
  for (const place of [0, 1]) {
    const text = `2;add;contact;0;1\n${'x'.repeat(8 * 1024 * 1024)}`;
    agent.write(framed(text), () => { written[place] = true; });
    await giveTime();
  }
  assert.equal(written[1], false);
  assert.equal(messages.length, 1);
  host.removeAllListeners('message');
  release();
  assert.equal(await reply(agent, 9), 'ackackack');
  assert.deepEqual(written, [true, true]);
});

for (const [text, code] of Object.entries({
  hello: 'ERR_LINKWELL_HEADER',
  '3;snapshot;contact;0;1\n': 'ERR_LINKWELL_VERSION',
  '2;merge;contact;0;1\n': 'ERR_LINKWELL_OPERATION',
  '2;add;list;0;1\n': 'ERR_LINKWELL_KIND',
})) {
  test(`answers what it does not know, and tells it: ${code}`, async (t) => {
    const { messages, errors, connect } = await startHost(t);
    assert.equal(await exchange(connect, text), 'ack');
    assert.deepEqual(messages, []);
    assert.deepEqual(errors.map((error) => [error.code, error.text]), [[code, text]]);
  });
}

test('cuts the connection without an answer at a length above the limit, and tells it', async (t) => {
  const { errors, connect } = await startHost(t, { maxMessageBytes: 10 });
  assert.equal(await exchange(connect, TEXT), '');
  assert.deepEqual(codes(errors), ['ERR_LINKWELL_OVERSIZED']);
  assert.ok(errors[0] instanceof OversizedMessageError);
  assert.deepEqual([errors[0].bytes, errors[0].limit], [Buffer.byteLength(TEXT), 10]);
});

for (const [what, bytes, expected] of [
  ['a message', framed(TEXT).subarray(0, 10), Buffer.byteLength(TEXT)],
  ['the length', Buffer.from([0, 0, 0]), null],
]) {
  test(`tells of an agent that goes in the middle of ${what}, and serves the next`, async (t) => {
    const { host, messages, errors, connect } = await startHost(t);
    const agent = await connect();
    agent.end(bytes);
    await once(host, 'error');
    assert.ok(errors[0] instanceof IncompleteMessageError);
    assert.deepEqual([errors[0].code, errors[0].received, errors[0].expected],
      ['ERR_LINKWELL_INCOMPLETE', bytes.length, expected]);
    assert.deepEqual(messages, []);
    assert.equal(await exchange(connect, TEXT), 'ack');
  });
}

for (const [what, bytes] of Object.entries({
  'says nothing': Buffer.alloc(0),
  'stops in the length': Buffer.from([0, 0, 0]),
  'stops in a message': framed(TEXT).subarray(0, 10),
})) {
  test(`cuts a client that ${what}, tells it, and serves the next`, async (t) => {
    const { host, messages, errors, connect } = await startHost(t, { idleTimeout: 50 });
    const client = await connect();
    const answer = reply(client, 3);
    client.write(bytes);
    await once(host, 'error');
    assert.ok(errors[0] instanceof TimeoutError);
    assert.deepEqual([errors[0].code, errors[0].received], ['ERR_LINKWELL_TIMEOUT', bytes.length]);
    assert.equal(await answer, '');
    assert.deepEqual(messages, []);
    assert.equal(await exchange(connect, TEXT), 'ack');
  });
}

test('does not count the time that its handlers take as a client\'s', async (t) => {
  const { host, connect } = await startHost(t, { idleTimeout: 50 });
  host.once('message', async () => {
    // Whoever comes now and says nothing is cut by the same time-out.
    await Promise.all([once(host, 'error'), connect()]);
  });
  assert.equal(await exchange(connect, TEXT), 'ack');
});

test('says nothing of an agent that connects and goes', async (t) => {
  const { messages, errors, connect } = await startHost(t);
  const agent = await connect();
  agent.end();
  agent.resume();
  await once(agent, 'close');
  assert.equal(await exchange(connect, TEXT), 'ack');
  assert.equal(messages.length, 1);
  assert.deepEqual(errors, []);
});

test('serves one connection after the other', async (t) => {
  const { messages, connect } = await startHost(t);
  for (let place = 0; place < 1000; place += 1) {
    assert.equal(await exchange(connect, `2;snapshot;contact;${place};1000\n;;;;;;;;;;00000000A1;00000000E5`), 'ack');
  }
  assert.deepEqual(messages.map(({ index }) => index), Array.from({ length: 1000 }, (_, place) => place));
});

test('takes a large message whole, and lets others run meanwhile', async (t) => {
  const { messages, connect } = await startHost(t);
  const line = `${'x'.repeat(89)};;;;;;;;;;00000000A1;00000000E5\n`;
  const text = `2;snapshot;contact;0;1\n${line.repeat(100000)};;;;;;;;;;00000000A1;00000000E5`;
  const turns = countTurns();
  assert.equal(await exchange(connect, text), 'ack');
  const counted = turns();
  assert.equal(messages[0].items.length, 100001);
  assert.equal(messages[0].bytes, text.length);
  assert.ok(counted > 5, `${counted} turns of the event loop`);
});

test('takes a line as long as a message', async (t) => {
  const { messages, connect } = await startHost(t);
  const name = 'x;'.repeat(500000);
  assert.equal(await exchange(connect, `2;add;contact;0;1\n${name}\n;;;;;;;;;;00000000A1;00000000E5`), 'ack');
  const [{ contact, guessed }] = messages[0].items;
  assert.deepEqual([contact.entryId, contact.folderEntryId, guessed], ['00000000A1', '00000000E5', true]);
});

test('lets the last answer out when it is closed by a handler', async (t) => {
  const { host, connect } = await startHost(t);
  let closed;
  host.once('message', () => { closed = host.close(); });
  assert.equal(await exchange(connect, TEXT), 'ack');
  await closed;
});

test('cuts what has not ended by the timeout of close, and tells which message is lost', async (t) => {
  const { host, errors, connect } = await startHost(t);
  let handled = false;
  host.once('message', () => {
    handled = true;
    return new Promise(() => {});
  });
  const [hanging, waiting] = [await connect(), await connect()];
  const answers = [reply(hanging, 3), reply(waiting, 3)];
  hanging.write(framed(TEXT));
  while (!handled) {
    await new Promise(setImmediate);
  }
  await host.close({ timeout: 10 });
  assert.deepEqual(await Promise.all(answers), ['', '']);
  assert.equal(errors.length, 1); // the other one had sent nothing
  assert.ok(errors[0] instanceof ClosedError);
});

test('closes once, however often it is asked, and can listen again', async (t) => {
  const { host, connect } = await startHost(t);
  let closes = 0;
  host.on('close', () => { closes += 1; });
  await Promise.all([host.close(), host.close({ timeout: Infinity })]);
  await host.close();
  assert.equal(closes, 1);
  await assert.rejects(connect());
  await host.listen();
  assert.equal(await exchange(connect, TEXT), 'ack');
});

test('closes by a signal', async (t) => {
  const control = new AbortController();
  const { host, connect } = await startHost(t, {}, { signal: control.signal });
  assert.equal(await exchange(connect, TEXT), 'ack');
  const closed = once(host, 'close');
  control.abort();
  await closed;
  await assert.rejects(connect());
  await assert.rejects(host.listen({ signal: control.signal }), { name: 'AbortError' });
});

test('tells errors of a server that has listened already', async (t) => {
  const { host, errors } = await startHost(t);
  host._server.emit('error', new Error('later')); // nothing outside brings one about
  assert.ok(errors[0] instanceof PipeError);
  assert.deepEqual([errors[0].code, errors[0].cause.message], ['ERR_LINKWELL_PIPE', 'later']);
});

test('does not listen twice', async (t) => {
  const { host } = await startHost(t);
  await assert.rejects(host.listen(), StateError);
});

// Windows refuses a second server by FILE_FLAG_FIRST_PIPE_INSTANCE; Wine 8 does not look at that flag.
test('says so when the pipe is taken', { todo: ON_WINE && 'Wine lets a second server join in' }, async (t) => {
  const { host } = await startHost(t);
  const second = new LinkwellHost({ pipe: host.pipe });
  t.after(() => second.close());
  await assert.rejects(second.listen(), (error) => {
    assert.ok(error instanceof PipeError);
    assert.match(error.cause.code, /EADDRINUSE|EACCES/);
    return true;
  });
});

test('listens after it has failed to', async (t) => {
  const host = new LinkwellHost({ pipe: ON_WINDOWS ? 'Z:\\no\\pipe' : '/nonexistent/pipe' });
  await assert.rejects(host.listen(), PipeError);
  host.pipe = makePipe(t);
  await host.listen();
  await host.close();
});

test('refuses options that it does not know, and values that it can\'t use', async () => {
  for (const maxMessageBytes of [0, -1, 1.5, NaN, 2 ** 40, '10']) {
    assert.throws(() => new LinkwellHost({ maxMessageBytes }), OptionError);
  }
  for (const options of [null, 'pipe', { pipe: '' }, { pipe: 1 }, { Pipe: 'x' }, { maxMessageByte: 1 }, { idleTimeout: -1 }]) {
    assert.throws(() => new LinkwellHost(options), OptionError);
  }
  const host = new LinkwellHost();
  await assert.rejects(host.listen({ singal: null }), /listen has no option "singal"; there are: signal/);
  for (const timeout of [-1, NaN, '5', null]) {
    await assert.rejects(host.close({ timeout }), OptionError);
  }
});
