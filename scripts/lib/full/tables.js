// tables.js [--write]: the tables of what "scripts/test --full" has found: printed, or written into docs/testing.md between
// two marks. What ran, and how it went, is in build/full; the rows of the tests are in build/mingw-release/full.
'use strict';

const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { execFileSync } = require('node:child_process');

const { idOf } = require('../mutate/faults');

const ROOT = path.join(__dirname, '..', '..', '..');
const BUILD = path.join(ROOT, 'build');
const PAGE = path.join(ROOT, 'docs', 'testing.md');
const PARTS = ['suite', 'sweep', 'fuzz', 'long', 'hardened', 'coverage'];
const BEGIN = '<!-- What follows is written by "scripts/test --full --write". -->';
const END = '<!-- That was it. -->';

class Complaint extends Error {}

/** The values of a file that has one JSON value a line; none where there is no file. */
function readLines(file) {
  const lines = fs.existsSync(file) ? fs.readFileSync(file, 'utf8').split('\n') : [];
  return lines.flatMap((line, at) => {
    try {
      return line.trim() === '' ? [] : [JSON.parse(line)];
    } catch {
      throw new Complaint(`${file}, line ${at + 1}: no JSON`);
    }
  });
}

/** A table in Markdown; its columns are the keys of all rows, in the order in which they first come. */
function tableOf(rows) {
  const columns = [...new Set(rows.flatMap(Object.keys))];
  const cell = (value) => (typeof value === 'number' ? value.toLocaleString('en-US') : String(value ?? '').replaceAll('|', '\\|'));
  const isNumber = (column) => rows.every((row) => row[column] === undefined || typeof row[column] === 'number');
  return [
    `| ${columns.join(' | ')} |`,
    `|${columns.map((column) => (isNumber(column) ? '---:' : '---')).join('|')}|`,
    ...rows.map((row) => `| ${columns.map((column) => cell(row[column])).join(' | ')} |`),
  ].join('\n');
}

const duration = (seconds) => (seconds < 120 ? `${seconds} s` : `${Math.round(seconds / 60)} min`);

/** One row for each part, whether it has been run or not. */
function partRows(results) {
  return PARTS.map((part) => {
    const result = results.find((one) => one.part === part);
    return result === undefined ? { Part: part, Of: 'not run' } : {
      Part: part, Of: result.commit, On: result.date, Passed: result.passed, Failed: result.failed, 'Not run': result.notRun,
      Took: duration(result.seconds),
    };
  });
}

/** What scripts/mutate has found of this list of faults; null unless it has worked through all of it. */
function mutationRow(faults, results) {
  const fates = new Map(results.filter(({ id }) => id !== undefined).map((result) => [result.id, result]));
  const found = faults.map((fault) => ({ fault, result: fates.get(idOf(fault)) }));
  if (faults.length === 0 || found.some(({ result }) => result === undefined)) {
    return null;
  }
  const count = (holds) => found.filter(holds).length;
  const caught = count(({ result }) => result.fate === 'caught');
  const alive = ({ result }) => ['survived', 'without effect'].includes(result.fate);
  const survived = count((one) => alive(one) && !one.fault.equivalent);
  return {
    Faults: faults.length,
    Caught: caught,
    'By time-out': count(({ result }) => result.fate === 'caught' && result.how === 'timed out'),
    Survived: survived,
    Equivalent: count((one) => alive(one) && one.fault.equivalent),
    'Not built': count(({ result }) => result.fate === 'not built'),
    'Not found': count(({ result }) => result.fate === 'not found'),
    'Share caught': `${(Math.floor(1000 * caught / Math.max(caught + survived, 1)) / 10).toFixed(1)} %`,
  };
}

/** All tables, by what the parts and the rows of the tests say. */
function pageOf(results, rows, mutation, machine) {
  const titles = [...new Set(rows.map(({ table }) => table))];
  const section = (title, its) => `### ${title[0].toUpperCase()}${title.slice(1)}\n\n${tableOf(its)}`;
  return [
    machine,
    tableOf(partRows(results)),
    ...titles.map((title) => section(title, rows.filter(({ table }) => table === title).map(({ row }) => row))),
    mutation === null ? '`scripts/mutate` has not been run on the whole list.' : section('mutation', [mutation]),
  ].join('\n\n');
}

/** The page with these tables between the marks. */
function replaceIn(page, tables) {
  const begin = page.indexOf(BEGIN);
  const end = page.indexOf(END);
  if (begin < 0 || end < begin) {
    throw new Complaint(`docs/testing.md has lost its marks: ${BEGIN} and ${END}`);
  }
  return `${page.slice(0, begin)}${BEGIN}\n\n${tables}\n\n${page.slice(end)}`;
}

function wineVersion() {
  try {
    return `Wine ${/wine-(\S+)/.exec(execFileSync('/usr/lib/wine/wine64', ['--version'], { encoding: 'utf8' }))[1]}`;
  } catch {
    return 'Wine';
  }
}

function main([option]) {
  const results = PARTS.flatMap((part) => readLines(path.join(BUILD, 'full', `${part}.json`)));
  const folder = path.join(BUILD, 'mingw-release', 'full');
  const files = PARTS.flatMap((part) => {
    const own = path.join(folder, part);
    return fs.existsSync(own) ? fs.readdirSync(own).sort().map((name) => path.join(own, name)) : [];
  });
  const faults = JSON.parse(fs.readFileSync(path.join(ROOT, 'tests', 'mutation', 'faults.json'), 'utf8'));
  const mutation = mutationRow(faults, readLines(path.join(BUILD, 'mutate', 'results.jsonl')));
  const machine = `On ${os.cpus().length} cores of ${os.cpus()[0].model.trim()}, ${wineVersion()}.`;
  const tables = pageOf(results, files.flatMap(readLines), mutation, machine);
  console.log(tables);
  if (option === '--write') {
    fs.writeFileSync(PAGE, replaceIn(fs.readFileSync(PAGE, 'utf8'), tables));
  }
}

module.exports = { BEGIN, END, Complaint, mutationRow, pageOf, partRows, readLines, replaceIn, tableOf };

if (require.main === module) {
  try {
    main(process.argv.slice(2));
  } catch (error) {
    console.error(error instanceof Complaint ? `error: ${error.message}` : error);
    process.exitCode = 1;
  }
}
