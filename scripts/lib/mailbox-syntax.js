// mailbox-syntax.js FILE: whether a mailbox file is JSON with comments. If not, prints "line <line>, column <column>: <what>"
// and ends with status 1. What the words of the file mean is checked by the sandbox, which also knows keys and kinds.
'use strict';

const fs = require('fs');
const { printParseErrorCode, visit } = require('../../hosts/node/node_modules/jsonc-parser');

/** @returns {string | undefined}  the first fault of the text, if there is one. */
function syntaxFault(text) {
  const faults = [];
  visit(text, {
    onError: (code, offset, length, line, character) => {
      const what = printParseErrorCode(code).replace(/\B[A-Z]/g, ' $&').toLowerCase();
      const found = offset < text.length ? `here is ${JSON.stringify(/^.\S{0,19}/su.exec(text.slice(offset))[0])}` : 'the file ends';
      faults.push(`line ${line + 1}, column ${character + 1}: ${what}; ${found}`);
    },
  });
  return faults[0];
}

module.exports = { syntaxFault };

if (require.main === module) {
  const fault = syntaxFault(fs.readFileSync(process.argv[2], 'utf8').replace(/^\uFEFF/, ''));
  if (fault !== undefined) {
    process.stdout.write(`${fault}\n`);
    process.exitCode = 1;
  }
}
