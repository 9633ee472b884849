// Runs the tests of the page: run.mjs --tool PATH [--devices DIR]. With --devices the folder that an earlier run kept by
// KEP_VIEWER_KEEP=1 serves again.

import {spawnSync} from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import {parseArgs} from 'node:util';

const {values} = parseArgs({options: {tool: {type: 'string'}, devices: {type: 'string'}, only: {type: 'string'}}});
if (!values.tool) {
  console.error('usage: run.mjs --tool PATH_OF_KEP_RG [--devices DIR] [--only NAME]');
  process.exit(2);
}
process.env.KEP_RG = path.resolve(values.tool);
const {HERE, makeDevices} = await import('./devices.mjs');
const folder = values.devices ?? (await makeDevices());
process.env.KEP_VIEWER_DEVICES = path.resolve(folder);

const tests =
    fs.readdirSync(HERE).filter((name) => name.endsWith('.test.mjs') && name.includes(values.only ?? ''));
const {status} = spawnSync(
    process.execPath,
    ['--test', '--test-concurrency=2', '--test-reporter=spec', ...tests.map((name) => path.join(HERE, name))],
    {stdio: 'inherit'});
if (process.env.KEP_VIEWER_KEEP)
  console.log(`devices in ${folder}`);
else if (!values.devices)
  fs.rmSync(folder, {recursive: true});
process.exit(status ?? 1);
