// faults.js: draws a list of faults, and finds each of them again in a tree that has changed since.
'use strict';

const crypto = require('crypto');
const path = require('path');

const { findFaults } = require('./rules');
const { codeLines } = require('./source');

// So many lines above and below a fault are kept with it, and so many are looked at to find it again.
const NEIGHBOURS = 3;
const WINDOW = 5;

/** Numbers from 0 up to `limit`, the same for the same seed (mulberry32). */
function randomNumbers(seed) {
  let state = seed >>> 0;
  return (limit) => {
    state = (state + 0x6d2b79f5) >>> 0;
    let mixed = Math.imul(state ^ (state >>> 15), state | 1);
    mixed ^= mixed + Math.imul(mixed ^ (mixed >>> 7), mixed | 61);
    return Math.floor((((mixed ^ (mixed >>> 14)) >>> 0) / 4294967296) * limit);
  };
}

const saysSomething = (code) => /\w/.test(code);

/** The nearest lines that say something, above and below so many lines at an index. */
function neighbours(lines, line, count, size = NEIGHBOURS) {
  return {
    above: lines.slice(0, line).filter(saysSomething).slice(-size).map((code) => code.trim()),
    below: lines.slice(line + count).filter(saysSomething).slice(0, size).map((code) => code.trim()),
  };
}

/** Where these lines stand in a source, as indices of their first. */
function placesOf(original, lines) {
  const places = [];
  for (let line = 0; line + original.length <= lines.length; ++line) {
    if (original.every((code, offset) => lines[line + offset].trim() === code)) {
      places.push(line);
    }
  }
  return places;
}

/**
 * Draws `count` faults, at most one for each line. Each file has a share by its lines of code, or as many as it has lines
 * if they are fewer; within a file the rule is drawn first, so that texts do not crowd out what is rare.
 * @param sources  Map from path to text.
 */
function drawFaults(sources, count, seed) {
  const random = randomNumbers(seed);
  const files = [...sources].sort(([a], [b]) => (a < b ? -1 : 1)).map(([file, text]) => {
    const lines = codeLines(text);
    return { file, lines, weight: lines.filter(saysSomething).length, open: findFaults(text), drawn: 0 };
  });

  const drawn = [];
  while (drawn.length < count) {
    // The file that is farthest behind its share.
    const open = files.filter((entry) => entry.open.length > 0);
    if (open.length === 0) {
      break;
    }
    const entry = open.reduce((best, other) =>
      ((other.drawn + 0.5) / other.weight < (best.drawn + 0.5) / best.weight ? other : best));
    ++entry.drawn;
    const rules = [...new Set(entry.open.map((fault) => fault.rule))];
    const rule = rules[random(rules.length)];
    const choices = entry.open.filter((fault) => fault.rule === rule);
    const fault = choices[random(choices.length)];
    entry.open = entry.open.filter((other) => other.line !== fault.line);
    drawn.push({ ...fault, file: entry.file, lines: entry.lines });
  }
  drawn.sort((a, b) => (a.file < b.file ? -1 : a.file > b.file ? 1 : a.line - b.line));
  return drawn.map(({ rule, file, line, lines, original, replaced }, index) => ({
    number: index + 1,
    rule,
    file,
    ordinal: placesOf(original, lines).indexOf(line),
    original,
    replaced,
    ...neighbours(lines, line, original.length),
  }));
}

/** A name of the fault by what it does, whichever its number is. */
function idOf({ file, ordinal, original, replaced }) {
  const text = JSON.stringify([file, ordinal, original, replaced]);
  return crypto.createHash('sha256').update(text).digest('hex').slice(0, 12);
}

/** How many of these lines are near, the nearest counting most; `around` begins with the nearest. */
function nearness(wanted, around) {
  return around.reduce((sum, code, distance) => sum + (wanted.includes(code) ? WINDOW - distance : 0), 0);
}

/**
 * Where a fault stands in a tree: { file, line }, or null when its lines are not there, or stand in several places with
 * nothing to choose by. The best place has most of the fault's neighbours nearest; then its own file goes first, then its
 * ordinal among equal lines.
 * @param sources  Map from path to text.
 */
function locate(fault, sources) {
  const candidates = [];
  for (const [file, text] of sources) {
    const lines = codeLines(text);
    placesOf(fault.original, lines).forEach((line, ordinal, all) => {
      const around = neighbours(lines, line, fault.original.length, WINDOW);
      const near = nearness(fault.above, around.above.reverse()) + nearness(fault.below, around.below);
      const home = file === fault.file ? 2 : path.basename(file) === path.basename(fault.file) ? 1 : 0;
      // Without neighbours it must be the only such line of its file, and long, or the first one before.
      const only = home === 2 && all.length === 1 && (fault.ordinal === 0 || fault.original.join('').length > 20);
      if (near > 0 || only) {
        candidates.push({ file, line, rank: [near, home, ordinal === fault.ordinal ? 1 : 0] });
      }
    });
  }
  const compare = (a, b) => a.rank.map((value, index) => b.rank[index] - value).find((order) => order !== 0) ?? 0;
  candidates.sort(compare);
  if (candidates.length === 0 || (candidates.length > 1 && compare(candidates[0], candidates[1]) === 0)) {
    return null;
  }
  return { file: candidates[0].file, line: candidates[0].line };
}

/** The source with the fault in it. */
function applyFault(fault, text, line) {
  const lines = text.split('\n');
  fault.replaced.forEach((code, offset) => {
    const indentation = /^\s*/.exec(lines[line + offset])[0];
    lines[line + offset] = code === '' ? '' : indentation + code;
  });
  return lines.join('\n');
}

module.exports = { applyFault, drawFaults, idOf, locate };
