// The reader and the unfolding against the dump: every node and edge.

import assert from 'node:assert/strict';
import {test} from 'node:test';
import {EXAMPLE_NAMES, readBytes, readDump} from './devices.mjs';
import {get, openDevice} from './scripts.mjs';

/** The edges of a node as rows of the dump. @param {any} graph @param {number} node */
function listEdges(graph, node) {
  const name = (/** @type {any} */ uip) => (uip ? graph.positions.getPinPath(uip.occurrence, uip.pin) : '');
  return graph.getFanouts(node).map(
      (/** @type {any} */ edge) =>
          [graph.getName(node), graph.getKind(node), graph.getName(edge.node), graph.getKind(edge.node),
           edge.isReal ? 'real' : 'redundant', name(edge.muxInput)]);
}

for (const name of [...EXAMPLE_NAMES, '384', 'deep'])
  test(`${name} has the nodes and edges of its dump, in their order`, () => {
    const {graph} = openDevice(name);
    const nodes = readDump(name, 'nodes');
    assert.equal(graph.numNodes, nodes.length);
    const edges = readDump(name, 'edges');
    let at = 0;
    nodes.forEach(([node, kind], i) => {
      assert.equal(`${graph.getName(i)} ${graph.getKind(i)}`, `${node} ${kind}`);
      for (const row of listEdges(graph, i)) assert.equal(row.join('\t'), edges[at++].join('\t'));
    });
    assert.equal(at, edges.length);
    assert.ok(edges.length > 0);
  });

for (const name of [...EXAMPLE_NAMES, 'deep'])
  test(`${name} tells each edge from its other end, too`, () => {
    const {graph} = openDevice(name);
    const forth = [];
    const back = [];
    const tell = (/** @type {number} */ from, /** @type {number} */ to, /** @type {any} */ {isReal, muxInput}) =>
        `${from} ${to} ${isReal} ${muxInput?.occurrence} ${muxInput?.pin}`;
    for (let node = 0; node < graph.numNodes; ++node) {
      for (const edge of graph.getFanouts(node)) forth.push(tell(node, edge.node, edge));
      for (const edge of graph.getFanins(node)) back.push(tell(edge.node, node, edge));
      assert.equal(graph.getFanins(node).length, graph.getNumFanins(graph.getShape(node)));
    }
    assert.deepEqual(back.sort(), forth.sort());
  });

for (const name of EXAMPLE_NAMES)
  test(`${name} finds each node by its name`, () => {
    const {graph} = openDevice(name);
    for (let node = 0; node < graph.numNodes; ++node) assert.ok(graph.findNodes(graph.getName(node)).includes(node));
    assert.equal(graph.findNodes('no/such:node').length, 0);
    assert.equal(graph.findNodes(':nowhere').length, 0);
    assert.equal(graph.findNodes('x').length, 0);
  });

const REFUSALS = {
  'an empty file': [(/** @type {ArrayBuffer} */ bytes) => bytes.slice(0, 0), /no device database/],
  'a text': [() => new TextEncoder().encode('{"modules": {}}, and more text than a header has').buffer, /no device database/],
  'another version': [(/** @type {ArrayBuffer} */ bytes) => change(bytes, 8, 2), /version 2 .*version 1/],
  'a file that was cut': [(/** @type {ArrayBuffer} */ bytes) => bytes.slice(0, bytes.byteLength - 8), /cut short/],
  'an occurrence that stands in itself': [closeCircle, /damaged: .*occurrence/],
  'a file of a header': [(/** @type {ArrayBuffer} */ bytes) => bytes.slice(0, 64), /damaged|cut short/],
};

/** @param {ArrayBuffer} bytes @param {number} at @param {number} value */
function change(bytes, at, value) {
  const copy = bytes.slice(0);
  new DataView(copy).setUint32(at, value, true);
  return copy;
}

/**
 * The same bytes, with an occurrence that stands in itself.
 * @param {ArrayBuffer} bytes
 */
function closeCircle(bytes) {
  const copy = bytes.slice(0);
  get('readDatabase')(copy).occurrences[6 + 2] = 1;
  return copy;
}

for (const [what, [make, reason]] of Object.entries(REFUSALS))
  test(`refuses ${what} in one line`, () => {
    const bytes = /** @type {any} */ (make)(readBytes('skip_mux'));
    const refusal = get(
        '(bytes, isOurs) => { try { readDatabase(bytes); return ""; } catch (error) { return error instanceof DatabaseError ? error.message : `not ours: ${error}`; } }')(
        bytes);
    assert.match(refusal, /** @type {RegExp} */ (reason));
    assert.ok(!refusal.includes('\n') && !refusal.startsWith('not ours'));
  });

test('reads far pointers, in one segment and over two', () => {
  const message = new Uint32Array([
    1, 1, 5, 0, (0 << 3) | 6, 1, /* segment 1: pad */ (2 << 3) | 2, 1, 0, 0x10001, /* struct */ 7, 9, 1, (3 << 3) | 2, 0x01020304,
    0
  ]);
  const reader = new (get('Message'))(message.buffer, 0, message.byteLength);
  const root = reader.getRoot();
  assert.deepEqual([reader.getNumber(root, 0), reader.getNumber(root, 4), root.numPointers], [7, 9, 1]);
  const bytes = reader.getList(root, 0);
  assert.deepEqual([...new Uint8Array(message.buffer, bytes.at, bytes.count)], [4, 3, 2]);
});

test('a pointer that leads out of its message is refused', () => {
  const message = new Uint32Array([0, 1, 400 << 2, 1]);
  assert.throws(() => new (get('Message'))(message.buffer, 0, message.byteLength).getRoot(), /out of its section/);
});
