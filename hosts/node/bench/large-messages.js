// large-messages.js: how long large messages hold the event loop, and how much memory they take. "npm run bench" prints it
// for a host with a ContactStore; the sender is another process. Each turn of the event loop is timed, and what of it V8's
// garbage collector took is told apart. What the machine adds shows in the turns of a host that has nothing to do.
'use strict';

const { spawn } = require('child_process');
const { once } = require('events');
const fs = require('fs');
const net = require('net');
const os = require('os');
const path = require('path');
const { PerformanceObserver } = require('perf_hooks');

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

/** Times the turns of the event loop that take a millisecond or more, until it is stopped. */
class Turns {
  constructor() {
    this._turns = []; // begin and end
    this._pauses = []; // of the garbage collector, likewise
    this._observer = new PerformanceObserver((list) => this._keepPauses(list));
    this._observer.observe({ type: 'gc' });
    this._runs = true;
    const turn = (before) => {
      const now = performance.now();
      if (now - before >= 1) {
        this._turns.push([before, now]);
      }
      if (this._runs) {
        setImmediate(turn, now);
      }
    };
    setImmediate(turn, performance.now());
  }

  /** What has been timed, as a text: the turns, and what of each was the collector's and what was not. */
  async stop() {
    await new Promise((resolve) => { setTimeout(resolve, 100); }); // the last pauses are told late
    this._runs = false;
    this._observer.disconnect();
    const collector = this._turns.map(([begin, end]) => this._pauses
      .reduce((sum, [from, to]) => sum + Math.max(0, Math.min(to, end) - Math.max(from, begin)), 0));
    const whole = this._turns.map(([begin, end]) => end - begin);
    const own = whole.map((duration, place) => duration - collector[place]);
    return `${percentiles(whole)}, without the collector ${percentiles(own)}, by it ${percentiles(collector)}`;
  }

  _keepPauses(list) {
    for (const { startTime, duration } of list.getEntries()) {
      this._pauses.push([startTime, startTime + duration]);
    }
  }
}

/** Half of them, 99 % of them, and all are at most. */
function percentiles(durations) {
  const sorted = durations.sort((one, other) => one - other);
  return [0.5, 0.99, 1].map((part) => (sorted[Math.ceil(sorted.length * part) - 1] ?? 0).toFixed(1)).join('/');
}

async function measure(name) {
  const { ContactStore, LinkwellHost } = require('../linkwell-host');
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'linkwell-'));
  const pipe = process.platform === 'win32' ? `\\\\.\\pipe\\linkwell-bench-${process.pid}` : path.join(folder, 'host');
  const host = new LinkwellHost({ pipe });
  const store = new ContactStore();
  host.on('message', (message) => store.apply(message));
  await host.listen();
  const idle = new Turns();
  await new Promise((resolve) => { setTimeout(resolve, 1000); });
  const idleTurns = await idle.stop();

  const sender = spawn(process.execPath, [__filename, 'send', pipe, name], { stdio: 'ignore' });
  globalThis.gc?.();
  const before = process.memoryUsage().rss;
  let peak = before;
  const watch = setInterval(() => { peak = Math.max(peak, process.memoryUsage().rss); }, 5);
  const turns = new Turns();
  const begin = performance.now();
  await once(sender, 'close');
  const took = performance.now() - begin;
  console.log(`${name}: ${store.size} kept, ${took.toFixed(0)} ms with the sender; turns of the event loop above 1 ms, `
    + `p50/p99/max in ms: ${await turns.stop()}; before, with nothing to do: ${idleTurns}`);
  clearInterval(watch);
  await host.close();
  globalThis.gc?.();
  console.log(`  memory at most +${((peak - before) / MEGABYTE).toFixed(0)} MB, in the end `
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
