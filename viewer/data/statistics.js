// Figures of the whole graph, counted over shapes and pages instead of nodes and edges.

/** @typedef {{value: number, count: number}} Bin */
/**
 * @typedef {{shape: number, fanouts: number, redundant: number, nodes: number}} Template a list of fanouts and how many nodes have it
 */

class Statistics {
  /** @param {Device} device */
  constructor(device) {
    this.device = device;
    this.graph = device.graph;
  }

  /** How many nodes have each shape. Yields now and then. */
  * countShapes() {
    if (this.shapeUses) return this.shapeUses;
    const {graph} = this;
    const {pages} = this.device;
    /** @type {Map<number, {place: number, count: number}>} */
    const uses = new Map();
    for (let place = 0; place < graph.numPlaces; ++place) {
      if (graph.getNumNodes(place) === 0) continue;
      const key = pages.getKey(place);
      const use = uses.get(key);
      if (use)
        ++use.count;
      else
        uses.set(key, {place, count: 1});
      if (place % 5000 === 0) yield;
    }
    const nodes = new Float64Array(graph.tables.shapes.length / SHAPE_WIDTH);
    let steps = 0;
    for (const {place, count} of uses.values()) {
      const numRanks = graph.getKeys(place).length;
      for (let rank = 0; rank < numRanks; ++rank) {
        nodes[graph.getShapeAt(place, rank)] += count;
        if (++steps % 20000 === 0) yield;
      }
    }
    nodes[0] = 0;  // of no node
    this.shapeUses = nodes;
    return nodes;
  }

  /**
   * Nodes by the number of their edges.
   * @param {(shape: number) => number} getValue
   * @returns {Generator<void, Bin[]>}
   */
  * countNodesBy(getValue) {
    const uses = yield* this.countShapes();
    /** @type {Map<number, number>} */
    const counts = new Map();
    uses.forEach((count, shape) => {
      if (count !== 0) counts.set(getValue(shape), (counts.get(getValue(shape)) ?? 0) + count);
    });
    return sortBins(counts);
  }
  countByFanout() {
    return this.countNodesBy((shape) => this.graph.getNumFanouts(shape));
  }
  countByFanin() {
    return this.countNodesBy((shape) => this.graph.getNumFanins(shape));
  }

  /** Distinct lists of fanouts, those of most nodes first. @returns {Generator<void, Template[]>} */
  * listTemplates() {
    const uses = yield* this.countShapes();
    /** @type {Map<string, Template>} */
    const templates = new Map();
    uses.forEach((nodes, shape) => {
      const fanouts = this.graph.getNumFanouts(shape);
      if (nodes === 0 || fanouts === 0) return;
      const key = this.getTemplateKey(shape);
      const template = templates.get(key);
      if (template)
        template.nodes += nodes;
      else
        templates.set(key, {shape, fanouts, redundant: fanouts - this.graph.getNumReal(shape), nodes});
    });
    return [...templates.values()].sort((left, right) => right.nodes - left.nodes || left.shape - right.shape);
  }
  /** Shapes of one template have one key. @param {number} shape */
  getTemplateKey(shape) {
    return `${this.graph.getFirstFanout(shape)} ${this.graph.getNumFanouts(shape)} ${this.graph.getNumReal(shape)}`;
  }

  /**
   * Nodes whose shape is wanted, the first ones; places of one page are asked once.
   * @param {(shape: number) => boolean} isWanted
   * @param {number} limit
   * @returns {Generator<void, number[]>}
   */
  * findNodes(isWanted, limit) {
    const {graph} = this;
    /** @type {Map<number, number[]>} */
    const ranks = new Map();
    const found = [];
    for (let place = 0; place < graph.numPlaces && found.length < limit; ++place) {
      if (place % 5000 === 0) yield;
      if (graph.getNumNodes(place) === 0) continue;
      const key = this.device.pages.getKey(place);
      let wanted = ranks.get(key);
      if (!wanted) {
        wanted = this.device.pages.getShapes(place).flatMap((shape, rank) => (shape !== 0 && isWanted(shape) ? [rank] : []));
        ranks.set(key, wanted);
        if (ranks.size % 50 === 0) yield;
      }
      for (const rank of wanted)
        if (found.length < limit) found.push(graph.findNode(place, rank));
    }
    return found;
  }

