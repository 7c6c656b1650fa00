// mailbox-json.js: reads the text of a mailbox file, which is JSON with comments.
'use strict';

// A text, a comment of either form, or any other single character: texts come first, so "//" within one is no comment.
const TOKEN = /"(?:[^"\\]|\\.)*"|\/\/[^\n]*|\/\*[^]*?\*\/|[^]/g;

/** @returns {*}  the value. @throws {SyntaxError} */
function parseMailboxJson(text) {
  return JSON.parse(text.replace(TOKEN, (token) => (/^\/[/*]/.test(token) ? ' ' : token)));
}

module.exports = { parseMailboxJson };
