// The inspector's server by itself: who may read from it, what it sends, and what it keeps.
'use strict';

const assert = require('assert/strict');
const http = require('http');
const net = require('net');
const path = require('path');
const { test } = require('node:test');
const { EventLog } = require('../inspect/event-log');
const { History, LIMITS } = require('../inspect/history');
const { makePipe } = require('../support/agents');
const { startInspector } = require('../support/inspector');

const ID = 'A1B2C3D4E5';
const FOLDER = 'F1F2F3F4F5';
const contact = (name, id = ID) => `${name};;;;;;;;;;${id};${FOLDER}`;
const snapshot = (...lines) => `2;snapshot;contact;0;2\n${lines.join('\n')}`;
const add = (...lines) => `2;add;contact;0;1\n${lines.join('\n')}`;

/** The whole answer to a request. The path is sent as it stands. */
function ask({ address }, place, { method = 'GET', headers = {}, body, from = address.pathname } = {}) {
  return new Promise((resolve, reject) => {
    const request = http.request({
      host: '127.0.0.1', port: address.port, method, path: `${from}${place}`, headers, agent: false,
    }, (response) => {
      const parts = [];
      response.on('data', (part) => parts.push(part));
      response.on('end', () => resolve({
        status: response.statusCode, headers: response.headers, bytes: Buffer.concat(parts), text: String(Buffer.concat(parts)),
      }));
    });
    request.on('error', reject);
    request.end(body);
  });
}

/** The events of a page, as they come. */
function follow(t, { address }, lastId) {
  const events = [];
  const waiting = [];
  const request = http.get(new URL('api/events', address), { headers: lastId === undefined ? {} : { 'Last-Event-ID': lastId } },
    (response) => {
      let rest = '';
      response.on('error', () => {});
      response.on('data', (chunk) => {
        rest += chunk;
        const blocks = rest.split('\n\n');
        rest = blocks.pop();
        for (const block of blocks) {
          const [, id, data] = /^id: (.*)\ndata: (.*)$/.exec(block) ?? [];
          if (data !== undefined) {
            events.push({ id, ...JSON.parse(data) });
          }
        }
        waiting.splice(0).forEach((resolve) => resolve());
      });
    });
  request.on('error', () => {});
  t.after(() => request.destroy());
  const until = async (count) => {
    while (events.length < count) {
      await new Promise((resolve) => { waiting.push(resolve); });
    }
    return events;
  };
  return { until, stop: () => request.destroy() };
}

test('is served on 127.0.0.1 alone, at an address with a secret of its own', async (t) => {
  const one = await startInspector(t);
  const other = await startInspector(t);
  assert.equal(one.address.hostname, '127.0.0.1');
  assert.match(one.address.pathname, /^\/[\w-]{43}\/$/);
  assert.notEqual(one.address.pathname, other.address.pathname);
  assert.equal((await ask(one, '')).status, 200);
});

test('refuses each request without the secret', async (t) => {
  const server = await startInspector(t);
  const secret = server.address.pathname.slice(1, -1);
  const wrong = ['/', `/${secret}`, '/x/', `/${secret}x/`, `/${secret.slice(1)}/`, `/x/${secret}/`, '//'];
  for (const from of wrong) {
    for (const place of ['', 'api/state', 'api/events', 'api/edit', 'style.css', 'documents/log.md']) {
      const { status } = await ask(server, place, { from, method: place === 'api/edit' ? 'POST' : 'GET' });
      assert.equal(status, 403, `${from}${place}`);
    }
  }
});

test('refuses other names of this machine, and other sites', async (t) => {
  const server = await startInspector(t);
  const { host, port } = server.address;
  for (const name of ['evil.example', `evil.example:${port}`, `localhost:${port}`, '127.0.0.1', `127.0.0.1:${port}.evil.example`]) {
    assert.equal((await ask(server, '', { headers: { Host: name } })).status, 421, name);
  }
  for (const headers of [{ Origin: 'http://evil.example' }, { Origin: 'null' }, { 'Sec-Fetch-Site': 'cross-site' },
    { 'Sec-Fetch-Site': 'same-site' }, { Origin: `https://${host}` }]) {
    assert.equal((await ask(server, 'api/state', { headers })).status, 403, JSON.stringify(headers));
  }
  for (const headers of [{ Origin: `http://${host}` }, { 'Sec-Fetch-Site': 'same-origin' }, { 'Sec-Fetch-Site': 'none' }]) {
    assert.equal((await ask(server, 'api/state', { headers })).status, 200, JSON.stringify(headers));
  }
});

