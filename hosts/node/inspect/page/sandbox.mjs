// sandbox.mjs: buttons and forms that edit the mailbox of a sandbox, each by one request to the host, which passes it on.

import { element, shortId } from './text.mjs';

const FIELDS = [['displayName', 'Display name', 0], ['company', 'Company', 4], ['email', 'E-mail', 5], ['mobilePhone', 'Mobile', 8]];

const MADE_UP = ['Jan Kowalczyk', 'Amara Nwosu', 'Elif Kaya', 'Tuomas Nieminen', 'Inês Carvalho', 'Rahul Verma', 'Freya Holm'];
const MANY = 1000;

export class Sandbox {
  /**
   * @param {object} options
   * @param {HTMLElement} options.place  where the buttons are, hidden as long as there is no sandbox.
   * @param {Model} options.model
   * @param {function(): object} options.selected  the row that is selected in the tree, or null.
   */
  constructor({ place, model, selected }) {
    this._place = place;
    this._answer = place.querySelector('.answer');
    this._model = model;
    this._selected = selected;
    this._made = 0;
    this._names = new Map(); // of folders, by their identifiers: the sandbox knows what the host does not
    const button = (text, work) => element('button', { type: 'button', click: () => this._run(text, work) }, text);
    place.querySelector('.buttons').append(
      button('Add contact', (folder) => add(folder, this._makeUp())),
      button('Change contact', (folder, contact) => set(contact, { mobilePhone: `+44 7700 9${digits(5)}` })),
      button('Move contact', (folder, contact) => ({ do: 'move', object: at(contact.id), to: at(this._otherFolder(contact).id) })),
      button('Delete contact', (folder, contact) => ({ do: 'delete', object: at(contact.id) })),
      button('Add “;” and line breaks', (folder) => add(folder, {
        displayName: 'Weber; Sons; Partner', company: 'Example GmbH\r\nFloor 2; Room 7', email: 'weber@example.com',
      })),
      button('Add markup as a name', (folder) => add(folder, {
        displayName: '<img src=x onerror="alert(1)">', company: '<script>alert(2)</script>', email: 'markup@example.com',
      })),
      button(`Add folder of ${MANY.toLocaleString('en')}`, (folder) => ({
        do: 'addFolder', parent: at(folder.id),
        folder: { name: `Generated ${digits(4)}`, class: 'IPF.Contact', generate: { contacts: MANY, seed: Number(digits(3)) } },
      })),
    );
  }

  set editable(editable) {
    this._place.hidden = !editable;
    if (editable) {
      this._readNames();
    }
  }

  /** What belongs below the details of a row: what the sandbox calls it, and the forms that edit it. */
  partsFor(row) {
    if (this._place.hidden || row === null || row.kind === 'store') {
      return [];
    }
    if (row.kind === 'folder') {
      const name = this._names.get(row.folder.id);
      return [
        name === undefined ? null : element('p', { class: 'sandbox-name' }, element('span', { class: 'quiet' },
          'In the sandbox, not on the wire: '), element('bdi', {}, name)),
        this._danger('Delete this folder', () => ({ do: 'delete', object: at(row.folder.id) })),
      ].filter((part) => part !== null);
    }
    return row.contact.mark === 'removed' ? [] : [this._contactForm(row.contact)];
  }

