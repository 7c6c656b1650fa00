// signing.js: the hook that signs a file by osslsigncode, with a key in a file or behind PKCS#11, and looks whether that holds.
'use strict';

const fs = require('fs');

const { run } = require('./run');

/** @throws {PackagingError}  unless the file's signature is whole and leads to one of the certificates that are trusted. */
function verify(file, trusted) {
  run('osslsigncode', ['verify', ...(trusted === undefined ? [] : ['-CAfile', trusted]), '-in', file]);
}

/**
 * Signs a program or an MSI, in its place, and verifies it.
 * @param {string[]} options  for "osslsigncode sign": where certificate and key are, perhaps a time stamp server.
 * @param {string} [trusted]  file of the certificates that are trusted; otherwise the machine's.
 */
function sign(file, options, trusted) {
  const signed = `${file}.signed`;
  run('osslsigncode', ['sign', '-h', 'sha256', '-n', 'Linkwell', ...options, '-in', file, '-out', signed]);
  fs.renameSync(signed, file);
  verify(file, trusted);
}

module.exports = { sign, verify };
