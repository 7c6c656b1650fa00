// compare-report.js: whether the sandbox's end report names only what the agent holds at its end on purpose.
'use strict';

/**
 * The agent never frees the value by which it learns the SMTP address of an Exchange user: one block for each contact
 * with such an address that it has told. Everything else it gives back.
 * @param {number} kept  how many blocks that makes.
 * @param {boolean} orMore  whether more contacts may have been told than are counted here.
 * @param {string[]} lines  the report's.
 * @returns {string[]}  one text per difference; empty when all is as expected.
 */
function compareReport(kept, orMore, lines) {
  const isExpected = (line) => {
    const [, blocks] = /^HrGetOneProp: ([0-9]+) block\(s\), [0-9]+ bytes$/.exec(line) || [];
    const held = line === 'Nothing is held.' ? 0 : Number(blocks);
    return held === kept || (orMore && held > kept);
  };
  const differences = lines.filter((line) => !isExpected(line)).map((line) => `the end report says: ${line}`);
  if (differences.length === lines.length) {
    const what = kept === 0 ? 'nothing is held' : `${kept} block(s) of HrGetOneProp are held`;
    differences.push(`the end report does not say that ${what}`);
  }
  return differences;
}

module.exports = { compareReport };
