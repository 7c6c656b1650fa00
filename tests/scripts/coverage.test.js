// What scripts/coverage makes of gcovr's counts, and how it holds them against the list of docs/testing.md.
'use strict';

const assert = require('node:assert');
const test = require('node:test');

const { HEADING, countsOf, faultsOf, folderRows, listOf, unreached } = require('../../scripts/lib/coverage/report');

const SOURCE = ['int f()', '{', '    if (a || b)', '        fail();', '    return 1;', '}'].join('\n');
const branch = (count) => ({ count });
const line = (number, count, branches = []) => ({ line_number: number, count, branches, 'gcovr/noncode': false, 'gcovr/excluded': false });
const file = (lines, name = 'agent/A.cpp') => ({ file: name, lines });
const runsOf = (...lines) => unreached(file(lines), () => SOURCE);
const pageOf = (...rows) => `# Page\n\n${HEADING}\n|---|---|---|\n${rows.map((row) => `${row}\n`).join('')}\nMore\n`;

test('lines that no test runs are told by their text, those without a line between them together', () => {
  const runs = runsOf(line(1, 0), line(3, 0), line(4, 2), line(5, 0), { ...line(6, 0), 'gcovr/noncode': true });
  assert.deepEqual(runs.map(({ number, texts }) => [number, texts]), [[1, ['int f()', 'if (a || b)']], [5, ['return 1;']]]);
});

test('a list that has these lines with reasons holds, wherever they have moved', () => {
  const list = listOf(pageOf('| `agent/A.cpp` | `if (a \\|\\| b)`<br>`fail();` | the machine has no such end |', '| `agent/A.cpp` | `return 1;` | other |'));
  assert.deepEqual(faultsOf([...runsOf(line(3, 0), line(4, 0)), ...runsOf(line(5, 0))], list), []);
});

test('a line without a row, a row without a line and a row without a reason are faults', () => {
  assert.deepEqual(faultsOf(runsOf(line(5, 0)), listOf(pageOf())),
    ['no test runs agent/A.cpp:5, and the list has no row for it: | `agent/A.cpp` | `return 1;` | why |']);
  assert.deepEqual(faultsOf([], listOf(pageOf('| `agent/A.cpp` | `return 1;` | other |'))),
    ['the list has what tests run, or what is not there: | `agent/A.cpp` | `return 1;` |']);
  assert.deepEqual(faultsOf(runsOf(line(5, 0)), listOf(pageOf('| `agent/A.cpp` | `return 1;` | |'))),
    ['no reason is given: | `agent/A.cpp` | `return 1;` |']);
  assert.throws(() => listOf('# Page\n'), /has no table/);
});

test('a line that runs by chance may run, or not, and is told from others by its text', () => {
  const list = listOf(pageOf('| `agent/A.cpp` | `return 1;` | Now and then: only where the other thread was first. |'));
  assert.deepEqual(faultsOf([], list), []);
  assert.deepEqual(faultsOf(runsOf(line(5, 0)), list), []);
  assert.equal(faultsOf(runsOf(line(4, 0)), list).length, 1);
});

test('two equal lines need two rows', () => {
  const row = '| `agent/A.cpp` | `fail();` | the machine has no such end |';
  const twice = [...runsOf(line(4, 0)), ...runsOf(line(4, 0))];
  assert.equal(faultsOf(twice, listOf(pageOf(row))).length, 1);
  assert.deepEqual(faultsOf(twice, listOf(pageOf(row, row))), []);
});

test('branches count in lines that have run, and folders add up', () => {
  assert.deepEqual(countsOf(file([line(3, 1, [branch(1), branch(0)]), line(4, 0, [branch(0)]), line(5, 1)])),
    { lines: 3, ran: 2, branches: 2, taken: 1 });
  const rows = folderRows([file([line(3, 1, [branch(1), branch(0)])]), file([line(4, 0)], 'agent/B.cpp'), file([line(5, 1)], 'utilities/C.cpp')]);
  assert.deepEqual(rows.map((row) => Object.values(row)), [
    ['`agent`', 2, 1, '50.0 %', 2, 1, '50.0 %'],
    ['`utilities`', 1, 1, '100.0 %', 0, 0, ''],
    ['all', 3, 2, '66.6 %', 2, 1, '50.0 %'],
  ]);
});
