// The MSI's whole life under Wine, in a prefix of its own: install, run, repair, upgrade, downgrade, another folder, agents that
// run meanwhile, removal; and nothing is left. In order, as each part begins where the one before has ended.
'use strict';

const assert = require('assert/strict');
const { spawn } = require('child_process');
const fs = require('fs');
const path = require('path');
const { after, before, test } = require('node:test');

const { makeMsi } = require('../../packaging/lib/msi');
const { run } = require('../../packaging/lib/run');
const { filesBelow, settle } = require('../../packaging/lib/tree');
const { BUILD, ROOT, TIME, VERSION, emptyFolder, endOf, fileOf, makePackages, table } = require('./support');

const PREFIX = process.env.LINKWELL_WINEPREFIX ?? path.join(BUILD, 'wineprefix-package');
const DRIVE = path.join(PREFIX, 'drive_c');
const FOLDER = path.join(DRIVE, 'Program Files', 'Corvena', 'Linkwell');
const OLD_VERSION = '0.0.9';
const ENVIRONMENT = { ...process.env, LINKWELL_WINEPREFIX: PREFIX };

/** Windows Installer's results as a program under Wine gives them, of which Linux keeps one byte. */
const SUCCESS = 0;
const FAILURE = 1603 & 0xff;
const RESTART_REQUIRED = 3010 & 0xff;

const folder = emptyFolder('life');
const oldMsi = path.join(folder, 'old.msi');
let newMsi;
let newTree;
let untouched;

const windowsPath = (file) => `Z:${file.replaceAll('/', '\\')}`;
const wine = (...args) => endOf(path.join(ROOT, 'scripts/lib/wine-run'), args, { env: ENVIRONMENT });

/** @returns {number}  what msiexec ends with. */
function msiexec(...args) {
  return wine('msiexec', ...args, '/qn').status;
}

/** Ends Wine's server, which ends all programs and writes the registry. */
function shutDown() {
  run(path.join(ROOT, 'scripts/lib/wine-stop'), [], { env: ENVIRONMENT });
}

/** What has been put off until the next start is done then. */
function restart() {
  shutDown();
  assert.equal(wine('cmd', '/c', 'exit').status, 0);
}

/** The registry as the files of the prefix have it: for each key its values, without times. */
function registry() {
  shutDown();
  return new Map(['system.reg', 'user.reg', 'userdef.reg'].flatMap((hive) => (
    fs.readFileSync(path.join(PREFIX, hive), 'utf8').split(/\n(?=\[)/).slice(1).map((key) => {
      const [name, ...values] = key.replace(/\\\n */g, '').trimEnd().split('\n');
      return [`${hive} ${name.replace(/ \d+$/, '')}`, values.filter((value) => !value.startsWith('#')).join('\n')];
    }))));
}

/** What is on the machine: the registry, and all files and folders of its drive. */
function machine() {
  const keys = registry();
  return { keys, files: run('find', ['.', '-printf', '%P\\n'], { cwd: DRIVE }).split('\n').sort() };
}

/** What Windows lists of the installed program of this MSI; nothing where it is not installed. */
function listed(msi) {
  const code = table(msi, 'Property').find(({ Property }) => Property === 'ProductCode').Value;
  return query(`Microsoft\\Windows\\CurrentVersion\\Uninstall\\${code}`);
}

/** The values of a key below HKEY_LOCAL_MACHINE\Software, by their names. */
function query(key) {
  return Object.fromEntries([...wine('reg', 'query', `HKLM\\Software\\${key}`).output.matchAll(/^ +(\w+) +REG_\w+ +(.*?)\r?$/gm)]
    .map(([, name, value]) => [name, value]));
}

/** All of the installed files are those of a tree. */
function assertInstalled(tree, where = FOLDER) {
  assert.deepEqual(filesBelow(where), filesBelow(tree));
  for (const file of filesBelow(tree)) {
    assert.ok(fs.readFileSync(path.join(where, file)).equals(fs.readFileSync(path.join(tree, file))), file);
  }
}

/** Keys of Windows Installer itself, which each Windows has; Wine makes them when something is first installed. */
const OF_WINDOWS = /\\\\Installer(\\\\(Features|Products|UpgradeCodes|UserData|UserData\\\\S-1-5-18(\\\\(Components|Products))?))?\]$/;
/** What Wine itself keeps, and renews at its starts. */
const OF_WINE = /^user\.reg \[Software\\\\Wine\\\\|\\\\(Fonts\]|Class\\\\\{4D36E968-E325-11CE-BFC1-08002BE10318\}\\\\)/;

