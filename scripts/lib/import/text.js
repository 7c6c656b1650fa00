// text.js: bytes and character sets, by iconv-lite, as the TextDecoder of some versions of Node.js takes Windows-1252 for
// Latin-1.
'use strict';

const { isUtf8 } = require('buffer');
const iconv = require('iconv-lite');

/** What makes a card, a row or a file unreadable, in words for a person, and at which line of the file. */
class Fault extends Error {
  constructor(line, message) {
    super(message);
    this.line = line;
  }
}

/**
 * The text of bytes in a character set, or, where none is named, in UTF-8 if that is what they are, otherwise in
 * Windows-1252.
 * @throws {Error}  for a character set that is not known.
 */
function decode(bytes, charset = isUtf8(bytes) ? 'utf-8' : 'windows-1252') {
  return iconv.decode(bytes, charset);
}

/** The bytes of a file without a byte order mark, and in UTF-8 if they were in UTF-16. */
function withoutMark(bytes) {
  const charset = { fffe: 'utf-16le', feff: 'utf-16be' }[bytes.subarray(0, 2).toString('hex')];
  if (charset !== undefined) {
    return Buffer.from(decode(bytes, charset));
  }
  return bytes.subarray(0, 3).toString('hex') === 'efbbbf' ? bytes.subarray(3) : bytes;
}

module.exports = { Fault, decode, withoutMark };
