// entry-ids.js: the entry identifiers that the sandbox gives to objects without one of their own (docs/sandbox.md).
'use strict';

const FLAGS = '00000000';
const FOLDER = '0100';
const MESSAGE = '0700';

/** The 16 bytes that mark a store; `place` counts the stores of the file from 1. */
function storeUid(place) {
  return Buffer.from([...Buffer.from('LinkwellSandbox', 'ascii'), place]).toString('hex').toUpperCase();
}

function number6(number) {
  return number.toString(16).toUpperCase().padStart(12, '0');
}

function folderEntryId(storePlace, number) {
  const uid = storeUid(storePlace);
  return `${FLAGS}${uid}${FOLDER}${uid}${number6(number)}0000`;
}

function messageEntryId(storePlace, folderNumber, number) {
  const uid = storeUid(storePlace);
  return `${FLAGS}${uid}${MESSAGE}${uid}${number6(folderNumber)}0000${uid}${number6(number)}0000`;
}

module.exports = { folderEntryId, messageEntryId };
