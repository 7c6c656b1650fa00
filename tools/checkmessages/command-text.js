// command-text.js: a call of sandboxctl as a person would type it into a POSIX shell.
'use strict';

function shellWord(word) {
  return /^[\p{L}\p{N}_./:@%+=,-][\p{L}\p{N}_./:@%+=,#-]*$/u.test(word) ? word : `'${word.replace(/'/g, '\'\\\'\'')}'`;
}

/** What an edit gives to sandboxctl as its standard input: a list, with a line for each of its members; "" for none. */
function inputText({ input }) {
  return input === undefined ? '' : `[\n${input.map((each) => `  ${JSON.stringify(each)}`).join(',\n')}\n]\n`;
}

/** @param {{command: string[], input?: object[]}} edit */
function commandText(edit) {
  const call = ['scripts/sandboxctl', ...edit.command].map(shellWord).join(' ');
  const input = inputText(edit);
  return input === '' ? call : `${call} <<'END'\n${input}END`;
}

module.exports = { commandText, inputText };
