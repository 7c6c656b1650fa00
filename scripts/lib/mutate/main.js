// main.js WORK_FOLDER [OPTIONS...]: what scripts/mutate does; its options are described there.
'use strict';

const crypto = require('crypto');
const fs = require('fs');
const os = require('os');
const path = require('path');
const { execFileSync } = require('child_process');
const { parseArgs } = require('util');

const { copyTree, listFiles, readSources, update } = require('./copy');
const { applyFault, drawFaults, idOf, locate } = require('./faults');
const { build, configure, countSteps, hashOf, listPrograms, runProgram, stopCommands } = require('./programs');

const ROOT = path.join(__dirname, '..', '..', '..');
const CHECKED_IN_LIST = path.join(ROOT, 'tests', 'mutation', 'faults.json');
const PRESET = 'mingw-release';
const SECONDS_PER_STEP = 3; // what compiling one source takes, roughly

class Complaint extends Error {}

const started = Date.now();
const seconds = () => Math.round((Date.now() - started) / 1000);
const step = (text) => console.log(`==> [${String(seconds()).padStart(3)}s] ${text}`);
const note = (text) => console.log(`           ${text}`);
const lastLines = (output, count) => output.trimEnd().split('\n').slice(-count).join('\n');
const describe = (fault) => `${String(fault.number).padStart(3)} ${fault.file} ${fault.rule}`;

function readOptions(words) {
  const text = { type: 'string' };
  const known = { seed: text, count: text, list: text, faults: text, only: text, jobs: text, tree: text, results: text };
  const number = (name, value) => {
    if (!/^[1-9]\d*$/.test(value)) {
      throw new Complaint(`--${name} takes a number from 1 on, not "${value}"`);
    }
    return Number(value);
  };
  try {
    const { values } = parseArgs({ args: words, options: known });
    for (const name of ['seed', 'count', 'jobs']) {
      if (values[name] !== undefined) {
        values[name] = number(name, values[name]);
      }
    }
    return { ...values, only: new RegExp(values.only ?? ''), jobs: values.jobs ?? 1 };
  } catch (error) {
    throw new Complaint(`${error.message} (scripts/mutate --help)`);
  }
}

/** The list to work through: drawn when a seed, a number or a file to write asks for it, read otherwise. */
function chooseFaults(options, sources) {
  if (options.faults === undefined && (options.seed ?? options.count ?? options.list) !== undefined) {
    return drawFaults(sources, options.count ?? 150, options.seed ?? 1);
  }
  return JSON.parse(fs.readFileSync(options.faults ?? CHECKED_IN_LIST, 'utf8'));
}

/** What an earlier run on the same tree has found, in a file that grows by one line for each fault. */
class Results {
  constructor(file, treeKey) {
    this._file = file;
    const [head, ...rest] = fs.existsSync(file) ? fs.readFileSync(file, 'utf8').trimEnd().split('\n') : [];
    const known = head === undefined ? {} : JSON.parse(head);
    this.times = known.tree === treeKey ? known.times : undefined;
    this._tree = treeKey;
    this._byId = new Map(this.times === undefined ? [] : rest.map((line) => JSON.parse(line)).map((entry) => [entry.id, entry]));
  }

  /** Begins a new file, with how long each program takes on the unchanged tree. */
  begin(times) {
    this.times = times;
    fs.mkdirSync(path.dirname(this._file), { recursive: true });
    fs.writeFileSync(this._file, `${JSON.stringify({ tree: this._tree, times })}\n`);
  }

  get(fault) {
    return this._byId.get(idOf(fault));
  }

  add(fault, result) {
    const entry = { id: idOf(fault), number: fault.number, ...result };
    this._byId.set(entry.id, entry);
    fs.appendFileSync(this._file, `${JSON.stringify(entry)}\n`);
  }
}

/** A copy of the tree that has one fault at a time. */
class Job {
  constructor(number, folder, sources, buildJobs) {
    this.number = number;
    this.copy = path.join(folder, `job${number}`);
    this._sources = sources;
    this._buildJobs = buildJobs;
    this._changed = null; // the file that has a fault at the moment
    this.buildFolder = path.join(this.copy, 'build', PRESET);
  }

