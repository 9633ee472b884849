// What of a device the plan shows: for each module the instances that hold nodes, and how many nodes stand in them.

/**
 * An instance as the plan shows it: its number, the module in which its inside is described (-1 for none), its nodes, how
 * many of them stand at its own pins, and whether some view of it has occurrences.
 * @typedef {{instance: number, body: number, nodes: number, pins: number, isInner: boolean}} Content
 */

class Contents {
  /** @param {Graph} graph */
  constructor(graph) {
    this.graph = graph;
    this.model = graph.model;
    this.positions = graph.positions;
    /** Nodes at and below each occurrence. */
    this.nodesBelow = new Uint32Array(this.positions.count);
    /** For each module those at and below the occurrence that has most. */
    this.nodesOfModule = new Uint32Array(this.model.numModules + 1);
    this.countNodes();
    /** @type {Map<number, Content[]>} */
    this.contents = new Map();
    /** @type {Map<number, ReturnType<typeof findGrid>>} */
    this.grids = new Map();
    /** @type {Map<number, boolean>} */
    this.gridsBelow = new Map();
  }

  /** Children stand behind their parents. */
  countNodes() {
    const {graph, positions} = this;
    for (let place = 1; place < graph.numPlaces; ++place) {
      const nodes = graph.getNumNodes(place);
      if (nodes !== 0) this.nodesBelow[graph.getOccurrence(place)] += nodes;
    }
    for (let i = positions.count - 1; i > 0; --i) {
      const module = positions.getModule(i);
      if (this.nodesBelow[i] > this.nodesOfModule[module]) this.nodesOfModule[module] = this.nodesBelow[i];
      this.nodesBelow[positions.getParent(i)] += this.nodesBelow[i];
    }
  }

  /** The top that holds the nodes. */
  getTop() {
    const tops = this.positions.getTops();
    return tops.reduce((best, top) => (this.nodesBelow[top] > this.nodesBelow[best] ? top : best), tops[0]);
  }

  /** The instances of a module that hold nodes, in order. @param {number} module */
  get(module) {
    let contents = this.contents.get(module);
    if (!contents) {
      contents = this.find(module);
      this.contents.set(module, contents);
    }
    return contents;
  }

  /** @param {number} module @returns {Content[]} */
  find(module) {
    const {model} = this;
    const pins = new Map();
    const {firstKeys, keys} = this.graph.tables;
    for (let i = firstKeys[module]; i < firstKeys[module + 1]; ++i) {
      const instance = model.getPinInstance(module, keys[i] >>> 1);
      pins.set(instance, (pins.get(instance) ?? 0) + 1);
    }
    const contents = [];
    for (let instance = 0; instance < model.getNumInstances(module); ++instance) {
      const master = model.getMaster(module, instance);
      const body = this.findBody(master);
      const own = pins.get(instance) ?? 0;
      const nodes = own + (body < 0 ? 0 : this.nodesOfModule[body]);
      const isInner = model.getViews(master).some((view) => model.isInner(view));
      if (nodes !== 0) contents.push({instance, body, nodes, pins: own, isInner});
    }
    return contents;
  }

  /**
   * The view of a master in which its nodes stand, -1 where there are none: the one that walks take, if it will do.
   * @param {number} master
   */
  findBody(master) {
    const routed = this.model.getRoutedView(master);
    const views = routed < 0 ? this.model.getViews(master) : [routed, ...this.model.getViews(master)];
    return views.find((view) => this.nodesOfModule[view] !== 0) ?? -1;
  }

  /** The grid on which the instances of a module stand, or null. @param {number} module */
  getGrid(module) {
    let grid = this.grids.get(module);
    if (grid === undefined) {
      const shown = this.get(module);
      const insides = shown.filter(({body}) => body >= 0).length;
      const names = shown.map(({instance}) => this.model.getInstanceName(module, instance));
      grid = insides * 2 < shown.length ? null : findGrid(names);
      this.grids.set(module, grid);
    }
    return grid;
  }

  /** There is a grid in a module or below it. @param {number} module @returns {boolean} */
  hasGrid(module) {
    let has = this.gridsBelow.get(module);
    if (has === undefined) {
      has = this.getGrid(module) !== null || this.get(module).some(({body}) => body >= 0 && this.hasGrid(body));
      this.gridsBelow.set(module, has);
    }
    return has;
  }

  /**
   * How many levels of instances lie down to the tiles of the lowest grid; 0 without one.
   * @param {number} module
   * @returns {number}
   */
  getGridDepth(module) {
    if (!this.hasGrid(module)) return 0;
    const bodies = new Set(this.get(module).map(({body}) => body));
    return 1 + Math.max(0, ...[...bodies].filter((body) => body >= 0).map((body) => this.getGridDepth(body)));
  }
}
