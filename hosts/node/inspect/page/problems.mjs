// problems.mjs: what has gone wrong or looks like it, each with what it means and where the documents say more.

import { documentLink } from './documents.mjs';
import { clock, count, element, foreign, shortId } from './text.mjs';

const UNKNOWN_HEADER = `The message has been answered and nothing of it is kept. It may come of a newer agent: what is shown may
  be old until the agent's next start.`;

/** By code: a title, what it means, a section of a document, and whether it is no fault. */
export const EXPLANATIONS = {
  guessed: {
    title: (problem) => `Fields of ${count(problem.count, 'contact')} are guessed`,
    text: `A “;” stands in one of the texts, and the wire has no way to say so. The identifiers are certain; where the other
      fields begin is guessed.`,
    section: ['wire-protocol.md', 'Reading the items'],
    note: true,
  },
  leftOver: {
    title: (problem) => `${count(problem.count, 'item')} could not be read`,
    text: `Lines that end in no identifiers are no contact that anything can be done with. They are not shown in the tree.`,
    section: ['wire-protocol.md', 'Reading the items'],
  },
  withoutId: {
    title: (problem) => `${count(problem.count, 'contact')} without an identifier`,
    text: `The mail store has given none, so nothing could ever change or delete such a contact: it is passed over.`,
    section: ['host-lifecycle.md', 'What to keep'],
  },
  unknown: {
    title: (problem) => `${count(problem.count, 'deletion')} of what is not known here`,
    text: `No fault: the agent keeps no record of what it has sent, and may report the end of what it never did.`,
    section: ['wire-protocol.md', 'What to reckon with'],
    note: true,
  },
  ERR_LINKWELL_HANDLER: {
    title: () => 'This host has failed in a message',
    text: `The message was refused by that. Nothing is sent twice, so it is lost; during its snapshot, the agent ends.`,
    section: ['host-lifecycle.md', 'What a host must never do'],
  },
  ERR_LINKWELL_HEADER: {
    title: () => 'A header could not be read', text: UNKNOWN_HEADER, section: ['wire-protocol.md', 'A message'],
  },
  ERR_LINKWELL_VERSION: {
    title: () => 'Unknown version of the protocol', text: UNKNOWN_HEADER, section: ['wire-protocol.md', 'A message'],
  },
  ERR_LINKWELL_OPERATION: {
    title: () => 'Unknown operation', text: UNKNOWN_HEADER, section: ['wire-protocol.md', 'A message'],
  },
  ERR_LINKWELL_KIND: {
    title: () => 'Unknown kind of items', text: UNKNOWN_HEADER, section: ['wire-protocol.md', 'A message'],
  },
  ERR_LINKWELL_OVERSIZED: {
    title: () => 'A message is too long',
    text: `It was refused by the limit of this host (--max-bytes), and is lost.`,
    section: ['wire-protocol.md', 'A message'],
  },
  ERR_LINKWELL_INCOMPLETE: {
    title: () => 'A message did not come to its end',
    text: `Whoever sent it has gone in its midst. Nothing of it counts.`,
    section: ['wire-protocol.md', 'The reference sequence'],
  },
  ERR_LINKWELL_CONNECTION: {
    title: () => 'A connection broke',
    text: `The agent, or another program, has ended it; an answer may not have got there.`,
    section: ['wire-protocol.md', 'The reference sequence'],
  },
  ERR_LINKWELL_TIMEOUT: {
    title: () => 'A client fell silent',
    text: `It was cut off. A message that had not come to its end does not count.`,
    section: ['wire-protocol.md', 'The reference sequence'],
  },
  ERR_LINKWELL_CLOSED: {
    title: () => 'The host closed before a message was answered',
    text: `The message counts as refused.`,
    section: ['host-lifecycle.md', 'Closing the agent'],
  },
  ERR_LINKWELL_PIPE: {
    title: () => 'The pipe can\'t be served any more',
    text: `No agent can connect. Another program may serve a pipe of this name.`,
    section: ['host-lifecycle.md', 'Several of each'],
  },
};

const OTHER = { title: () => 'An error of the host', text: '', section: ['host-lifecycle.md', 'Living with the agent'] };

export class Problems {
  /** @param {function(string)} onContact  told the identifier of a contact that is chosen. */
  constructor(place, onContact) {
    this._place = place;
    this._onContact = onContact;
    this._limit = Infinity;
  }

  load(problems, limits) {
    this._limit = limits.problems;
    this._place.replaceChildren(...problems.map((problem) => this._entry(problem)).reverse());
  }

  add(problem) {
    this._place.prepend(this._entry(problem));
    while (this._place.childElementCount > this._limit) {
      this._place.lastElementChild.remove();
    }
  }

  _entry(problem) {
    const { code, time, message, reason, contacts = [], texts } = problem;
    const { title, text, section, note } = EXPLANATIONS[code] ?? OTHER;
    const examples = [
      ...contacts.map(({ name, entryId }) => element('li', {},
        element('button', { type: 'button', class: 'link', click: () => this._onContact(entryId) },
          name === '' ? '(no name)' : foreign(name)))),
      ...texts.map((excerpt) => element('li', {}, element('code', {}, foreign(code === 'unknown' ? shortId(excerpt) : excerpt)))),
    ];
    const more = problem.count - examples.length;
    if (examples.length > 0 && more > 0) {
      examples.push(element('li', { class: 'quiet' }, `and ${more.toLocaleString('en')} more`));
    }
    return element('li', { class: `problem${note ? ' note' : ''}` },
      element('h3', {}, element('span', { class: 'severity' }, note ? 'Note' : 'Error'), title(problem)),
      element('p', { class: 'when quiet' }, element('time', {}, clock(time)), message === undefined ? '' : `, message ${message}`,
        code.startsWith('ERR_') ? `, ${code}` : ''),
      reason === undefined ? null : element('p', { class: 'reason' }, foreign(reason)),
      element('p', {}, text),
      examples.length === 0 ? null : element('ul', { class: 'names' }, ...examples),
      element('p', {}, documentLink(...section)));
  }
}
