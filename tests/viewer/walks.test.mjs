// Walks against those that the tool draws: "kep-rg debug UIP --log -" for every plain node of the examples and samples of others.

import assert from 'node:assert/strict';
import {test} from 'node:test';
import {EXAMPLE_NAMES, ask, getPath} from './devices.mjs';
import {openDevice} from './scripts.mjs';

/**
 * The nets on the way to each point at which a drawn walk ends, by "point target".
 * @param {string} text
 */
function readTree(text) {
  /** @type {Map<string, string[]>} */
  const ends = new Map();
  /** @type {{indent: number, net: string | null}[]} */
  const above = [];
  for (const line of text.split('\n\n')[0].split('\n').slice(1)) {
    const indent = line.length - line.trimStart().length;
    while (above.length && above[above.length - 1].indent >= indent) above.pop();
    const nets = above.flatMap(({net}) => (net === null ? [] : [net]));
    const mux = /^\s*(\S+) {2}mux input -> (\S+?)( \(hipi\))?(, redundant)?$/.exec(line);
    const target = /^\s*(\S+) {2}(up out of .*: |through the arc of its mux, )?target$/.exec(line);
    const boundary = /^\s*(\S+) {2}out of the device -> boundary node$/.exec(line);
    if (mux)
      ends.set(`${mux[1]} ${mux[2]}`, nets);
    else if (target)
      ends.set(`${target[1]} ${target[1]}`, nets);
    else if (boundary)
      ends.set(`${boundary[1]} ${boundary[1]}`, nets);
    const net = /: net ([^,]+?)(, which leads nowhere else)?$/.exec(line);
    above.push({indent, net: net ? net[1] : null});
  }
  return ends;
}

/**
 * Holds the walks of a node's edges to the drawn ones; how many did.
 * @param {any} device
 * @param {string} name
 * @param {number} node
 */
async function compareNode(device, name, node) {
  const {graph, positions, walker} = device;
  const fanouts = graph.getFanouts(node);
  if (graph.getKind(node) !== 'uip' || fanouts.length === 0) return 0;
  const tree = readTree(await ask('debug', getPath(`${name}.kdb`), graph.getName(node), '--log', '-'));
  for (const edge of fanouts) {
    const target = graph.getName(edge.node);
    const walk = walker.find(node, edge);
    assert.ok(walk, `${name}: no walk from ${graph.getName(node)} to ${target}`);
    const isOwnMux = edge.muxInput && positions.getPinPath(edge.muxInput.occurrence, edge.muxInput.pin) === graph.getName(node);
    const point = edge.muxInput && !isOwnMux ? positions.getPinPath(edge.muxInput.occurrence, edge.muxInput.pin) : target;
    const drawn = tree.get(`${point} ${target}`);
    assert.ok(drawn, `${name}: no drawn walk from ${graph.getName(node)} to ${point}`);
    assert.deepEqual(
        Array.from(walk.nets, (/** @type {any} */ {occurrence, net}) => positions.getNetPath(occurrence, net)), drawn,
        `${name}: ${graph.getName(node)} to ${target}`);
  }
  return fanouts.length;
}

for (const name of EXAMPLE_NAMES)
  test(`${name}: each edge has the walk that the tool draws`, async () => {
    const device = openDevice(name);
    for (let node = 0; node < device.graph.numNodes; ++node) await compareNode(device, name, node);
  });

for (const [name, step] of /** @type {[string, number][]} */ ([['384', 251], ['deep', 61]]))
  test(`${name}: each ${step}th node has the walks that the tool draws`, async () => {
    const device = openDevice(name);
    let compared = 0;
    for (let node = 0; node < device.graph.numNodes; node += step) compared += await compareNode(device, name, node);
    assert.ok(compared > 100, `${compared} edges`);
  });

for (const name of [...EXAMPLE_NAMES, '384', 'deep'])
  test(`${name}: no edge is without a walk`, () => {
    const {graph, walker} = openDevice(name);
    let walks = 0;
    for (let node = 0; node < graph.numNodes; node += name === '384' ? 5 : 1)
      for (const edge of graph.getFanouts(node)) {
        assert.ok(walker.find(node, edge), `${graph.getName(node)} to ${graph.getName(edge.node)}`);
        ++walks;
      }
    assert.ok(walks > 0);
  });

test('a hipi twin drives the plain node at its place', () => {
  const {graph, walker} = openDevice('hipi_twin');
  const twin = graph.findNodes('h:o').find((/** @type {number} */ node) => graph.getKind(node) === 'hipi');
  assert.deepEqual({...walker.find(twin, graph.getFanouts(twin)[0])}.end, 'twin');
});