  /**
   * Nodes with an edge of so many hops. Walks are alike where shapes are, so one node of each shape is walked from.
   * @param {(hops: number) => boolean} isWanted
   * @param {number} limit
   * @returns {Generator<void, number[]>}
   */
  * findNodesByHops(isWanted, limit) {
    const {graph} = this;
    const {walker} = this.device;
    const seen = new Uint8Array(graph.tables.shapes.length / SHAPE_WIDTH);
    const found = [];
    for (let place = 0; place < graph.numPlaces && found.length < limit; ++place) {
      const first = graph.tables.firstNodes[place];
      for (let node = first; node < first + graph.getNumNodes(place) && found.length < limit; ++node) {
        const shape = graph.getShape(node);
        if (seen[shape]) continue;
        seen[shape] = 1;
        if (graph.getFanouts(node).some((edge) => isWanted(countHops(walker.find(node, edge))))) found.push(node);
        yield;
      }
      if (place % 500 === 0) yield;
    }
    return found;
  }

  /**
   * Nodes that drive most, the largest connections.
   * @param {number} limit
   * @returns {Generator<void, {node: number, fanouts: number}[]>}
   */
  * listLargest(limit) {
    const uses = yield* this.countShapes();
    const shapes = d3.range(uses.length)
                       .filter((shape) => uses[shape] !== 0)
                       .sort((left, right) => this.graph.getNumFanouts(right) - this.graph.getNumFanouts(left));
    let nodes = 0;
    let end = 0;
    while (end < shapes.length && nodes < limit) nodes += uses[shapes[end++]];
    const least = end === 0 ? 0 : this.graph.getNumFanouts(shapes[end - 1]);
    const found = yield* this.findNodes((shape) => this.graph.getNumFanouts(shape) >= Math.max(least, 1), 100000);
    return found.map((node) => ({node, fanouts: this.graph.getNumFanouts(this.graph.getShape(node))}))
        .sort((left, right) => right.fanouts - left.fanouts || left.node - right.node)
        .slice(0, limit);
  }

  /**
   * Nets of the model with most inst ports, each once however often it stands in the device.
   * @param {number} limit
   * @returns {Generator<void, {module: number, net: number, pins: number, places: number}[]>}
   */
  * listNets(limit) {
    const {model, positions} = this.graph;
    /** @type {{module: number, net: number, pins: number, places: number}[]} */
    let nets = [];
    for (let module = 0; module < model.numModules; ++module) {
      const places = positions.getOccurrences(module).length;
      if (places === 0) continue;
      const counts = new Uint32Array(model.getNumNets(module));
      for (let pin = 0; pin < model.getNumPins(module); ++pin) {
        const net = model.getPinNet(module, pin);
        if (net !== NONE) ++counts[net];
        if (pin % 50000 === 0) yield;
      }
      counts.forEach((pins, net) => {
        if (pins > 1) nets.push({module, net, pins, places});
      });
      nets = nets.sort((left, right) => right.pins - left.pins || right.places - left.places).slice(0, limit);
      yield;
    }
    return nets;
  }
}

/** The hops of a walk as a trace has them: along a net, or through a mux. @param {Walk | null} walk */
function countHops(walk) {
  if (!walk) return -1;
  const skips = walk.nets.filter(({kind}) => kind === 'skip' || kind === 'flyover').length;
  return walk.nets.length + skips + (walk.end === 'mux' ? 1 : 0);
}

/** @param {Map<number, number>} counts @returns {Bin[]} */
function sortBins(counts) {
  return [...counts].map(([value, count]) => ({value, count})).sort((left, right) => left.value - right.value);
}
