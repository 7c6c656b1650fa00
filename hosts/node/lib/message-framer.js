// message-framer.js: cuts the byte stream of one connection into messages.
// A message is 4 bytes of length, most significant first, and that many bytes of text. The pipe is read in chunks that
// have nothing to do with it: a chunk can hold a part of the length, a part of the text, or several messages.
'use strict';

const LENGTH_BYTES = 4;

/** A length field is above the limit. Nothing says where the next message would begin, so the connection is lost. */
class OversizedMessageError extends Error {
  constructor(bytes, limit) {
    super(`a message of ${bytes} bytes is above the limit of ${limit}`);
    this.name = 'OversizedMessageError';
  }
}

/** Collects chunks and hands out the bytes of each message, without its length, as soon as it is whole. */
class MessageFramer {
  /** @param {number} maxMessageBytes  a length above this is refused, before any of the text is kept. */
  constructor(maxMessageBytes) {
    this._maxMessageBytes = maxMessageBytes;
    this._head = Buffer.alloc(LENGTH_BYTES);
    this._headBytes = 0;
    this._startBody(0);
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
   * @param {Buffer} chunk  kept until its message is whole; the caller must not write to it again.
   * @returns {Generator<Buffer>}  the messages that this chunk completes, in order.
   * @throws {OversizedMessageError}  after it, nothing more can be pushed.
   */
  *push(chunk) {
    let rest = chunk;
    while (rest.length > 0) {
      rest = this._headBytes < LENGTH_BYTES ? this._takeHead(rest) : this._takeBody(rest);
      if (this._headBytes === LENGTH_BYTES && this._bodyBytes === this._bodyLength) {
        // Joined once per message: joining at every chunk would take quadratic time for a large one.
        const body = this._chunks.length === 1 ? this._chunks[0] : Buffer.concat(this._chunks, this._bodyLength);
        this._headBytes = 0;
        this._startBody(0);
        yield body;
      }
    }
  }

  _takeHead(bytes) {
    const taken = bytes.copy(this._head, this._headBytes, 0, LENGTH_BYTES - this._headBytes);
    this._headBytes += taken;
    if (this._headBytes === LENGTH_BYTES) {
      this._startBody(this._head.readUInt32BE(0));
      if (this._bodyLength > this._maxMessageBytes) {
        throw new OversizedMessageError(this._bodyLength, this._maxMessageBytes);
      }
    }
    return bytes.subarray(taken);
  }

  _takeBody(bytes) {
    const part = bytes.subarray(0, this._bodyLength - this._bodyBytes);
    this._chunks.push(part);
    this._bodyBytes += part.length;
    return bytes.subarray(part.length);
  }

  _startBody(length) {
    this._bodyLength = length;
    this._bodyBytes = 0;
    this._chunks = [];
  }
}

module.exports = { MessageFramer, OversizedMessageError };
