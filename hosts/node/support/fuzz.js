// fuzz.js: a check of inputs at random, each drawn by a seed of its own, for as long as there is time.
'use strict';

const fc = require('fast-check');
const fs = require('fs');

const USUAL_SECONDS = 0.5;

/**
 * Checks a property of fast-check with one seed after the other, from 1 on, for half a second or LINKWELL_FUZZ_SECONDS.
 * LINKWELL_SEED is another first seed, and without LINKWELL_FUZZ_SECONDS the only one. Throws at the first input that fails,
 * made as small as it can be, and says how to try it again. Prints how many cases there were, and appends them to the file
 * LINKWELL_FIGURES as a row of the table "fuzzing".
 * @param {string} target  what is tried, in words for that table.
 */
function fuzz(target, property) {
  const { LINKWELL_SEED, LINKWELL_FUZZ_SECONDS, LINKWELL_FIGURES } = process.env;
  const first = Number(LINKWELL_SEED ?? 1);
  const seconds = Number(LINKWELL_FUZZ_SECONDS ?? (LINKWELL_SEED === undefined ? USUAL_SECONDS : 0));
  if (!(first >= 0 && seconds >= 0)) {
    throw new Error('LINKWELL_SEED and LINKWELL_FUZZ_SECONDS are numbers from 0 on');
  }
  const begin = Date.now();
  let seed = first - 1;
  let result;
  do {
    seed += 1;
    result = fc.check(property, { seed, numRuns: 1 });
  } while (!result.failed && Date.now() - begin < seconds * 1000);

  const taken = (Date.now() - begin) / 1000;
  const row = {
    Target: target,
    Cases: seed - first + 1,
    Seeds: `${first} to ${seed}`,
    Seconds: Math.round(taken),
    Findings: Number(result.failed),
  };
  console.log(`${target}: ${row.Cases} cases, seeds ${row.Seeds}, ${taken.toFixed(1)} s`);
  if (LINKWELL_FIGURES !== undefined) {
    fs.appendFileSync(LINKWELL_FIGURES, `${JSON.stringify({ table: 'fuzzing', row })}\n`);
  }
  if (result.failed) {
    throw new Error(`${fc.defaultReportMessage(result)}\nTo do this again: LINKWELL_SEED=${seed}`, { cause: result.errorInstance });
  }
}

module.exports = { fuzz };
