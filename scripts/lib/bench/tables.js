// tables.js: the summaries of observations as tables in Markdown.
'use strict';

const { FIGURES, AIMS } = require('./figures.js');
const { hasMoved } = require('./observations.js');

/** Three digits that count, and no more; whole above a thousand. */
function numberText(value) {
  if (Math.abs(value) >= 100) {
    return Math.round(value).toLocaleString('en');
  }
  return String(Number(value.toPrecision(3)));
}

function ratioText(value) {
  return Number.isFinite(value) ? value.toFixed(2) : '–';
}

function spreadText({ median, least, most }) {
  const text = numberText(median);
  return least === most ? text : `${text} (${numberText(least)} to ${numberText(most)})`;
}

function table(heads, rows) {
  const widths = heads.map((head, column) => Math.max(...[head, ...rows.map((row) => row[column])].map((cell) => cell.length)));
  const line = (cells) => `| ${cells.map((cell, column) => cell.padEnd(widths[column])).join(' | ')} |`;
  return [line(heads), `|${widths.map((width) => '-'.repeat(width + 2)).join('|')}|`, ...rows.map(line)].join('\n');
}

function describe(figure) {
  return FIGURES.find((one) => one.figure === figure) || { figure, title: figure, size: 'size' };
}

/** The figures that have been measured, those that are known first. */
function measuredFigures(summaries) {
  const measured = new Set(summaries.map(({ figure }) => figure));
  const known = FIGURES.map(({ figure }) => figure).filter((figure) => measured.has(figure));
  return [...known, ...[...measured].filter((figure) => !known.includes(figure))];
}

/** A figure over its sizes: the agent, or whoever else has been measured, beside each other party. */
function figureTable(summaries, figure) {
  const { title, size, rate } = describe(figure);
  const all = summaries.filter((one) => one.figure === figure).sort((one, other) => one.size - other.size);
  const parties = [...new Set(all.map(({ of }) => of))].sort((one, other) => (other === 'agent') - (one === 'agent'));
  const main = all.filter(({ of }) => of === parties[0]);
  const heads = [size === undefined ? title : `${title}: ${size}`, `${parties[0]}, ${all[0].unit}`, ...parties.slice(1).flatMap((of) => [of, 'ratio'])];
  const rows = main.map((one, at) => {
    const others = parties.slice(1).flatMap((of) => {
      const other = all.find((candidate) => candidate.of === of && candidate.size === one.size);
      return other === undefined ? ['–', '–'] : [spreadText(other), ratioText(one.median / other.median)];
    });
    const row = [size === undefined ? '' : one.size.toLocaleString('en'), spreadText(one), ...others];
    if (rate) {
      const before = main[at - 1];
      row.push(numberText((one.size / one.median) * 1000));
      row.push(before === undefined ? '–' : ratioText(one.median / before.median / (one.size / before.size)));
    }
    return row;
  });
  return table(rate ? [...heads, 'a second', 'growth beside size'] : heads, rows);
}

/** How each aim stands. */
function judgeAims(summaries) {
  const median = (figure, of, size) =>
    (summaries.find((one) => one.figure === figure && one.of === of && one.size === size) || { median: NaN }).median;
  return AIMS.map(({ aim, measured, most }) => {
    const value = Number(measured(median).toFixed(2)); // what is judged is what is printed
    return { aim, value, most, met: Number.isNaN(value) ? undefined : value <= most };
  });
}

function aimsTable(summaries) {
  const words = new Map([[true, 'met'], [false, '**not met**'], [undefined, 'not measured']]);
  return table(['Aim', 'At most', 'Measured', ''], judgeAims(summaries).map(({ aim, value, most, met }) =>
    [aim, String(most), ratioText(value), words.get(met)]));
}

/** What has moved between two sets of summaries beyond what either varies. */
function comparison(before, now) {
  const rows = now.flatMap((one) => {
    const other = before.find(({ figure, of, size }) => figure === one.figure && of === one.of && size === one.size);
    if (other === undefined) {
      return [];
    }
    const change = (one.median / other.median - 1) * 100;
    return [[describe(one.figure).title, one.size.toLocaleString('en'), one.of, spreadText(other), spreadText(one), one.unit,
      `${change >= 0 ? '+' : ''}${change.toFixed(1)} %`, hasMoved(one, other) ? '**moved**' : '']];
  });
  return table(['Figure', 'Size', 'Of', 'Before', 'Now', '', 'Change', ''], rows);
}

module.exports = { measuredFigures, describe, figureTable, judgeAims, aimsTable, comparison };
