// Where tiles stand: coordinates read from names, grids in grids, treemaps.

import assert from 'node:assert/strict';
import {test} from 'node:test';
import {EXAMPLE_NAMES} from './devices.mjs';
import {get, openDevice} from './scripts.mjs';

test('names tell coordinates', () => {
  const read = get('readCoordinates');
  const of = (/** @type {string} */ name) => {
    const found = read(name);
    return found && [found.x, found.y];
  };
  assert.deepEqual(of('3_4'), [3, 4]);
  assert.deepEqual(of('x3y4'), [3, 4]);
  assert.deepEqual(of('X12_Y7'), [12, 7]);
  assert.deepEqual(of('tile_3_4'), [3, 4]);
  assert.deepEqual(of('block_10__2_'), [10, 2]);
  assert.deepEqual(of('R2C5'), [5, -2]);
  assert.deepEqual(of('row2_col5_pad1'), [5, -2]);
  assert.equal(of('clock'), null);
  assert.equal(of('ram7'), null);
});

test('few names with numbers make no grid', () => {
  const find = get('findGrid');
  assert.equal(find(['a', 'b', 'c', 'd_1_2', 'e_1_3']), null);
  assert.equal(find(['a_1_2']), null);
  const grid = find(['t_0_0', 't_1_0', 't_0_1', 'pll']);
  assert.deepEqual([grid.numColumns, grid.numRows, grid.cells[3]], [2, 2, null]);
});

/** No tile lies over another or beside the plan. @param {any} plan */
function checkTiles(plan) {
  const boxes =
      Array.from({length: plan.count}, (_, i) => [plan.x[i], plan.y[i], plan.x[i] + plan.widths[i], plan.y[i] + plan.heights[i]]);
  const close = 1e-3;
  boxes.forEach(([left, top, right, bottom], i) => {
    assert.ok(
        left >= -close && top >= -close && right <= plan.width + close && bottom <= plan.height + close && right > left &&
            bottom > top,
        plan.getName(i));
    boxes.slice(i + 1).forEach(([left2, top2, right2, bottom2], k) => {
      assert.ok(
          right <= left2 + close || right2 <= left + close || bottom <= top2 + close || bottom2 <= top + close,
          `${plan.getName(i)} lies over ${plan.getName(i + 1 + k)}`);
    });
  });
}

for (const name of EXAMPLE_NAMES)
  test(`${name}: tiles of all levels stand beside each other`, () => {
    const device = openDevice(name);
    for (const {level, tiles} of device.getLevels()) {
      const plan = device.getPlan(level);
      assert.equal(plan.count, tiles);
      checkTiles(plan);
    }
  });

for (const [name, level] of /** @type {[string, number][]} */ ([['384', 1], ['deep', 3], ['deep', 4]]))
  test(`${name}: tiles of level ${level} stand beside each other`, () => checkTiles(openDevice(name).getPlan(level)));

test('384: tiles stand where their names say, y upwards', () => {
  const device = openDevice('384');
  const plan = device.getPlan(device.bestLevel);
  for (let tile = 0; tile < plan.count; ++tile) {
    const [x, y] = plan.getName(tile).split('_').map(Number);
    assert.deepEqual([plan.columns[tile], plan.rows[tile]], [x, 9 - y]);
    const centre = plan.getCentre(tile);
    assert.equal(plan.findTileAt(centre.x, centre.y), tile);
  }
  const at = (/** @type {string} */ name) =>
      Array.from({length: plan.count}, (_, i) => i).find((i) => plan.getName(i) === name) ?? -1;
  assert.equal(plan.getName(plan.findNeighbour(at('3_4'), 1, 0)), '4_4');
  assert.equal(plan.getName(plan.findNeighbour(at('3_4'), 0, -1)), '3_5');
});

test('deep: the best level is that of the tiles of the lowest grid', () => {
  const device = openDevice('deep');
  const plan = device.getPlan(device.bestLevel);
  assert.equal(plan.count, 2 * 2 * 2 * 2 * 1 * 2);
  assert.match(plan.getName(0), /^x\d+y\d+\/x\d+y\d+\/x\d+y\d+$/);
});

for (const name of [...EXAMPLE_NAMES, '384', 'deep'])
  test(`${name}: each node but those of the boundary has a tile at every level`, () => {
    const device = openDevice(name);
    for (const {level} of device.getLevels()) {
      const plan = device.getPlan(level);
      for (let node = 0; node < device.graph.numNodes; ++node) {
        const tile = plan.findTileOfNode(node);
        if (device.graph.getKind(node) === 'boundary')
          assert.equal(tile, -1);
        else
          assert.ok(
              tile >= 0 && `${device.graph.getName(node).replace(':', '/')}/`.startsWith(`${plan.getName(tile)}/`),
              device.graph.getName(node));
      }
    }
  });
