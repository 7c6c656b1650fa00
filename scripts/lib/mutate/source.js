// source.js: a C++ source as tokens, lines of code, and statements. It knows as much of the language as drawing faults
// takes: what is a comment, and where in a function's body a statement begins and ends.
'use strict';

const TOKEN = new RegExp(
  [
    String.raw`(?<comment>//[^\n]*|/\*[\s\S]*?\*/)`,
    String.raw`(?<directive>(?<=^|\n)[ \t]*#(?:[^\n\\]|\\[\s\S])*)`,
    String.raw`(?<string>(?:u8|u|U|L)?"(?:[^"\\\n]|\\.)*")`,
    String.raw`(?<char>(?:u8|u|U|L)?'(?:[^'\\\n]|\\.)+')`,
    String.raw`(?<number>\d(?:[\w.]|'(?=\w))*)`,
    String.raw`(?<name>[A-Za-z_]\w*)`,
    String.raw`(?<sign><=>|<<=|>>=|->|::|\+\+|--|<<|>>|[<>=!+\-*/|&^%]=|&&|\|\||[^\s\w])`,
  ].join('|'),
  'g',
);

/** The tokens of a source but for its comments: { type, text, start, line, column }, lines and columns from 0. */
function tokenize(text) {
  const tokens = [];
  let line = 0;
  let lineStart = 0;
  let seen = 0;
  for (const match of text.matchAll(TOKEN)) {
    for (; seen < match.index; ++seen) {
      if (text[seen] === '\n') {
        ++line;
        lineStart = seen + 1;
      }
    }
    const type = Object.keys(match.groups).find((name) => match.groups[name] !== undefined);
    if (type !== 'comment') {
      tokens.push({ type, text: match[0], start: match.index, line, column: match.index - lineStart });
    }
  }
  return tokens;
}

/** The lines of a source with blanks in place of comments, and no blanks at their ends. Indentation stays. */
function codeLines(text) {
  const blanked = text.replace(TOKEN, (match, comment) =>
    comment === undefined ? match : comment.replace(/[^\n]/g, ' '));
  return blanked.split('\n').map((line) => line.trimEnd());
}

/** What the brace at this token opens: a function's "body", "declarations", or a "list" of values or enumerators. */
function kindOfBrace(tokens, head, brace, outer) {
  const before = brace > head ? tokens[brace - 1] : undefined;
  if (before === undefined) {
    return outer;
  }
  if ([')', ']', ':', '}'].includes(before.text) || /^(const|noexcept|override|mutable|else|try|do)$/.test(before.text)) {
    return 'body';
  }
  const words = tokens.slice(head, brace).map((token) => token.text);
  if (words.includes('enum') || words.includes('=') || words.includes('return')) {
    return 'list';
  }
  return /\b(namespace|class|struct|union|extern)\b/.test(words.join(' ')) ? 'declarations' : 'list';
}

/**
 * The statements of function bodies that end in a semicolon, in order of their ends: { first, last } are indices of
 * tokens, `scope` is the same object for statements of one block, `alone` is true for one that an if, else or loop
 * governs without braces.
 */
function findStatements(tokens) {
  const statements = [];
  let scope = { kind: 'declarations', head: 0, parens: 0, alone: false };
  const stack = [];
  const begin = (index, alone = false) => Object.assign(scope, { head: index, alone });
  tokens.forEach((token, index) => {
    const word = token.type === 'string' || token.type === 'char' ? '' : token.text;
    const head = tokens[scope.head]?.text;
    if (token.type === 'directive') {
      begin(index + 1);
    } else if (word === '{') {
      const kind = kindOfBrace(tokens, scope.head, index, scope.kind);
      stack.push(scope);
      scope = { kind, head: index + 1, parens: 0, alone: false };
    } else if (word === '}') {
      const inner = scope;
      scope = stack.pop() ?? scope;
      if (inner.kind !== 'list' && scope.parens === 0 && ![',', ';', ')', '('].includes(tokens[index + 1]?.text)) {
        begin(index + 1);
      }
    } else if (word === '(' || word === '[') {
      ++scope.parens;
    } else if (word === ')' || word === ']') {
      --scope.parens;
      if (scope.parens === 0 && word === ')' && /^(if|for|while)$/.test(head) && scope.kind === 'body') {
        begin(index + 1, true);
      }
    } else if (scope.parens === 0 && index === scope.head && /^(else|do)$/.test(word)) {
      begin(index + 1, true);
    } else if (scope.parens === 0 && word === ':' && /^(case|default|public|protected|private)$/.test(head)) {
      begin(index + 1);
    } else if (scope.parens === 0 && word === ';') {
      if (scope.kind === 'body' && index > scope.head) {
        statements.push({ first: scope.head, last: index, scope, alone: scope.alone });
      }
      begin(index + 1);
    }
  });
  return statements;
}

module.exports = { codeLines, findStatements, tokenize };
