// expected-edits.js: the edits that the demo makes, and the messages that each of them is to bring.
//
// The file of the edits tells the messages as they are on the wire, but for the identifiers. For these it names the
// places of the objects, and the rule of docs/sandbox.md gives the identifiers.
'use strict';

const { Places, parentPath } = require('./places');

const EDIT_KEYS = ['shows', 'command', 'input', 'makes', 'arrives', 'exchangeAddresses'];
const MAKES = {
  contact: (places, path) => places.makeContact(path),
  folder: (places, path) => places.makeFolder(path),
  keeps: (places, path, formerPath) => places.keep(path, formerPath),
};

// The items of a message, by the key that stands for the place of their object.
const ITEMS = {
  contact: (places, path, { fields }) => `${fields};${places.entryId(path)};${places.entryId(parentPath(path))}`,
  goneContact: (places, path) => `;;;;;;;;;;${places.entryId(path)};`,
  goneFolder: (places, path) => places.entryId(path),
};

function itemText(places, item) {
  const [kind] = Object.keys(item).filter((key) => ITEMS[key]);
  if (kind === undefined || (kind === 'contact' && item.fields.split(';').length !== 10)) {
    throw new Error(`no item of a message: ${JSON.stringify(item)}`);
  }
  return ITEMS[kind](places, item[kind], item);
}

function messageText(places, { header, items }) {
  return [header, ...items.map((item) => itemText(places, item))].join('\n');
}

function requireEdit(edit) {
  const unknown = Object.keys(edit).find((key) => !EDIT_KEYS.includes(key));
  if (unknown !== undefined || !edit.shows || !Array.isArray(edit.command) || !Array.isArray(edit.arrives)) {
    throw new Error(`no edit${unknown === undefined ? '' : `, for its "${unknown}"`}: ${JSON.stringify(edit)}`);
  }
}

/**
 * @param {object} mailbox  the value of the mailbox file, which is how it is before the first edit.
 * @param {object[]} edits  the value of the file of the edits.
 * @returns {{shows: string, messages: string[], exchangeAddresses: number}[]}  for each edit: what it shows; the texts
 *     of its messages, in their order; and how many addresses of Exchange users the agent looks up for them.
 */
function expectedEdits(mailbox, edits) {
  const places = new Places(mailbox);
  return edits.map((edit) => {
    requireEdit(edit);
    for (const made of edit.makes || []) {
      const [kind, ...paths] = made;
      if (!MAKES[kind]) {
        throw new Error(`"${edit.shows}": nothing is made by ${JSON.stringify(made)}`);
      }
      MAKES[kind](places, ...paths);
    }
    return {
      shows: edit.shows,
      messages: edit.arrives.map((message) => messageText(places, message)),
      exchangeAddresses: edit.exchangeAddresses || 0,
    };
  });
}

module.exports = { expectedEdits };
