// programs.js: the test programs of a build folder: which there are, how they are built and run, and what they are made of.
'use strict';

const crypto = require('crypto');
const fs = require('fs');
const path = require('path');
const { execFileSync, spawn } = require('child_process');

// What of the longest programs is enough here: faults show in the first few mailboxes drawn at random if they show at all,
// and 100,000 notifications look for what leaks.
const SHORTER = { LINKWELL_SEED_COUNT: '20' };
const LEFT_OUT = 'NotificationTest.*';
// The longest that a single test may take before its watchdog ends the program.
const TEST_SECONDS = 90;
// A fault may ask for memory without end; KiB for each process.
const MEMORY_LIMIT = 6 * 1024 * 1024;
const KEPT_OUTPUT = 64 * 1024;

/** The commands that run at the moment, each with all that it has started in one process group. */
const running = new Set();
let stopped = false;

/** Ends all commands at once, and lets none begin: they all reject. */
function stopCommands() {
  stopped = true;
  for (const child of running) {
    try {
      process.kill(-child.pid, 'SIGKILL');
    } catch {
      // It has ended already.
    }
  }
}

/** Runs a command to its end: { status, output, timedOut }. The status is null for one that its time has ended. */
function runCommand(command, { seconds = 3600, ...options } = {}) {
  return new Promise((resolve, reject) => {
    if (stopped) {
      reject(new Error('interrupted'));
      return;
    }
    const child = spawn(command[0], command.slice(1), { ...options, detached: true, stdio: ['ignore', 'pipe', 'pipe'] });
    running.add(child);
    let output = '';
    let timedOut = false;
    const collect = (chunk) => { output = (output + chunk).slice(-KEPT_OUTPUT); };
    child.stdout.on('data', collect);
    child.stderr.on('data', collect);
    const timer = setTimeout(() => {
      timedOut = true;
      process.kill(-child.pid, 'SIGKILL');
    }, seconds * 1000);
    child.on('error', reject);
    child.on('exit', (status) => {
      clearTimeout(timer);
      running.delete(child);
      // What it has started may keep its output open; what it wrote itself is there by then.
      setTimeout(() => {
        child.stdout.destroy();
        child.stderr.destroy();
        if (stopped) {
          reject(new Error('interrupted'));
        } else {
          resolve({ status, output, timedOut });
        }
      }, 100);
    });
  });
}

/** Configures a copy's build folder as the scripts of that copy do. */
function configure(copy) {
  const script = 'source "$0/scripts/lib/common.sh"; source "$0/scripts/lib/build.sh"; configure';
  return runCommand(['bash', '-c', script, copy]);
}

/** Builds targets, or everything. */
function build(buildFolder, targets, jobs) {
  return runCommand(['ninja', '-C', buildFolder, '-j', String(jobs), ...targets]);
}

/** How many steps building a target would take now. */
function countSteps(buildFolder, target) {
  const plan = execFileSync('ninja', ['-C', buildFolder, '-n', target], { maxBuffer: 1 << 26 }).toString();
  return Number([...plan.matchAll(/^\[\d+\/(\d+)\]/gm)].at(-1)?.[1] ?? 0);
}

/**
 * The test programs, by ctest's own account: { name, target, command, environment, parts }. `parts` are the programs and
 * modules in bin/ that a run of it may use, itself included. Entries that run no program of this build are left out, as they
 * can't see its sources, and those that read what others have left, as these may not have run.
 */
function listPrograms(buildFolder) {
  const listing = execFileSync('ctest', ['--test-dir', buildFolder, '--show-only=json-v1'], { maxBuffer: 1 << 26 });
  const programs = [];
  for (const { name, command = [], properties = [] } of JSON.parse(listing).tests) {
    const program = command.find((word) => word.startsWith(`${buildFolder}/bin/`) && word.endsWith('.exe'));
    const property = (wanted) => properties.find((entry) => entry.name === wanted)?.value;
    if (program === undefined || property('FIXTURES_REQUIRED')) {
      continue;
    }
    const target = path.relative(buildFolder, program);
    const inputs = execFileSync('ninja', ['-C', buildFolder, '-t', 'inputs', target], { maxBuffer: 1 << 26 });
    const parts = inputs.toString().split('\n').filter((file) => /^bin\/[^/]+\.(exe|dll)$/.test(file));
    programs.push({
      name,
      target,
      command,
      environment: Object.fromEntries((property('ENVIRONMENT') ?? []).map((entry) => entry.split(/=(.*)/s).slice(0, 2))),
      workingFolder: property('WORKING_DIRECTORY') ?? buildFolder,
      parts: [target, ...parts],
    });
  }
  return programs;
}

/** What a file holds, in short. */
function hashOf(file) {
  return fs.existsSync(file) ? crypto.createHash('sha256').update(fs.readFileSync(file)).digest('hex') : '';
}

/** Ends what a program that was ended from outside has left behind: whatever still runs out of this build folder. */
function endLeftovers(buildFolder) {
  const inside = [`${buildFolder}/bin/`, `Z:${buildFolder}/bin/`.replaceAll('/', '\\')];
  for (const id of fs.readdirSync('/proc').filter((name) => /^\d+$/.test(name) && Number(name) !== process.pid)) {
    try {
      const words = fs.readFileSync(`/proc/${id}/cmdline`, 'latin1').split('\0');
      if (words.some((word) => inside.some((folder) => word.toLowerCase().startsWith(folder.toLowerCase())))) {
        process.kill(Number(id), 'SIGKILL');
      }
    } catch {
      // It has ended meanwhile.
    }
  }
}

/**
 * Runs a test program up to its first failure: { fate, test, seconds, output } with the fate "passed", "failed", "crashed"
 * or "timed out". A test that its own watchdog ends has timed out.
 */
async function runProgram(program, buildFolder, seconds, filter = `-${LEFT_OUT}`) {
  const env = { ...process.env, ...program.environment, ...SHORTER };
  if (Number(env.LINKWELL_TEST_SECONDS ?? 0) > TEST_SECONDS) {
    env.LINKWELL_TEST_SECONDS = String(TEST_SECONDS);
  }
  const limited = ['bash', '-c', `ulimit -d ${MEMORY_LIMIT}; exec "$@"`, 'bash'];
  const started = Date.now();
  const { status, output, timedOut } = await runCommand(
    [...limited, ...program.command, '--gtest_fail_fast', '--gtest_color=no', `--gtest_filter=${filter}`],
    { cwd: program.workingFolder, env, seconds },
  );
  const result = { seconds: Math.round((Date.now() - started) / 100) / 10, output };
  if (status === 0) {
    return { ...result, fate: 'passed' };
  }
  endLeftovers(buildFolder);
  const failed = /\[ {2}FAILED {2}\] ([\w/]+\.[\w/]+)/.exec(output)?.[1];
  const last = [...output.matchAll(/\[ RUN {6}\] ([\w/]+\.[\w/]+)/g)].at(-1)?.[1];
  if (timedOut || output.includes('ending the test program.')) {
    return { ...result, fate: 'timed out', test: last };
  }
  return failed ? { ...result, fate: 'failed', test: failed } : { ...result, fate: 'crashed', test: last };
}

module.exports = { build, configure, countSteps, hashOf, listPrograms, runProgram, stopCommands };
