// rules.js: every single fault that can be made in a source. A fault replaces one line or a few by as many others, so
// that the lines below keep their numbers.
'use strict';

const { codeLines, findStatements, tokenize } = require('./source');

const OPPOSITE = { '==': '!=', '!=': '==', '<': '<=', '<=': '<', '>': '>=', '>=': '>' };
const OTHER_OPERATOR = { '-': '+', '*': '/', '/': '*', '>>': '<<', '<<': '>>', '&': '|', '&&': '||', '||': '&&' };
const ASSIGNMENTS = ['=', '+=', '-=', '*=', '/=', '|=', '&=', '++', '--'];
const NO_STATEMENT = /^(alignas|auto|case|const|constexpr|default|extern|friend|goto|static|static_assert|template|typedef|using)$/;

/** Other values of a number as it stands in the code; its base and suffix stay. */
function otherNumbers(text) {
  const match = /^(0[xX])?([\da-fA-F']+?)([uUlLzZ]*)$/.exec(text);
  if (!match || (match[1] === undefined && /[a-fA-F]/.test(match[2]))) {
    return [];
  }
  const [, prefix = '', digits, suffix] = match;
  const value = BigInt(prefix + digits.replaceAll("'", ''));
  const values = value === 0n ? [1n] : [value - 1n, value + 1n];
  if (value >= 100n) {
    values.push(value * 2n);
  }
  return values.map((other) => prefix + other.toString(prefix ? 16 : 10).toUpperCase() + suffix);
}

/** Other texts for a literal: one character more, and one less unless that is a part of an escape. */
function otherTexts(text) {
  const quote = text.indexOf('"');
  const prefix = text.slice(0, quote + 1);
  const content = text.slice(quote + 1, -1);
  if (content === '') {
    return [];
  }
  const others = [`${prefix}${content}x"`];
  if (!content.includes('\\')) {
    others.push(`${prefix}${content.slice(1)}"`, `${prefix}${content.slice(0, -1)}"`);
  }
  return others;
}

/** All faults of the tokens of one line, as { rule, line, column, length, text }. */
function* faultsOfTokens(tokens, line) {
  for (const [index, token] of tokens.entries()) {
    const fault = (rule, text, length = token.text.length, column = token.column) =>
      ({ rule, line: token.line, column, length, text });
    const before = tokens[index - 1];
    const after = tokens[index + 1];
    const follows = (other) => other !== undefined && other.line === token.line;
    const spaced = line[token.column - 1] === ' ' && (line[token.column + token.text.length] ?? ' ') === ' ';
    if (token.type === 'number') {
      yield* otherNumbers(token.text).map((text) => fault('constant', text));
    } else if (token.type === 'string' && before?.text !== 'extern') {
      yield* otherTexts(token.text).map((text) => fault('text', text));
    } else if (token.type === 'char') {
      yield fault('text', token.text.replace(/'.*'/, token.text.includes("'#'") ? "'+'" : "'#'"));
    } else if (token.text === 'true' || token.text === 'false') {
      yield fault('constant', token.text === 'true' ? 'false' : 'true');
    } else if (token.text === '!' && follows(after) && !spaced) {
      yield fault('condition', '');
    } else if (token.text === '+=') {
      yield fault('operator', '=');
    } else if (spaced && OPPOSITE[token.text] && before?.text !== 'operator') {
      yield fault('comparison', OPPOSITE[token.text]);
      if (after?.text === 'S_OK' && before?.type === 'name' && tokens[index - 2]?.text === '(') {
        const length = after.column + 4 - before.column;
        yield fault('result', `${token.text === '!=' ? 'FAILED' : 'SUCCEEDED'}(${before.text})`, length, before.column);
      } else if (token.text === '<' && after?.text === '0' && /result|opened|read/i.test(before?.text)) {
        yield fault('result', '!=');
      }
    } else if (spaced && OTHER_OPERATOR[token.text] && before?.text !== 'operator') {
      yield fault('operator', OTHER_OPERATOR[token.text]);
    } else if (token.text === 'FAILED' && after?.text === '(') {
      const end = line.indexOf(')', token.column);
      if (end > 0 && !line.slice(after.column + 1, end).includes('(')) {
        const result = line.slice(after.column + 1, end);
        yield fault('result', `(${result} != S_OK)`, end + 1 - token.column);
      }
    } else if (spaced && token.text === '|' && follows(before)) {
      const joins = ['::', '.', '->', ')', '(', ']', '['];
      if (before.type === 'name' && !joins.includes(tokens[index - 2]?.text.replace('(', ''))) {
        const end = follows(after) ? after.column : token.column + 1;
        yield fault('flag', '', end - before.column, before.column);
      }
      if (follows(after) && after.type === 'name' && !joins.slice(0, -3).includes(tokens[index + 2]?.text)) {
        const begin = before.column + before.text.length;
        yield fault('flag', '', after.column + after.text.length - begin, begin);
      }
    }
  }
}

/** Faults of a line as a whole: a condition negated, a result that becomes the default one. */
function* faultsOfLine(code, line) {
  const condition = /^(\s*(?:else )?(?:if|while) \()((?:[^()]|\((?:[^()]|\([^()]*\))*\))*)(\)( \{)?)$/.exec(code);
  if (condition && !/(^|[^=!<>])=([^=]|$)/.test(condition[2])) {
    yield { rule: 'condition', line, column: condition[1].length, length: condition[2].length, text: `!(${condition[2]})` };
  }
  const result = /^(\s*return )([^{].*);$/.exec(code);
  if (result && !/^(true|false|0|nullptr|std::move.*)$/.test(result[2])) {
    yield { rule: 'returned', line, column: result[1].length, length: result[2].length, text: '{}' };
  }
}

/** Whether these tokens are a statement that can be left out: no declaration, nothing that the compiler asks for. */
function canBeDropped(tokens, next) {
  const first = tokens[0];
  if (NO_STATEMENT.test(first.text)) {
    return false;
  }
  if (/^(return|throw|break|continue|delete)$/.test(first.text)) {
    return !['}', 'case', 'default'].includes(next?.text);
  }
  let depth = 0;
  for (const [index, token] of tokens.entries()) {
    if (token.text === '(' || token.text === '[') {
      ++depth;
    } else if (token.text === ')' || token.text === ']') {
      --depth;
    } else if (depth === 0) {
      if (token.text === '{') {
        return false;
      }
      if (ASSIGNMENTS.includes(token.text)) {
        return true;
      }
      const previous = tokens[index - 1];
      if (token.type === 'name' ? previous?.type === 'name' : !['::', '.', '->', ';', '++', '--'].includes(token.text)) {
        return false; // two words, or a pointer, reference or template: a declaration
      }
    }
  }
  return tokens.some((token) => token.text === '(');
}

/** Statements dropped, neighbours swapped. */
function* faultsOfStatements(tokens, lines) {
  const whole = findStatements(tokens).map((statement) => {
    const own = tokens.slice(statement.first, statement.last + 1);
    const first = own[0].line;
    const last = own.at(-1).line;
    const aloneOnItsLines =
      tokens[statement.first - 1]?.line !== first && tokens[statement.last + 1]?.line !== last && last - first < 4;
    const movable = aloneOnItsLines && canBeDropped(own, tokens[statement.last + 1]);
    return { ...statement, first, last, movable, jumps: /^(return|throw|break|continue)$/.test(own[0].text) };
  });
  for (const [index, statement] of whole.entries()) {
    if (!statement.movable) {
      continue;
    }
    const { first, last } = statement;
    const replaced = lines.slice(first, last + 1).map((_, line) => (line === 0 ? '{}' : ''));
    yield { rule: 'dropped', line: first, replaced };
    const next = whole[index + 1];
    if (next?.movable && !statement.alone && !next.alone && !statement.jumps && !next.jumps &&
        next.scope === statement.scope && next.first === last + 1 && last === first && next.last === next.first) {
      yield { rule: 'swapped', line: first, replaced: [lines[next.first].trim(), lines[first].trim()] };
    }
  }
}

/** Two neighbouring entries of a list, each on a line of its own, swapped. */
function* faultsOfLists(lines) {
  for (let line = 0; line + 1 < lines.length; ++line) {
    const entry = /^\s+[A-Za-z_][\w:]*,$/;
    if (entry.test(lines[line]) && entry.test(lines[line + 1])) {
      yield { rule: 'swapped', line, replaced: [lines[line + 1].trim(), lines[line].trim()] };
    }
  }
}

/**
 * Every fault that the rules find in a source: { rule, line, original, replaced }. `line` counts from 0; `original` and
 * `replaced` are lines of code without comments and indentation, as many in one as in the other.
 */
function findFaults(text) {
  const lines = codeLines(text);
  const tokens = tokenize(text);
  const isLeftOut = lines.map((code) =>
    /\b(static_assert|using|typedef|friend)\b|\)[ \w]* = 0;$|= (default|delete);$|\[\[|template </.test(code));
  const byLine = lines.map(() => []);
  for (const token of tokens) {
    if (token.type !== 'directive') {
      byLine[token.line].push(token);
    }
  }
  const found = [...faultsOfStatements(tokens, lines), ...faultsOfLists(lines)];
  lines.forEach((code, line) => {
    for (const { rule, column, length, text: other } of [...faultsOfTokens(byLine[line], code), ...faultsOfLine(code, line)]) {
      const replaced = (code.slice(0, column) + other + code.slice(column + length)).trim();
      found.push({ rule, line, replaced: [replaced] });
    }
  });
  return found
    .filter((fault) => !isLeftOut[fault.line])
    .map((fault) => ({
      rule: fault.rule,
      line: fault.line,
      original: lines.slice(fault.line, fault.line + fault.replaced.length).map((code) => code.trim()),
      replaced: fault.replaced,
    }))
    .filter((fault) => fault.original.join('\n') !== fault.replaced.join('\n'));
}

module.exports = { findFaults };
