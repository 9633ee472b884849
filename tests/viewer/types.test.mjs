// The types that comments tell, and how the scripts are kept: all listed, none too long.

import assert from 'node:assert/strict';
import {spawnSync} from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import {test} from 'node:test';
import {HERE, VIEWER} from './devices.mjs';

test('the types of the scripts hold', () => {
  const compiler = path.join(HERE, 'node_modules/typescript/bin/tsc');
  const {status, stdout} = spawnSync(process.execPath, [compiler, '--project', HERE], {encoding: 'utf8'});
  assert.equal(stdout, '');
  assert.equal(status, 0);
});

test('each script is listed once, is there, and has at most 400 lines', () => {
  const listed = fs.readFileSync(path.join(VIEWER, 'scripts.txt'), 'utf8').trim().split('\n');
  const there = fs.readdirSync(VIEWER, {recursive: true}).map(String).filter((name) => name.endsWith('.js'));
  assert.deepEqual([...listed].sort(), there.sort());
  for (const name of listed) {
    const lines = fs.readFileSync(path.join(VIEWER, name), 'utf8').split('\n').length;
    assert.ok(lines <= 400, `${name} has ${lines} lines`);
  }
});

test('no script holds what would end it inside a page', () => {
  for (const name of fs.readdirSync(VIEWER, {recursive: true}).map(String).filter((each) => /\.(js|css)$/.test(each)))
    assert.ok(!/<\/(script|style)|<!--/i.test(fs.readFileSync(path.join(VIEWER, name), 'utf8')), name);
});
