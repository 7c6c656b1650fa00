// curves.js: a figure over its sizes, drawn by gnuplot.
'use strict';

const { spawnSync } = require('child_process');
const fs = require('fs');
const path = require('path');
const { describe } = require('./tables.js');

/** What gnuplot is told: both axes by powers of ten, each party with its median and the range of its runs. */
function plotCommands(summaries, figure) {
  const { title, size } = describe(figure);
  const all = summaries.filter((one) => one.figure === figure).sort((one, other) => one.size - other.size);
  const parties = [...new Set(all.map(({ of }) => of))];
  const blocks = parties.map((of, at) => [`$party${at} << END`,
    ...all.filter((one) => one.of === of).map((one) => `${one.size} ${one.median} ${one.least} ${one.most}`), 'END'].join('\n'));
  const sizes = [...new Set(all.map((one) => one.size))];
  const plots = parties.map((of, at) => `$party${at} using 1:2:3:4 with yerrorlines title "${of}" lw 1.5 pt 7 ps 0.5`);
  return `set terminal svg size 720,420 font "sans-serif,13" background "white"
set logscale xy
set xrange [${Math.min(...sizes) / 1.5}:${Math.max(...sizes) * 1.5}]
set xtics (${sizes.map((one) => `"${one.toLocaleString('en')}" ${one}`).join(', ')})
set xlabel ${JSON.stringify(size)}
set ylabel ${JSON.stringify(`${title}, ${all[0].unit}`)}
set key top left
set grid
set tics nomirror
${blocks.join('\n')}
plot ${plots.join(', ')}
`;
}

/** Writes the SVG; throws where gnuplot is missing or refuses. */
function drawCurve(summaries, figure, file) {
  fs.mkdirSync(path.dirname(file), { recursive: true });
  const run = spawnSync('gnuplot', { input: plotCommands(summaries, figure), encoding: 'utf8' });
  if (run.error || run.status !== 0 || run.stderr !== '') {
    throw new Error(`gnuplot can't draw "${describe(figure).title}": ${run.error ? run.error.message : run.stderr.trim()}`);
  }
  // gnuplot indents by tabs and leaves blanks at the ends of lines, and the file is committed.
  fs.writeFileSync(file, run.stdout.replace(/[ \t]+$/gm, '').replaceAll('\t', '  '));
}

module.exports = { drawCurve };