function assertUntouched() {
  const now = machine();
  assert.deepEqual(now.files.filter((file) => !untouched.files.includes(file)), []);
  assert.deepEqual(untouched.files.filter((file) => !now.files.includes(file)), []);
  const changed = [...now.keys].filter(([key, values]) => (
    untouched.keys.get(key) !== values && !(values === '' && OF_WINDOWS.test(key)) && !OF_WINE.test(key)));
  assert.deepEqual(changed, []);
  assert.deepEqual([...untouched.keys.keys()].filter((key) => !now.keys.has(key)), []);
}

/** The desktop's files as those of an older version: programs that say so, and a file that has gone since. */
function oldTree() {
  const tree = path.join(folder, 'old');
  fs.cpSync(newTree, tree, { recursive: true });
  const [major, minor, patch] = OLD_VERSION.split('.').map(Number);
  for (const file of filesBelow(tree).filter((name) => name.endsWith('.exe'))) {
    const content = fs.readFileSync(path.join(tree, file));
    const version = content.indexOf(Buffer.from([0xbd, 0x04, 0xef, 0xfe])); // VS_FIXEDFILEINFO
    assert.ok(version > 0, file);
    for (const at of [version + 8, version + 16]) {
      content.writeUInt32LE(major * 65536 + minor, at);
      content.writeUInt32LE(patch * 65536, at + 4);
    }
    fs.writeFileSync(path.join(tree, file), content);
  }
  fs.writeFileSync(path.join(tree, 'gone.txt'), 'no later version has this\n');
  fs.writeFileSync(path.join(tree, 'THIRD-PARTY-NOTICES.txt'), 'older\n');
  settle(tree, TIME - 1000000);
  return tree;
}

before(() => {
  makePackages(path.join(folder, 'packages'));
  newMsi = fileOf(path.join(folder, 'packages'), '.msi');
  newTree = path.join(folder, 'new');
  run('msiextract', ['-C', newTree, newMsi]);
  newTree = path.dirname(run('find', [newTree, '-name', 'LinkwellAgent.exe']).trimEnd());
  makeMsi(oldTree(), OLD_VERSION, TIME, oldMsi, folder);

  shutDown();
  fs.rmSync(PREFIX, { recursive: true, force: true });
  assert.notEqual(msiexec('/x', '{00000000-0000-0000-0000-000000000000}'), SUCCESS); // what any use leaves, such as a list of fonts
  fs.mkdirSync(path.join(DRIVE, 'windows', 'Installer')); // each Windows has it
  untouched = machine();
});

after(shutDown);

test('installs an older version silently', () => {
  assert.equal(msiexec('/i', windowsPath(oldMsi)), SUCCESS);
  assertInstalled(path.join(folder, 'old'));
  assert.equal(listed(oldMsi).DisplayVersion, OLD_VERSION);
});

test('upgrades it: files are replaced, what is gone goes, and one version is listed', () => {
  assert.equal(msiexec('/i', windowsPath(newMsi)), SUCCESS);
  assertInstalled(newTree);
  assert.deepEqual(listed(oldMsi), {});
  const { DisplayName, DisplayVersion, Publisher, NoModify, InstallLocation } = listed(newMsi);
  assert.deepEqual([DisplayName, DisplayVersion, Publisher, NoModify, InstallLocation],
    ['Linkwell', VERSION, 'Corvena', '0x1', 'C:\\Program Files\\Corvena\\Linkwell\\']);
  assert.deepEqual(query('Corvena\\Linkwell'), { InstallFolder: 'C:\\Program Files\\Corvena\\Linkwell\\', Version: VERSION });
});

test('has installed programs that run', () => {
  assert.deepEqual(wine('C:\\Program Files\\Corvena\\Linkwell\\linkwell-closeagent.exe', '--version'),
    { status: 0, output: `linkwell-closeagent ${VERSION}\r\n` });
  const log = path.join(folder, 'agent.log');
  assert.equal(wine('C:\\Program Files\\Corvena\\Linkwell\\LinkwellAgent.exe', `/log=${windowsPath(log)}`).status, 0);
  assert.match(fs.readFileSync(log, 'utf8'), /Started "C:\\Program Files\\Corvena\\Linkwell\\LinkwellAgent\.exe"[^]*Logging finished/);
});

