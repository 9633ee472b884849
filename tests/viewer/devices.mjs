// The devices of the tests, made with the tool: the small examples, and a real one from a chip database.

import {execFile} from 'node:child_process';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import {fileURLToPath} from 'node:url';
import {promisify} from 'node:util';

export const HERE = path.dirname(fileURLToPath(import.meta.url));
export const TOOL = process.env.KEP_RG ?? '';
export const FOLDER = process.env.KEP_VIEWER_DEVICES ?? '';
export const VIEWER = path.join(HERE, '../../viewer');
const EXAMPLES = path.join(HERE, '../data/examples');
const CHIP = '/usr/share/fpga-icestorm/chipdb/chipdb-384.txt';

export const EXAMPLE_NAMES =
    fs.readdirSync(EXAMPLES).filter((name) => fs.existsSync(path.join(EXAMPLES, name, 'model.json'))).sort();

const execute = promisify(execFile);

/** What the tool prints, whatever its exit status. @param {...string} words */
export async function ask(...words) {
  const {stdout} = await execute(TOOL, words, {maxBuffer: 1 << 28}).catch((/** @type {any} */ error) => {
    if (typeof error.code !== 'number') throw error;
    return error;
  });
  return String(stdout);
}

/** @param {string} name */
export function getPath(name) {
  return path.join(FOLDER, name);
}

/** @param {string} name of a device */
export function readBytes(name) {
  const bytes = fs.readFileSync(getPath(`${name}.kdb`));
  return bytes.buffer.slice(bytes.byteOffset, bytes.byteOffset + bytes.length);
}

/** The rows of a table of a dump. @param {string} name @param {string} table */
export function readDump(name, table) {
  const text = fs.readFileSync(getPath(`${name}/${table}.tsv`), 'utf8');
  return text.slice(0, -1).split('\n').slice(1).map((line) => line.split('\t'));
}

/** Devices, dumps and pages, in a new folder. */
export async function makeDevices() {
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'kep_viewer.'));
  const at = (/** @type {string} */ name) => path.join(folder, name);
  const build = async (/** @type {string} */ name, /** @type {string[]} */ inputs) => {
    await ask('build', ...inputs, '-q', '-o', at(`${name}.kdb`), '--dump', at(name));
    if (!fs.existsSync(at(`${name}.kdb`))) throw new Error(`${TOOL} made no device ${name}`);
  };
  for (const name of EXAMPLE_NAMES) {
    const redundancy = path.join(EXAMPLES, name, 'redundancy.txt');
    await build(name, [
      path.join(EXAMPLES, name, 'model.json'), path.join(EXAMPLES, name, 'routing.jsonl'),
      ...(fs.existsSync(redundancy) ? ['--redundancy', redundancy] : [])
    ]);
  }
  await ask('import-icebox', CHIP, '--model', at('384.json'), '--routing', at('384.jsonl'));
  await build('384', [at('384.json'), at('384.jsonl')]);
  await ask(
      'generate', '--levels', '3', '--columns', '2,2,2', '--rows', '2,1,2', '--width', '8', '--luts', '3', '--connect-inputs',
      '8', '--redundant', '20', '--hipi', '20', '--skip', '20', '--tunnels', '1', '--spare-rows', '2', '--top-ports', '--model',
      at('deep.json'), '--routing', at('deep.jsonl'), '--redundancy', at('deep.txt'));
  await build('deep', [at('deep.json'), at('deep.jsonl'), '--redundancy', at('deep.txt')]);
  await ask('view', at('384.kdb'), '-q', '-o', at('384.html'));
  await ask('view', at('deep.kdb'), '-q', '--skip-checks', '-o', at('deep.html'));
  await ask('view', at('redundant_inputs.kdb'), '-q', '-o', at('redundant_inputs.html'));
  return folder;
}
