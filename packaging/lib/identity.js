// identity.js: identifiers that are made of what they stand for, so that the same content has the same ones.
'use strict';

const { createHash } = require('crypto');

/** Names all versions of the product to Windows Installer, for ever; also the name space of the identifiers below. */
const UPGRADE_CODE = '22DB25C9-6F21-4A66-B578-6645C3068800';

/** A UUID of version 5 (RFC 9562), in capitals as Windows Installer wants it. */
function uuidOf(name) {
  const bytes = createHash('sha1').update(Buffer.from(UPGRADE_CODE.replaceAll('-', ''), 'hex')).update(name).digest();
  bytes[6] = (bytes[6] & 0x0f) | 0x50;
  bytes[8] = (bytes[8] & 0x3f) | 0x80;
  return bytes.toString('hex', 0, 16).replace(/^(.{8})(.{4})(.{4})(.{4})/, '$1-$2-$3-$4-').toUpperCase();
}

/** @param {'sha1' | 'sha256'} algorithm  @returns {string}  in hexadecimal digits. */
function digestOf(content, algorithm = 'sha256') {
  return createHash(algorithm).update(content).digest('hex');
}

module.exports = { UPGRADE_CODE, digestOf, uuidOf };
