// docs/troubleshooting.md, held against the sources: each text that the agent can write has an entry, and no entry has words
// that the sources do not have. linkwell-support knows the log's lines from that page.
'use strict';

const assert = require('node:assert');
const fs = require('node:fs');
const path = require('node:path');
const test = require('node:test');

const ROOT = path.join(__dirname, '..', '..');
const page = fs.readFileSync(path.join(ROOT, 'docs', 'troubleshooting.md'), 'utf8');
const HOLES = /<(?:name|command line|failure|count|hex|bool|id|hash|pointer)>/;

/** Texts of the sources that are no words of a line: names, and what stands in a hole. */
const NO_WORDS = JSON.parse(fs.readFileSync(path.join(__dirname, 'no-words-of-the-log.json'), 'utf8'));

/** The lines in the first cells of the page's tables with one of these heads. */
function linesOf(heads) {
  const lines = [];
  let inTable = false;
  for (const row of page.split('\n')) {
    const cell = row.startsWith('| ') ? row.slice(2).split(' | ')[0] : undefined;
    if (cell === undefined) {
      inTable = inTable && row.startsWith('|');
    } else if (heads.includes(cell)) {
      inTable = true;
    } else if (inTable) {
      lines.push(...[...cell.matchAll(/``\s?(.*?)\s*``|`([^`]*)`/g)].map(([, two, one]) => two?.trim() ?? one));
    }
  }
  return lines;
}

const entries = linesOf(['Ordinary line', 'Harmless line', 'Line', 'Last line']);

/** The C++ sources of the agent, without comments and includes. */
function sources() {
  const files = ['agent', 'agent/mapi', 'utilities'].flatMap((folder) =>
    fs.readdirSync(path.join(ROOT, folder)).filter((name) => /\.(cpp|h)$/.test(name)).map((name) => path.join(folder, name)));
  return files.map((name) => ({
    name: path.basename(name),
    text: fs.readFileSync(path.join(ROOT, name), 'utf8').replace(/^#.*$/gm, '')
      .replace(/("(?:[^"\\]|\\.)*")|'(?:[^'\\]|\\.)+'|\/\/.*$/gm, (found, string) => string ?? (found.startsWith("'") ? "' '" : '')),
  }));
}

/** All string literals; neighbours are one, as they are to the compiler. */
function literalsOf(text) {
  return [...text.matchAll(/L?"(?:[^"\\]|\\.)*"(?:\s*L?"(?:[^"\\]|\\.)*")*/g)].map(([found]) =>
    [...found.matchAll(/"((?:[^"\\]|\\.)*)"/g)].map(([, part]) => JSON.parse(`"${part}"`)).join(''));
}

const files = sources();
const literals = new Set(files.flatMap(({ text }) => literalsOf(text)).filter((text) => text !== ''));
const logged = [...literals].filter((text) => !NO_WORDS.includes(text));

/** What stands between the holes: the parts that literals have to make up. A line feed in a text begins a line of its own. */
const pieces = entries.flatMap((entry) => entry.split(HOLES)).filter((piece) => piece !== '');

/** Cuts a piece into literals, single marks that the sources write as characters, and the values that some entries name. */
function cut(piece) {
  const words = logged.flatMap((text) => text.split('\n')).filter((text) => text !== '');
  const ends = [[]];
  for (let at = 0; at < piece.length; at += 1) {
    if (!ends[at]) {
      continue;
    }
    const rest = piece.slice(at);
    const value = /(?:0x|hr = )$/.test(piece.slice(0, at)) ? /^[0-9a-f]+/.exec(rest)?.[0] : undefined;
    const file = files.map(({ name }) => name).find((name) => rest.startsWith(name));
    for (const word of [...words.filter((each) => rest.startsWith(each)), value, file, /^[()"]/.exec(rest)?.[0]]) {
      if (word !== undefined) {
        ends[at + word.length] ??= [...ends[at], word];
      }
    }
  }
  return ends[piece.length];
}

test('the page has entries', () => assert.ok(entries.length > 100));

for (const piece of new Set(pieces)) {
  test(`the sources can write: ${piece}`, () => assert.ok(cut(piece), 'no source has these words: has the text gone?'));
}

for (const text of logged) {
  test(`the page has: ${text}`, () => {
    const lines = text.split('\n').filter((line) => line.trim() !== '');
    for (const line of lines) {
      assert.ok(pieces.some((piece) => piece.includes(line)),
        'docs/troubleshooting.md has no line with it; what is no word of one belongs in no-words-of-the-log.json');
    }
  });
}

test('what is no word of the log is in the sources', () => {
  assert.deepStrictEqual(NO_WORDS.filter((text) => !literals.has(text)), []);
});

// ---- Other lists ------------------------------------------------------------------------------------------------------------

/** Whether a record fits an entry. */
function fits(record, entry) {
  const escaped = entry.split(HOLES).map((words) => words.replace(/[^\w\s]/g, '\\$&'));
  return new RegExp(`^${escaped.join('.*')}$`).test(record);
}

test('the page has what the log says of a refusal', () => {
  const protocol = fs.readFileSync(path.join(ROOT, 'docs', 'wire-protocol.md'), 'utf8');
  const [, rows] = /^\| What happens \| What the log says \|\n\|[-|]+\n((?:\|.*\n)+)/m.exec(protocol);
  const records = [...rows.matchAll(/\| `(\w+::[^`]*)` \|$/gm)].map(([, record]) => record);
  assert.ok(records.length >= 4);
  assert.deepStrictEqual(records.filter((record) => !entries.some((entry) => fits(record, entry))), []);
});

test("the page has the doctor's findings", () => {
  const folder = path.join(ROOT, 'tools', 'support', 'doctor');
  const texts = fs.readdirSync(folder).filter((name) => name.endsWith('.cpp'))
    .flatMap((name) => [...fs.readFileSync(path.join(folder, name), 'utf8').matchAll(/"([a-z0-9]+(?:-[a-z0-9]+)+)"/g)]);
  const codes = new Set(texts.map(([, code]) => code));
  assert.deepStrictEqual(linesOf(['Finding']).sort(), [...codes].sort());
});

// ---- Calls ------------------------------------------------------------------------------------------------------------------

/** The arguments of a call whose opening bracket is at `at`. */
function argumentsAt(text, at) {
  const found = [''];
  let depth = 0;
  for (let index = at; index < text.length; index += 1) {
    const string = /^"(?:[^"\\]|\\.)*"/.exec(text.slice(index, index + 500));
    const part = string ? string[0] : text[index];
    depth += '([{'.includes(part) ? 1 : ')]}'.includes(part) ? -1 : 0;
    if (depth === 0) {
      return found.map((each) => each.trim());
    }
    if (depth === 1 && part === ',') {
      found.push('');
    } else if (index > at) {
      found[found.length - 1] += part;
    }
    index += part.length - 1;
  }
  return assert.fail('a call without an end');
}

