// agents.js: what the tests share: hosts on pipes of their own, and the agent's side of an exchange.
'use strict';

const { once } = require('events');
const fs = require('fs');
const net = require('net');
const os = require('os');
const path = require('path');
const { LinkwellHost } = require('../linkwell-host');

const ON_WINDOWS = process.platform === 'win32';
const ON_WINE = fs.existsSync('C:\\windows\\system32\\winecfg.exe');
let pipes = 0;

/** A text, or bytes, as it goes over the pipe. */
function framed(text) {
  const body = Buffer.from(text);
  const head = Buffer.alloc(4);
  head.writeUInt32BE(body.length);
  return Buffer.concat([head, body]);
}

/** A folder that goes with the test. */
function makeFolder(t) {
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'linkwell-'));
  t.after(() => fs.rmSync(folder, { recursive: true }));
  return folder;
}

/** A pipe, or elsewhere a socket, that nobody else has. */
function makePipe(t) {
  pipes += 1;
  return ON_WINDOWS ? `\\\\.\\pipe\\linkwell-${process.pid}-${pipes}` : path.join(makeFolder(t), 'host');
}

/** A listening host on a pipe of its own; the messages and errors that it has given so far; and a way to connect to it. */
async function startHost(t, options = {}, listenOptions = {}) {
  const host = new LinkwellHost({ pipe: makePipe(t), ...options });
  const messages = [];
  const errors = [];
  host.on('message', (message) => { messages.push(message); });
  host.on('error', (error) => errors.push(error));
  await host.listen(listenOptions);

  const agents = [];
  const connect = async () => {
    const agent = net.connect(host.pipe);
    agents.push(agent);
    await once(agent, 'connect');
    return agent;
  };
  t.after(async () => {
    // The host waits for its connections, and a test that fails leaves them open.
    agents.forEach((agent) => agent.destroy());
    await host.close();
  });
  return { host, messages, errors, connect };
}

/** Counts the turns of the event loop. The function that it returns ends that and gives their number. */
function countTurns() {
  let turns = 0;
  let immediate;
  const count = () => {
    turns += 1;
    immediate = setImmediate(count);
  };
  count();
  return () => {
    clearImmediate(immediate);
    return turns - 1;
  };
}

/** What the host answers until it has sent `bytes` bytes, or has ended the connection. */
function reply(agent, bytes) {
  return new Promise((resolve) => {
    let text = '';
    agent.on('data', (chunk) => {
      text += chunk.toString('latin1');
      if (text.length >= bytes) {
        resolve(text);
      }
    });
    agent.on('error', () => {}); // an end like another
    agent.on('close', () => resolve(text));
  });
}

/** Sends a text as the agent does, and gives the host's answer. */
async function exchange(connect, text) {
  const agent = await connect();
  const answer = reply(agent, 3);
  agent.write(framed(text));
  const said = await answer;
  agent.end();
  return said;
}

module.exports = {
  ON_WINDOWS, ON_WINE, countTurns, exchange, framed, makeFolder, makePipe, reply, startHost,
};
