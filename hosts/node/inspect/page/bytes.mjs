// bytes.mjs: the bytes of one message as they lay on the wire, in hexadecimal or as text, on demand and by parts.

import { bytesText, element, visible } from './text.mjs';

const PAGE_BYTES = 1024;
/** A row of sixteen bytes needs this much room, and else has eight. */
const WIDE_PIXELS = 580;
const HEAD_BYTES = 4;

export class BytesView {
  constructor({ number, bytes, exact }) {
    this._number = number;
    this._total = HEAD_BYTES + bytes;
    this._exact = exact;
    this._from = 0;
    this._form = 'hex';
    this._open = element('button', { type: 'button', click: () => this._show() }, 'Show bytes');
    this.place = element('div', { class: 'bytes' }, this._open);
  }

  async _show() {
    let answer;
    try {
      answer = await fetch(`api/messages/${this._number}?from=${this._from}`);
    } catch {
      this._say('The host does not answer.');
      return;
    }
    if (!answer.ok) {
      this._say(answer.status === 410 ? 'The bytes of this message are not kept any more: see below the list.'
        : await answer.text());
      return;
    }
    this._kept = Number(answer.headers.get('Linkwell-Kept'));
    this._draw(new Uint8Array(await answer.arrayBuffer()).subarray(0, PAGE_BYTES));
  }

  _draw(bytes) {
    const had = document.activeElement?.dataset.role;
    const end = this._from + bytes.length;
    const choose = (form, text) => element('button', {
      type: 'button', 'aria-pressed': this._form === form, 'data-role': form, click: () => { this._form = form; this._draw(bytes); },
    }, text);
    const go = (text, role, from, possible) => element('button', {
      type: 'button', 'data-role': role, disabled: possible ? undefined : '',
      click: () => { this._from = from; this._show(); },
    }, text);
    const notes = [`Bytes ${this._from.toLocaleString('en')} to ${end.toLocaleString('en')} of ${this._total.toLocaleString('en')}; `
      + 'the first four are the length.'];
    if (this._kept < this._total) {
      notes.push(`The first ${bytesText(this._kept)} are kept.`);
    }
    if (!this._exact) {
      notes.push('Some were no UTF-8; these are shown as the host has read them, as U+FFFD.');
    }
    this.place.replaceChildren(
      element('div', { class: 'bytes-bar' },
        element('span', { class: 'segments', role: 'group', 'aria-label': 'Form' }, choose('hex', 'Hex'), choose('text', 'Text')),
        go('Previous', 'previous', Math.max(0, this._from - PAGE_BYTES), this._from > 0),
        go('Next', 'next', end, end < this._kept)),
      element('pre', { tabindex: '0', role: 'group', 'aria-label': `Bytes of message ${this._number}`, class: this._form },
        this._form === 'hex' ? hexDump(bytes, this._from, this.place.clientWidth < WIDE_PIXELS ? 8 : 16) : asText(bytes, this._from)),
      element('p', { class: 'quiet' }, notes.join(' ')));
    const again = this.place.querySelector(`[data-role="${had}"]`);
    (again?.disabled ? this.place.querySelector('pre') : again ?? this.place.querySelector('pre')).focus();
  }

  _say(text) {
    this.place.replaceChildren(element('p', { class: 'quiet' }, text), this._open);
  }
}

/** Rows of bytes: where they stand, what they are, and those of them that are ASCII. */
export function hexDump(bytes, from, inRow) {
  const rows = [];
  for (let at = 0; at < bytes.length; at += inRow) {
    const row = [...bytes.subarray(at, at + inRow)];
    const hex = row.map((byte) => byte.toString(16).toUpperCase().padStart(2, '0'));
    const text = row.map((byte) => (byte >= 0x20 && byte < 0x7f ? String.fromCharCode(byte) : '·')).join('');
    const groups = Array.from({ length: inRow / 8 }, (_, group) => hex.slice(group * 8, group * 8 + 8).join(' ').padEnd(23));
    rows.push([(from + at).toString(16).padStart(6, '0'), ...groups, text].join('  '));
  }
  return rows.join('\n');
}

/** What the bytes say, a line a line; a part may begin and end in the midst of a letter. */
function asText(bytes, from) {
  const text = new TextDecoder('utf-8', { ignoreBOM: true }).decode(from === 0 ? bytes.subarray(HEAD_BYTES) : bytes);
  return text.split('\n').map(visible).join('‹LF›\n');
}
