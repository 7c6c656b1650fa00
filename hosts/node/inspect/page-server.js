// page-server.js: serves the inspector's page over HTTP, to whoever knows the secret in its address.
//
// Any page of any site can have a browser send requests to 127.0.0.1, and by a name of its own that it lets point there
// (DNS rebinding) even read the answers. So each request must name this server as its host, come from no other origin,
// and have the secret in its path.
'use strict';

const { createHash, timingSafeEqual } = require('crypto');
const fs = require('fs');
const http = require('http');
const path = require('path');
const { Slices } = require('../lib/timing');
const { edit, listFolders } = require('./sandbox');

const HOST = '127.0.0.1';
const PAGE = path.join(__dirname, 'page');
const DOCUMENTS = path.join(__dirname, '..', '..', '..', 'docs');
const BODY_BYTES = 64 * 1024;
const BYTES_AT_A_TIME = 64 * 1024;
const PIECE_CHARACTERS = 64 * 1024;

const TYPES = {
  '.css': 'text/css; charset=utf-8',
  '.html': 'text/html; charset=utf-8',
  '.md': 'text/plain; charset=utf-8',
  '.mjs': 'text/javascript; charset=utf-8',
  '.svg': 'image/svg+xml',
};

const HEADERS = {
  'Cache-Control': 'no-store',
  'Content-Security-Policy': ["default-src 'none'", "script-src 'self'", "style-src 'self'", "img-src 'self'",
    "connect-src 'self'", "base-uri 'none'", "form-action 'none'", "frame-ancestors 'none'",
    "require-trusted-types-for 'script'", "trusted-types 'none'"].join('; '),
  'Cross-Origin-Opener-Policy': 'same-origin',
  'Cross-Origin-Resource-Policy': 'same-origin',
  'Referrer-Policy': 'no-referrer', // the address has the secret in it
  'X-Content-Type-Options': 'nosniff',
  'X-Frame-Options': 'DENY',
};

/** What is answered instead of what was asked for. */
class Refusal extends Error {
  constructor(status, text, headers = {}) {
    super(text);
    this.status = status;
    this.headers = headers;
  }
}

class PageServer {
  /**
   * @param {object} options
   * @param {string} options.token
   * @param {string} [options.control]  a sandbox's control pipe.
   * @param {EventLog} options.events
   * @param {History} options.history
   * @param {function(): Iterable<string>} options.state  the present state as JSON, in pieces.
   */
  constructor({ token, control, events, history, state }) {
    this._token = token;
    this._control = control;
    this._events = events;
    this._history = history;
    this._state = state;
    // Names are looked up and never made into paths, so no path leads out of these folders.
    this._files = filesIn(PAGE);
    this._documents = filesIn(DOCUMENTS, '.md');
    this._server = http.createServer((request, response) => this._serve(request, response));
  }

  async listen(port) {
    try {
      await new Promise((resolve, reject) => {
        this._server.once('error', reject);
        this._server.listen(port, HOST, resolve);
      });
    } catch ({ code, message }) {
      throw new Error(code === 'EADDRINUSE' ? `port ${port} is in use; name another, or none to have a free one`
        : `the inspector can't be served: ${message}`);
    }
    this._authority = `${HOST}:${this._server.address().port}`;
    return `http://${this._authority}/${this._token}/`;
  }

  async close() {
    if (this._server.listening) {
      const closed = new Promise((resolve) => { this._server.close(resolve); });
      this._server.closeIdleConnections();
      setTimeout(() => this._server.closeAllConnections(), 500).unref();
      await closed;
    }
  }

  async _serve(request, response) {
    for (const [name, value] of Object.entries(HEADERS)) {
      response.setHeader(name, value);
    }
    try {
      const place = this._check(request);
      await this._answer(place, request, response);
    } catch (error) {
      const refusal = error instanceof Refusal ? error : new Refusal(500, `the inspector failed: ${error.message}`);
      if (response.headersSent) {
        response.destroy();
      } else {
        send(response, refusal.status, 'text/plain; charset=utf-8', `${refusal.message}\n`, refusal.headers);
      }
    }
  }

  /** Where in the page's tree a request wants to go. @throws {Refusal}  when it may not go anywhere. */
  _check({ headers, url, method }) {
    if (headers.host !== this._authority) {
      throw new Refusal(421, `this server is ${this._authority} and nothing else`);
    }
    const [, token, place] = /^\/([^/?]*)\/([^?]*)(\?.*)?$/.exec(url) ?? [];
    if (token === undefined || !sameText(token, this._token)) {
      throw new Refusal(403, 'open the address that linkwell-host has printed: it has a secret in it, new for each run');
    }
    const { origin, 'sec-fetch-site': site } = headers;
    if ((origin !== undefined && origin !== `http://${this._authority}`)
      || (site !== undefined && site !== 'same-origin' && site !== 'none')) {
      throw new Refusal(403, 'the inspector answers no other site');
    }
    const methods = place === 'api/edit' ? ['POST'] : ['GET', 'HEAD'];
    if (!methods.includes(method)) {
      throw new Refusal(405, `only ${methods.join(', ')}`, { Allow: methods.join(', ') });
    }
    return place;
  }