test('repairs what is damaged or missing', () => {
  fs.rmSync(path.join(FOLDER, 'LinkwellAgent.exe'));
  fs.writeFileSync(path.join(FOLDER, 'linkwell-closeagent.exe'), 'damaged');
  assert.equal(msiexec('/i', windowsPath(newMsi), 'REINSTALL=ALL', 'REINSTALLMODE=amus'), SUCCESS); // Wine knows /f in part
  assertInstalled(newTree);
});

test('refuses the older version', () => {
  assert.equal(msiexec('/i', windowsPath(oldMsi)), FAILURE);
  assertInstalled(newTree);
  assert.deepEqual(listed(oldMsi), {});
  assert.equal(listed(newMsi).DisplayVersion, VERSION);
});

test('leaves nothing when it is removed', () => {
  assert.equal(msiexec('/x', windowsPath(newMsi)), SUCCESS);
  assertUntouched();
});

test('goes where it is told, and so does the next version', () => {
  const where = path.join(DRIVE, 'Linkwell here');
  assert.equal(msiexec('/i', windowsPath(oldMsi), 'INSTALLFOLDER=C:\\Linkwell here'), SUCCESS);
  assertInstalled(path.join(folder, 'old'), where);
  assert.equal(msiexec('/i', windowsPath(newMsi)), SUCCESS);
  assertInstalled(newTree, where);
  assert.ok(!fs.existsSync(path.dirname(FOLDER)));
});

test('leaves nothing in a folder of its own either', () => {
  assert.equal(msiexec('/x', windowsPath(newMsi)), SUCCESS);
  assertUntouched();
});

/** Runs the installed agent, with a mailbox of which there is nothing to say. Resolves when it is at work; "ended" does when it has. */
async function runAgent() {
  const mailbox = path.join(folder, 'mailbox.json');
  const log = path.join(folder, 'working-agent.log');
  fs.rmSync(log, { force: true });
  fs.writeFileSync(mailbox, '{"stores": [{"name": "Mailbox", "default": true}]}');
  const agent = spawn(path.join(ROOT, 'scripts/lib/wine-run'), ['C:\\Program Files\\Corvena\\Linkwell\\LinkwellAgent.exe', `/log=${windowsPath(log)}`], {
    env: {
      ...ENVIRONMENT,
      LINKWELL_SANDBOX_DLL: windowsPath(path.join(BUILD, 'bin', 'LinkwellSandbox.dll')),
      LINKWELL_SANDBOX_MAILBOX: windowsPath(mailbox),
    },
    stdio: 'ignore',
  });
  const ended = new Promise((resolve) => { agent.on('exit', resolve); });
  while (agent.exitCode === null && !(fs.existsSync(log) && fs.readFileSync(log, 'utf8').includes('Subscribe to Mailbox'))) {
    await new Promise((resolve) => { setTimeout(resolve, 50); });
  }
  assert.equal(agent.exitCode, null, 'the agent has ended');
  return { ended };
}

const closeAgents = () => wine('C:\\Program Files\\Corvena\\Linkwell\\linkwell-closeagent.exe').status;

test('asks for a restart when an agent runs, and is whole after it', { timeout: 240000 }, async () => {
  assert.equal(msiexec('/i', windowsPath(oldMsi)), SUCCESS);
  const { ended } = await runAgent();
  assert.equal(msiexec('/i', windowsPath(newMsi)), RESTART_REQUIRED);
  assert.equal(closeAgents(), 0);
  assert.equal(await ended, 0);
  restart();
  assertInstalled(newTree);
});

test('asks for none when agents have been closed before', { timeout: 240000 }, async () => {
  assert.equal(msiexec('/x', windowsPath(newMsi)), SUCCESS);
  assert.equal(msiexec('/i', windowsPath(oldMsi)), SUCCESS);
  const { ended } = await runAgent();
  assert.equal(closeAgents(), 0);
  assert.equal(await ended, 0);
  assert.equal(msiexec('/i', windowsPath(newMsi)), SUCCESS);
  assertInstalled(newTree);
});
