// linkwell-host.js: what the package gives. linkwell-host.d.ts describes all of it.
'use strict';

const { Agent, closeAgent, launchAgent } = require('./lib/agent');
const { ContactStore } = require('./lib/contact-store');
const {
  AgentError, ClosedError, ConnectionError, HandlerError, IncompleteMessageError, LinkwellError, MalformedMessageError,
  OptionError, OversizedMessageError, PipeError, StateError, TimeoutError,
} = require('./lib/errors');
const { DEFAULT_MAX_MESSAGE_BYTES, LinkwellHost, PIPE_PATH } = require('./lib/host');
const { CONTACT_FIELDS } = require('./lib/item-lines');
const { parseMessage } = require('./lib/message');

module.exports = {
  Agent,
  AgentError,
  CONTACT_FIELDS,
  ClosedError,
  ConnectionError,
  ContactStore,
  DEFAULT_MAX_MESSAGE_BYTES,
  HandlerError,
  IncompleteMessageError,
  LinkwellError,
  LinkwellHost,
  MalformedMessageError,
  OptionError,
  OversizedMessageError,
  PIPE_PATH,
  PipeError,
  StateError,
  TimeoutError,
  closeAgent,
  launchAgent,
  parseMessage,
};