  /** Copies the tree and builds all of it. */
  async prepare(tree, files) {
    copyTree(tree, files, this.copy);
    for (const result of [await configure(this.copy), await this.build([])]) {
      if (result.status !== 0) {
        throw new Complaint(`the unchanged tree can't be built:\n${lastLines(result.output, 20)}`);
      }
    }
    this.programs = listPrograms(this.buildFolder);
    const parts = new Set(this.programs.flatMap((program) => program.parts));
    this._hashes = new Map([...parts].map((part) => [part, hashOf(path.join(this.buildFolder, part))]));
  }

  build(targets) {
    return build(this.buildFolder, targets, this._buildJobs);
  }

  /** Runs the program: its result, and whether it has failed in passing, which a second run finds out. */
  async run(program, limit) {
    const first = await runProgram(program, this.buildFolder, limit);
    if (first.fate === 'passed' || first.fate === 'timed out' || !first.test) {
      return { ...first, unsteady: false };
    }
    const again = await runProgram(program, this.buildFolder, limit, first.test);
    const whole = again.fate === 'passed' ? await runProgram(program, this.buildFolder, limit) : again;
    return whole.fate === 'passed' ? { ...whole, unsteady: true } : { ...whole, unsteady: false };
  }

  /** The programs, the quickest first. Behind a header that is much included, building counts for more than running. */
  _inOrder(file, times) {
    const cost = new Map(this.programs.map((program) => {
      const steps = file.endsWith('.h') ? countSteps(this.buildFolder, program.target) : 0;
      return [program, times[program.name] + SECONDS_PER_STEP * steps];
    }));
    return [...cost.keys()].sort((a, b) => cost.get(a) - cost.get(b));
  }

  /** The fate of one fault. */
  async try(fault, place, times) {
    const begun = Date.now();
    const write = (file, text) => update(path.join(this.copy, file), Buffer.from(text));
    if (this._changed !== null) {
      write(this._changed, this._sources.get(this._changed));
    }
    this._changed = place.file;
    write(place.file, applyFault(fault, this._sources.get(place.file), place.line));

    const unsteady = [];
    let hasEffect = false;
    const result = (fate, more = {}) => ({
      fate,
      ...more,
      ...(unsteady.length > 0 ? { unsteady } : {}),
      place: `${place.file}:${place.line + 1}`,
      seconds: Math.round((Date.now() - begun) / 1000),
    });
    for (const program of this._inOrder(place.file, times)) {
      const built = await this.build([program.target]);
      if (built.status !== 0) {
        return result('not built', { why: /error: .*/.exec(built.output)?.[0] ?? lastLines(built.output, 1) });
      }
      if (program.parts.every((part) => hashOf(path.join(this.buildFolder, part)) === this._hashes.get(part))) {
        continue; // the same bytes: it can't see the fault
      }
      hasEffect = true;
      const run = await this.run(program, 60 + 5 * times[program.name]);
      if (run.unsteady) {
        unsteady.push(program.name);
      } else if (run.fate !== 'passed') {
        return result('caught', { by: program.name, how: run.fate, test: run.test });
      }
    }
    return result(hasEffect ? 'survived' : 'without effect');
  }

  /** Ends everything that runs under Wine for this copy. */
  stopWine() {
    for (const folder of [path.join(this.copy, 'build'), this.buildFolder]) {
      for (const name of fs.existsSync(folder) ? fs.readdirSync(folder) : []) {
        if (fs.existsSync(path.join(folder, name, '.linkwell'))) {
          const env = { ...process.env, LINKWELL_WINEPREFIX: path.join(folder, name) };
          execFileSync(path.join(this.copy, 'scripts', 'lib', 'wine-stop'), { env });
        }
      }
    }
  }
}

/** Runs every program on the unchanged tree: seconds by name. */
async function measure(job) {
  const times = {};
  for (const program of job.programs) {
    const run = await job.run(program, 1200);
    if (run.fate !== 'passed') {
      throw new Complaint(`${program.name} fails on the unchanged tree (${run.fate}${run.test ? `, ${run.test}` : ''})`);
    }
    times[program.name] = run.seconds;
    note(`${program.name}: ${run.seconds} s`);
  }
  return times;
}

function say(fault, result) {
  const by = result.fate === 'caught' ? ` by ${result.by} (${result.test ?? 'no test named'}, ${result.how})` : '';
  const unsteady = result.unsteady ? `; failed once only: ${result.unsteady.join(', ')}` : '';
  step(`${describe(fault)}: ${result.fate}${by}${result.seconds === undefined ? '' : `, ${result.seconds} s`}${unsteady}`);
}

