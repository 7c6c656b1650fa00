// linkwell-host.js: the host's side of the agent's pipe.
//
//   const { LinkwellHost } = require('linkwell-host');
//   const host = new LinkwellHost();
//   host.on('message', (message) => { ... });
//   await host.listen();
//
// The agent makes one connection per message and sends no second message before the first is acknowledged. Between its
// write and its read it asks whether another instance of the pipe is free; net.Server on Windows always keeps some
// pending (four at the start, each replaced as it is taken), so nothing has to be done for that here.
'use strict';

const { constants } = require('buffer');
const { EventEmitter } = require('events');
const net = require('net');
const { MessageFramer, OversizedMessageError } = require('./lib/message-framer');
const { CONTACT_FIELDS, MalformedMessageError, parseMessage } = require('./lib/message');

/** The one name by which the agent looks for its host. */
const PIPE_PATH = '\\\\.\\pipe\\CorvenaLinkwell';

/** A store's snapshot is one message, and a contact takes about 150 bytes: this is far more than a million contacts. */
const DEFAULT_MAX_MESSAGE_BYTES = 256 * 1024 * 1024;

/** The whole reply: no length, no terminator. There is no other reply; a message without it counts as refused. */
const ACK = Buffer.from('ack', 'ascii');

/**
 * Serves the pipe, and answers every message that arrives whole, after the listeners have run: "ack" says that the
 * host has taken it. A listener that throws therefore leaves the message unanswered.
 *
 * Events:
 * - 'message' ({@link Message}, {number} bytes): a message, taken apart; `bytes` is the length of its text.
 * - 'malformed' ({string} reason, {string} text): a message with a header that can't be read. It is answered too: the
 *   framing was right, there is no negative reply, and an agent that is refused during its first snapshot ends.
 * - 'oversized' ({string} reason): a length above the limit; the connection is cut without an answer.
 * - 'incomplete' ({number} received, {number|null} expected): the agent went in the middle of a message, and nothing of
 *   it is handed on. `received` counts the length field too; `expected` is null when not even that was whole.
 * - 'connectionError' ({Error}): a connection broke. The host goes on with the next.
 */
class LinkwellHost extends EventEmitter {
  /**
   * @param {object} [options]
   * @param {string} [options.pipe]  another pipe, or on other systems a socket; for tests.
   * @param {number} [options.maxMessageBytes]
   */
  constructor({ pipe = PIPE_PATH, maxMessageBytes = DEFAULT_MAX_MESSAGE_BYTES } = {}) {
    super();
    if (!Number.isInteger(maxMessageBytes) || maxMessageBytes < 1 || maxMessageBytes > constants.MAX_STRING_LENGTH) {
      throw new RangeError(`maxMessageBytes must be between 1 and ${constants.MAX_STRING_LENGTH}`);
    }
    this.pipe = pipe;
    this._maxMessageBytes = maxMessageBytes;
    this._server = net.createServer((connection) => this._serve(connection));
  }

  /** Resolves when agents can connect; rejects when the pipe can't be had, as when another host serves it. */
  listen() {
    if (this.pipe.startsWith('\\\\.\\pipe\\') && process.platform !== 'win32') {
      return Promise.reject(new Error('named pipes are there on Windows alone'));
    }
    return new Promise((resolve, reject) => {
      this._server.once('error', reject);
      this._server.listen(this.pipe, () => {
        this._server.off('error', reject);
        resolve();
      });
    });
  }

  /** Takes no new connections; resolves when the last one has ended, so an answer on its way still gets there. */
  close() {
    return new Promise((resolve, reject) => {
      this._server.close((error) => (error ? reject(error) : resolve()));
    });
  }

  _serve(connection) {
    const framer = new MessageFramer(this._maxMessageBytes);
    let cut = false;
    connection.on('data', (chunk) => {
      try {
        for (const body of framer.push(chunk)) {
          this._deliver(body);
          connection.write(ACK);
        }
      } catch (error) {
        cut = true;
        connection.destroy();
        if (!(error instanceof OversizedMessageError)) {
          throw error;
        }
        this.emit('oversized', error.message);
      }
    });
    connection.on('error', (error) => this.emit('connectionError', error));
    connection.on('close', () => {
      if (!cut && framer.pendingBytes > 0) {
        this.emit('incomplete', framer.pendingBytes, framer.expectedBytes);
      }
    });
  }

  _deliver(body) {
    // Bytes that aren't UTF-8 become replacement characters; they can't come from the agent.
    const text = body.toString('utf8');
    let message;
    try {
      message = parseMessage(text);
    } catch (error) {
      if (!(error instanceof MalformedMessageError)) {
        throw error;
      }
      this.emit('malformed', error.message, text);
      return;
    }
    this.emit('message', message, body.length);
  }
}

module.exports = { CONTACT_FIELDS, DEFAULT_MAX_MESSAGE_BYTES, LinkwellHost, PIPE_PATH, parseMessage };
