// large-messages.js: how long large messages hold the event loop, and how much memory they take. "npm run bench" prints it
// for a host with a ContactStore; the sender is another process. Figures of a busy machine are not worth much.
'use strict';

const { spawn } = require('child_process');
const { once } = require('events');
const fs = require('fs');
const net = require('net');
const os = require('os');
const path = require('path');
const { monitorEventLoopDelay } = require('perf_hooks');

const MEGABYTE = 1024 * 1024;

/** A contact as large as those of a mail server: identifiers of 70 and 46 bytes. */
function contactLine(place) {
  const number = place.toString(16).toUpperCase().padStart(12, '0');
  const id = `${'00000000DCA740C8C042101AB4B908002B2FE182'.padEnd(124, 'A1')}${number}0000`;
  return `Contact ${place};Anna;;Berg ${place};Nordlicht AG;anna${place}@example.com;+49 30 ${place};;+49 170 ${place};;${id};${id.slice(0, 92)}`;
}

function contacts(count) {
  return Array.from({ length: count }, (_, place) => contactLine(place)).join('\n');
}

const CASES = {
  '100,000 contacts': () => contacts(100000),
  '64 MB of contacts': () => contacts(Math.floor((64 * MEGABYTE) / (contactLine(100000).length + 1))),
  '64 MB in one field': () => `${'x'.repeat(64 * MEGABYTE)};;;;;;;;;;${'00'.repeat(10)};${'00'.repeat(10)}`,
  '64 MB of line breaks': () => `${'\n'.repeat(64 * MEGABYTE)};;;;;;;;;;${'00'.repeat(10)};${'00'.repeat(10)}`,
};

async function send(pipe, name) {
  const body = Buffer.from(`2;snapshot;contact;0;1\n${CASES[name]()}`);
  const message = Buffer.alloc(4 + body.length);
  message.writeUInt32BE(body.length);
  body.copy(message, 4);
  const connection = net.connect(pipe);
  connection.write(message);
  await once(connection, 'data');
  connection.end();
}

function milliseconds(nanoseconds) {
  return `${(nanoseconds / 1e6).toFixed(1)} ms`;
}

async function measure(name) {
  const { ContactStore, LinkwellHost } = require('../linkwell-host');
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'linkwell-'));
  const pipe = process.platform === 'win32' ? `\\\\.\\pipe\\linkwell-bench-${process.pid}` : path.join(folder, 'host');
  const host = new LinkwellHost({ pipe });
  const store = new ContactStore();
  host.on('message', (message) => store.apply(message));
  await host.listen();
  const sender = spawn(process.execPath, [__filename, 'send', pipe, name], { stdio: 'ignore' });
  const ended = once(sender, 'close');

  globalThis.gc?.();
  const before = process.memoryUsage().rss;
  let peak = before;
  const watch = setInterval(() => { peak = Math.max(peak, process.memoryUsage().rss); }, 5);
  const delay = monitorEventLoopDelay({ resolution: 1 });
  delay.enable();
  const begin = performance.now();
  await ended;
  delay.disable();
  clearInterval(watch);
  const took = performance.now() - begin;
  await host.close();
  globalThis.gc?.();
  console.log(`${name}: ${store.size} kept, ${took.toFixed(0)} ms with the sender; event loop held at most `
    + `${milliseconds(delay.max)}, 99.9 % below ${milliseconds(delay.percentile(99.9))}; memory at most `
    + `+${((peak - before) / MEGABYTE).toFixed(0)} MB, in the end `
    + `+${((process.memoryUsage().rss - before) / MEGABYTE).toFixed(0)} MB`);
  fs.rmSync(folder, { recursive: true });
}

async function main() {
  const [what, ...names] = process.argv.slice(2);
  if (what === 'send') {
    await send(...names);
  } else if (what === 'measure') {
    await measure(...names);
  } else {
    // Each in a process of its own, as memory stays with one.
    for (const name of Object.keys(CASES)) {
      await once(spawn(process.execPath, [...process.execArgv, __filename, 'measure', name], { stdio: 'inherit' }), 'close');
    }
  }
}

main();
