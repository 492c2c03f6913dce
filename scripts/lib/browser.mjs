// A headless Chromium that asks nobody for anything.

import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';

const FLAGS = [
  '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
  '--disable-background-networking', '--disable-component-update', '--disable-sync'];
// What the browser's graphics driver says is not the page's.
const DRIVER_MESSAGE = /^\[\.WebGL-.*\]GL Driver Message /;

// Calls `look(page, messages)` with a fresh page and the list that takes what it says on the console,
// errors and dialogs too, as [type, text]. Returns what `look` does.
export async function withPage(require, look, options = {}) {
  const profile = fs.mkdtempSync(path.join(os.tmpdir(), 'check-trace-'));
  const browser = await require('playwright-core').chromium.launchPersistentContext(profile, {
    executablePath: '/usr/bin/chromium', headless: true, args: FLAGS, acceptDownloads: true,
    viewport: { width: 1400, height: 700 }, ...options });
  try {
    const page = browser.pages()[0] ?? await browser.newPage();
    const messages = [];
    page.on('console', message => DRIVER_MESSAGE.test(message.text()) ||
      messages.push([message.type(), message.text()]));
    page.on('pageerror', error => messages.push(['error', String(error)]));
    page.on('dialog', dialog => {
      messages.push(['error', dialog.message()]);
      dialog.dismiss();
    });
    return await look(page, messages);
  } finally {
    await browser.close();
    fs.rmSync(profile, { recursive: true, force: true });
  }
}
