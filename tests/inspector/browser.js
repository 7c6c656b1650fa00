// browser.js: a headless browser, and the inspector's page in it.
'use strict';

const fs = require('fs');
const path = require('path');
const { createRequire } = require('module');

const NODE_HOST = path.join(__dirname, '..', '..', 'hosts', 'node');
const ofNodeHost = createRequire(path.join(NODE_HOST, 'package.json'));
const { chromium } = ofNodeHost('playwright-core');
const { exchange, makePipe } = ofNodeHost('./support/agents');
const { startInspector } = ofNodeHost('./support/inspector');
const { readTranscript } = ofNodeHost('./support/transcript');

/** Longer than anything takes on a machine that does much else. */
const PATIENCE = 120_000;
const SCREENSHOTS = process.env.LINKWELL_SCREENSHOTS ?? path.join(__dirname, '..', '..', 'build', 'inspector-screenshots');

let browser = null;

async function openBrowser() {
  browser = await chromium.launch({
    executablePath: process.env.LINKWELL_CHROMIUM ?? '/usr/bin/chromium',
    args: ['--no-sandbox'], // as root, which tests may run as, there is none
    timeout: PATIENCE,
  });
}

async function closeBrowser() {
  await browser?.close();
}

/** A page at an address, and what has gone wrong in it so far: errors, and what the policy has refused. */
async function openPage(t, address, { scheme = 'light', width = 1440, height = 900, motion = 'reduce' } = {}) {
  const context = await browser.newContext({
    viewport: { width, height }, colorScheme: scheme, reducedMotion: motion, locale: 'en-GB', timezoneId: 'Europe/Berlin',
  });
  t.after(() => context.close());
  context.setDefaultTimeout(PATIENCE);
  const page = await context.newPage();
  const faults = [];
  page.on('pageerror', (error) => faults.push(error.message));
  page.on('console', (message) => {
    if (message.type() === 'error') {
      faults.push(message.text());
    }
  });
  page.on('dialog', (dialog) => {
    faults.push(`a dialog: ${dialog.message()}`);
    dialog.dismiss();
  });
  await page.goto(String(address));
  return { page, faults };
}

/** An inspector with these messages, and a page that shows it. */
async function show(t, texts, options = {}) {
  const { page: pageOptions, ...inspectorOptions } = options;
  const server = await startInspector(t, inspectorOptions);
  for (const text of texts) {
    await server.take(text);
  }
  const opened = await openPage(t, server.address, pageOptions);
  await opened.page.locator('#status[data-state=live], #status[data-state=waiting]').waitFor();
  if (texts.length > 0) {
    await opened.page.locator('.row').first().waitFor();
  }
  return { ...server, ...opened };
}

/** Keeps what a page looks like beside the tests' output, for people. */
async function screenshot(page, name) {
  fs.mkdirSync(SCREENSHOTS, { recursive: true });
  await page.screenshot({ path: path.join(SCREENSHOTS, `${name}.png`) });
}

module.exports = {
  NODE_HOST, closeBrowser, exchange, makePipe, openBrowser, openPage, readTranscript, screenshot, show, startInspector,
};
