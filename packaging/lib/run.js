// run.js: other programs, and the one kind of failure that a person is to read.
'use strict';

const { spawnSync } = require('child_process');

/** A failure that its message tells in full. */
class PackagingError extends Error {}

/**
 * Runs a program to its end, in UTC and without a language, as what it writes is to be the same everywhere.
 * @returns {string}  its standard output.
 * @throws {PackagingError}  when it can't be started or fails, with the end of what it wrote.
 */
function run(program, args, options = {}) {
  const { status, signal, error, stdout, stderr } = spawnSync(program, args, {
    encoding: 'utf8',
    maxBuffer: 1 << 30,
    ...options,
    env: { ...process.env, TZ: 'UTC', LC_ALL: 'C.UTF-8', ...options.env },
  });
  if (error !== undefined) {
    throw new PackagingError(error.code === 'ENOENT'
      ? `${program} is not installed: run "scripts/setup package"`
      : `${program} can't be run: ${error.message}`);
  }
  if (status !== 0) {
    const said = `${stdout}\n${stderr}`.split('\n').filter((line) => line.trim() !== '').slice(-5).join('\n  ');
    throw new PackagingError(`${program} ${args[0]} has failed (${signal ?? `status ${status}`}):\n  ${said}`);
  }
  return stdout;
}

module.exports = { PackagingError, run };
