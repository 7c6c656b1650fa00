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
  return FIGURES.find((one) => one.figure === figure) || { figure, title: figure, size: '' };
}

/** The figures that have been measured, those that are known first. */
function measuredFigures(summaries) {
  const measured = new Set(summaries.map(({ figure }) => figure));
  const known = FIGURES.map(({ figure }) => figure).filter((figure) => measured.has(figure));
  return [...known, ...[...measured].filter((figure) => !known.includes(figure))];
}

/** The median in its unit, behind whose it is, unless it is the agent's. */
function cellOf(summary) {
  const whose = summary.of === 'agent' ? '' : `${summary.of}: `;
  return `${whose}${spreadText(summary)} ${summary.unit}`;
}

/** How many of its sizes a second brings, and what the time has grown by beside the size. */
function rateOf(agent, before) {
  const second = numberText((agent.size / agent.median) * 1000);
  return [second, before === undefined ? '–' : ratioText(agent.median / before.median / (agent.size / before.size))];
}

/** A star for what says more of Wine than of Windows. */
function titleOf({ title, wine }) {
  return wine ? `${title} *` : title;
}

/** The rows of a figure over its sizes: the agent beside each other party, and not once more behind the first of them. */
function figureRows(summaries, figure) {
  const described = describe(figure);
  const { size: counted, rate } = described;
  const all = summaries.filter((one) => one.figure === figure);
  const sizes = [...new Set(all.map(({ size }) => size))].sort((one, other) => one - other);
  const agentAt = (size) => all.find((one) => one.of === 'agent' && one.size === size);
  return sizes.flatMap((size, at) => {
    const agent = agentAt(size);
    const others = all.filter((one) => one.of !== 'agent' && one.size === size);
    const head = [titleOf(described), counted === undefined ? '' : `${size.toLocaleString('en')} ${counted}`, agent === undefined ? '–' : cellOf(agent)];
    const tail = rate && agent !== undefined ? rateOf(agent, at === 0 ? undefined : agentAt(sizes[at - 1])) : ['', ''];
    return (others.length === 0 ? [undefined] : others).map((other, row) => [...(row === 0 ? head : ['', '', '']),
      ...(other === undefined ? ['–', '–'] : [cellOf(other), agent === undefined ? '–' : ratioText(agent.median / other.median)]),
      ...(row === 0 ? tail : ['', ''])]);
  });
}

function figuresTable(summaries, figures) {
  const heads = ['Figure', 'Size', 'Agent', 'Beside', 'Ratio', 'A second', 'Growth'];
  const rows = figures.flatMap((figure) => figureRows(summaries, figure));
  const columns = rows.every((row) => row.slice(5).every((cell) => cell === '')) ? 5 : 7;
  return table(heads.slice(0, columns), rows.map((row) => row.slice(0, columns)));
}

/** How each aim stands. */
function judgeAims(summaries) {
  const median = (figure, of, size) =>
    (summaries.find((one) => one.figure === figure && one.of === of && (size === undefined || one.size === size)) ||
      { median: NaN }).median;
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

module.exports = { measuredFigures, describe, figuresTable, judgeAims, aimsTable, comparison };
