// The page in headless Chromium.

import {pathToFileURL} from 'node:url';
import {chromium} from 'playwright-core';
import {getPath} from './devices.mjs';

const FLAGS = [
  '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking',
  '--disable-component-update', '--disable-sync'
];

export function launch() {
  return chromium.launch({executablePath: process.env.CHROMIUM ?? '/usr/bin/chromium', args: FLAGS});
}

/**
 * Opens the page of a device as a file; `problems` gathers what a script of it throws or writes as an error.
 * @param {import('playwright-core').Browser} browser
 * @param {string} name
 * @param {{hash?: string, colorScheme?: 'light' | 'dark', width?: number}} [options]
 */
export async function openPage(browser, name, {hash = '', colorScheme = 'light', width = 1300} = {}) {
  const context = await browser.newContext({viewport: {width, height: 850}, colorScheme, offline: true});
  const page = await context.newPage();
  /** @type {string[]} */
  const problems = [];
  page.on('pageerror', (error) => problems.push(String(error)));
  page.on('console', (message) => message.type() === 'error' && problems.push(message.text()));
  page.on(
      'request', (request) => /^(file|data|blob):/.test(request.url()) || problems.push(`asks the network for ${request.url()}`));
  await page.goto(pathToFileURL(getPath(`${name}.html`)).href + (hash ? `#${hash}` : ''));
  await waitForMark(page, 'coloured');
  return {page, problems};
}

/** @param {import('playwright-core').Page} page @param {string} name */
export function waitForMark(page, name) {
  return page.waitForFunction((mark) => performance.getEntriesByName(mark).length > 0, name, {timeout: 15000});
}

/** The value beside a name in the panel. @param {import('playwright-core').Page} page @param {string} name */
export async function readFact(page, name) {
  return (await page.locator('table.facts tr', {has: page.locator(`th:text-is("${name}")`)})
              .first()
              .locator('td')
              .textContent()) ??
      '';
}