  _contactForm(contact) {
    const inputs = FIELDS.map(([name, label, field]) => ({
      name, before: contact.row[field], label, input: element('input', { type: 'text', value: contact.row[field], id: `edit-${name}` }),
    }));
    const save = () => {
      const changed = inputs.filter(({ input, before }) => input.value !== before);
      if (changed.length === 0) {
        this._say('Nothing has been changed in the form.', false);
        return null;
      }
      return set(contact, Object.fromEntries(changed.map(({ name, input }) => [name, input.value === '' ? null : input.value])));
    };
    const folders = element('select', { 'aria-label': 'Move to' }, ...this._model.folders.filter(({ id }) => id !== contact.folder)
      .map(({ id }) => element('option', { value: id }, this._names.get(id) ?? `Folder ${shortId(id)}`)));
    const form = element('form', {
      class: 'edit',
      submit: (event) => {
        event.preventDefault();
        this._run('Save', save);
      },
    },
    element('h4', {}, 'Edit in the sandbox'),
    ...inputs.map(({ label, input }) => element('label', { for: input.id }, element('span', {}, label), input)),
    element('div', { class: 'buttons' }, element('button', { class: 'primary' }, 'Save'),
      this._danger('Delete', () => ({ do: 'delete', object: at(contact.id) }))),
    element('div', { class: 'buttons move' }, folders, element('button', {
      type: 'button', click: () => this._run('Move', () => ({ do: 'move', object: at(contact.id), to: at(folders.value) })),
    }, 'Move')));
    folders.closest('.move').hidden = folders.length === 0;
    return form;
  }

  _danger(text, work) {
    return element('button', { type: 'button', class: 'danger', click: () => this._run(text, work) }, text);
  }

  /** Makes one edit, and says what has come of it. */
  async _run(title, work) {
    const folder = this._folder();
    const contact = this._contact(folder);
    let request;
    try {
      request = work(folder, contact);
    } catch {
      this._say('There is no contact, or no other folder, with which this could be done.', true);
      return;
    }
    if (request === null) {
      return;
    }
    this._say(`${title} …`, false);
    const { ok, error } = await send(request);
    this._say(ok ? `${title}: done.` : `${title} was refused: ${error}`, !ok);
    if (ok && request.do !== 'editContact') {
      this._readNames();
    }
  }

  /** The folder that is selected, or that of the selected contact, or the first one. */
  _folder() {
    const row = this._selected();
    const folders = this._model.folders.filter(({ size }) => size > 0); // one whose contacts are all marked as gone may be, too
    return folders.find(({ id }) => id === (row?.folder?.id ?? row?.contact?.folder)) ?? folders[0];
  }

  _contact(folder) {
    const row = this._selected();
    return row?.kind === 'contact' && row.contact.mark !== 'removed' ? row.contact
      : folder?.sorted.find(({ mark }) => mark !== 'removed');
  }

  _otherFolder({ folder }) {
    const store = this._model.storeOf(folder);
    const others = this._model.folders.filter(({ id }) => id !== folder);
    return others.find(({ id }) => this._model.storeOf(id) === store) ?? others[0];
  }

  _makeUp() {
    const displayName = `${MADE_UP[this._made % MADE_UP.length]}${this._made < MADE_UP.length ? '' : ` ${this._made}`}`;
    this._made += 1;
    const [givenName, surname] = displayName.split(' ');
    return { displayName, givenName, surname, mobilePhone: `+44 7700 9${digits(5)}` };
  }

  async _readNames() {
    const { ok, folders } = await ask('api/folders');
    if (ok) {
      this._names = new Map(folders.map(({ entryId, path }) => [entryId, path]));
    }
  }

  _say(text, failed) {
    this._answer.textContent = text;
    this._answer.classList.toggle('failed', failed);
  }
}

function at(id) {
  return `#${id}`;
}

function add(folder, contact) {
  return { do: 'addContact', folder: at(folder.id), contact };
}

function set(contact, values) {
  return { do: 'editContact', contact: at(contact.id), set: values };
}

function digits(number) {
  return String(Math.floor(Math.random() * 10 ** number)).padStart(number, '0');
}

function send(request) {
  return ask('api/edit', { method: 'POST', headers: { 'Content-Type': 'application/json' }, body: JSON.stringify(request) });
}

async function ask(place, options) {
  try {
    const answer = await fetch(place, options);
    return answer.ok ? await answer.json() : { ok: false, error: (await answer.text()).trim() };
  } catch {
    return { ok: false, error: 'the host does not answer' };
  }
}
