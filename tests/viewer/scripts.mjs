// The scripts of the page without a page: all that needs no browser.

import fs from 'node:fs';
import path from 'node:path';
import vm from 'node:vm';
import {VIEWER, readBytes} from './devices.mjs';

const names = fs.readFileSync(path.join(VIEWER, 'scripts.txt'), 'utf8').trim().split('\n');
const context = vm.createContext({TextDecoder, console, performance, MessageChannel, URLSearchParams});
for (const name of names.filter((each) => each !== 'app/main.js'))
  vm.runInContext(fs.readFileSync(path.join(VIEWER, name), 'utf8'), context, {filename: name});

/** What a name or an expression of the scripts stands for. @param {string} text @returns {any} */
export function get(text) {
  return vm.runInContext(text, context);
}

/** @param {string} name @param {object} [facts] */
export function openDevice(name, facts = {}) {
  return new (get('Device'))(readBytes(name), name, facts);
}

/** Runs a generator of the scripts to its end. @template T @param {Generator<unknown, T>} work @returns {T} */
export function finish(work) {
  for (;;) {
    const step = work.next();
    if (step.done) return step.value;
  }
}
