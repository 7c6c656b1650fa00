// The tables that "scripts/test --full" makes of what its parts and their tests leave.
'use strict';

const assert = require('node:assert');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const test = require('node:test');

const { idOf } = require('../../scripts/lib/mutate/faults');
const { BEGIN, END, Complaint, mutationRow, pageOf, partRows, readLines, replaceIn, tableOf } = require('../../scripts/lib/full/tables');

test('a table has the columns of all rows, numbers to the right and with marks of thousands', () => {
  assert.equal(tableOf([{ Kind: 'E_FAIL', Runs: 12345 }, { Kind: 'a|b', Runs: 7, Note: 'slow' }]), [
    '| Kind | Runs | Note |',
    '|---|---:|---|',
    '| E_FAIL | 12,345 |  |',
    '| a\\|b | 7 | slow |',
  ].join('\n'));
});

test('rows of one table stand together, whichever file they come from, and each table once', () => {
  const row = (table, value) => ({ table, row: { Value: value } });
  const page = pageOf([], [row('fuzzing', 1), row('threads', 2), row('fuzzing', 3)], null, 'On one core.');
  assert.ok(page.includes('### Fuzzing\n\n| Value |\n|---:|\n| 1 |\n| 3 |\n\n### Threads\n\n| Value |\n|---:|\n| 2 |'), page);
  assert.ok(page.startsWith('On one core.\n\n| Part |'), page);
});

test('a part that has not been run is shown as that', () => {
  const [suite, sweep] = partRows([{ part: 'suite', passed: 30, failed: 1, notRun: 2, seconds: 600, commit: 'abc-dirty', date: '2026-01-02' }]);
  assert.deepEqual(suite, { Part: 'suite', Of: 'abc-dirty', On: '2026-01-02', Passed: 30, Failed: 1, 'Not run': 2, Took: '10 min' });
  assert.deepEqual(sweep, { Part: 'sweep', Of: 'not run' });
});

test('mutation counts what is in the list, and nothing before all of it has been tried', () => {
  const faults = ['caught', 'hung', 'survived', 'equivalent', 'unbuilt'].map((name, ordinal) => (
    { file: 'agent/A.cpp', ordinal, original: [name], replaced: [], ...(name === 'equivalent' ? { equivalent: 'why' } : {}) }));
  const result = (at, fate, how) => ({ id: idOf(faults[at]), fate, how });
  const results = [{ tree: 'key', times: {} }, result(0, 'caught', 'failed'), result(1, 'caught', 'timed out'), result(2, 'survived'),
    result(3, 'without effect'), { id: 'of another list', fate: 'survived' }];
  assert.equal(mutationRow(faults, results), null);
  assert.deepEqual(mutationRow(faults, [...results, result(4, 'not built')]), {
    Faults: 5, Caught: 2, 'By time-out': 1, Survived: 1, Equivalent: 1, 'Not built': 1, 'Not found': 0,
    'Share caught': '66.6 %',
  });
});

test('only what stands between the marks is written anew', () => {
  const page = `# Page\n\n${BEGIN}\n\nold\n\n${END}\n\nmore\n`;
  assert.equal(replaceIn(page, 'new'), `# Page\n\n${BEGIN}\n\nnew\n\n${END}\n\nmore\n`);
  assert.throws(() => replaceIn('# Page\n', 'new'), Complaint);
});

test('a line that is no JSON is named', () => {
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'tables-'));
  try {
    fs.writeFileSync(path.join(folder, 'rows'), '{"table":"x"}\n\n{"table":\n');
    assert.throws(() => readLines(path.join(folder, 'rows')), { message: `${path.join(folder, 'rows')}, line 3: no JSON` });
    assert.deepEqual(readLines(path.join(folder, 'absent')), []);
  } finally {
    fs.rmSync(folder, { recursive: true });
  }
});
