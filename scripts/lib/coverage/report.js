// report.js COUNTS: what gcovr has counted (its JSON), by file and by folder, and whether the lines that no test runs are those
// that docs/testing.md lists with their reasons. Exit status 0 if they are. Rows of tables go to the file that
// LINKWELL_FIGURES names.
'use strict';

const fs = require('node:fs');
const path = require('node:path');

const { tableOf } = require('../full/tables');

const ROOT = path.join(__dirname, '..', '..', '..');
const PAGE = path.join(ROOT, 'docs', 'testing.md');
const HEADING = '| File | Lines that no test runs | Why |';

const codeOf = ({ 'gcovr/noncode': noncode, 'gcovr/excluded': excluded }) => !noncode && !excluded;

/** The lines of a file that no test runs, as runs of lines between which no line runs: their texts, without indentation. */
function unreached({ file, lines }, sourceOf) {
  const text = sourceOf(file).split('\n');
  const runs = [];
  let open = null;
  for (const line of lines.filter(codeOf)) {
    if (line.count > 0) {
      open = null;
      continue;
    }
    if (open === null) {
      open = { file, number: line.line_number, texts: [] };
      runs.push(open);
    }
    open.texts.push(text[line.line_number - 1].trim());
  }
  return runs;
}

/** How many lines there are and have run, and of those that have run, how many branches. */
function countsOf({ lines }) {
  const code = lines.filter(codeOf);
  const ran = code.filter(({ count }) => count > 0);
  const branches = ran.flatMap((line) => line.branches);
  return { lines: code.length, ran: ran.length, branches: branches.length, taken: branches.filter(({ count }) => count > 0).length };
}

const add = (one, other) => Object.fromEntries(Object.keys(one).map((key) => [key, one[key] + other[key]]));
const share = (part, whole) => (whole === 0 ? '' : `${(Math.floor(1000 * part / whole) / 10).toFixed(1)} %`);
const rowOf = (name, { lines, ran, branches, taken }) => ({
  Sources: name, Lines: lines, 'Have run': ran, 'Of the lines': share(ran, lines),
  'Branches in these': branches, Taken: taken, 'Of the branches': share(taken, branches),
});

/** The rows of the coverage table: each folder, and all together. */
function folderRows(files) {
  const folders = new Map();
  for (const file of files) {
    const folder = path.dirname(file.file);
    const counts = countsOf(file);
    folders.set(folder, folders.has(folder) ? add(folders.get(folder), counts) : counts);
  }
  return [...[...folders].map(([folder, counts]) => rowOf(`\`${folder}\``, counts)), rowOf('all', [...folders.values()].reduce(add))];
}

const asCode = (text) => `\`${text.replaceAll('|', '\\|')}\``;
const rowKey = ({ file, texts }) => `| ${asCode(file)} | ${texts.map(asCode).join('<br>')} |`;

/** What the page's list has: of each row all but the reason, and whether it has one. */
function listOf(page) {
  const lines = page.split('\n');
  const at = lines.indexOf(HEADING);
  if (at < 0) {
    throw new Error(`docs/testing.md has no table "${HEADING}"`);
  }
  const rows = lines.slice(at + 2);
  return rows.slice(0, rows.findIndex((line) => !line.startsWith('|'))).map((line) => {
    const [, key, reason] = /^(\| `.*?` \| .* \|) (.*)\|$/.exec(line) ?? [undefined, line, ''];
    return { key, reason: reason.trim() };
  });
}

/** What is wrong with the list, one line each. What two threads do between them may run, or not. */
function faultsOf(runs, list) {
  const isByChance = ({ reason }) => reason.startsWith('Now and then: ');
  const byChance = list.filter(isByChance).map(({ key }) => key);
  const left = list.filter((row) => !isByChance(row)).map(({ key }) => key);
  const faults = list.filter(({ reason }) => reason === '').map(({ key }) => `no reason is given: ${key}`);
  for (const run of runs) {
    const at = left.indexOf(rowKey(run));
    if (at >= 0) {
      left.splice(at, 1);
    } else if (!byChance.includes(rowKey(run))) {
      faults.push(`no test runs ${run.file}:${run.number}, and the list has no row for it: ${rowKey(run)} why |`);
    }
  }
  return [...faults, ...left.map((key) => `the list has what tests run, or what is not there: ${key}`)];
}

function main(counts) {
  const { files } = JSON.parse(fs.readFileSync(counts, 'utf8'));
  const sourceOf = (file) => fs.readFileSync(path.join(ROOT, file), 'utf8');
  for (const file of files) {
    const { lines, ran, branches, taken } = countsOf(file);
    console.log(`${file.file.padEnd(44)} ${String(ran).padStart(4)} of ${String(lines).padStart(4)} lines,` +
      ` ${String(taken).padStart(4)} of ${String(branches).padStart(4)} branches`);
  }
  const rows = folderRows(files);
  console.log(`\n${tableOf(rows)}\n`);
  if (process.env.LINKWELL_FIGURES !== undefined) {
    fs.appendFileSync(process.env.LINKWELL_FIGURES, rows.map((row) => `${JSON.stringify({ table: 'coverage', row })}\n`).join(''));
  }
  const faults = faultsOf(files.flatMap((file) => unreached(file, sourceOf)), listOf(fs.readFileSync(PAGE, 'utf8')));
  faults.forEach((fault) => console.error(`error: ${fault}`));
  return faults.length === 0 ? 0 : 1;
}

module.exports = { HEADING, countsOf, faultsOf, folderRows, listOf, unreached };

if (require.main === module) {
  process.exitCode = main(process.argv[2]);
}