/** Says what has come of the list. True when nothing is left to be looked at. */
function report(faults, results) {
  const byFate = (fate) => faults.filter((fault) => results.get(fault).fate === fate);
  const survivors = [...byFate('survived'), ...byFate('without effect')].filter((fault) => !fault.equivalent);
  const lost = byFate('not found');
  const show = (fault) => {
    const result = results.get(fault);
    note(`${describe(fault)}, ${result.place ?? fault.file}: ${result.fate}`);
    fault.original.forEach((code) => note(`    - ${code}`));
    fault.replaced.forEach((code) => note(`    + ${code}`));
  };
  const accepted = faults.filter((fault) => fault.equivalent);
  for (const [title, entries] of [
    ['Not found in this tree; mend them in the list by hand', lost],
    ['Survivors', survivors],
    ['Caught though listed as equivalent', accepted.filter((fault) => results.get(fault).fate === 'caught')],
  ]) {
    if (entries.length > 0) {
      step(`${title}:`);
      entries.forEach(show);
    }
  }
  const caught = byFate('caught');
  const byTimeOut = caught.filter((fault) => results.get(fault).how === 'timed out').length;
  console.log(
    `${faults.length} faults: ${caught.length} caught (${byTimeOut} by time-out), ${survivors.length} survived, ` +
    `${faults.filter((fault) => fault.equivalent && results.get(fault).fate !== 'caught').length} equivalent, ` +
    `${byFate('not built').length} not built, ${lost.length} not found`);
  return survivors.length === 0 && lost.length === 0;
}

async function main([work, ...words]) {
  const options = readOptions(words);
  const tree = path.resolve(options.tree ?? ROOT);
  const files = listFiles(tree);
  const sources = readSources(tree, files);
  const faults = chooseFaults(options, sources).filter((fault) => options.only.test(describe(fault).trim()));
  if (options.list !== undefined) {
    fs.writeFileSync(options.list, `[\n${faults.map((fault) => JSON.stringify(fault)).join(',\n')}\n]\n`);
    step(`${faults.length} faults written to ${options.list}`);
    return 0;
  }
  if (faults.length === 0) {
    throw new Complaint('there is no such fault in the list');
  }

  const key = crypto.createHash('sha256');
  files.forEach((name) => key.update(`${name}\0`).update(fs.readFileSync(path.join(tree, name))));
  const results = new Results(path.resolve(options.results ?? path.join(work, 'results.jsonl')), key.digest('hex'));
  const open = faults.filter((fault) => results.get(fault) === undefined);
  const count = Math.min(options.jobs, Math.max(open.length, 1));
  const buildJobs = Math.max(1, Math.ceil(os.cpus().length / count));
  const jobs = Array.from({ length: count }, (_, index) => new Job(index + 1, work, sources, buildJobs));

  let signal = null;
  const stop = (name) => {
    signal = name;
    stopCommands();
  };
  process.on('SIGINT', stop);
  process.on('SIGTERM', stop);
  const workOff = async (job) => {
    while (open.length > 0) {
      const fault = open.shift();
      const place = locate(fault, sources);
      const result = place === null ? { fate: 'not found' } : await job.try(fault, place, results.times);
      results.add(fault, result);
      say(fault, result);
    }
  };
  try {
    step(`${faults.length} faults, ${faults.length - open.length} of them done before`);
    if (open.length > 0) {
      step(`Building the unchanged tree in ${jobs.map((job) => path.relative(process.cwd(), job.copy)).join(', ')}`);
      for (const job of jobs) {
        job.stopWine(); // what a run that was killed has left
        await job.prepare(tree, files);
      }
      if (results.times === undefined) {
        step('Running the test programs on the unchanged tree');
        results.begin(await measure(jobs[0]));
      }
      await Promise.all(jobs.map(workOff));
    }
  } catch (error) {
    stopCommands(); // those of the other jobs
    if (signal === null) {
      throw error;
    }
  } finally {
    for (const job of jobs) {
      job.stopWine();
    }
  }
  if (signal !== null) {
    step('Interrupted; the same command goes on from here');
    return signal === 'SIGINT' ? 130 : 143;
  }
  return report(faults, results) ? 0 : 1;
}

main(process.argv.slice(2)).then(
  (status) => { process.exitCode = status; },
  (error) => {
    console.error(error instanceof Complaint ? `error: ${error.message}` : error);
    process.exitCode = 1;
  },
);
