// errors.js: what can go wrong, as classes with codes.
'use strict';

/** The base of all of them. `code` stays what it is from version to version; the text may change. */
class LinkwellError extends Error {
  constructor(code, text, cause) {
    super(text, cause === undefined ? undefined : { cause });
    this.name = new.target.name;
    this.code = code;
  }
}

/** An option that does not exist, or a value that it can't have. */
class OptionError extends LinkwellError {
  constructor(text) {
    super('ERR_LINKWELL_OPTION', text);
  }
}

/** A call at the wrong time, such as a second `listen`. */
class StateError extends LinkwellError {
  constructor(text) {
    super('ERR_LINKWELL_STATE', text);
  }
}

/** The pipe can't be served, or no more; `cause` is the system's error. */
class PipeError extends LinkwellError {
  constructor(pipe, cause) {
    super('ERR_LINKWELL_PIPE', `the pipe ${pipe} can't be served: ${cause.message}`, cause);
    this.pipe = pipe;
  }
}

/** A connection broke between two messages, or before its answer was out; `cause` is the system's error. */
class ConnectionError extends LinkwellError {
  constructor(cause) {
    super('ERR_LINKWELL_CONNECTION', `a connection broke: ${cause.message}`, cause);
  }
}

/** The agent went in the middle of a message. Nothing of it is handed on. */
class IncompleteMessageError extends LinkwellError {
  constructor(received, expected, cause) {
    const of = expected === null ? 'its length was not complete' : `4 + ${expected} were announced`;
    super('ERR_LINKWELL_INCOMPLETE', `a message ended after ${received} byte(s); ${of}`, cause);
    this.received = received;
    this.expected = expected;
  }
}

/** Nothing has come from a client for `idleTimeout`. It is cut, and nothing of a message that it had begun handed on. */
class TimeoutError extends LinkwellError {
  constructor(received, timeout) {
    super('ERR_LINKWELL_TIMEOUT', `a client was silent for ${timeout} ms, after ${received} byte(s) of a message`);
    this.received = received;
  }
}

/** A length is above the limit. Nothing says where the next message would begin, so the connection is cut. */
class OversizedMessageError extends LinkwellError {
  constructor(bytes, limit) {
    super('ERR_LINKWELL_OVERSIZED', `a message of ${bytes} bytes is above the limit of ${limit}`);
    this.bytes = bytes;
    this.limit = limit;
  }
}

/** A header that can't be read: in general, or because of its version, operation or kind. `text` is the message. */
class MalformedMessageError extends LinkwellError {
  constructor(what, reason) {
    super(`ERR_LINKWELL_${what}`, reason);
    this.text = '';
  }
}

/** A listener of 'message' has thrown or rejected; `cause` is what, and `refused` the message. */
class HandlerError extends LinkwellError {
  constructor(refused, cause) {
    const reason = cause instanceof Error ? cause.message : String(cause);
    super('ERR_LINKWELL_HANDLER', `a handler failed, and so its message is refused: ${reason}`, cause);
    this.refused = refused;
  }
}

/** A connection was cut by `close`, as its message was not answered in time. */
class ClosedError extends LinkwellError {
  constructor() {
    super('ERR_LINKWELL_CLOSED', 'the host closed before a message was answered');
  }
}

/** An agent could not be started, or closed. */
class AgentError extends LinkwellError {
  constructor(what, text, cause) {
    super(`ERR_LINKWELL_AGENT_${what}`, text, cause);
  }
}

/** @throws {OptionError}  for an option that is not among those known. */
function checkOptions(options, known, where) {
  if (options === null || typeof options !== 'object') {
    throw new OptionError(`${where} takes an object of options`);
  }
  for (const name of Object.keys(options)) {
    if (!known.includes(name)) {
      throw new OptionError(`${where} has no option "${name}"; there are: ${known.join(', ')}`);
    }
  }
}

/** @throws {OptionError}  for what is no time in milliseconds. */
function checkTimeout(timeout, where) {
  if (typeof timeout !== 'number' || !(timeout >= 0)) {
    throw new OptionError(`the timeout of ${where} must be a number of milliseconds, or Infinity`);
  }
}

module.exports = {
  AgentError,
  ClosedError,
  ConnectionError,
  HandlerError,
  IncompleteMessageError,
  LinkwellError,
  MalformedMessageError,
  OptionError,
  OversizedMessageError,
  PipeError,
  StateError,
  TimeoutError,
  checkOptions,
  checkTimeout,
};
