// main.mjs: puts the page together.

import { Connection } from './connection.mjs';
import { Details } from './details.mjs';
import { MARK_MILLISECONDS, Model } from './model.mjs';
import { Problems } from './problems.mjs';
import { Sandbox } from './sandbox.mjs';
import { Stream } from './stream.mjs';
import { bytesText, clock, count } from './text.mjs';
import { Tree } from './tree.mjs';

/** The live region says at most one sentence in this time. */
const SAY_MILLISECONDS = 3000;

const find = (id) => document.getElementById(id);
const model = new Model();
const empty = find('tree-empty');
let selected = null;
let link = 'connecting';
let agentRun = 1;
let restarted = null; // when the agent has started anew
let messageCount = 0;
let problemCount = 0;
let lastMessage = null;

const sandbox = new Sandbox({ place: find('sandbox'), model, selected: () => selected });
const details = new Details(find('details'), model, (row) => sandbox.partsFor(row));
const tree = new Tree(find('tree'), model, (row) => {
  selected = row;
  details.show(row);
});
const showContact = (entryId) => {
  const contact = model.contact(entryId);
  if (contact === undefined) {
    say('This contact is not there any more.');
    return;
  }
  if (model.query !== '') {
    setQuery('');
  }
  tree.show(contact);
  tree.focus();
};
const stream = new Stream(find('messages'), showContact);
const problems = new Problems(find('problems'), showContact);

new Connection({
  onState(state) {
    restarted = state.agentRun === agentRun ? restarted : null; // another one than this page has seen begin
    ({ agentRun, messageCount, problemCount } = state);
    lastMessage = state.messages.at(-1)?.time ?? null;
    model.load(state);
    stream.load(state.messages, state.limits);
    problems.load(state.problems, state.limits);
    find('messages-kept').textContent = `Kept are the latest ${state.limits.messages} messages, and of their bytes `
      + `${bytesText(state.limits.bytes)} in all, ${bytesText(state.limits.bytesOfMessage)} of each.`;
    sandbox.editable = state.editable;
    update();
  },
  onEvent(event) {
    switch (event.type) {
      case 'message': takeMessage(event); break;
      case 'clear':
        ({ agentRun } = event);
        restarted = event.time;
        model.clear();
        stream.addMark('The agent has started anew: all that was known is forgotten.', event.time);
        say('The agent has started anew.');
        break;
      case 'problem':
        problemCount += 1;
        problems.add(event.problem);
        break;
      default:
    }
    update();
  },
  onLink(state) {
    if (link !== state && (state === 'lost' || state === 'ended')) {
      say(state === 'ended' ? 'The host has ended.' : 'The connection to the host is lost.');
    }
    link = state;
    updateStatus();
  },
});

function takeMessage(event) {
  const { message } = event;
  messageCount = message.number;
  lastMessage = message.time;
  stream.add(message);
  if (!event.reload) { // otherwise the state is read anew, too
    const marked = model.apply(event);
    if (marked.length > 0) {
      setTimeout(() => {
        model.unmark(marked);
        update();
      }, MARK_MILLISECONDS);
    }
  }
  tally.added += message.added;
  tally.changed += message.changed;
  tally.removed += message.removed;
  const text = changesText(tally);
  if (text !== '') {
    say(text, true);
  }
}

/** "3 contacts added, 1 deleted". */
function changesText({ added, changed, removed }) {
  const parts = [[added, 'added'], [changed, 'changed'], [removed, 'deleted']].filter(([number]) => number > 0)
    .map(([number, what], at) => (at === 0 ? `${count(number, 'contact')} ${what}` : `${number.toLocaleString('en')} ${what}`));
  return parts.join(', ');
}

function update() {
  const found = tree.update();
  showCount('contact', model.size);
  showCount('folder', model.folderCount);
  showCount('store', model.stores);
  showCount('message', messageCount);
  find('search-count').textContent = model.query === '' ? '' : `${found.toLocaleString('en')} of ${count(model.size, 'contact')}`;
  find('problem-count').textContent = problemCount;
  find('problem-count').hidden = problemCount === 0;
  find('problems-empty').hidden = problemCount > 0;
  find('messages-empty').hidden = messageCount > 0;
  find('messages-kept').hidden = messageCount === 0;
  updateEmpty();
  updateStatus();
  return found;
}

