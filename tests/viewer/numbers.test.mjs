// Numbers that the page shows, against naive counts over the dump.

import assert from 'node:assert/strict';
import fs from 'node:fs';
import {test} from 'node:test';
import {EXAMPLE_NAMES, getPath, readDump} from './devices.mjs';
import {finish, get, openDevice} from './scripts.mjs';

/** @template T @param {T[]} list @param {(each: T) => number} getValue */
function countBy(list, getValue) {
  /** @type {Map<number, number>} */
  const counts = new Map();
  for (const each of list) counts.set(getValue(each), (counts.get(getValue(each)) ?? 0) + 1);
  return [...counts].sort((left, right) => left[0] - right[0]);
}
/** @param {{value: number, count: number}[]} bins */
function toPairs(bins) {
  return Array.from(bins, ({value, count}) => [value, count]);
}
/** @param {string} name @param {number[]} columns of the edges that make a node */
function countEdges(name, [node, kind]) {
  /** @type {Map<string, number>} */
  const counts = new Map(readDump(name, 'nodes').map((row) => [row.join(' '), 0]));
  for (const edge of readDump(name, 'edges')) {
    const key = `${edge[node]} ${edge[kind]}`;
    counts.set(key, (counts.get(key) ?? 0) + 1);
  }
  return countBy([...counts.values()], (count) => count);
}

for (const name of [...EXAMPLE_NAMES, '384', 'deep'])
  test(`${name}: histograms of fanout and fanin count the edges of the dump`, () => {
    const {statistics} = openDevice(name);
    assert.deepEqual(toPairs(finish(statistics.countByFanout())), countEdges(name, [0, 1]));
    assert.deepEqual(toPairs(finish(statistics.countByFanin())), countEdges(name, [2, 3]));
  });

for (const name of [...EXAMPLE_NAMES, '384', 'deep'])
  test(`${name}: there are as many templates as the graph tells, and each node with fanouts has one`, () => {
    const {statistics, graph} = openDevice(name);
    const templates = finish(statistics.listTemplates());
    assert.equal(templates.length, graph.tables.numTemplates);
    const sources = new Set(readDump(name, 'edges').map(([node, kind]) => `${node} ${kind}`));
    assert.equal(templates.reduce((/** @type {number} */ sum, /** @type {any} */ {nodes}) => sum + nodes, 0), sources.size);
    const [most] = templates;
    const nodes = most ?
        finish(statistics.findNodes(
            (/** @type {number} */ shape) => statistics.getTemplateKey(shape) === statistics.getTemplateKey(most.shape), 1e6)) :
        [];
    assert.equal(nodes.length, most?.nodes ?? 0);
  });

/**
 * Edges by columns and rows between the tiles that the names tell.
 * @param {string} name
 * @param {(node: string) => number[]} getPlace
 */
function measureNaively(name, getPlace) {
  return countBy(readDump(name, 'edges'), ([from, , to]) => {
    const [x0, y0] = getPlace(from);
    const [x1, y1] = getPlace(to);
    return Math.abs(x0 - x1) + Math.abs(y0 - y1);
  });
}

test('384: wire lengths are those that the names of tiles tell', () => {
  const {wireLengths} = openDevice('384');
  const {bins, without} = finish(wireLengths.count());
  const naive = measureNaively('384', (node) => node.split('/')[0].split('_').map(Number));
  assert.deepEqual(toPairs(bins), naive);
  assert.equal(without, 0);
  const longest = bins[bins.length - 1];
  const examples = finish(wireLengths.findNodes((/** @type {number} */ length) => length === longest.value, 10));
  assert.ok(examples.length > 0);
});

test('deep: wire lengths count columns and rows of grids in grids', () => {
  const {wireLengths, graph} = openDevice('deep');
  const {bins, without} = finish(wireLengths.count());
  const [columns, rows] = [[2 * 2, 2, 1], [1 * 2, 2, 1]];
  const inside = readDump('deep', 'edges').filter(([from, , to]) => !from.startsWith(':') && !to.startsWith(':'));
  const place = (/** @type {string} */ node) => {
    const levels = node.split('/').slice(0, 3).map((part) => /^x(\d+)y(\d+)/.exec(part) ?? ['', '0', '0']);
    return [0, 1].map(
        (axis) => levels.reduce((sum, numbers, i) => sum + Number(numbers[axis + 1]) * [columns, rows][axis][i], 0));
  };
  const naive =
      countBy(inside, ([from, , to]) => Math.abs(place(from)[0] - place(to)[0]) + Math.abs(place(from)[1] - place(to)[1]));
  assert.deepEqual(toPairs(bins), naive);
  assert.equal(without, graph.tables.numEdges - inside.length);
});

