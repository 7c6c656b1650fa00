'use strict';

const assert = require('assert/strict');
const { test } = require('node:test');

const { applyFault, drawFaults, idOf, locate } = require('../../scripts/lib/mutate/faults');

const FIRST = 'void f()\n{\n    one();\n    return_ = 1; // why\n    two();\n}\n\nvoid g()\n{\n    three();\n    return_ = 1;\n    four();\n}\n';
const SECOND = 'int h()\n{\n    return 5 + 6 + 7;\n}\n';
const tree = (...texts) => new Map(texts.map((text, index) => [`agent/${'ab'[index]}.cpp`, text]));

const fault = {
  number: 1, rule: 'constant', file: 'agent/a.cpp', ordinal: 1, original: ['return_ = 1;'], replaced: ['return_ = 2;'],
  above: ['three();'], below: ['four();'],
};

test('draws the same list for the same seed, and another for another', () => {
  const draw = (seed) => drawFaults(tree(FIRST, SECOND), 4, seed);
  assert.deepEqual(draw(1), draw(1));
  assert.notDeepEqual(draw(1), draw(2));
});

test('draws by lines of code, and each line once', () => {
  const drawn = drawFaults(tree(FIRST, SECOND), 5, 1);
  assert.equal(drawn.filter(({ file }) => file === 'agent/b.cpp').length, 1);
  const places = drawn.map((entry) => locate(entry, tree(FIRST, SECOND)));
  assert.equal(new Set(places.map(({ file, line }) => `${file}:${line}`)).size, 5);
  assert.ok(drawFaults(tree(FIRST, SECOND), 1000, 1).length < 20);
});

test('finds each drawn fault where it was drawn', () => {
  const sources = tree(FIRST, SECOND);
  for (const drawn of drawFaults(sources, 5, 3)) {
    const { file, line } = locate(drawn, sources);
    assert.equal(file, drawn.file);
    assert.ok(sources.get(file).split('\n')[line].includes(drawn.original[0]));
  }
});

test('chooses among equal lines by their neighbours, then by the ordinal', () => {
  assert.deepEqual(locate(fault, tree(FIRST)), { file: 'agent/a.cpp', line: 10 });
  assert.equal(locate({ ...fault, above: ['one();'], below: ['two();'] }, tree(FIRST)).line, 3);
  const twice = 'void f()\n{\n    same();\n    return_ = 1;\n    same();\n    return_ = 1;\n    same();\n}\n';
  assert.equal(locate({ ...fault, above: ['same();'], below: ['same();'] }, tree(twice)).line, 5);
});

test('finds a line that has moved down, or to another file', () => {
  assert.equal(locate(fault, tree(`// new\nint x;\n${FIRST}`)).line, 12);
  assert.deepEqual(locate(fault, new Map([['agent/new/c.cpp', FIRST]])), { file: 'agent/new/c.cpp', line: 10 });
});

test('does not find a line that is gone, nor one that merely looks like it', () => {
  assert.equal(locate(fault, tree(FIRST.replaceAll('return_ = 1;', 'return_ = 3;'))), null);
  assert.equal(locate(fault, tree('void i()\n{\n    five();\n    return_ = 1;\n    six();\n}\n')), null);
});

test('applies a fault in its place and keeps the indentation', () => {
  assert.equal(applyFault(fault, FIRST, 10), FIRST.replace('return_ = 1;\n    four', 'return_ = 2;\n    four'));
});

test('names a fault by what it does', () => {
  assert.equal(idOf(fault), idOf({ ...fault, number: 7, equivalent: 'why' }));
  assert.notEqual(idOf(fault), idOf({ ...fault, ordinal: 0 }));
});
