// numbered-store.js: the folders and messages of a store of a mailbox file, with the numbers and entry identifiers that
// the sandbox gives them (docs/sandbox.md).
'use strict';

const { folderEntryId, messageEntryId } = require('./entry-ids');

/**
 * @typedef {object} NumberedMessage
 * @property {object} message   as the file has it.
 * @property {string} entryId
 * @property {string} place     where in the file it stands.
 *
 * @typedef {object} NumberedFolder
 * @property {object} folder    as the file has it.
 * @property {number} number
 * @property {string} entryId
 * @property {string} place
 * @property {NumberedMessage[]} messages
 * @property {NumberedFolder[]} below
 */

/** An identifier that the file gives, as it is on the wire. */
function written(entryId) {
  return entryId.replace(/\s/g, '').toUpperCase();
}

/**
 * @param {object} store  a store of a mailbox file.
 * @param {number} storePlace  counts the stores of the file from 1.
 * @returns {{subtree: NumberedFolder, all: NumberedFolder[], messages: number}}  the IPM subtree; all folders by their
 *     numbers, from 1; and how many messages there are.
 */
function numberStore(store, storePlace) {
  const all = [];
  let messages = 0;

  function number(folder, subfolders = [], place = '') {
    const numbered = { folder, number: all.length + 1, place };
    all.push(numbered);
    numbered.entryId = written(folder.entryId || folderEntryId(storePlace, numbered.number));
    numbered.messages = (folder.messages || []).map((message, at) => {
      messages += 1;
      const entryId = written(message.entryId || messageEntryId(storePlace, numbered.number, messages));
      return { message, entryId, place: `${place}/messages/${at}` };
    });
    numbered.below = subfolders.map((subfolder, at) => number(subfolder, subfolder.folders, `${place}/folders/${at}`));
    return numbered;
  }

  const place = `/stores/${storePlace - 1}`;
  const { root = {}, ipmSubtree = {}, folders = [], rootFolders = [] } = store;
  // The numbers run over all folders, also those that nobody sees.
  number(root, [], `${place}/root`);
  const subtree = number(ipmSubtree, folders, place);
  rootFolders.forEach((folder, at) => number(folder, folder.folders, `${place}/rootFolders/${at}`));
  return { subtree, all, messages };
}

module.exports = { numberStore };
