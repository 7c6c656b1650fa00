// message.js: reads the text of one message: a header line, then one line for each item.
'use strict';

const { StringDecoder } = require('string_decoder');
const { MalformedMessageError } = require('./errors');
const { makeItemLines } = require('./item-lines');

const VERSION = '2';
const OPERATIONS = ['snapshot', 'add', 'change', 'delete'];
const KINDS = ['contact', 'folder'];
const LONGEST_HEADER = 200;

// The parts of a text that contacts are made of stay as they are decoded. Strings above 128 KB lie where V8 does not move
// them about, which takes longer than to read them.
const DECODED_BYTES = 256 * 1024;
const LINES_AT_A_TIME = 64;

/** Reads a message from the pieces in which it comes, so that nobody has to hold its bytes, or search its whole text. */
class MessageReader {
  constructor() {
    this._decoder = new StringDecoder('utf8');
    this._header = ''; // as far as it has come
    this._message = null;
    this._lines = null;
    this._error = null;
    this._bytes = 0;
    this._undecoded = [];
    this._undecodedBytes = 0;
  }

  /**
   * Takes the next piece. Yields every now and then, where whoever drives it may let others work.
   * @param {Buffer} bytes  may end in the midst of a letter; kept for a while.
   * @param {boolean} last  whether the message ends with them.
   */
  *push(bytes, last) {
    this._bytes += bytes.length;
    this._undecoded.push(bytes);
    this._undecodedBytes += bytes.length;
    if (last || this._undecodedBytes >= DECODED_BYTES) {
      const whole = this._undecoded.length === 1 ? bytes : Buffer.concat(this._undecoded);
      this._undecoded = [];
      this._undecodedBytes = 0;
      // Bytes that aren't UTF-8 become replacement characters; they can't come from the agent.
      yield* this._take(this._decoder.write(whole));
    }
    if (last) {
      yield* this._take(this._decoder.end());
    }
  }

  /**
   * The message, after its last piece.
   * @throws {MalformedMessageError}  when its header can't be read.
   */
  end() {
    if (this._message === null) {
      const error = this._error ?? new MalformedMessageError('HEADER', 'the header line does not end');
      error.text = this._header;
      throw error;
    }
    this._lines.end();
    return { ...this._message, bytes: this._bytes, items: this._lines.items };
  }

  *_take(text) {
    const rest = this._message === null ? this._takeHeader(text) : text;
    if (rest !== null) {
      yield* this._takeLines(rest);
    }
  }

  /** What comes behind the header; null as long as there is none. Behind one that can't be read, all is kept. */
  _takeHeader(text) {
    const end = this._error === null ? text.indexOf('\n') : -1;
    this._header += end < 0 ? text : text.slice(0, end);
    if (end < 0) {
      return null;
    }
    try {
      this._message = parseHeader(this._header);
    } catch (error) {
      this._error = error;
      this._header += text.slice(end);
      return null;
    }
    this._lines = makeItemLines(this._message.operation, this._message.kind);
    return text.slice(end + 1);
  }

  *_takeLines(text) {
    let start = 0;
    let lines = 0;
    for (let end = text.indexOf('\n'); end >= 0; end = text.indexOf('\n', start)) {
      this._lines.addPiece(text.slice(start, end));
      this._lines.endLine();
      start = end + 1;
      lines += 1;
      if (lines % LINES_AT_A_TIME === 0) {
        yield;
      }
    }
    this._lines.addPiece(text.slice(start));
  }
}

/**
 * A whole message, taken apart.
 * @param {string} text
 * @throws {MalformedMessageError}  when its header can't be read.
 */
function parseMessage(text) {
  if (typeof text !== 'string') {
    throw new TypeError('parseMessage takes the text of a message');
  }
  const reader = new MessageReader();
  for (const _ of reader.push(Buffer.from(text, 'utf8'), true)) {
    // at once
  }
  return reader.end();
}

function parseHeader(line) {
  if (line.length > LONGEST_HEADER) {
    throw new MalformedMessageError('HEADER', `the header has ${line.length} characters`);
  }
  const fields = line.split(';');
  const [version, operation, kind, index, total] = fields;
  if (fields.length > 1 && version !== VERSION && /^[0-9]+$/.test(version)) {
    throw new MalformedMessageError('VERSION', `version ${version} of the protocol is not known, only ${VERSION}`);
  }
  if (fields.length !== 5) {
    throw new MalformedMessageError('HEADER', `the header has ${fields.length} field(s), not 5`);
  }
  if (version !== VERSION) {
    throw new MalformedMessageError('HEADER', `the header begins with "${version}", not "${VERSION}"`);
  }
  if (!OPERATIONS.includes(operation)) {
    throw new MalformedMessageError('OPERATION', `the operation "${operation}" is not known`);
  }
  if (!KINDS.includes(kind)) {
    throw new MalformedMessageError('KIND', `the kind "${kind}" is not known`);
  }
  if (kind === 'folder' && operation !== 'delete') {
    throw new MalformedMessageError('OPERATION', `the operation "${operation}" is not known of folders`);
  }
  return { version: Number(version), operation, kind, index: parseNumber('index', index), total: parseNumber('total', total) };
}

function parseNumber(name, text) {
  if (!/^(0|[1-9][0-9]{0,14})$/.test(text)) {
    throw new MalformedMessageError('HEADER', `the ${name} "${text}" is not a number`);
  }
  return Number(text);
}

module.exports = { MessageReader, parseMessage };
