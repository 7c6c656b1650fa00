// mailbox-syntax.js FILE: whether a mailbox file is JSON with comments. If not, prints "line <line>, column <column>: <what>"
// and ends with status 1. What the words of the file mean is checked by the sandbox, which also knows keys and kinds.
'use strict';

const fs = require('fs');

const BLANK = /(?:[ \t\r\n]|\/\/[^\n]*|\/\*[^]*?\*\/)*/y;
const STRING = /"(?:[^"\\\u0000-\u001f]|\\(?:["\\/bfnrt]|u[0-9a-fA-F]{4}))*"/y;
const WORD = /(?:-?(?:0|[1-9][0-9]*)(?:\.[0-9]+)?(?:[eE][+-]?[0-9]+)?|true|false|null)(?![\w.])/y;

const EXPECTED = {
  value: 'a value',
  firstValue: 'a value or "]"',
  key: 'a key in quotes',
  firstKey: 'a key in quotes or "}"',
  colon: '":"',
  more: { '}': '"," or "}"', ']': '"," or "]"' },
  end: 'the end of the file',
};

/** What the reader expects after a token, or undefined where the token is none of what it expected. */
function next(state, token, open) {
  const behindValue = () => (open.length > 0 ? 'more' : 'end');
  const isValue = state === 'value' || state === 'firstValue';
  if (isValue && token === '{') {
    open.push('}');
    return 'firstKey';
  }
  if (isValue && token === '[') {
    open.push(']');
    return 'firstValue';
  }
  if (token === open.at(-1) && ['more', 'firstKey', 'firstValue'].includes(state)) {
    open.pop();
    return behindValue();
  }
  if (state === 'more' && token === ',') {
    return open.at(-1) === '}' ? 'key' : 'value';
  }
  if (state === 'colon' && token === ':') {
    return 'value';
  }
  if (state === 'key' || state === 'firstKey') {
    return token.startsWith('"') ? 'colon' : undefined;
  }
  return isValue && !'{}[],:'.includes(token) ? behindValue() : undefined;
}

function takeAt(pattern, text, at) {
  pattern.lastIndex = at;
  return pattern.exec(text)?.[0];
}

function faultAt(text, at, what) {
  const lines = text.slice(0, at).split('\n');
  return `line ${lines.length}, column ${[...lines.at(-1)].length + 1}: ${what}`;
}

/** @returns {string | undefined}  the first fault of the text, if there is one. */
function syntaxFault(text) {
  const open = [];
  let state = 'value';
  for (let at = 0; ; ) {
    at += takeAt(BLANK, text, at).length;
    if (at === text.length && state === 'end') {
      return undefined;
    }
    const isMark = '{}[],:'.includes(text[at] ?? ' ');
    const token = isMark ? text[at] : takeAt(STRING, text, at) ?? takeAt(WORD, text, at);
    const after = token === undefined ? undefined : next(state, token, open);
    if (after === undefined) {
      const expected = state === 'more' ? EXPECTED.more[open.at(-1)] : EXPECTED[state];
      const found = at === text.length ? 'the file ends' : `here is ${JSON.stringify(/^.\S{0,19}/su.exec(text.slice(at))[0])}`;
      return faultAt(text, at, `expected ${expected}; ${found}`);
    }
    state = after;
    at += token.length;
  }
}

module.exports = { syntaxFault };

if (require.main === module) {
  const fault = syntaxFault(fs.readFileSync(process.argv[2], 'utf8').replace(/^\uFEFF/, ''));
  if (fault !== undefined) {
    process.stdout.write(`${fault}\n`);
    process.exitCode = 1;
  }
}
