// What a plan is coloured by: for each tile a number, added up over pages of shapes and not over nodes.

const MEASURES = [
  {id: 'nodes', name: 'Nodes', unit: 'nodes in the tile'},
  {id: 'fanout', name: 'Fanout', unit: 'edges out of a node, on average'},
  {id: 'fanin', name: 'Fanin', unit: 'edges into a node, on average'},
  {id: 'redundant', name: 'Redundant edges', unit: 'redundant edges out of the tile'},
  {id: 'findings', name: 'Findings of check', unit: 'findings at nodes of the tile'},
  {id: 'shapes', name: 'Distinct shapes', unit: 'distinct pairs of fanouts and fanins in the tile'},
];

/**
 * What a page tells of the nodes of some instances at a place of one module.
 * @typedef {{instance: number, nodes: number, fanouts: number, redundant: number, fanins: number, shapes: Uint32Array}} PageSum
 */

class Pages {
  /** @param {Graph} graph */
  constructor(graph) {
    this.graph = graph;
    /** @type {Map<number, PageSum>} */
    this.sums = new Map();
    /** @type {Map<number, PageSum[]>} */
    this.sumsByInstance = new Map();
  }

  /** Equal keys have equal ranks and shapes. @param {number} place */
  getKey(place) {
    const module = this.graph.positions.getModule(this.graph.getOccurrence(place));
    return this.graph.tables.pages[place] * (this.graph.model.numModules + 1) + module;
  }
  /** The shapes at a place by rank; 0 where no node stands. @param {number} place */
  getShapes(place) {
    return Array.from(this.graph.getKeys(place), (_, rank) => this.graph.getShapeAt(place, rank));
  }

  /** Of all nodes at a place. @param {number} place */
  getSum(place) {
    const key = this.getKey(place);
    let sum = this.sums.get(key);
    if (!sum) {
      sum = this.addUp(-1, this.getShapes(place));
      this.sums.set(key, sum);
    }
    return sum;
  }

  /** Of the nodes at each instance. @param {number} place */
  getSumsByInstance(place) {
    const key = this.getKey(place);
    let sums = this.sumsByInstance.get(key);
    if (!sums) {
      const module = this.graph.positions.getModule(this.graph.getOccurrence(place));
      const keys = this.graph.getKeys(place);
      const byInstance = d3.group(
          this.getShapes(place).map((shape, rank) => ({shape, rank})),
          ({rank}) => this.graph.model.getPinInstance(module, keys[rank] >>> 1));
      sums = [...byInstance].map(([instance, members]) => this.addUp(instance, members.map(({shape}) => shape)));
      this.sumsByInstance.set(key, sums);
    }
    return sums;
  }

  /** @param {number} instance @param {number[]} shapes @returns {PageSum} */
  addUp(instance, shapes) {
    const there = shapes.filter((shape) => shape !== 0);
    const sum = {instance, nodes: there.length, fanouts: 0, redundant: 0, fanins: 0, shapes: Uint32Array.from(new Set(there))};
    for (const shape of there) {
      sum.fanouts += this.graph.getNumFanouts(shape);
      sum.redundant += this.graph.getNumFanouts(shape) - this.graph.getNumReal(shape);
      sum.fanins += this.graph.getNumFanins(shape);
    }
    return sum;
  }
}

class Measures {
  /** @param {Plan} plan @param {Pages} pages @param {Facts} facts */
  constructor(plan, pages, facts) {
    this.plan = plan;
    this.pages = pages;
    this.facts = facts;
    /** @type {Record<string, Float64Array>} */
    this.sums = {};
  }

  /** By tile: nodes, fanouts, fanins, redundant, shapes. Yields now and then. */
  * addUp() {
    if (this.sums.nodes) return;
    const names = ['nodes', 'fanouts', 'fanins', 'redundant', 'shapes'];
    const sums = Object.fromEntries(names.map((name) => [name, new Float64Array(this.plan.count)]));
    const seen = new Uint32Array(this.pages.graph.tables.shapes.length / SHAPE_WIDTH);
    const {first, places, above} = yield* this.orderPlaces();
    let steps = 0;
    for (let tile = 0; tile < this.plan.count; ++tile) {
      for (const sum of above.get(tile) ?? []) steps += this.add(sums, seen, tile, sum);
      for (let i = first[tile]; i < first[tile + 1]; ++i) steps += this.add(sums, seen, tile, this.pages.getSum(places[i]));
      if (steps > 100000) {
        steps = 0;
        yield;
      }
    }
    this.sums = sums;
  }

  /**
   * Tiles come in order, so a mark tells whether a shape was seen in this one.
   * @param {Record<string, Float64Array>} sums
   * @param {Uint32Array} seen
   * @param {number} tile
   * @param {PageSum} sum
   */
  add(sums, seen, tile, sum) {
    sums.nodes[tile] += sum.nodes;
    sums.fanouts[tile] += sum.fanouts;
    sums.fanins[tile] += sum.fanins;
    sums.redundant[tile] += sum.redundant;
    for (const shape of sum.shapes) {
      if (seen[shape] === tile + 1) continue;
      seen[shape] = tile + 1;
      ++sums.shapes[tile];
    }
    return sum.shapes.length + 8;
  }

  /** The places with nodes of each tile, and of places above the tiles what belongs to each. Yields now and then. */
  * orderPlaces() {
    const {graph, tileOfOccurrence} = this.plan;
    const tiles = new Uint32Array(graph.numPlaces).fill(NONE);
    /** @type {Map<number, PageSum[]>} */
    const above = new Map();
    for (let place = 1; place < graph.numPlaces; ++place) {
      if (graph.getNumNodes(place) === 0) continue;
      const occurrence = graph.getOccurrence(place);
      const tile = tileOfOccurrence[occurrence];
      if (tile >= 0)
        tiles[place] = tile;
      else {
        this.divide(place, occurrence, above);
        yield;
      }
    }
    const {first, indices} = groupByNumber(tiles, this.plan.count);
    return {first, places: indices, above};
  }

  /** @param {number} place @param {number} occurrence @param {Map<number, PageSum[]>} above */
  divide(place, occurrence, above) {
    for (const sum of this.pages.getSumsByInstance(place)) {
      const tile = this.plan.findTile(occurrence, sum.instance);
      if (tile < 0) continue;
      const sums = above.get(tile);
      if (sums)
        sums.push(sum);
      else
        above.set(tile, [sum]);
    }
  }

  /**
   * A measure by tile, once all is added up; null where nothing is known of it.
   * @param {string} id
   * @returns {Float64Array | null}
   */
  get(id) {
    const {nodes, fanouts, fanins, redundant, shapes} = this.sums;
    if (!nodes) return null;
    if (id === 'fanout') return fanouts.map((sum, i) => (nodes[i] ? sum / nodes[i] : 0));
    if (id === 'fanin') return fanins.map((sum, i) => (nodes[i] ? sum / nodes[i] : 0));
    if (id === 'redundant') return redundant;
    if (id === 'shapes') return shapes;
    if (id === 'findings') return this.countFindings();
    return nodes;
  }

  countFindings() {
    if (!this.facts.findings) return null;
    const counts = new Float64Array(this.plan.count);
    for (const {first} of this.facts.findings)
      for (const [node] of first) {
        const tile = node < 0 ? -1 : this.plan.findTileOfNode(node);
        if (tile >= 0) ++counts[tile];
      }
    return counts;
  }
}
