// observations.js: the lines that the programs of bench/ print, and what they come to.
'use strict';

const fs = require('fs');

/** @returns {{figure: string, of: string, size: number, value: number, unit: string}} Throws for a line that isn't one. */
function parseLine(line, where) {
  let observation;
  try {
    observation = JSON.parse(line);
  } catch {
    throw new Error(`${where}: no JSON: ${line}`);
  }
  for (const [key, type] of Object.entries({ figure: 'string', of: 'string', size: 'number', value: 'number', unit: 'string' })) {
    if (typeof observation?.[key] !== type) {
      throw new Error(`${where}: "${key}" is missing, or no ${type}: ${line}`);
    }
  }
  return observation;
}

/** All observations of these files, of which there must be some. */
function readObservations(files) {
  const observations = files.flatMap((file) => fs.readFileSync(file, 'utf8').split('\n').flatMap((line, at) =>
    line.trim() === '' ? [] : [parseLine(line, `${file}:${at + 1}`)]));
  if (observations.length === 0) {
    throw new Error('there are no observations');
  }
  return observations;
}

function medianOf(sorted) {
  const middle = sorted.length / 2;
  return sorted.length % 2 === 1 ? sorted[Math.floor(middle)] : (sorted[middle - 1] + sorted[middle]) / 2;
}

/**
 * What is known of each figure, party and size, in the order in which they came.
 * @returns {{figure: string, of: string, size: number, unit: string, runs: number, median: number, least: number, most: number}[]}
 */
function summarize(observations) {
  const groups = new Map();
  for (const one of observations) {
    const key = JSON.stringify([one.figure, one.of, one.size]);
    const group = groups.get(key) || { ...one, values: [] };
    if (group.unit !== one.unit) {
      throw new Error(`${one.figure} of ${one.of} is measured in ${group.unit} and in ${one.unit}`);
    }
    group.values.push(one.value);
    groups.set(key, group);
  }
  return [...groups.values()].map(({ figure, of, size, unit, values }) => {
    const sorted = values.sort((one, other) => one - other);
    return { figure, of, size, unit, runs: sorted.length, median: medianOf(sorted), least: sorted[0], most: sorted[sorted.length - 1] };
  });
}

/** Whether two summaries of one figure differ by more than they vary: each median lies outside of the other's range. */
function hasMoved(one, other) {
  const outside = (value, range) => value < range.least || value > range.most;
  return outside(one.median, other) && outside(other.median, one);
}

module.exports = { readObservations, summarize, hasMoved };
