// Signing: with a key in a file, and with one behind PKCS#11, as real keys are kept. The certificates are made for this test.
'use strict';

const assert = require('assert/strict');
const fs = require('fs');
const path = require('path');
const { before, test } = require('node:test');

const { run } = require('../../packaging/lib/run');
const { BUILD, ROOT, TIME, VERSION, emptyFolder, endOf, fileOf, makePackages } = require('./support');

const TOKEN_PIN = '4711';
const folder = emptyFolder('signing');
const file = (name) => path.join(folder, name);
const softhsm = { SOFTHSM2_CONF: file('softhsm2.conf') };

/** Where a key for signing is, for osslsigncode. */
const KEY_FILE = ['-certs', file('signer.pem'), '-key', file('signer.key')];
const PKCS11 = [
  '-pkcs11module', '/usr/lib/softhsm/libsofthsm2.so',
  '-certs', file('signer.pem'), '-key', 'pkcs11:token=linkwell-test;object=signer;type=private', '-readpass', file('pin'),
];

before(() => {
  // A root, and a certificate for signing code that it has issued.
  run('openssl', ['req', '-x509', '-newkey', 'rsa:2048', '-nodes', '-sha256', '-days', '3650', '-subj', '/CN=Linkwell test root',
    '-addext', 'basicConstraints=critical,CA:TRUE', '-addext', 'keyUsage=keyCertSign,cRLSign',
    '-keyout', file('root.key'), '-out', file('root.pem')]);
  run('openssl', ['req', '-newkey', 'rsa:2048', '-nodes', '-sha256', '-subj', '/CN=Linkwell test signer',
    '-keyout', file('signer.key'), '-out', file('signer.csr')]);
  fs.writeFileSync(file('usage'), 'keyUsage=digitalSignature\nextendedKeyUsage=codeSigning\n');
  run('openssl', ['x509', '-req', '-sha256', '-days', '3650', '-in', file('signer.csr'), '-CA', file('root.pem'),
    '-CAkey', file('root.key'), '-CAcreateserial', '-extfile', file('usage'), '-out', file('signer.pem')]);

  // The key, in a token.
  fs.mkdirSync(file('tokens'));
  fs.writeFileSync(file('softhsm2.conf'), `directories.tokendir = ${file('tokens')}\nobjectstore.backend = file\nlog.level = ERROR\n`);
  fs.writeFileSync(file('pin'), TOKEN_PIN);
  run('openssl', ['pkcs8', '-topk8', '-nocrypt', '-in', file('signer.key'), '-out', file('signer.p8')]);
  run('softhsm2-util', ['--init-token', '--free', '--label', 'linkwell-test', '--pin', TOKEN_PIN, '--so-pin', '0815'], { env: softhsm });
  run('softhsm2-util', ['--import', file('signer.p8'), '--token', 'linkwell-test', '--label', 'signer', '--id', '01', '--pin', TOKEN_PIN],
    { env: softhsm });
});

const verified = (signed, trusted) => endOf('osslsigncode', ['verify', '-CAfile', trusted, '-in', signed]);

/** All signed files of packages: the programs of ZIP and MSI, and the MSI. */
function signedFiles(packages, name) {
  const unpacked = emptyFolder(`signing/${name}-unpacked`);
  run('unzip', ['-q', fileOf(packages, `${VERSION}.zip`), '-d', unpacked]);
  const msi = fileOf(packages, '.msi');
  run('msiextract', ['-C', path.join(unpacked, 'msi'), msi]);
  const programs = run('find', [unpacked, '-name', '*.exe']).trimEnd().split('\n');
  assert.ok(programs.length >= 4, `${programs}`);
  return [msi, ...programs];
}

for (const [name, key, options, env] of [['file', 'in a file', KEY_FILE, {}], ['token', 'behind PKCS#11', PKCS11, softhsm]]) {
  test(`signs programs and MSI with a key ${key}, so that each leads to the root`, () => {
    const packages = file(`by-${name}`);
    makePackages(packages, { options: ['--trust', file('root.pem'), '--sign', ...options], env });
    for (const signed of signedFiles(packages, name)) {
      const { status, output } = verified(signed, file('root.pem'));
      assert.equal(status, 0, output);
      assert.match(output, /Message digest algorithm\s*: SHA256/);
      assert.match(output, /CN\s*=\s*Linkwell test signer/);
    }
    run('sha256sum', ['--check', '--strict', 'SHA256SUMS'], { cwd: packages });
  });
}

test('a signature says nothing of another root, and breaks when a byte of the file changes', () => {
  run('openssl', ['req', '-x509', '-newkey', 'rsa:2048', '-nodes', '-subj', '/CN=Another root', '-keyout', file('other.key'), '-out', file('other.pem')]);
  for (const signed of signedFiles(file('by-file'), 'tampered')) {
    assert.notEqual(verified(signed, file('other.pem')).status, 0, signed);
    const content = fs.readFileSync(signed);
    const at = content.indexOf('Corvena', 4096, signed.endsWith('.msi') ? 'latin1' : 'utf16le');
    assert.ok(at > 0, signed);
    content[at] ^= 1;
    fs.writeFileSync(file('tampered'), content);
    assert.notEqual(verified(file('tampered'), file('root.pem')).status, 0, signed);
  }
});

test('the program that was built stays unsigned', () => {
  assert.notEqual(verified(path.join(BUILD, 'bin', 'LinkwellAgent.exe'), file('root.pem')).status, 0);
});

test('what can\'t be signed or does not verify is said in few words, and leaves no packages', () => {
  const make = (env, ...options) => endOf(path.join(ROOT, 'packaging', 'make.js'), ['--build', BUILD, '--output', file('failed'),
    '--time', String(TIME), '--revision', 'commit 0123', ...options], { env: { ...process.env, ...env } });
  for (const [what, { status, output }] of [
    ['no key', make({}, '--sign', '-certs', file('signer.pem'), '-key', file('none.key'))],
    ['another root', make({}, '--trust', file('other.pem'), '--sign', ...KEY_FILE)],
    ['a root that the machine does not trust', make({}, '--sign', ...KEY_FILE)],
    ['no token', make({ SOFTHSM2_CONF: file('none') }, '--trust', file('root.pem'), '--sign', ...PKCS11)],
  ]) {
    assert.equal(status, 1, `${what}: ${output}`);
    assert.match(output, /^error: osslsigncode (sign|verify) has failed/, what);
    assert.ok(output.split('\n').length <= 8, output);
    assert.ok(!fs.existsSync(file('failed')), what);
  }
});
