// run.js LOGS MINUTES [PATTERN]: runs the commands of the documents of the repository that it lies in, there, in their order,
// each as it is written. What scripts/check-commands does in a clone; its --help says the rest.
'use strict';

const { execFileSync, spawn } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');

const { ROOT, commandsOf, documents, ruleOf } = require('./read');

const SECONDS_TO_END = 120; // for what has been interrupted

const [logs, minutes, pattern = ''] = process.argv.slice(2);
const deadline = Date.now() + minutes * 60000;
const secondsLeft = () => Math.max(0, (deadline - Date.now()) / 1000);

/** A command that runs, with a process group of its own, as one that is typed has. */
class Running {
  constructor({ text, folder: from }, log) {
    this.log = log;
    const output = fs.openSync(log, 'w');
    this.child = spawn('bash', ['-c', text], { cwd: path.join(ROOT, from), detached: true, stdio: ['ignore', output, output] });
    fs.closeSync(output);
    this.end = new Promise((resolve) => {
      this.child.once('exit', (status, signal) => {
        Running.all.delete(this);
        resolve(signal ?? status);
      });
    });
    Running.all.add(this);
  }

  signal(name) {
    if (Running.all.has(this)) {
      process.kill(-this.child.pid, name);
    }
  }

  /** Its exit status, or a signal; "no end in time" after so many seconds, when it is made to end. */
  async ended(seconds) {
    let isLate = false;
    const ask = setTimeout(() => {
      isLate = true;
      this.signal('SIGTERM');
    }, seconds * 1000);
    const kill = setTimeout(() => this.signal('SIGKILL'), (seconds + SECONDS_TO_END) * 1000);
    const status = await this.end;
    clearTimeout(ask);
    clearTimeout(kill);
    return isLate ? 'no end in time' : status;
  }

  /** Whether a line that fits this comes while it runs. */
  async says(line) {
    const fits = () => new RegExp(line, 'm').test(fs.readFileSync(this.log, 'utf8'));
    while (secondsLeft() > 0 && Running.all.has(this)) {
      if (fits()) {
        return true;
      }
      await new Promise((resolve) => setTimeout(resolve, 200));
    }
    return fits();
  }

  /** As Ctrl+C does. */
  async interrupt() {
    this.signal('SIGINT');
    return this.ended(SECONDS_TO_END);
  }
}
Running.all = new Set();

/** What became of a command that runs until Ctrl+C: it has to come to say this, and then to end when it is asked to. */
async function runUntil(command, line, log, meanwhile = async () => 0) {
  const running = new Running(command, log);
  if (!await running.says(line)) {
    return `${await running.ended(0)}, and it has not said ${line}`;
  }
  const status = await meanwhile();
  const end = await running.interrupt();
  // Of a process that Ctrl+C ends, the signal is no failure.
  return status !== 0 ? status : end === 'SIGINT' ? 0 : end;
}

async function run(command, log) {
  const { endAt, beside } = ruleOf(command);
  if (endAt !== undefined) {
    return runUntil(command, endAt, log);
  }
  if (beside !== undefined) {
    const other = { text: beside, folder: '.' };
    return runUntil(other, ruleOf(other).endAt, `${log}.beside`, () => new Running(command, log).ended(secondsLeft()));
  }
  return new Running(command, log).ended(secondsLeft());
}

async function main() {
  const counts = { passed: 0, failed: 0, notRun: 0 };
  const done = new Set();
  let page;
  fs.mkdirSync(logs, { recursive: true });
  for (const command of documents().flatMap(commandsOf).filter(({ text }) => new RegExp(pattern, 'm').test(text))) {
    const { notRun } = ruleOf(command);
    const say = (word, more = '') => console.log(`${word.padEnd(8)} ${command.page}:${command.line}: ${command.text}${more}`);
    const key = `${command.folder}: ${command.text}`;
    if (done.has(key)) {
      continue;
    }
    done.add(key);
    if (notRun !== undefined) {
      counts.notRun += 1;
      say('not run', `\n         ${notRun}`);
      continue;
    }
    if (page !== command.page) {
      // Each page begins without the files that another one has left, but with what has been built.
      execFileSync('git', ['clean', '-dfq'], { cwd: ROOT });
      page = command.page;
    }
    const log = path.join(logs, `${command.page.replace(/\W/g, '-')}-${command.line}.log`);
    const started = Date.now();
    const status = await run(command, log);
    const took = `\n         ${Math.round((Date.now() - started) / 1000)} s`;
    counts[status === 0 ? 'passed' : 'failed'] += 1;
    say(status === 0 ? 'passed' : 'FAILED', status === 0 ? took : `${took}, ${status}; its output is in ${log}`);
  }
  console.log(`${counts.passed} passed, ${counts.failed} failed, ${counts.notRun} not run`);
  process.exitCode = counts.failed === 0 && counts.passed > 0 ? 0 : 1;
}

for (const signal of ['SIGINT', 'SIGTERM', 'SIGHUP']) {
  process.once(signal, () => {
    Running.all.forEach((one) => one.signal('SIGTERM'));
    process.exit(130);
  });
}
main();
