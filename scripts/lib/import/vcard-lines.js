// vcard-lines.js: the lines of a file of vCards, put together where they were folded, and of which card they are.
//
// Bytes are handled as characters of the same number ('latin1') until it is known in which character set each value is:
// vCard 2.1 names one by property, and some writers fold a line in the midst of a character.
'use strict';

const { Fault } = require('./text');

const BEGIN = /^BEGIN:\s*VCARD\s*$/i;
const END = /^END:\s*VCARD\s*$/i;
const AGENT = /^(?:[\w-]+\.)?AGENT[^:]*:\s*$/i;
const QUOTED_PRINTABLE = /^[^:]*[;=]QUOTED-PRINTABLE[;:]/i;
const BASE64 = /^[^:]*[;=](?:BASE64|B)[;:]/i;

/**
 * @param {Buffer} bytes
 * @returns {{ line: number, text: string }[]}  whole lines, with the number of their first one in the file. Of a value in
 *     quoted-printable, soft line breaks are kept.
 */
function wholeLines(bytes) {
  const lines = [];
  let version;
  bytes.toString('latin1').split(/\r\n|\r|\n/).forEach((text, at) => {
    const last = lines.at(-1);
    if (last !== undefined && last.text.endsWith('=') && QUOTED_PRINTABLE.test(last.text)) {
      last.text += `\n${text}`;
    } else if (last !== undefined && /^[ \t]+\S/.test(text)) {
      // In 2.1 a line is broken in front of a blank that is part of the text, later one is put there.
      last.text += version === '2.1' ? text : text.slice(1);
    } else if (last !== undefined && BASE64.test(last.text) && /^[\w+/=]+$/.test(text)) {
      last.text += text; // not as the standard has it, but written
    } else if (text.trim() !== '') {
      lines.push({ line: at + 1, text });
      version = /^VERSION:\s*(\S*)/i.exec(text)?.[1] ?? (BEGIN.test(text) ? undefined : version);
    }
  });
  return lines;
}

/**
 * @param {Buffer} bytes
 * @returns {({ line: number, lines: { line: number, text: string }[] } | Fault)[]}  the cards in the order of the file, each
 *     with the lines between its first and last one, and what is wrong between them. The card of an agent, which 2.1 has
 *     inside another one, is left out.
 */
function splitCards(bytes) {
  const found = [];
  let card;
  let inner = 0;
  let isStray = false;
  const endIsMissing = () => new Fault(card.line, 'END:VCARD is missing');
  for (const { line, text } of wholeLines(bytes)) {
    if (BEGIN.test(text) && card !== undefined && (inner > 0 || AGENT.test(card.lines.at(-1)?.text ?? ''))) {
      inner += 1;
    } else if (BEGIN.test(text)) {
      if (card !== undefined) {
        found.push(endIsMissing());
      }
      card = { line, lines: [] };
      isStray = false;
    } else if (END.test(text) && inner > 0) {
      inner -= 1;
    } else if (END.test(text) && card !== undefined) {
      found.push(card);
      card = undefined;
    } else if (card === undefined && !isStray) {
      found.push(new Fault(line, 'this is in no card: BEGIN:VCARD is missing'));
      isStray = true; // said once for all that follow
    } else if (card !== undefined && inner === 0) {
      card.lines.push({ line, text });
    }
  }
  return card === undefined ? found : [...found, endIsMissing()];
}

module.exports = { splitCards };