/** Fanouts and so on by tile, naively. @param {any} device @param {number} level */
function sumNaively(device, level) {
  const {graph} = device;
  const plan = device.getPlan(level);
  const tiles = Array.from({length: plan.count}, () => ({nodes: 0, fanouts: 0, fanins: 0, redundant: 0, shapes: new Set()}));
  /** @type {Map<string, number>} */
  const byName = new Map(Array.from({length: plan.count}, (_, tile) => [plan.getName(tile), tile]));
  for (let node = 0; node < graph.numNodes; ++node) {
    let path = graph.getName(node).split(':')[0];
    while (path !== '' && !byName.has(path)) path = path.split('/').slice(0, -1).join('/');
    if (path === '') continue;
    const tile = tiles[/** @type {number} */ (byName.get(path))];
    ++tile.nodes;
    tile.fanouts += graph.getFanouts(node).length;
    tile.redundant += graph.getFanouts(node).filter((/** @type {any} */ {isReal}) => !isReal).length;
    tile.fanins += graph.getSources(node).length;
    tile.shapes.add(graph.getShape(node));
  }
  return tiles;
}

for (const [name, level] of /** @type {[string, number][]} */ ([
       ...EXAMPLE_NAMES.map((each) => [each, 1]), ...EXAMPLE_NAMES.map((each) => [each, 2]), ['384', 1], ['deep', 1], ['deep', 2],
       ['deep', 3], ['deep', 5]
     ]))
  test(`${name}: measures of the tiles of level ${level} are those of their nodes`, () => {
    const device = openDevice(name);
    const plan = device.getPlan(level);
    const measures = device.getMeasures(plan);
    finish(measures.addUp());
    const naive = sumNaively(device, level);
    naive.forEach(({nodes, fanouts, fanins, redundant, shapes}, tile) => {
      const got = ['nodes', 'fanout', 'fanin', 'redundant', 'shapes'].map((id) => measures.get(id)[tile]);
      assert.deepEqual(
          got, [nodes, nodes ? fanouts / nodes : 0, nodes ? fanins / nodes : 0, redundant, shapes.size], plan.getName(tile));
    });
    assert.ok(naive.some(({nodes}) => nodes > 0));
  });

test('384: hops of the walks are those of the traces', () => {
  const {graph, walker} = openDevice('384');
  const page = fs.readFileSync(getPath('384.html'), 'utf8');
  const [, text] = /** @type {RegExpExecArray} */ (/<script id="facts" type="application\/json">([^]*?)<\/script>/.exec(page));
  const {hops} = JSON.parse(text);
  const countHops = get('countHops');
  /** @type {number[]} */
  const counts = new Array(hops.length).fill(0);
  for (let node = 0; node < graph.numNodes; ++node)
    for (const edge of graph.getFanouts(node)) ++counts[countHops(walker.find(node, edge))];
  assert.deepEqual(counts, hops);
});

test('a module is used as often as the model says', () => {
  const device = openDevice('plain_mux_chain');
  const uses = device.getUses();
  const byName = Object.fromEntries(Array.from(uses, (count, module) => [device.model.getModuleName(module), count]));
  assert.equal(byName.TILE, 2);
  assert.equal(byName.MUX2 ?? byName.MUX, 4);
});

test('a net leads to the nodes that drive it or stand behind mux inputs on it, at all levels', () => {
  const {graph, model, positions, walker} = openDevice('plain_mux_chain');
  const [{occurrence, instance}] = positions.findInstances(['t0']);
  const [inside] = positions.getChildren(occurrence, instance);
  const module = positions.getModule(inside);
  const net = Array.from({length: model.getNumNets(module)}, (_, i) => i).find((i) => model.getNetName(module, i) === 'out');
  const nodes = get('findNodesOnNet')(walker, inside, net);
  assert.deepEqual(Array.from(nodes, (/** @type {number} */ node) => graph.getName(node)), ['t0/m1:o', 't0/m2:o', 't1/m1:o']);
});