/** A text as the page has it, whatever its holes are called. */
function shape(line) {
  return line.split(HOLES).join('<>');
}

/** The text of an expression of literals and others, joined by plus signs. */
function shapeOf(expression) {
  const terms = expression.match(/L?"(?:[^"\\]|\\.)*"(?:\s*L?"(?:[^"\\]|\\.)*")*|[^"+]+/g).filter((term) => term.trim() !== 'L');
  return terms.filter((term) => term.trim() !== '').map((term) => (term.includes('"') ? literalsOf(term).join('') : '<>')).join('');
}

/** What each call of the forms of utilities/Failure.h writes, with the function that its place names. */
function callsOf({ name, text }) {
  const calls = [];
  const functions = [...text.matchAll(/function = L"([^"]*)"/g)];
  for (const found of text.matchAll(/\b(checkHresult|logHresult|checkCondition|logLine|logRethrow|reportException|cancelled|formatMessage)\(/g)) {
    const place = functions.filter(({ index }) => index < found.index).pop()?.[1];
    const words = argumentsAt(text, found.index + found[0].length - 1);
    const own = words.findIndex((word) => word === 'function');
    if (place === undefined || own < 0) {
      continue;
    }
    const said = /^L"/.test(words[2] ?? '') ? shapeOf(words[2]) : undefined;
    const [, kind, condition] = /(Condition|Precondition)\{L"([^"]*)"\}/.exec(words[1] ?? '') ?? [];
    const at = ` (${place} in ${name}, line <>)`;
    switch (found[1]) {
      case 'checkHresult':
        calls.push(`${place}, line <>: hr = 0x<>(${said ?? 'MAPI call failed'})`);
        break;
      case 'logHresult':
        if (words.length === 2 || said !== undefined) {
          calls.push(`HRESULT logged: ${place}, line <>: hr = 0x<>${said === undefined ? '' : `(${said})`}`);
        }
        break;
      case 'checkCondition':
        if (kind !== undefined) {
          calls.push(kind === 'Condition' ? `condition "${condition}" failed${at}` : `${condition}${at}`);
        }
        break;
      case 'reportException':
        calls.push(`An exception has been caught in ${place} : <>`);
        break;
      case 'cancelled':
        calls.push(`${place}: cancelled by request`);
        break;
      case 'logLine':
      case 'formatMessage':
        if (/^L"/.test(words[1])) {
          calls.push(`${place}: ${shapeOf(words[1])}`.split('\n')[0]);
        }
        break;
      default:
        break;
    }
  }
  return calls;
}

/** Entries of one value stand for that value alone. */
const shapes = new Set(entries.flatMap((entry) => [entry, entry.replace(/(hr = 0x)[0-9a-f]+/, '$1<hex>')]).map(shape));

for (const call of new Set(files.flatMap(callsOf))) {
  test(`the page has the line of the call: ${call}`, () => {
    assert.ok(shapes.has(call), 'docs/troubleshooting.md has no such line');
  });
}
