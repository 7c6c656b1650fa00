#!/usr/bin/env node
// report.js: what the programs of bench/ have observed, as tables and curves.
//
//   report.js FILES...                  prints the tables, and how the aims stand
//   report.js --before FILE FILES...    prints what has moved against the observations of another commit
//   report.js --write PAGE FILES...     writes the page's blocks anew, and its curves into the folder beside it
//
// A block of the page stands between <!-- bench: aims -->, <!-- bench: table FIGURE, FIGURE -->, <!-- bench: curve FIGURE -->
// or <!-- bench: machine -->, which is what LINKWELL_BENCH_MACHINE says, and <!-- /bench -->. Exit status: 0; 1 for lines that are
// no observations and blocks that can't be written.
'use strict';

const fs = require('fs');
const path = require('path');
const { drawCurve } = require('./curves.js');
const { readObservations, summarize } = require('./observations.js');
const { measuredFigures, figuresTable, aimsTable, comparison, describe } = require('./tables.js');

function printed(summaries) {
  return `${figuresTable(summaries, measuredFigures(summaries))}\n\n${aimsTable(summaries)}`;
}

/** What stands in a block, by the words of its first line. */
function blockText(words, summaries, page) {
  const [kind, names = ''] = [words.split(' ')[0], words.slice(words.indexOf(' ') + 1)];
  if (kind === 'aims') {
    return aimsTable(summaries);
  }
  if (kind === 'machine') {
    if (!process.env.LINKWELL_BENCH_MACHINE) {
      throw new Error(`${page}: LINKWELL_BENCH_MACHINE does not say on what was measured`);
    }
    return process.env.LINKWELL_BENCH_MACHINE;
  }
  const figures = names.split(',').map((name) => name.trim());
  for (const figure of figures) {
    if (!summaries.some((one) => one.figure === figure)) {
      throw new Error(`${page}: nothing has been measured of "${figure}"`);
    }
  }
  if (kind === 'table') {
    return figuresTable(summaries, figures);
  }
  if (kind === 'curve') {
    return figures.map((figure) => {
      const file = `${path.basename(page, '.md')}/${figure.replaceAll(' ', '-')}.svg`;
      drawCurve(summaries, figure, path.join(path.dirname(page), file));
      return `![${describe(figure).title}](${file})`;
    }).join('\n\n');
  }
  throw new Error(`${page}: there is no block "${words}"`);
}

function writePage(page, summaries) {
  const text = fs.readFileSync(page, 'utf8');
  const written = text.replace(/(<!-- bench: (.*) -->\n)[^]*?(<!-- \/bench -->)/g,
    (_, head, words, end) => `${head}\n${blockText(words, summaries, page)}\n\n${end}`);
  fs.writeFileSync(page, written);
}

function main([option, value, ...rest]) {
  if (option === '--write') {
    writePage(value, summarize(readObservations(rest)));
  } else if (option === '--before') {
    console.log(comparison(summarize(readObservations([value])), summarize(readObservations(rest))));
  } else {
    console.log(printed(summarize(readObservations([option, value, ...rest].filter(Boolean)))));
  }
}

try {
  main(process.argv.slice(2));
} catch (error) {
  console.error(`error: ${error.message}`);
  process.exitCode = 1;
}
