// figures.js: what is measured, in the order of the report, and what is aimed at. A figure that isn't here is reported by its
// own name.
'use strict';

/**
 * `size`: what the sizes count. `rate`: also as so many of them a second, and how the figure grows with them. `curve`: drawn
 * over its sizes. `wine`: says more of Wine than of Windows.
 */
const FIGURES = [
  { figure: 'snapshot', title: 'First snapshot', size: 'contacts', rate: true, curve: true },
  { figure: 'snapshot calls', title: 'of which MAPI calls', size: 'contacts', rate: true },
  { figure: 'snapshot composing', title: 'of which composing', size: 'contacts' },
  { figure: 'snapshot log', title: 'of which the log', size: 'contacts' },
  { figure: 'snapshot pipe', title: 'of which the pipe', size: 'contacts' },
  { figure: 'snapshot memory', title: 'Memory of a first snapshot', size: 'contacts' },
  { figure: 'mailbox memory', title: 'Memory of the sandbox with its mailbox', size: 'contacts' },
];

/** The sum of the medians of a snapshot's parts but for the calls. */
function ownWork(median, of, size) {
  return ['composing', 'log', 'pipe'].reduce((sum, part) => sum + median(`snapshot ${part}`, of, size), 0);
}

/**
 * `measured` gets `median(figure, of, size)`, which is NaN for what has not been measured, and gives what is to be at most `most`.
 */
const AIMS = [
  ...[10000, 100000, 300000].map((size) => ({
    aim: `Snapshot of ${size.toLocaleString('en')} contacts, agent beside floor`,
    measured: (median) => median('snapshot', 'agent', size) / median('snapshot', 'floor', size),
    most: 1.05,
  })),
  ...[10000, 100000, 300000].map((size) => ({
    aim: `of which composing, log and pipe, ${size.toLocaleString('en')} contacts`,
    measured: (median) => ownWork(median, 'agent', size) / ownWork(median, 'floor', size),
    most: 1.2,
  })),
  {
    aim: 'Snapshot of 300,000 contacts beside 100,000',
    measured: (median) => median('snapshot', 'agent', 300000) / median('snapshot', 'agent', 100000),
    most: 3.2,
  },
  {
    aim: 'The sandbox with a mailbox of 300,000 contacts, MB',
    measured: (median) => median('mailbox memory', 'sandbox', 300000),
    most: 500,
  },
];

module.exports = { FIGURES, AIMS };
