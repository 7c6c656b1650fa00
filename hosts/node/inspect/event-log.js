// event-log.js: what happens, as Server-Sent Events. A page that was away goes on where it was, as far as events are kept;
// otherwise it is told to read everything anew. No page holds more of the host's memory than what it may be behind.
'use strict';

const { randomBytes } = require('crypto');

const EVENTS_KEPT = 1000;
const CHARACTERS_KEPT = 2 * 1024 * 1024;
/** A page that has not read as much as this is cut off; it comes again by itself. */
const BEHIND_BYTES = 1024 * 1024;
const RETRY_MILLISECONDS = 1000;
const BEAT_MILLISECONDS = 15000;

class EventLog {
  constructor() {
    /** What tells the events of this process from those of another at the same address. */
    this.run = randomBytes(6).toString('hex');
    /** The number of the last event. */
    this.sequence = 0;
    this._kept = [];
    this._charactersKept = 0;
    this._pages = new Set();
    this._beat = setInterval(() => this._send(': \n\n'), BEAT_MILLISECONDS).unref();
  }

  push(event) {
    this.sequence += 1;
    const text = `id: ${this.run}-${this.sequence}\ndata: ${JSON.stringify(event)}\n\n`;
    this._kept.push(text);
    this._charactersKept += text.length;
    while (this._kept.length > EVENTS_KEPT || this._charactersKept > CHARACTERS_KEPT) {
      this._charactersKept -= this._kept.shift().length;
    }
    this._send(text);
  }

  /**
   * Sends events to a page from now on.
   * @param {string} [lastId]  the last one that it has had.
   * @param {ServerResponse} response  with its head written.
   */
  attach(lastId, response) {
    response.write(`retry: ${RETRY_MILLISECONDS}\n\n${this._since(lastId)}`);
    this._pages.add(response);
    response.on('close', () => this._pages.delete(response));
    response.on('error', () => {}); // 'close' follows
  }

  /** Says that nothing comes any more, and ends all connections. */
  end() {
    clearInterval(this._beat);
    this.push({ type: 'end' });
    for (const page of this._pages) {
      page.end();
    }
  }

  _since(lastId) {
    const [, run, number] = /^([0-9a-f]+)-([0-9]{1,15})$/.exec(lastId ?? '') ?? [];
    const missing = this.sequence - Number(number);
    if (run === this.run && missing >= 0 && missing <= this._kept.length) {
      return missing === 0 ? '' : this._kept.slice(-missing).join('');
    }
    return `id: ${this.run}-${this.sequence}\ndata: {"type":"reset"}\n\n`;
  }

  _send(text) {
    for (const page of this._pages) {
      page.write(text);
      if (page.writableLength > BEHIND_BYTES) {
        page.destroy();
      }
    }
  }
}

module.exports = { EventLog };
