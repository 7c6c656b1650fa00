// output.js: where the command writes. An output can be closed, full, or not read; the host goes on all the same.
'use strict';

const fs = require('fs');
const net = require('net');
const { promisify } = require('util');
const { Slices, settlesWithin } = require('./timing');

const BATCH_LENGTH = 64 * 1024;
const writeToFile = promisify(fs.write);

/** Writes texts one after the other. A text comes in pieces, which are not written one by one. */
class Output {
  /**
   * @param {function(string): Promise<void>} write
   * @param {object} options
   * @param {number} [options.patience]  milliseconds after which nobody waits any more for an output that takes nothing.
   * @param {function(Error)} options.onError  told once.
   */
  constructor(write, { patience = Infinity, onError }) {
    this._write = write;
    this._patience = patience;
    this._onError = onError;
    this._turn = Promise.resolve();
    this._stalled = false; // a write has not ended, and nobody waits for it
    this._torn = false; // the last text was not written to its end
    this._failed = false;
    this._skipped = 0;
  }

  /** Writes a text; resolves when it is written, or given up. Texts that come while nothing is taken are skipped. */
  put(pieces) {
    this._turn = this._turn.then(() => this._put(pieces));
    return this._turn;
  }

  /** How many texts have been skipped since the last call, once the output takes texts again; until then 0. */
  takeSkipped() {
    const skipped = this._stalled ? 0 : this._skipped;
    this._skipped -= skipped;
    return skipped;
  }

  async _put(pieces) {
    if (this._stalled) {
      this._skipped += 1;
      return;
    }
    let batch = this._torn ? '\n' : '';
    this._torn = true;
    const slices = new Slices();
    for (const piece of pieces) {
      batch += piece;
      if (batch.length >= BATCH_LENGTH) {
        if (!await this._putBatch(batch)) {
          return;
        }
        batch = '';
      }
      if (slices.over) {
        await slices.next();
      }
    }
    this._torn = !await this._putBatch(batch);
  }

  async _putBatch(batch) {
    const write = this._write(batch);
    if (!await settlesWithin(write, this._patience)) {
      this._skipped += 1;
      this._stalled = true;
      const end = () => { this._stalled = false; };
      write.then(end, end);
      return false;
    }
    try {
      await write;
      return true;
    } catch (error) {
      if (!this._failed) {
        this._failed = true;
        this._onError(error);
      }
      return false;
    }
  }
}

/** Writes to a file descriptor on a thread of its own, so that one that blocks blocks nothing else. */
async function writeAll(descriptor, text) {
  let rest = Buffer.from(text, 'utf8');
  while (rest.length > 0) {
    const { bytesWritten } = await writeToFile(descriptor, rest);
    rest = rest.subarray(bytesWritten);
  }
}

/** How to write to the process's standard output. */
function standardOutputWriter() {
  const { stdout } = process;
  // Node.js writes to files at once, and on Windows to pipes, too, however long they take.
  const file = !stdout.isTTY && (process.platform === 'win32' || !(stdout instanceof net.Socket));
  if (file) {
    return (text) => writeAll(1, text);
  }
  stdout.on('error', () => {}); // each write is told
  return (text) => new Promise((resolve, reject) => {
    stdout.write(text, (error) => (error ? reject(error) : resolve()));
  });
}

/** How to write to a file, behind what it has. */
function fileWriter(name) {
  const descriptor = fs.openSync(name, 'a');
  return (text) => writeAll(descriptor, text);
}

module.exports = { Output, fileWriter, standardOutputWriter };
