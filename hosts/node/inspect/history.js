// history.js: the latest messages and problems. What is kept has bounds, which the page says.
'use strict';

const LIMITS = Object.freeze({
  messages: 500,
  problems: 200,
  /** Bytes of a message that are kept, its length in front of them included. */
  bytesOfMessage: 256 * 1024,
  /** Bytes that are kept of all messages together; the oldest lose theirs first. */
  bytes: 8 * 1024 * 1024,
});

class History {
  constructor() {
    this.messages = [];
    this.problems = [];
    this.messageCount = 0;
    this.problemCount = 0;
    this._bytes = new Map(); // by number, the oldest first
    this._bytesKept = 0;
  }

  /**
   * @param {object} entry  what is to be shown of a message; its `bytes` are the length that it had on the wire.
   * @param {string} text  its text, or as much of it as is kept.
   * @returns {object}  the entry with its number, and `exact`: whether the text gives the bytes that came. It does not
   *   where these were no UTF-8.
   */
  addMessage(entry, text) {
    this.messageCount += 1;
    const number = this.messageCount;
    const body = Buffer.from(text, 'utf8');
    const head = Buffer.alloc(4);
    head.writeUInt32BE(entry.bytes);
    const kept = Buffer.concat([head, body], Math.min(4 + body.length, LIMITS.bytesOfMessage));
    const exact = body.length === entry.bytes || (kept.length === LIMITS.bytesOfMessage && entry.bytes > body.length);
    const numbered = { number, ...entry, exact };
    this.messages.push(numbered);
    this._bytes.set(number, kept);
    this._bytesKept += kept.length;
    if (this.messages.length > LIMITS.messages) {
      this._dropBytes(this.messages.shift().number);
    }
    for (const oldest of this._bytes.keys()) {
      if (this._bytesKept <= LIMITS.bytes) {
        break;
      }
      this._dropBytes(oldest);
    }
    return numbered;
  }

  addProblem(problem) {
    this.problemCount += 1;
    const numbered = { number: this.problemCount, ...problem };
    this.problems.push(numbered);
    if (this.problems.length > LIMITS.problems) {
      this.problems.shift();
    }
    return numbered;
  }

  /** The bytes of a message as far as they are kept; undefined when they are not, or not any more. */
  bytesOf(number) {
    return this._bytes.get(number);
  }

  _dropBytes(number) {
    this._bytesKept -= this._bytes.get(number)?.length ?? 0;
    this._bytes.delete(number);
  }
}

module.exports = { History, LIMITS };
