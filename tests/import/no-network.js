// no-network.js, to be loaded first: ends the process with status 99 when it reaches for a network or starts a program.
'use strict';

const end = (name) => () => {
  require('node:fs').writeSync(2, `${name} was called\n`);
  process.exit(99);
};

require('node:net').Socket.prototype.connect = end('connect');
require('node:dgram').createSocket = end('createSocket');
require('node:child_process').ChildProcess.prototype.spawn = end('spawn');
for (const name of ['lookup', 'resolve']) {
  require('node:dns')[name] = end(name);
}
