// msi.js: the MSI of a folder of files, by wixl and, where that has no word for a thing, by msibuild.
'use strict';

const fs = require('fs');
const path = require('path');

const { UPGRADE_CODE, digestOf, uuidOf } = require('./identity');
const { PackagingError, run } = require('./run');
const { filesBelow } = require('./tree');

const TEMPLATE = path.join(__dirname, '..', 'linkwell.wxs');
const ICON = path.join(__dirname, '..', '..', 'agent', 'resources', 'linkwell.ico');

/** One component for each file, by whose name Windows Installer knows it again in the next version. */
function fragmentOf(files) {
  const ids = files.map((file) => file.replaceAll('-', '_'));
  const fault = ids.findIndex((id) => !/^[A-Za-z_][A-Za-z0-9_.]*$/.test(id));
  if (fault >= 0) {
    throw new PackagingError(`${files[fault]} can't be in the MSI: it takes files without folders, named by letters, digits, "_", "-" and "."`);
  }
  return [
    '<?xml version="1.0" encoding="utf-8"?>',
    '<Wix xmlns="http://schemas.microsoft.com/wix/2006/wi">',
    '<Fragment><DirectoryRef Id="INSTALLFOLDER">',
    ...files.map((file, at) => `<Component Id="${ids[at]}" Guid="*" Win64="yes">`
      + `<File Id="${ids[at]}" Source="$(var.Tree)/${file}" KeyPath="yes"/></Component>`),
    '</DirectoryRef></Fragment>',
    '<Fragment><ComponentGroup Id="Files">',
    ...ids.map((id) => `<ComponentRef Id="${id}"/>`),
    '</ComponentGroup></Fragment>',
    '</Wix>',
    '',
  ].join('\n');
}

/**
 * What wixl has no word for. A program without its version counts as older than any program that has one, and would not
 * replace it; a file with a version has no hash. The older version goes before the files of the new one come, in the same
 * transaction: then a file that is gone goes, and a failure brings the old version back.
 */
function additions(files, version) {
  const programs = files.filter((file) => file.endsWith('.exe'));
  return [
    ...programs.map((file) => `UPDATE File SET Version='${version}.0', Language='1033' WHERE FileName='${file}'`),
    ...programs.map((file) => `DELETE FROM MsiFileHash WHERE File_='${file.replaceAll('-', '_')}'`),
    "UPDATE InstallExecuteSequence SET Sequence=1501 WHERE Action='RemoveExistingProducts'",
    "UPDATE Property SET Value='WIX_DOWNGRADE_DETECTED;WIX_UPGRADE_DETECTED;INSTALLFOLDER;REMEMBEREDFOLDER' "
      + "WHERE Property='SecureCustomProperties'",
  ];
}

/** Replaces what in the summary information would differ from one time to the next. */
function summarise(msi, folder, packageCode, seconds) {
  const [date, time] = new Date(seconds * 1000).toISOString().split(/[T.]/);
  const table = path.join(folder, '_SummaryInformation.idt');
  const replaced = { 9: `{${packageCode}}`, 12: `${date.replaceAll('-', '/')} ${time}`, 13: `${date.replaceAll('-', '/')} ${time}` };
  fs.writeFileSync(table, run('msiinfo', ['export', msi, '_SummaryInformation'])
    .replace(/^(\d+)\t.*?(\r?)$/gm, (line, id, end) => (replaced[id] === undefined ? line : `${id}\t${replaced[id]}${end}`)));
  run('msibuild', [msi, '-i', table]);
}

/**
 * Makes the MSI of all files of a folder, which has to be settled: the same bytes from the same files and version.
 * @param {string} work  a folder for what is only needed meanwhile.
 */
function makeMsi(tree, version, seconds, msi, work) {
  if (!/^\d{1,3}\.\d{1,3}\.\d{1,5}$/.test(version)) {
    throw new PackagingError(`version ${version}: Windows Installer takes three numbers, such as 1.2.3`);
  }
  const files = filesBelow(tree);
  const fragment = path.join(work, 'files.wxs');
  fs.writeFileSync(fragment, fragmentOf(files));
  const variables = {
    Tree: path.relative(work, tree), // it finds no files by absolute paths
    Icon: path.relative(work, ICON),
    Version: version,
    UpgradeCode: UPGRADE_CODE,
    ProductCode: uuidOf(`product ${version}`),
  };
  run('wixl', ['-a', 'x64', ...Object.entries(variables).flatMap(([name, value]) => ['-D', `${name}=${value}`]),
    '-o', msi, TEMPLATE, fragment], { cwd: work });
  run('msibuild', [msi, ...additions(files, version).flatMap((query) => ['-q', query])]);
  // Twice: the package code is made of everything else.
  summarise(msi, work, uuidOf(''), seconds);
  summarise(msi, work, uuidOf(`package ${digestOf(fs.readFileSync(msi))}`), seconds);
}

module.exports = { makeMsi };
