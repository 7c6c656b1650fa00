// figures.js: what is measured, in the order of the report, and what is aimed at. A figure that isn't here is reported by its
// own name.
'use strict';

/**
 * `size`: what the sizes count; without it nothing is said of the size. `rate`: also as so many of them a second, and how the
 * figure has grown beside them since the size before. `wine`: says more of Wine than of Windows.
 */
const FIGURES = [
  { figure: 'snapshot', title: 'First snapshot', size: 'contacts', rate: true },
  { figure: 'snapshot calls', title: 'its MAPI calls', size: 'contacts', rate: true },
  { figure: 'mailbox memory', title: 'Memory with the mailbox', size: 'contacts' },
  { figure: 'parts', title: 'Snapshot without MAPI', size: 'contacts', rate: true },
  { figure: 'composing', title: 'its composing', size: 'contacts' },
  { figure: 'log', title: 'its log', size: 'contacts' },
  { figure: 'pipe', title: 'its pipe', size: 'contacts' },
  { figure: 'snapshot memory', title: 'Memory for a snapshot', size: 'contacts' },
  { figure: 'snapshot memory with a log', title: 'Memory for a snapshot, with a log', size: 'contacts' },
  { figure: 'message', title: 'Message', size: 'MB', rate: true },
  { figure: 'message memory', title: 'Memory for a message', size: 'MB' },
  { figure: 'message memory with a log', title: 'Memory for a message, with a log', size: 'MB' },
  { figure: 'change', title: 'Change, median', wine: true },
  { figure: 'change 99th', title: 'Change, 99th percentile', wine: true },
  { figure: 'change slowest', title: 'Change, slowest', wine: true },
  { figure: 'pump period', title: 'A period of the pump', wine: true },
  { figure: 'exchange', title: 'An exchange with the host', wine: true },
  { figure: 'burst', title: 'Burst of changes, one by one', size: 'changes', rate: true },
  { figure: 'batch', title: 'Burst of changes in one batch', size: 'changes', rate: true },
  { figure: 'new folder', title: 'A folder that appears', size: 'contacts', rate: true },
  { figure: 'folders registered', title: 'Known folders, registering', size: 'folders', rate: true },
  { figure: 'folders searched', title: 'Known folders, each searched once', size: 'folders', rate: true },
  { figure: 'one folder gone', title: 'Known folders, one is gone', size: 'folders', rate: true },
  { figure: 'all folders gone', title: 'Known folders, all are gone', size: 'folders', rate: true },
  { figure: 'burst memory', title: 'Memory of a burst, one by one', size: 'changes' },
  { figure: 'batch memory', title: 'Memory of a burst in one batch', size: 'changes' },
  { figure: 'new folder memory', title: 'Memory of a folder that appears', size: 'contacts' },
  { figure: 'idle time', title: 'Processor time, idle', wine: true },
  { figure: 'idle wake-ups', title: 'Wake-ups, idle', wine: true },
  { figure: 'log records', title: 'Log records', size: 'records', rate: true },
  { figure: 'log records without a file', title: 'Log records without a file', size: 'records', rate: true },
  { figure: 'start', title: 'Start to first connection', wine: true },
  { figure: 'program size', title: 'Program size' },
];

/** Aims for a figure of the agent beside another party's, at each of these sizes. */
function beside(aim, figure, other, sizes, most) {
  return sizes.map((size) => ({
    aim: `${aim.replace('SIZE', size.toLocaleString('en'))}, agent beside ${other}`,
    measured: (median) => median(figure, 'agent', size) / median(figure, other, size),
    most,
  }));
}

/** An aim that a figure of the agent grows no faster than its size, but for what measurements vary. */
function linear(aim, figure, from, to) {
  return { aim, measured: (median) => median(figure, 'agent', to) / median(figure, 'agent', from) / (to / from), most: 1.1 };
}

/** An aim that a figure of the agent grows no faster than the floor's, where that grows faster than its size. */
function growthBeside(aim, figure, from, to, most) {
  const ratio = (median, size) => median(figure, 'agent', size) / median(figure, 'floor', size);
  return { aim: `${aim}, agent beside floor`, measured: (median) => ratio(median, to) / ratio(median, from), most };
}

/**
 * `measured` gets `median(figure, of, size)`, of whatever size when there is none, which is NaN for what has not been measured. It
 * gives what is to be at most `most`.
 */
const AIMS = [
  ...beside('Snapshot of SIZE contacts', 'snapshot', 'floor', [10000, 100000, 300000], 1.05),
  ...beside('Snapshot of SIZE contacts', 'snapshot', 'floor with texts', [10000, 100000, 300000], 1.05),
  ...beside('Composing, log and pipe of SIZE contacts', 'parts', 'floor', [10000, 100000, 300000], 1.2),
  ...beside('Composing, log and pipe of SIZE contacts', 'parts', 'floor with texts', [10000, 100000, 300000], 1.2),
  {
    aim: 'Snapshot of 300,000 contacts beside 100,000',
    measured: (median) => median('snapshot', 'agent', 300000) / median('snapshot', 'agent', 100000),
    most: 3.2,
  },
  linear('Composing, log and pipe, growth beside size up to 300,000 contacts', 'parts', 100000, 300000),
  growthBeside('Message, growth from 64 to 200 MB', 'message', 64, 200, 1.1),
  growthBeside('Burst in one batch, growth up to 20,000 changes', 'batch', 2000, 20000, 1.1),
  growthBeside('Folder that appears, growth up to 20,000 contacts', 'new folder', 2000, 20000, 1.1),
  { aim: 'Sandbox with a mailbox of 300,000 contacts, MB', measured: (median) => median('mailbox memory', 'sandbox', 300000), most: 500 },
  ...beside('Message of SIZE MB', 'message', 'floor', [200], 1.15),
  { aim: 'Memory for each byte of 200 MB', measured: (median) => median('message memory', 'agent', 200), most: 5 },
  ...beside('Memory for each byte of SIZE MB', 'message memory', 'floor with texts', [200], 1.01),
  {
    aim: 'Memory for each byte of 200 MB, with a log',
    measured: (median) => median('message memory with a log', 'agent', 200),
    most: 6,
  },
  {
    aim: "A change beside the pump's period and 1.2 exchanges",
    measured: (median) => median('change', 'agent') / (median('pump period', 'bare') + 1.2 * median('exchange', 'bare')),
    most: 1,
  },
  ...beside('A change', 'change', 'floor', [1], 1.05),
  ...beside('Processor time, idle', 'idle time', 'floor', [1], 1.05),
  ...beside('Wake-ups, idle', 'idle wake-ups', 'floor', [1], 1.05),
  ...['folders registered', 'folders searched', 'one folder gone', 'all folders gone'].map((figure) =>
    growthBeside(`Growth from 1,000 to 20,000 known folders (${figure})`, figure, 1000, 20000, 1.2)),
];

module.exports = { FIGURES, AIMS };