test('sends each answer, refusals too, with what keeps a browser strict', async (t) => {
  const server = await startInspector(t);
  for (const [place, options] of [['', {}], ['main.mjs', {}], ['api/state', {}], ['none', {}], ['', { from: '/x/' }]]) {
    const { headers } = await ask(server, place, options);
    assert.equal(headers['cache-control'], 'no-store');
    assert.equal(headers['referrer-policy'], 'no-referrer');
    assert.equal(headers['x-content-type-options'], 'nosniff');
    assert.equal(headers['cross-origin-resource-policy'], 'same-origin');
    assert.equal(headers['access-control-allow-origin'], undefined);
    const policy = headers['content-security-policy'].split('; ');
    assert.ok(policy.includes("default-src 'none'"));
    assert.ok(policy.includes("script-src 'self'"));
    assert.ok(policy.includes("frame-ancestors 'none'"));
    assert.doesNotMatch(headers['content-security-policy'], /unsafe|\*|http|data:/);
  }
});

test('gives nothing but its own files and the project\'s documents', async (t) => {
  const server = await startInspector(t);
  assert.match((await ask(server, 'main.mjs')).headers['content-type'], /^text\/javascript/);
  assert.match((await ask(server, 'documents/wire-protocol.md')).text, /^# The wire protocol/);
  const outside = ['../inspector.js', '..%2finspector.js', '%2e%2e/inspector.js', '....//inspector.js', 'page-server.js',
    'documents/../README.md', 'documents/..%2f..%2fREADME.md', 'documents/mailbox.schema.json', 'documents/', 'documents/..',
    '/etc/passwd', '..\\inspector.js', 'index.html%00', 'constructor', '__proto__'];
  for (const place of outside) {
    assert.equal((await ask(server, place)).status, 404, place);
  }
});

test('knows the methods that a place has', async (t) => {
  const server = await startInspector(t);
  for (const method of ['POST', 'PUT', 'DELETE', 'OPTIONS', 'PATCH']) {
    const { status, headers } = await ask(server, 'api/state', { method });
    assert.equal(status, 405, method);
    assert.equal(headers.allow, 'GET, HEAD');
  }
  assert.equal((await ask(server, 'api/edit')).status, 405);
  for (const place of ['', 'api/state', 'api/events']) {
    const { status, bytes } = await ask(server, place, { method: 'HEAD' });
    assert.deepEqual([status, bytes.length], [200, 0]);
  }
});

test('tells what the host knows', async (t) => {
  const server = await startInspector(t);
  await server.take(snapshot(contact('Roth; Mia'), contact('Ola', 'A1B2C3D4E6')));
  await server.take('2;delete;contact;0;1\n;;;;;;;;;;A1B2C3D4E6;');
  await server.take('2;delete;contact;0;1\n;;;;;;;;;;A1B2C3D4E6;');
  server.inspector.addError({ code: 'ERR_LINKWELL_VERSION', message: 'version 3', text: '3;x' });
  const state = JSON.parse((await ask(server, 'api/state')).text);
  assert.equal(state.stores, 2);
  assert.deepEqual(state.folders, [[FOLDER, 0]]);
  assert.deepEqual(state.contacts, [['Roth; Mia', '', '', '', '', '', '', '', '', '', ID, FOLDER, 1]]);
  assert.deepEqual(state.messages.map(({ operation, added, removed }) => [operation, added, removed]),
    [['snapshot', 2, 0], ['delete', 0, 1], ['delete', 0, 0]]);
  assert.deepEqual(state.messages[1].names, [{ how: 'removed', name: 'Ola', entryId: 'A1B2C3D4E6' }]);
  assert.deepEqual(state.problems.map(({ code, message, count }) => [code, message, count]),
    [['guessed', 1, 1], ['unknown', 3, 1], ['ERR_LINKWELL_VERSION', undefined, 1]]);
});

test('tells what is left over, and what has no identifier', async (t) => {
  const server = await startInspector(t);
  await server.take(`${snapshot('Ada;;;;;;;;;;;')}\nrest`);
  const { problems, contacts } = JSON.parse((await ask(server, 'api/state')).text);
  assert.deepEqual(problems.map(({ code, texts }) => [code, texts]), [['leftOver', ['rest']], ['withoutId', ['Ada;;;;;;;;;;;']]]);
  assert.deepEqual(contacts, []);
});

test('tells of an agent that starts anew', async (t) => {
  const server = await startInspector(t);
  await server.take(snapshot(contact('Ada')));
  await server.take(add(contact('Ola', 'A1B2C3D4E6')));
  const { until } = follow(t, server);
  await until(1);
  await server.take(snapshot(contact('Eve', 'A1B2C3D4E7')));
  const [, clear, message] = await until(3);
  assert.deepEqual([clear.type, clear.agentRun], ['clear', 2]);
  assert.equal(message.added[0][0], 'Eve');
});

test('gives the bytes of a message, from anywhere', async (t) => {
  const server = await startInspector(t);
  const text = add(contact('Grün; Müller\r\nund \u202e Söhne'));
  await server.take(text);
  const wire = Buffer.concat([Buffer.from([0, 0, 0, Buffer.byteLength(text)]), Buffer.from(text)]);
  const { bytes, headers } = await ask(server, 'api/messages/1');
  assert.deepEqual(bytes, wire);
  assert.equal(headers['linkwell-kept'], String(wire.length));
  assert.equal(headers['content-type'], 'application/octet-stream');
  assert.deepEqual((await ask(server, 'api/messages/1?from=7')).bytes, wire.subarray(7));
  assert.equal((await ask(server, `api/messages/1?from=${wire.length}`)).bytes.length, 0);
  for (const from of ['-1', 'x', '1e3', String(wire.length + 1), '']) {
    assert.equal((await ask(server, `api/messages/1?from=${from}`)).status, 416, from);
  }
  assert.equal((await ask(server, 'api/messages/2')).status, 410);
  assert.equal((await ask(server, 'api/messages/01')).status, 404);
});

test('keeps no more than it says', () => {
  const history = new History();
  const keep = (text) => history.addMessage({ bytes: Buffer.byteLength(text) }, text);
  const long = 'x'.repeat(2 * LIMITS.bytesOfMessage);
  for (let number = 1; number <= LIMITS.messages + 10; number += 1) {
    keep(long);
    history.addProblem({ code: 'x' });
  }
  assert.equal(history.messages.length, LIMITS.messages);
  assert.equal(history.messages[0].number, 11);
  assert.equal(history.problems.length, LIMITS.problems);
  assert.equal(history.problemCount, LIMITS.messages + 10);
  const kept = Array.from({ length: LIMITS.messages + 11 }, (_, number) => history.bytesOf(number)?.length ?? 0);
  assert.equal(kept.reduce((sum, bytes) => sum + bytes), LIMITS.bytes);
  assert.equal(kept.at(-1), LIMITS.bytesOfMessage);
  for (let number = 1; number <= LIMITS.messages; number += 1) {
    keep('short');
  }
  assert.deepEqual([history.bytesOf(LIMITS.messages + 10), history.bytesOf(LIMITS.messages + 11).length], [undefined, 9]);
  assert.deepEqual([keep('short').exact, history.addMessage({ bytes: 3 }, '\ufffd\ufffd').exact], [true, false]);
});

test('cuts what a page is told, however long it is', async (t) => {
  const server = await startInspector(t);
  await server.take(add(contact('x'.repeat(3e6))));
  const { text } = await ask(server, 'api/state');
  assert.ok(text.length < 10_000);
  assert.match(JSON.parse(text).contacts[0][0], /^x{1000}… \(3000000 characters\)$/);
});

test('names a contact and its folder everywhere as it does in the contact\'s row, where these are cut, too', async (t) => {
  const server = await startInspector(t);
  const { until } = follow(t, server);
  await until(1);
  const [id, folder] = ['A1', 'F1'].map((digits) => digits.repeat(3000));
  await server.take(`2;snapshot;contact;0;1\nAda;;;;;;;;;;${id};${folder}`);
  await server.take(`2;delete;contact;0;1\n;;;;;;;;;;${id};`);
  const [, { added: [row], folders, message }, { removed }] = await until(3);
  assert.match(row[10], /^(A1){500}… \(6000 characters\)$/);
  assert.deepEqual([removed, message.names[0].entryId, folders], [[row[10]], row[10], [[row[11], 0]]]);
});

test('shows a hundred stores at most, however many a message claims', async () => {
  const { Model } = await import('../inspect/page/model.mjs');
  const model = new Model();
  model.load({ stores: 1e6, folders: [], contacts: [] });
  assert.equal(model.rows().rows.length, 100);
});

test('goes on where a page was', async (t) => {
  const server = await startInspector(t);
  const page = follow(t, server);
  await page.until(1);
  await server.take(snapshot(contact('Ada')));
  const [reset, first] = await page.until(2);
  assert.equal(reset.type, 'reset');
  assert.equal(first.added[0][0], 'Ada');
  page.stop();
  await server.take(add(contact('Ola', 'A1B2C3D4E6')));
  await server.take(add(contact('Eve', 'A1B2C3D4E7')));
  const [second, third] = await follow(t, server, first.id).until(2);
  assert.deepEqual([second.added[0][0], third.added[0][0]], ['Ola', 'Eve']);
  const ofAnotherRun = third.id.replace(/^./, (digit) => (digit === '0' ? '1' : '0'));
  for (const unknown of [ofAnotherRun, third.id.replace(/[0-9]+$/, '99'), 'x', '']) {
    assert.equal((await follow(t, server, unknown).until(1))[0].type, 'reset', unknown);
  }
});

test('has a page read all anew where events are not kept any more', () => {
  const log = new EventLog();
  const pages = (lastId) => {
    let written = '';
    log.attach(lastId, { write: (text) => { written += text; }, on() {}, end() {} });
    return written;
  };
  for (let number = 0; number < 3000; number += 1) {
    log.push({ text: 'x'.repeat(10_000) });
  }
  assert.match(pages(`${log.run}-1`), /"reset"/);
  const lately = pages(`${log.run}-2990`);
  assert.doesNotMatch(lately, /"reset"/);
  assert.equal(lately.match(/^data:/gm).length, 10);
  assert.match(pages(`${log.run}-2000`), /"reset"/); // by their length
  log.end();
});

test('has a page read all anew where very much has changed', async (t) => {
  const server = await startInspector(t);
  const { until } = follow(t, server);
  await until(1);
  await server.take(add(...Array.from({ length: 300 }, (_, at) => contact('x', (0xA000000000 + at).toString(16).toUpperCase()))));
  const [, { reload, added, message }] = await until(2);
  assert.deepEqual([reload, added, message.added, message.names.length], [true, undefined, 300, 20]);
});

test('cuts off a page that does not read', async (t) => {
  const server = await startInspector(t);
  const page = net.connect(server.address.port, '127.0.0.1');
  page.on('error', () => {});
  const closed = new Promise((resolve) => { page.on('close', resolve); });
  page.pause();
  page.write(`GET ${server.address.pathname}api/events HTTP/1.1\r\nHost: ${server.address.host}\r\n\r\n`);
  const { until } = follow(t, server); // one that does
  await until(1);
  const names = Array.from({ length: 150 }, (_, at) => contact('x'.repeat(900), (0xA000000000 + at).toString(16).toUpperCase()));
  const pages = server.inspector._events._pages;
  while (pages.size < 2) {
    await new Promise((resolve) => { setTimeout(resolve, 10); });
  }
  for (let count = 2; pages.size === 2; count += 2) {
    await server.take(add(...names));
    await server.take(`2;delete;folder;0;1\n${FOLDER}`);
    await until(count);
  }
  assert.equal(pages.size, 1);
  page.resume();
  await closed;
});

test('says that the host ends', async (t) => {
  const server = await startInspector(t);
  const { until } = follow(t, server);
  await until(1);
  await server.inspector.close();
  assert.equal((await until(2))[1].type, 'end');
  await assert.rejects(ask(server, ''), { code: 'ECONNREFUSED' });
});

/** A sandbox's control pipe, which gives these answers, and what it was asked. */
async function startSandbox(t, answers) {
  const pipe = makePipe(t);
  const asked = [];
  const sandbox = net.createServer((connection) => {
    connection.on('error', () => {});
    connection.on('data', (line) => {
      asked.push(JSON.parse(line));
      const answer = answers.shift();
      if (answer === null) {
        connection.destroy();
      } else {
        connection.write(`${JSON.stringify(answer)}\n`);
      }
    });
  });
  await new Promise((resolve) => { sandbox.listen(pipe, resolve); });
  t.after(() => sandbox.close());
  return { pipe, asked };
}

const JSON_TYPE = { 'Content-Type': 'application/json' };
const post = (server, body, headers = JSON_TYPE) => ask(server, 'api/edit', { method: 'POST', headers, body });

test('passes edits on to the sandbox, and its answers back', async (t) => {
  const { pipe, asked } = await startSandbox(t, [{ ok: true, entryId: 'A1' }, { ok: false, error: 'there is no folder' }, null]);
  const server = await startInspector(t, { control: pipe });
  const edit = { do: 'addContact', folder: '#00', contact: { displayName: 'Ada\n' } };
  assert.deepEqual(JSON.parse((await post(server, JSON.stringify(edit))).text), { ok: true, entryId: 'A1' });
  assert.deepEqual(asked, [edit]);
  assert.deepEqual(JSON.parse((await post(server, '{"do": "delete"}')).text), { ok: false, error: 'there is no folder' });
  assert.deepEqual(JSON.parse((await post(server, '{"do": "delete"}')).text),
    { ok: false, error: 'the sandbox does not answer: it has ended the connection' });
  for (const request of ['{"do": "plan", "delay": 99999}', '{}', 'null', '[]', '{"do": "batch", "requests": []}']) {
    assert.match(JSON.parse((await post(server, request)).text).error, /^the inspector sends only addContact, /, request);
  }
  assert.equal(asked.length, 3);
});

test('lists the sandbox\'s folders as a user sees them', async (t) => {
  const items = [{ kind: 'store', name: 'Mailbox', entryId: '01', items: [{ kind: 'folder', name: 'Root', entryId: '02', items: [
    { kind: 'folder', name: 'IPM_SUBTREE', entryId: '03', items: [{ kind: 'folder', name: 'Contacts', entryId: '04',
      items: [{ kind: 'message', name: 'Ada', entryId: '05' }] }] }] }] }];
  const { pipe } = await startSandbox(t, [{ ok: true, items }]);
  const server = await startInspector(t, { control: pipe });
  assert.deepEqual(JSON.parse((await ask(server, 'api/folders')).text), { ok: true, folders: [
    { entryId: '02', path: 'Mailbox / Root' }, { entryId: '03', path: 'Mailbox' }, { entryId: '04', path: 'Mailbox / Contacts' }] });
});

test('takes edits only as they come from its own page', async (t) => {
  const { pipe, asked } = await startSandbox(t, []);
  const server = await startInspector(t, { control: pipe });
  assert.equal((await post(server, '{"do": "delete"}', { 'Content-Type': 'text/plain' })).status, 415);
  assert.equal((await post(server, 'do=delete', { 'Content-Type': 'application/x-www-form-urlencoded' })).status, 415);
  assert.equal((await post(server, '{"do": ')).status, 400);
  assert.equal((await post(server, JSON.stringify({ do: 'delete', object: 'x'.repeat(70_000) }))).status, 413);
  assert.deepEqual(asked, []);
});

test('edits nothing where no sandbox was named, or none is there', async (t) => {
  const server = await startInspector(t);
  const { status, text } = await post(server, '{"do": "delete"}');
  assert.deepEqual([status, text], [404, 'linkwell-host was not given the control pipe of a sandbox (--control)\n']);
  assert.equal(JSON.parse((await ask(server, 'api/state')).text).editable, false);
  const without = await startInspector(t, { control: makePipe(t) });
  assert.deepEqual(JSON.parse((await post(without, '{"do": "delete"}')).text),
    { ok: false, error: 'the sandbox does not answer: there is no such pipe; does the agent run?' });
});

test('explains each error of the host, and links to sections that there are', async () => {
  const { EXPLANATIONS } = await import('../inspect/page/problems.mjs');
  const { slug } = await import('../inspect/page/documents.mjs');
  const fs = require('fs');
  const read = (...names) => fs.readFileSync(path.join(__dirname, '..', ...names), 'utf8');
  const codes = [...read('README.md').matchAll(/^ *\| (`ERR_LINKWELL_[^|]*)\|/gm)].flatMap(([, cell]) => {
    const names = [...cell.matchAll(/`(\w+)`/g)].map(([, name]) => name);
    return names.map((name) => (name.startsWith('_') ? `ERR_LINKWELL${name}` : name));
  });
  assert.ok(codes.length >= 10);
  for (const code of codes) {
    assert.ok(code in EXPLANATIONS, code);
  }
  for (const [code, { section: [name, heading] }] of Object.entries(EXPLANATIONS)) {
    const headings = [...read('..', '..', 'docs', name).matchAll(/^#+ (.*)$/gm)].map(([, text]) => text);
    assert.ok(headings.includes(heading), `${code}: ${name}, ${heading}`);
  }
  assert.equal(slug('What the log says of a refusal'), 'what-the-log-says-of-a-refusal');
});
