// compare-report.js: whether the sandbox's end report names only what the agent holds at its end on purpose.
'use strict';

/**
 * The agent never frees the value by which it learns the SMTP address of an Exchange user: one block for each contact
 * with such an address. Everything else it gives back.
 * @param {{exchangeAddresses: number}[]} stores  as expectedSnapshot gives them.
 * @param {string[]} lines  the report's.
 * @returns {string[]}  one text per difference; empty when all is as expected.
 */
function compareReport(stores, lines) {
  const kept = stores.reduce((sum, { exchangeAddresses }) => sum + exchangeAddresses, 0);
  const blocks = `HrGetOneProp: ${kept} block\\(s\\), [0-9]+ bytes`;
  const expected = new RegExp(`^${kept === 0 ? 'Nothing is held\\.' : blocks}$`);
  const differences = lines.filter((line) => !expected.test(line)).map((line) => `the end report says: ${line}`);
  if (differences.length === lines.length) {
    const what = kept === 0 ? 'nothing is held' : `${kept} block(s) of HrGetOneProp are held`;
    differences.push(`the end report does not say that ${what}`);
  }
  return differences;
}

module.exports = { compareReport };
