// host.js: serves the agent's pipe.
//
// The agent makes one connection per message and sends no second message before the first is acknowledged. Between its
// write and its read it asks whether another instance of the pipe is free; net.Server on Windows always keeps some
// pending (four at the start, each replaced as it is taken), so nothing has to be done for that here.
'use strict';

const { constants } = require('buffer');
const { EventEmitter } = require('events');
const net = require('net');
const {
  ClosedError, ConnectionError, HandlerError, IncompleteMessageError, LinkwellError, OptionError, PipeError, StateError,
  TimeoutError, checkOptions, checkTimeout,
} = require('./errors');
const { MessageReader } = require('./message');
const { MessageFramer } = require('./message-framer');
const { Slices, repeatEvery, settlesWithin } = require('./timing');

/** The one name by which the agent looks for its host. */
const PIPE_PATH = '\\\\.\\pipe\\CorvenaLinkwell';

/** A store's snapshot is one message, and a contact takes a few hundred bytes: this is far more than 100,000 contacts. */
const DEFAULT_MAX_MESSAGE_BYTES = 256 * 1024 * 1024;

/** The agent writes a message at once, so this is far more than it ever pauses. */
const DEFAULT_IDLE_TIMEOUT = 30000;

const DEFAULT_CLOSE_TIMEOUT = 5000;

const PIECE_BYTES = 256 * 1024;

/** The whole reply: no length, no terminator. There is no other reply; a message without it counts as refused. */
const ACK = Buffer.from('ack', 'ascii');

/**
 * Serves the pipe. Each message that arrives whole goes to the listeners of 'message', one message at a time and one
 * listener after the other; when all have run, and the promises that they have returned are fulfilled, it is answered:
 * "ack" says that the host has taken it. A listener that throws or rejects refuses it: the connection is closed without
 * an answer. Whatever goes wrong is an event 'error' with a code, and the host goes on; where nobody listens to these, it
 * is a warning of the process.
 */
class LinkwellHost extends EventEmitter {
  constructor(options = {}) {
    super();
    checkOptions(options, ['pipe', 'maxMessageBytes', 'idleTimeout'], 'LinkwellHost');
    const {
      pipe = PIPE_PATH, maxMessageBytes = DEFAULT_MAX_MESSAGE_BYTES, idleTimeout = DEFAULT_IDLE_TIMEOUT,
    } = options;
    if (typeof pipe !== 'string' || pipe === '') {
      throw new OptionError('pipe must be the path of a pipe');
    }
    // A line can be as long as its message, and is one string.
    if (!Number.isInteger(maxMessageBytes) || maxMessageBytes < 1 || maxMessageBytes > constants.MAX_STRING_LENGTH) {
      throw new OptionError(`maxMessageBytes must be between 1 and ${constants.MAX_STRING_LENGTH}`);
    }
    this.pipe = pipe;
    checkTimeout(idleTimeout, 'LinkwellHost');
    this._maxMessageBytes = maxMessageBytes;
    this._idleTimeout = idleTimeout;
    this._server = null;
    this._closing = null;
    this._exchanges = new Set();
    this._turn = Promise.resolve();
  }

  /** Resolves when agents can connect; rejects with PipeError when the pipe can't be had. */
  async listen(options = {}) {
    checkOptions(options, ['signal'], 'listen');
    const { signal } = options;
    if (this._server !== null) {
      throw new StateError('the host listens already');
    }
    signal?.throwIfAborted();
    if (this.pipe.startsWith('\\\\.\\pipe\\') && process.platform !== 'win32') {
      throw new PipeError(this.pipe, new Error('named pipes are there on Windows alone'));
    }
    const server = net.createServer((connection) => this._serve(connection));
    this._server = server;
    try {
      await new Promise((resolve, reject) => {
        server.once('error', reject);
        server.listen(this.pipe, resolve);
      });
    } catch (error) {
      this._server = null;
      throw new PipeError(this.pipe, error);
    }
    server.removeAllListeners('error');
    server.on('error', (error) => this._report(new PipeError(this.pipe, error)));
    if (signal !== undefined) {
      const abort = () => this.close();
      signal.addEventListener('abort', abort, { once: true });
      server.once('close', () => signal.removeEventListener('abort', abort));
      if (signal.aborted) {
        await this.close();
        signal.throwIfAborted();
      }
    }
    this.emit('listening');
  }

  /**
   * Takes no new connections, and resolves when the last one has ended, so an answer on its way still gets there. What
   * has not ended by the timeout is cut; if a message is lost by that, the event 'error' says so.
   */
  async close(options = {}) {
    checkOptions(options, ['timeout'], 'close');
    const { timeout = DEFAULT_CLOSE_TIMEOUT } = options;
    checkTimeout(timeout, 'close');
    if (this._server !== null && this._closing === null) {
      this._closing = new Promise((resolve) => { this._server.close(resolve); }).then(() => {
        this._server = null;
        this._closing = null;
        this.emit('close');
      });
    }
    if (this._closing !== null && !await settlesWithin(this._closing, timeout)) {
      for (const exchange of this._exchanges) {
        if (exchange.cut()) {
          this._report(new ClosedError());
        }
      }
      await this._closing;
    }
  }