  async _answer(place, request, response) {
    switch (place) {
      case 'api/events':
        response.writeHead(200, { 'Content-Type': 'text/event-stream' });
        if (request.method === 'HEAD') {
          response.end();
          return;
        }
        this._events.attach(request.headers['last-event-id'], response);
        return;
      case 'api/state':
        response.writeHead(200, { 'Content-Type': 'application/json' });
        await sendPieces(response, request.method === 'HEAD' ? [] : this._state());
        return;
      case 'api/folders':
        sendJson(response, await this._askSandbox(listFolders));
        return;
      case 'api/edit':
        sendJson(response, await this._askSandbox(async (pipe) => edit(pipe, await readJson(request))));
        return;
      default:
    }
    const [, number] = /^api\/messages\/([1-9][0-9]{0,14})$/.exec(place) ?? [];
    if (number !== undefined) {
      this._sendBytes(Number(number), request, response);
      return;
    }
    const [, name] = /^documents\/(.*)$/.exec(place) ?? [];
    const file = name === undefined ? this._files.get(place || 'index.html') : this._documents.get(name);
    if (file === undefined) {
      throw new Refusal(404, 'there is nothing at this address');
    }
    send(response, 200, TYPES[path.extname(file)], await fs.promises.readFile(file));
  }

  /** A part of a message's bytes: `?from=N`, and as many as are handed out at a time. */
  _sendBytes(number, { url }, response) {
    const bytes = this._history.bytesOf(number);
    if (bytes === undefined) {
      throw new Refusal(410, 'the bytes of this message are not kept any more');
    }
    const from = Number(/^[0-9]{1,9}$/.exec(new URL(url, `http://${HOST}`).searchParams.get('from') ?? '0')?.[0] ?? NaN);
    if (!(from <= bytes.length)) {
      throw new Refusal(416, `from 0 to ${bytes.length}`);
    }
    send(response, 200, 'application/octet-stream', bytes.subarray(from, from + BYTES_AT_A_TIME),
      { 'Linkwell-Kept': String(bytes.length) });
  }

  async _askSandbox(work) {
    if (this._control === undefined) {
      throw new Refusal(404, 'linkwell-host was not given the control pipe of a sandbox (--control)');
    }
    try {
      return await work(this._control);
    } catch (error) {
      if (error instanceof Refusal) {
        throw error;
      }
      return { ok: false, error: error.message };
    }
  }
}

/** The files of a folder by their names; none where it is not there. */
function filesIn(folder, ending = '') {
  let names = [];
  try {
    names = fs.readdirSync(folder);
  } catch {
    // The package may be installed without the project's documents.
  }
  return new Map(names.filter((name) => name.endsWith(ending) && path.extname(name) in TYPES)
    .map((name) => [name, path.join(folder, name)]));
}

/** Takes as long for any two texts of these lengths, wherever they differ. */
function sameText(left, right) {
  const digest = (text) => createHash('sha256').update(text).digest();
  return timingSafeEqual(digest(left), digest(right));
}

function send(response, status, type, body, headers = {}) {
  response.writeHead(status, { 'Content-Type': type, 'Content-Length': Buffer.byteLength(body), ...headers });
  response.end(body); // Node.js leaves it out in the answer to a HEAD
}

function sendJson(response, value) {
  send(response, 200, 'application/json', JSON.stringify(value));
}

/** Sends pieces of text as fast as they are read, and gives way to all else in between. */
async function sendPieces(response, pieces) {
  const slices = new Slices();
  const closed = new Promise((resolve) => { response.once('close', resolve); });
  let batch = '';
  for (const piece of pieces) {
    batch += piece;
    if (batch.length >= PIECE_CHARACTERS) {
      if (!response.write(batch)) {
        await Promise.race([closed, new Promise((resolve) => { response.once('drain', resolve); })]);
      }
      if (response.destroyed) {
        return;
      }
      batch = '';
    }
    if (slices.over) {
      await slices.next();
    }
  }
  response.end(batch);
}

/** The body of a request. A form of another site can't be of this type without the browser asking first. */
async function readJson(request) {
  if (request.headers['content-type'] !== 'application/json') {
    throw new Refusal(415, 'an edit is application/json');
  }
  const parts = [];
  let bytes = 0;
  for await (const chunk of request) {
    bytes += chunk.length;
    if (bytes > BODY_BYTES) {
      throw new Refusal(413, `an edit has at most ${BODY_BYTES} bytes`, { Connection: 'close' });
    }
    parts.push(chunk);
  }
  try {
    return JSON.parse(Buffer.concat(parts).toString('utf8'));
  } catch {
    throw new Refusal(400, 'an edit is JSON');
  }
}

module.exports = { PageServer };
