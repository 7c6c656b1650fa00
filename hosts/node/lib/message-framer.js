// message-framer.js: cuts the byte stream of one connection into messages.
// A message is 4 bytes of length, most significant first, and that many bytes of text. The pipe is read in chunks that
// have nothing to do with it: a chunk can hold a part of the length, a part of the text, or several messages.
'use strict';

const { OversizedMessageError } = require('./errors');

const LENGTH_BYTES = 4;

/** Hands out the bytes of each message, without its length, as they come: it keeps none of them. */
class MessageFramer {
  /** @param {number} maxMessageBytes  a length above this is refused, before any of the text is handed out. */
  constructor(maxMessageBytes) {
    this._maxMessageBytes = maxMessageBytes;
    this._head = Buffer.alloc(LENGTH_BYTES);
    this._startMessage();
  }

  /** Length of the message that is being received; null while its length field is not complete. */
  get expectedBytes() {
    return this._headBytes === LENGTH_BYTES ? this._bodyLength : null;
  }

  /** Bytes of the unfinished message so far, its length field included; 0 between two messages. */
  get pendingBytes() {
    return this._headBytes + this._bodyBytes;
  }

  /**
   * Takes the next chunk.
   * @returns {Generator<{bytes: Buffer, last: boolean}>}  the parts of messages in this chunk, in order. `bytes` is a
   *   view of the chunk, perhaps empty; `last` says that its message is whole.
   * @throws {OversizedMessageError}  after it, nothing more can be pushed.
   */
  *push(chunk) {
    let rest = chunk;
    while (rest.length > 0) {
      if (this._headBytes < LENGTH_BYTES) {
        rest = this._takeHead(rest);
        if (this.expectedBytes !== 0 && rest.length === 0) {
          return;
        }
      }
      if (this._headBytes === LENGTH_BYTES) {
        const bytes = rest.subarray(0, this._bodyLength - this._bodyBytes);
        this._bodyBytes += bytes.length;
        const last = this._bodyBytes === this._bodyLength;
        rest = rest.subarray(bytes.length);
        if (last) {
          this._startMessage();
        }
        yield { bytes, last };
      }
    }
  }

  _takeHead(bytes) {
    const taken = bytes.copy(this._head, this._headBytes, 0, LENGTH_BYTES - this._headBytes);
    this._headBytes += taken;
    if (this._headBytes === LENGTH_BYTES) {
      this._bodyLength = this._head.readUInt32BE(0);
      if (this._bodyLength > this._maxMessageBytes) {
        throw new OversizedMessageError(this._bodyLength, this._maxMessageBytes);
      }
    }
    return bytes.subarray(taken);
  }

  _startMessage() {
    this._headBytes = 0;
    this._bodyLength = 0;
    this._bodyBytes = 0;
  }
}

module.exports = { MessageFramer };