function showCount(what, number) {
  const place = find(`count-${what}s`);
  place.textContent = number.toLocaleString('en');
  place.previousElementSibling.textContent = number === 1 ? what : `${what}s`;
}

function updateEmpty() {
  empty.hidden = tree.length > 0;
  const [title, text] = model.query !== '' && model.size > 0
    ? ['Nothing found', 'No contact has this in its names, company, address or numbers.']
    : messageCount === 0 ? ['Waiting for the agent', 'Start LinkwellAgent.exe: its first message brings the contacts.']
      : ['No contacts', 'The host knows of none now.'];
  empty.replaceChildren(Object.assign(document.createElement('h3'), { textContent: title }),
    Object.assign(document.createElement('p'), { textContent: text }));
}

function updateStatus() {
  const banner = find('banner');
  const texts = {
    connecting: ['Connecting to the host', ''],
    lost: ['Connection lost', 'The host does not answer; trying again. What it knew last is still shown.'],
    ended: ['The host has ended', 'The host has ended. What it knew last is still shown.'],
    refused: ['Not connected', 'Another host runs here now. Open the address that it has printed.'],
    live: [liveText(), ''],
  };
  const [text, more] = texts[link];
  find('status').dataset.state = link === 'live' && lastMessage === null ? 'waiting' : link;
  find('status-text').textContent = text;
  banner.textContent = more;
  banner.hidden = more === '';
  document.title = link === 'live' ? `${model.size.toLocaleString('en')} contacts – Linkwell inspector` : `${text} – Linkwell inspector`;
}

function liveText() {
  if (lastMessage === null) {
    return 'Waiting for the agent';
  }
  const run = agentRun === 1 ? '' : restarted === null ? ` · agent run ${agentRun}` : ` · agent anew at ${clock(restarted)}`;
  return `Live · last message ${clock(lastMessage)}${run}`;
}

const tally = { added: 0, changed: 0, removed: 0 }; // since something was last said
let saidAt = -Infinity;
let saying = null;

/** Has a screen reader say something, not more often than it can be listened to; the latest counts. */
function say(text, isTally = false) {
  clearTimeout(saying);
  saying = setTimeout(() => {
    saidAt = performance.now();
    find('live').textContent = text;
    if (isTally) {
      Object.assign(tally, { added: 0, changed: 0, removed: 0 });
    }
  }, Math.max(0, saidAt + SAY_MILLISECONDS - performance.now()));
}

function setQuery(text) {
  find('search').value = text;
  model.query = text.trim();
  const found = update();
  if (model.query !== '') {
    say(`${count(found, 'contact')} found`);
  }
}

find('search').addEventListener('input', ({ target }) => {
  find('tree').scrollTop = 0;
  setQuery(target.value);
});
find('search').addEventListener('keydown', (event) => {
  if (event.key === 'Escape') {
    setQuery('');
    event.preventDefault();
  } else if (event.key === 'ArrowDown' || event.key === 'Enter') {
    tree.focus();
    event.preventDefault();
  }
});
document.addEventListener('keydown', (event) => {
  const typing = event.target.matches('input, select, textarea');
  if (event.key === '/' && !typing && !event.ctrlKey && !event.altKey && !event.metaKey) {
    find('search').focus();
    find('search').select();
    event.preventDefault();
  }
});
document.querySelector('.skip').addEventListener('click', (event) => {
  event.preventDefault();
  tree.focus();
});

const tabs = [...document.querySelectorAll('[role=tab]')];
function selectTab(tab) {
  for (const other of tabs) {
    other.setAttribute('aria-selected', other === tab);
    other.tabIndex = other === tab ? 0 : -1;
    find(other.getAttribute('aria-controls')).hidden = other !== tab;
  }
}
for (const tab of tabs) {
  tab.addEventListener('click', () => selectTab(tab));
  tab.addEventListener('keydown', ({ key }) => {
    const step = { ArrowRight: 1, ArrowLeft: -1 }[key];
    if (step !== undefined) {
      const other = tabs[(tabs.indexOf(tab) + step + tabs.length) % tabs.length];
      selectTab(other);
      other.focus();
    }
  });
}

update();
