#!/usr/bin/env node
// linkwell-host: serves the agent's pipe and prints what arrives.
'use strict';

const fs = require('fs');
const { DEFAULT_MAX_MESSAGE_BYTES, LinkwellHost, PIPE_PATH } = require('../linkwell-host');
const { formatJson, formatMessage, printable } = require('../lib/print');

const USAGE = `Usage: linkwell-host [options]

Serves the pipe to which the Linkwell agent sends the contacts of an Outlook
profile, answers every message, and prints it in readable form.

Options:
  --json             print one JSON object per event instead, a line each
  --record FILE      also append these JSON lines to FILE
  --count N          end after N messages have been answered
  --max-bytes N      refuse messages above N bytes (default ${DEFAULT_MAX_MESSAGE_BYTES})
  --pipe PATH        serve another pipe (default ${PIPE_PATH})
  --help             show this text

The first line, "Listening on ...", says that the agent can connect. Ctrl+C ends
the host. Exit status: 0, 1 when the pipe can't be served, 2 for wrong options.
`;

const BATCH_LENGTH = 64 * 1024;

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
  while (rest.length > 0) {
    const option = rest.shift();
    switch (option) {
      case '--json': options.json = true; break;
      case '--record': options.record = value(option); break;
      case '--count': options.count = number(option); break;
      case '--max-bytes': options.host.maxMessageBytes = number(option); break;
      case '--pipe': options.host.pipe = value(option); break;
      case '--help': options.help = true; break;
      default: throw new UsageError(`unknown option "${option}"`);
    }
  }
  return options;
}

/** Hands the pieces of a text on to `write`, not one by one, as a large message has hundreds of thousands. */
function writePieces(pieces, write) {
  let batch = '';
  for (const piece of pieces) {
    batch += piece;
    if (batch.length >= BATCH_LENGTH) {
      write(batch);
      batch = '';
    }
  }
  write(batch);
}

/** Writes an event where the options want it. The record is on file before the message is answered. */
function makeWriter(options) {
  const record = options.record === null ? null : fs.openSync(options.record, 'a');
  return (event, textPieces) => {
    if (record !== null) {
      writePieces(formatJson(event), (batch) => fs.writeSync(record, batch));
    }
    writePieces(options.json ? formatJson(event) : textPieces, (batch) => process.stdout.write(batch));
  };
}

async function run(options) {
  const write = makeWriter(options);
  const host = new LinkwellHost(options.host);
  let answered = 0;

  let closing = false;
  const close = async () => {
    if (closing) {
      return;
    }
    closing = true;
    await host.close();
    write({ event: 'closed', answered }, [`Closed after ${answered} message(s).\n`]);
  };
  const countAnswered = () => {
    answered += 1;
    if (answered === options.count) {
      close();
    }
  };

  host.on('message', (message, bytes) => {
    write({ event: 'message', bytes, ...message }, formatMessage(message, bytes));
    countAnswered();
  });
  host.on('malformed', (reason, text) => {
    const start = printable(text.length > 200 ? `${text.slice(0, 200)}...` : text);
    write({ event: 'malformed', reason, text }, [`=== malformed message: ${reason}\n    ${start}\n`]);
    countAnswered();
  });
  host.on('oversized', (reason) => {
    write({ event: 'oversized', reason }, [`=== connection cut: ${reason}\n`]);
  });
  host.on('incomplete', (received, expected) => {
    const of = expected === null ? 'the length field was not complete' : `4 + ${expected} were announced`;
    write({ event: 'incomplete', received, expected }, [`=== the agent went after ${received} bytes; ${of}\n`]);
  });
  host.on('connectionError', (error) => {
    write({ event: 'connectionError', reason: error.message }, [`=== connection broken: ${error.message}\n`]);
  });

  process.once('SIGINT', close);
  process.once('SIGTERM', close);
  await host.listen();
  write({ event: 'listening', pipe: host.pipe }, [`Listening on ${host.pipe}\n`]);
}

async function main() {
  const options = parseOptions(process.argv.slice(2));
  if (options.help) {
    process.stdout.write(USAGE);
    return;
  }
  await run(options);
}

main().catch((error) => {
  const wrongOption = error instanceof UsageError || error instanceof RangeError;
  process.stderr.write(`linkwell-host: ${error.message}\n`);
  if (wrongOption) {
    process.stderr.write('Try: linkwell-host --help\n');
  }
  process.exitCode = wrongOption ? 2 : 1;
});
