#!/usr/bin/env node
// linkwell-host: serves the agent's pipe and prints what arrives.
'use strict';

const { ContactStore, DEFAULT_MAX_MESSAGE_BYTES, LinkwellHost, OptionError, PIPE_PATH } = require('../linkwell-host');
const { Inspector } = require('../inspect/inspector');
const { Output, fileWriter, standardOutputWriter } = require('../lib/output');
const { formatJson, formatMessage, printable } = require('../lib/print');

const USAGE = `Usage: linkwell-host [options]

Serves the pipe to which the Linkwell agent sends the contacts of an Outlook
profile, answers every message, and prints it in readable form.

Options:
  --json             print one JSON object per event instead, a line each
  --record FILE      also append these JSON lines to FILE
  --count N          end after N messages have been answered
  --max-bytes N      refuse messages above N bytes (default ${DEFAULT_MAX_MESSAGE_BYTES})
  --inspect [PORT]   also show all of it live on a page for this machine's own
                     browser, at an address that is printed; PORT is a free one
                     unless given
  --control PIPE     let that page edit the mailbox of the sandbox that has this
                     control pipe; with --inspect
  --pipe PATH        serve another pipe (default ${PIPE_PATH})
  --help             show this text

The first line, "Listening on ...", says that the agent can connect. Ctrl+C ends
the host. An output that is closed, full or not read does not. Exit status: 0;
1 when the pipe can't be served, or something could not be written; 2 for wrong
options.
`;

/** How long a message waits for an output that takes nothing: the agent does nothing else meanwhile. */
const OUTPUT_PATIENCE_MILLISECONDS = 2000;

const TEXT_SHOWN = 200;

class UsageError extends Error {}

function parseOptions(args) {
  const options = { json: false, record: null, count: Infinity, host: {} };
  const rest = [...args];
  const value = (name) => {
    if (rest.length === 0) {
      throw new UsageError(`${name} needs a value`);
    }
    return rest.shift();
  };
  const number = (name) => {
    const text = value(name);
    if (!/^[1-9][0-9]{0,9}$/.test(text)) {
      throw new UsageError(`${name} needs a positive number, not "${text}"`);
    }
    return Number(text);
  };
  const port = (name) => {
    const found = number(name);
    if (found > 65535) {
      throw new UsageError(`${name} needs a port up to 65535, not ${found}`);
    }
    return found;
  };
  while (rest.length > 0) {
    const option = rest.shift();
    switch (option) {
      case '--json': options.json = true; break;
      case '--record': options.record = value(option); break;
      case '--count': options.count = number(option); break;
      case '--max-bytes': options.host.maxMessageBytes = number(option); break;
      case '--inspect': options.inspect = /^[0-9]+$/.test(rest[0]) ? port(option) : 0; break;
      case '--control': options.control = value(option); break;
      case '--pipe': options.host.pipe = value(option); break;
      case '--help': options.help = true; break;
      default: throw new UsageError(`unknown option "${option}"`);
    }
  }
  if (options.control !== undefined && options.inspect === undefined) {
    throw new UsageError('--control is for the page of --inspect');
  }
  return options;
}

function complain(text) {
  process.stderr.write(`linkwell-host: ${text}\n`);
}

/**
 * Writes an event where the options want it. The record is on file before the message is answered; secrets are not in it.
 */
function makeWriter(options) {
  const open = (what, writer, patience) => new Output(writer, {
    patience,
    onError: (error) => {
      process.exitCode = 1;
      complain(`${what} can't be written: ${error.message}; going on`);
    },
  });
  const record = options.record === null ? null : open('the record', fileWriter(options.record));
  const output = open('the output', standardOutputWriter(), OUTPUT_PATIENCE_MILLISECONDS);
  return async (event, textPieces, { secret = false } = {}) => {
    if (!secret) {
      await record?.put(formatJson(event));
    }
    const count = output.takeSkipped();
    if (count > 0) {
      const notice = `=== ${count} event(s) are not shown: the output was not read\n`;
      await output.put(options.json ? formatJson({ event: 'skipped', count }) : [notice]);
    }
    await output.put(options.json ? formatJson(event) : textPieces);
  };
}

/** An error of the host as an event. What is not told of it can be found by its code. */
function errorEvent(error) {
  const { code, message, text } = error;
  return text === undefined ? { event: 'error', code, reason: message } : { event: 'error', code, reason: message, text };
}

function* formatError({ message, text }) {
  yield `=== ${printable(message)}\n`;
  if (text !== undefined) {
    yield `    ${printable(text.length > TEXT_SHOWN ? `${text.slice(0, TEXT_SHOWN)}...` : text)}\n`;
  }
}

async function run(options) {
  const host = new LinkwellHost(options.host);
  const write = makeWriter(options);
  const store = new ContactStore();
  const inspector = options.inspect === undefined ? null : new Inspector({ store, control: options.control });
  let answered = 0;

  let closing = false;
  const close = async () => {
    if (closing) {
      return;
    }
    closing = true;
    await host.close();
    await inspector?.close();
    await write({ event: 'closed', answered }, [`Closed after ${answered} message(s).\n`]);
    process.exit();
  };
  const countAnswered = () => {
    answered += 1;
    if (answered === options.count) {
      close();
    }
  };

  host.on('message', async (message) => {
    const change = await store.apply(message);
    await inspector?.addMessage(message, change);
    const { bytes, ...rest } = message;
    await write({ event: 'message', bytes, ...rest }, formatMessage(message, change));
    countAnswered();
  });
  host.on('error', (error) => {
    inspector?.addError(error);
    write(errorEvent(error), formatError(error));
    if (error.text !== undefined) { // a header that can't be read: the message is answered
      countAnswered();
    }
  });

  for (const signal of ['SIGINT', 'SIGTERM', 'SIGHUP', 'SIGBREAK']) {
    process.once(signal, close);
  }
  const address = await inspector?.listen(options.inspect);
  try {
    await host.listen();
  } catch (error) {
    await inspector?.close();
    throw error;
  }
  await write({ event: 'listening', pipe: host.pipe }, [`Listening on ${host.pipe}\n`]);
  if (address !== undefined) {
    await write({ event: 'inspecting', address }, [`Inspect at ${address}\n`], { secret: true });
  }
}

async function main() {
  process.stderr.on('error', () => {}); // there is nowhere left to complain
  const options = parseOptions(process.argv.slice(2));
  if (options.help) {
    process.stdout.write(USAGE);
    return;
  }
  await run(options);
}

main().catch((error) => {
  const wrongOption = error instanceof UsageError || error instanceof OptionError;
  complain(error.message);
  if (wrongOption) {
    process.stderr.write('Try: linkwell-host --help\n');
  }
  process.exitCode = wrongOption ? 2 : 1;
});