  async _serve(connection) {
    const exchange = new Exchange(connection, this._maxMessageBytes, this._idleTimeout);
    this._exchanges.add(exchange);
    try {
      for await (const reader of exchange.messages()) {
        await this._inTurn(() => this._deliver(reader));
        exchange.answer();
      }
    } catch (error) {
      if (!connection.readableEnded) {
        connection.destroy();
      }
      if (!exchange.wasCut) {
        this._report(error);
      }
    } finally {
      this._exchanges.delete(exchange);
    }
  }

  /** Messages of several connections are handled one by one, in the order in which they have become whole. */
  _inTurn(handle) {
    const turn = this._turn.then(handle);
    this._turn = turn.catch(() => {});
    return turn;
  }

  /** @throws {HandlerError}  which refuses the message. */
  async _deliver(reader) {
    let message;
    try {
      message = reader.end();
    } catch (error) {
      // It is answered: its framing was right, and an agent that is refused during its first snapshot ends.
      this._report(error);
      return;
    }
    for (const handler of this.rawListeners('message')) {
      try {
        await handler.call(this, message);
      } catch (error) {
        throw new HandlerError(message, error);
      }
    }
  }

  _report(error) {
    if (this.listenerCount('error') === 0) {
      process.emitWarning(error);
      return;
    }
    try {
      this.emit('error', error);
    } catch (thrown) {
      process.emitWarning(thrown instanceof Error ? thrown : String(thrown));
    }
  }
}

/** One connection of an agent. */
class Exchange {
  constructor(connection, maxMessageBytes, idleTimeout) {
    this._connection = connection;
    this._idleTimeout = idleTimeout;
    this._framer = new MessageFramer(maxMessageBytes);
    this._unanswered = false;
    this.wasCut = false;
    // The iteration gives errors; one that comes after its end means nothing any more.
    connection.on('error', () => {});
  }

  /**
   * The messages as they become whole, each to be ended by whoever takes it. While it is handled no more than one chunk is
   * read, so the pipe holds back an agent that sends more; the time-out counts only while there is nothing to do.
   * @throws {LinkwellError}  when the connection can't go on.
   */
  async *messages() {
    let reader = new MessageReader();
    const slices = new Slices();
    let stopWaiting = this._awaitClient();
    try {
      for await (const piece of inPieces(this._connection)) {
        stopWaiting();
        for (const { bytes, last } of this._framer.push(piece)) {
          for (const _ of reader.push(bytes, last)) {
            if (slices.over) {
              await slices.next();
            }
          }
          if (last) {
            this._unanswered = true;
            yield reader;
            reader = new MessageReader();
          }
        }
        if (slices.over) {
          await slices.next();
        }
        stopWaiting = this._awaitClient();
      }
    } catch (error) {
      throw this._failure(error);
    } finally {
      stopWaiting();
    }
    if (this._framer.pendingBytes > 0) {
      throw this._failure();
    }
  }

  answer() {
    this._unanswered = false;
    if (!this.wasCut) {
      this._connection.write(ACK);
    }
  }

  /** Ends the connection, whatever it is at. Returns whether a message is lost by that. */
  cut() {
    this.wasCut = true;
    this._connection.destroy();
    return this._unanswered || this._framer.pendingBytes > 0;
  }

  /**
   * Cuts a client that is silent for too long. That is seen in two halves: a time in which this process could not read,
   * as it or the machine stood still, is over in one.
   * @returns {function()}  ends the wait.
   */
  _awaitClient() {
    let halves = 0;
    return repeatEvery(this._idleTimeout / 2, () => {
      halves += 1;
      if (halves === 2) {
        this._connection.destroy(new TimeoutError(this._framer.pendingBytes, this._idleTimeout));
      }
    });
  }

  _failure(error) {
    if (error instanceof LinkwellError) {
      return error;
    }
    const { pendingBytes, expectedBytes } = this._framer;
    return pendingBytes > 0 ? new IncompleteMessageError(pendingBytes, expectedBytes, error) : new ConnectionError(error);
  }
}

/**
 * What a stream gives, in pieces that are soon dealt with: on Windows, a chunk is all that the pipe holds. At its end the
 * stream closes itself, and is not destroyed: a pipe that is being flushed for its end holds the event loop then (seen
 * under Wine).
 */
async function* inPieces(stream) {
  for await (const chunk of stream.iterator({ destroyOnReturn: false })) {
    for (let at = 0; at < chunk.length; at += PIECE_BYTES) {
      yield chunk.subarray(at, at + PIECE_BYTES);
    }
  }
}

module.exports = { DEFAULT_MAX_MESSAGE_BYTES, LinkwellHost, PIPE_PATH };
