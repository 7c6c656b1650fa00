// read.js: the commands that the documents tell people to type.
//
// They stand in fenced blocks of a shell, and in indented or unnamed blocks that begin with a program that is known here.
// What stands in a block of another system's shell (bat, powershell) is for Windows.
'use strict';

const { execFileSync } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');

const ROOT = path.join(__dirname, '..', '..', '..');
const SHELLS = ['sh', 'bash'];
const WINDOWS_SHELLS = ['bat', 'powershell'];
const ENVIRONMENT = String.raw`(?:[A-Z_]+=(?:\$\([^)]*\)|'[^']*'|\S)* (?:\\\n)? *)*`;
const PROGRAM = new RegExp(`^${ENVIRONMENT}(?:\\.?/?(?:scripts|\\.ci|build|hosts|tools|tests)/\\S+|(?:/usr/bin/)?(?:cmake|ctest|ninja|node|npm|` +
  'npx|git|cd|printf|gdb|wine|wine64|winedbg|xmllint|clang-format-19|cargo|rustc|mcs|mono|sudo|apt-get|sha256sum|unzip)|linkwell-[a-z]+)(?= |$)');

/** All documents but the changelog, by their paths from the root. */
function documents() {
  return execFileSync('git', ['ls-files', '*.md'], { cwd: ROOT, encoding: 'utf8' }).trim().split('\n')
    .filter((page) => page !== 'CHANGELOG.md')
    .sort((one, other) => (other === 'README.md') - (one === 'README.md')) // the first that is read
    .map((page) => ({ page, text: fs.readFileSync(path.join(ROOT, page), 'utf8') }));
}

/** The blocks of a page: their language, which is undefined where they are only indented, and their lines. */
function blocksOf(text) {
  const blocks = [];
  let open; // the block of the line before
  text.split('\n').forEach((line, at) => {
    const mark = /^ *```(\w*)/.exec(line);
    if (mark && open?.language === undefined) {
      open = { language: mark[1], lines: [], first: at + 2 };
      blocks.push(open);
    } else if (mark) {
      open = undefined;
    } else if (open?.language !== undefined) {
      open.lines.push(line);
    } else if (/^ {4}/.test(line)) {
      if (open === undefined) {
        open = { lines: [], first: at + 1 };
        blocks.push(open);
      }
      open.lines.push(line);
    } else {
      open = undefined;
    }
  });
  return blocks;
}

/** @returns {{ page: string, line: number, text: string, windows: boolean, folder: string }[]} */
function commandsOf({ page, text }) {
  const commands = [];
  for (const { language, lines, first } of blocksOf(text)) {
    const windows = WINDOWS_SHELLS.includes(language);
    if (!windows && !SHELLS.includes(language) && ((language ?? '') !== '' || !PROGRAM.test((lines[0] ?? '').trim()))) {
      continue;
    }
    let folder = page.startsWith('hosts/') ? path.dirname(page) : '.';
    for (let at = 0; at < lines.length; at += 1) {
      const line = first + at;
      let command = lines[at].trim();
      for (const end = /<<'?(\w+)/.exec(command)?.[1]; at + 1 < lines.length;) {
        const isWhole = end === undefined ? !/[\\^`]$/.test(command) : command.split('\n').at(-1) === end;
        if (isWhole) {
          break;
        }
        at += 1;
        command += `\n${end === undefined ? lines[at] : lines[at].trim()}`;
      }
      command = command.replace(/(^| +)# .*$/, '');
      if (command !== '') {
        commands.push({ page, line, text: command, windows, folder });
        folder = path.join(folder, /^cd (\S+)$/.exec(command)?.[1] ?? '');
      }
    }
  }
  return commands;
}

/** What rules.json says of commands that can't be run as they stand. */
const RULES = JSON.parse(fs.readFileSync(path.join(__dirname, 'rules.json'), 'utf8'));

function ruleOf({ text, windows }) {
  return windows ? { notRun: 'needs Windows' } : RULES.find((rule) => new RegExp(rule.commands, 'm').test(text)) ?? {};
}

module.exports = { PROGRAM, ROOT, RULES, commandsOf, documents, ruleOf };
