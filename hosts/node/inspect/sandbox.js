// sandbox.js: asks a running sandbox by its control pipe (docs/sandbox-control.md).
'use strict';

const net = require('net');

const TIMEOUT_MILLISECONDS = 15000;
/** More than the list of any mailbox that somebody looks at by a page. */
const ANSWER_BYTES = 256 * 1024 * 1024;

/** What a page may ask for: edits of the mailbox, and nothing that holds up or fails the agent's calls. */
const REQUESTS = ['addContact', 'addFolder', 'editContact', 'move', 'copy', 'delete'];

/**
 * Sends one request.
 * @param {string} pipe  its name; without a backslash, on Windows, one below \\.\pipe\.
 * @returns {Promise<object>}  the answer: `{ok: true, ...}` or `{ok: false, error}`; rejects when there is none.
 */
function ask(pipe, request) {
  const name = process.platform === 'win32' && !pipe.includes('\\') ? `\\\\.\\pipe\\${pipe}` : pipe;
  return new Promise((resolve, reject) => {
    const connection = net.connect(name);
    const parts = [];
    let bytes = 0;
    const fail = (reason) => {
      connection.destroy();
      reject(new Error(`the sandbox does not answer: ${reason}`));
    };
    connection.setTimeout(TIMEOUT_MILLISECONDS, () => fail(`nothing came within ${TIMEOUT_MILLISECONDS / 1000} seconds`));
    connection.on('error', ({ code, message }) => fail(code === 'ENOENT' ? 'there is no such pipe; does the agent run?' : message));
    connection.on('close', () => fail('it has ended the connection'));
    connection.on('data', (chunk) => {
      parts.push(chunk);
      bytes += chunk.length;
      if (bytes > ANSWER_BYTES) {
        fail('its answer is too long');
      } else if (chunk.includes(0x0A)) {
        connection.destroy();
        try {
          resolve(JSON.parse(Buffer.concat(parts).toString('utf8')));
        } catch (error) {
          fail(error.message);
        }
      }
    });
    connection.write(`${JSON.stringify(request)}\n`);
  });
}

/** Makes one of the edits that a page may ask for. Resolves and rejects as `ask` does. */
async function edit(pipe, request) {
  if (!REQUESTS.includes(request?.do)) {
    return { ok: false, error: `the inspector sends only ${REQUESTS.join(', ')}` };
  }
  return ask(pipe, request);
}

/** The folders of the mailbox: `{ok: true, folders: [{entryId, path}]}`. */
async function listFolders(pipe) {
  const answer = await ask(pipe, { do: 'list' });
  if (!answer.ok) {
    return answer;
  }
  const folders = [];
  const walk = ({ kind, name, entryId, items = [] }, above) => {
    if (kind !== 'message') {
      const path = [...above, name];
      if (kind === 'folder') {
        // Users see what is below the IPM subtree.
        const [store, , subtree, ...below] = path;
        folders.push({ entryId, path: (subtree === 'IPM_SUBTREE' ? [store, ...below] : path).join(' / ') });
      }
      items.forEach((item) => walk(item, path));
    }
  };
  answer.items.forEach((store) => walk(store, []));
  return { ok: true, folders };
}

module.exports = { edit, listFolders };
