// send-recordings.js: takes the agent's place for the host in Rust, and sends docs/protocol-samples, a connection for each
// message. Its exit value is that of the agent when each is answered.
'use strict';

const assert = require('assert/strict');
const { once } = require('events');
const fs = require('fs');
const net = require('net');
const path = require('path');
const { PIPE_PATH } = require('../../node/linkwell-host');
const { exchange } = require('../../node/support/agents');

const RECORDINGS = path.join(__dirname, '..', '..', '..', 'docs', 'protocol-samples');

async function connect() {
  const agent = net.connect(PIPE_PATH);
  await once(agent, 'connect');
  return agent;
}

async function main() {
  for (const name of fs.readdirSync(RECORDINGS).filter((file) => file.endsWith('.bin'))) {
    const bytes = fs.readFileSync(path.join(RECORDINGS, name));
    for (let at = 0; at < bytes.length; ) {
      const end = at + 4 + bytes.readUInt32BE(at);
      assert.equal(await exchange(connect, bytes.toString('utf8', at + 4, end)), 'ack');
      at = end;
    }
  }
}

main();
