// timing.js: work in slices, and waits with an end.
'use strict';

const { setImmediate: nextTurn } = require('timers/promises');

const SLICE_MILLISECONDS = 3;
const LONGEST_TIMER = 2 ** 31 - 1;

/** Work that gives way to all else that waits for the event loop after each slice of a few milliseconds. */
class Slices {
  constructor() {
    this._end = performance.now() + SLICE_MILLISECONDS;
  }

  /** Whether the slice is used up; then `next` is to be awaited. */
  get over() {
    return performance.now() >= this._end;
  }

  async next() {
    await nextTurn();
    this._end = performance.now() + SLICE_MILLISECONDS;
  }
}

/** Whether the promise settled in time. It may also take for ever: `milliseconds` can be Infinity. */
async function settlesWithin(promise, milliseconds) {
  let timer;
  const timeout = new Promise((resolve) => {
    if (milliseconds <= LONGEST_TIMER) {
      timer = setTimeout(resolve, milliseconds, false);
    }
  });
  try {
    return await Promise.race([promise.then(() => true, () => true), timeout]);
  } finally {
    clearTimeout(timer);
  }
}

/** Calls back every so many milliseconds, until the function that it returns is called; never, where that is too long. */
function repeatEvery(milliseconds, callback) {
  const timer = milliseconds <= LONGEST_TIMER ? setInterval(callback, milliseconds) : undefined;
  return () => clearInterval(timer);
}

module.exports = { Slices, repeatEvery, settlesWithin };
