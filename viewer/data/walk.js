// The walk behind an edge: from its source along nets, down into instances, up through module ports and across skip paths,
// to its mux input or target. Nodes end it. One search from a source answers for all its edges.

const MAX_NETS = 500000;  // a search that came to so many gives up

/** How a net was come to. @typedef {'outside' | 'inside' | 'down' | 'up' | 'skip' | 'flyover'} StepKind */
/**
 * A net that was come to: from which one (-1 for the first), how, at which pin (null for a port of the top), and out of
 * which one behind a skip path.
 * @typedef {{occurrence: number, net: number, from: number, kind: StepKind, at: Uip | null, out: Uip | null}} ReachedNet
 */
/**
 * The walk of an edge: the nets, and how it ends.
 * @typedef {{nets: ReachedNet[], end: 'mux' | 'target' | 'twin' | 'boundary', muxInput: Uip | null}} Walk
 */

/** Finds walks on one device. */
class Walker {
  /** @param {Graph} graph @param {Description} description */
  constructor(graph, description) {
    this.graph = graph;
    this.model = graph.model;
    this.positions = graph.positions;
    this.description = description;
    /** @type {Map<string, Search>} */
    this.searches = new Map();
    /** Whose searches these are. */
    this.lastNode = -1;
  }

  /** The walk of an edge; null if none is found. @param {number} from @param {Edge} edge @returns {Walk | null} */
  find(from, edge) {
    const source = this.graph.getUip(from);
    const target = edge.node < 0 ? null : this.graph.getUip(edge.node);
    if (source && target && isSameUip(source, target)) return {nets: [], end: 'twin', muxInput: null};
    const {muxInput} = edge;
    const end = muxInput ? 'mux' : target ? 'target' : 'boundary';
    const isOwnMux = source !== null && muxInput !== null && isSameUip(source, muxInput);
    const goal = isOwnMux ? target : muxInput ?? target;
    for (const isWide of [false, true])
      for (const throughTunnel of this.getTunnelPasses(source, target)) {
        const search = this.getSearch(from, throughTunnel, isWide);
        const reached = goal ? search.findPin(goal) : search.findTopPort(this.graph.getBoundaryPort(edge.node));
        if (reached >= 0) return {nets: search.getWay(reached), end: isOwnMux ? 'target' : end, muxInput};
      }
    return isOwnMux ? {nets: [], end, muxInput} : null;  // the source is an input of the mux itself
  }

  /**
   * From a tunnel's source to a target a second search goes through what lies between.
   * @param {Uip | null} source
   * @param {Uip | null} target
   */
  getTunnelPasses(source, target) {
    const getType = (/** @type {Uip | null} */ uip) => {
      if (!uip) return 0;
      return this.description.getTunnel(this.model.getPinParts(this.positions.getModule(uip.occurrence), uip.pin).master);
    };
    return getType(source) === TUNNEL_SOURCE && getType(target) === TUNNEL_TARGET ? [false, true] : [false];
  }

  /**
   * Searches of the node that was asked for last are kept.
   * @param {number} from
   * @param {boolean} throughTunnel
   * @param {boolean} isWide
   */
  getSearch(from, throughTunnel, isWide) {
    if (this.lastNode !== from) this.searches.clear();
    this.lastNode = from;
    const key = `${throughTunnel} ${isWide}`;
    let search = this.searches.get(key);
    if (!search) {
      search = new Search(this, from, throughTunnel);
      search.run(isWide);
      this.searches.set(key, search);
    }
    return search;
  }
}

/** @param {Uip} left @param {Uip} right */
function isSameUip(left, right) {
  return left.occurrence === right.occurrence && left.pin === right.pin;
}

/** All nets that one source reaches, breadth first. */
class Search {
  /** @param {Walker} walker @param {number} from @param {boolean} throughTunnel */
  constructor(walker, from, throughTunnel) {
    this.walker = walker;
    this.graph = walker.graph;
    this.model = walker.model;
    this.positions = walker.positions;
    this.description = walker.description;
    this.throughTunnel = throughTunnel;
    this.from = from;
    this.source = this.graph.getUip(from);
    /** @type {ReachedNet[]} */
    this.nets = [];
    /** @type {Set<string>} */
    this.seenNets = new Set();
    /** From a pin to the net on which it was met. @type {Map<string, number>} */
    this.pins = new Map();
    /** @type {Map<number, number>} */
    this.topPorts = new Map();
  }

  /**
   * Starts on both sides of the source, or, unless it is wide, on those to which its direction leads.
   * @param {boolean} isWide
   */
  run(isWide) {
    const {source, model, positions} = this;
    if (!source) {
      const port = this.graph.getBoundaryPort(this.from);
      const top = positions.getTops().find((each) => positions.getModule(each) === model.tables.top) ?? 0;
      this.enter(top, model.getPortNet(model.tables.top, port), -1, 'inside', null);
    } else {
      const module = positions.getModule(source.occurrence);
      const pin = model.getPinParts(module, source.pin);
      const direction = model.getDirection(pin.master, pin.port);
      if (!this.startAtMux(source, module, pin, isWide)) {
        if (isWide || direction !== INPUT)
          this.enter(source.occurrence, model.getPinNet(module, source.pin), -1, 'outside', source);
        if (isWide || direction !== OUTPUT) this.descend(source.occurrence, pin, source, -1, 'inside');
      }
    }
    for (let i = 0; i < this.nets.length && i < MAX_NETS; ++i) this.visit(i);
  }

  /**
   * A source that is an input of a mux goes on from the outputs of the arcs.
   * @param {Uip} source
   * @param {number} module
   * @param {{instance: number, master: number, port: number}} pin
   * @param {boolean} isWide
   */
  startAtMux(source, module, pin, isWide) {
    const master = this.model.getRoutedView(pin.master);
    const input = this.model.firstPort[master] + pin.port;
    const direction = this.model.getDirection(master, pin.port);
    const isInserted = direction === INPUT && this.description.isInserted(input) && this.model.getView(master) !== VIEW_BLC;
    const isUnconnected = direction !== OUTPUT && this.model.getPinNet(module, source.pin) === NONE;
    const outputs = this.description.arcs.get(input);
    if (isWide || !outputs || (!isInserted && !isUnconnected)) return false;
    for (const output of outputs) {
      const far = {
        occurrence: source.occurrence,
        pin: this.model.getPin(module, pin.instance, output - this.model.firstPort[master])
      };
      this.enter(far.occurrence, this.model.getPinNet(module, far.pin), -1, 'skip', source, far);
    }
    return true;
  }

  /**
   * @param {number} occurrence
   * @param {number} net
   * @param {number} from
   * @param {StepKind} kind
   * @param {Uip | null} at
   * @param {Uip | null} [out]
   */
  enter(occurrence, net, from, kind, at, out = null) {
    if (net === NONE || occurrence <= 0) return;
    const key = `${occurrence} ${net}`;
    if (this.seenNets.has(key)) return;
    this.seenNets.add(key);
    this.nets.push({occurrence, net, from, kind, at, out});
  }

  /** Takes all that is on a net. @param {number} index */
  visit(index) {
    const {occurrence, net} = this.nets[index];
    const module = this.positions.getModule(occurrence);
    const members = this.model.getNetMembers(module);
    for (const pin of members.getPins(net)) this.visitPin(index, {occurrence, pin}, module);
    for (const port of members.getPorts(net)) this.visitPort(index, occurrence, module, port);
  }

  /** @param {number} index @param {Uip} uip @param {number} module */
  visitPin(index, uip, module) {
    const pin = this.model.getPinParts(module, uip.pin);
    if (this.model.getDirection(pin.master, pin.port) === OUTPUT || (this.source && isSameUip(uip, this.source))) return;
    this.meet(uip, index);
    if (this.isEnd(uip, pin)) return;
    const {outputs, isFlyover} = this.description.findPaths(uip.occurrence, module, pin);
    for (const output of outputs) {
      const far = {occurrence: uip.occurrence, pin: this.model.getPin(module, pin.instance, output)};
      this.meet(far, index);
      const isInput = this.model.getDirection(pin.master, output) === INPUT;
      if (!isInput && this.graph.findNodeAt(far) < 0)
        this.enter(uip.occurrence, this.model.getPinNet(module, far.pin), index, isFlyover ? 'flyover' : 'skip', uip, far);
    }
    if (outputs.length === 0 && !this.isStop(pin.master)) this.descend(uip.occurrence, pin, uip, index, 'down');
  }

  /** @param {Uip} uip @param {number} index */
  meet(uip, index) {
    const key = `${uip.occurrence} ${uip.pin}`;
    if (!this.pins.has(key)) this.pins.set(key, index);
  }

  /** A walk doesn't go through another node. @param {Uip} uip @param {{master: number}} pin */
  isEnd(uip, pin) {
    return !this.isOpenTunnel(pin.master) && this.graph.findNodeAt(uip) >= 0;
  }
  /** @param {number} master */
  isStop(master) {
    const routed = this.model.getRoutedView(master);
    return this.description.stopModules.has(routed) && !this.isOpenTunnel(master);
  }
  /** @param {number} master */
  isOpenTunnel(master) {
    return this.throughTunnel && this.description.getTunnel(this.model.getRoutedView(master)) === TUNNEL_THROUGH;
  }

  /**
   * @param {number} occurrence
   * @param {{instance: number, master: number, port: number}} pin
   * @param {Uip} at
   * @param {number} from
   * @param {StepKind} kind
   */
  descend(occurrence, pin, at, from, kind) {
    const body = this.model.getRoutedView(pin.master);
    if (body < 0 || !this.model.isInner(body)) return;
    this.enter(this.positions.getChild(occurrence, pin.instance, body), this.model.getPortNet(body, pin.port), from, kind, at);
  }

  /** @param {number} index @param {number} occurrence @param {number} module @param {number} port */
  visitPort(index, occurrence, module, port) {
    if (this.model.getDirection(module, port) === INPUT) return;
    const parent = this.positions.getParent(occurrence);
    if (parent === 0) {
      if (!this.topPorts.has(port)) this.topPorts.set(port, index);
      return;
    }
    const above = this.positions.getModule(parent);
    const outer = {occurrence: parent, pin: this.model.getPin(above, this.positions.getInstance(occurrence), port)};
    if (this.source && isSameUip(outer, this.source)) return;
    this.meet(outer, index);
    if (!this.isEnd(outer, this.model.getPinParts(above, outer.pin)))
      this.enter(parent, this.model.getPinNet(above, outer.pin), index, 'up', outer);
  }

  /** The net on which a pin was met; -1 if it wasn't. @param {Uip} uip */
  findPin(uip) {
    return this.pins.get(`${uip.occurrence} ${uip.pin}`) ?? -1;
  }
  /** @param {number} port */
  findTopPort(port) {
    return this.topPorts.get(port) ?? -1;
  }
  /** The nets from the source to one of them. @param {number} index */
  getWay(index) {
    const way = [];
    for (; index >= 0; index = this.nets[index].from) way.push(this.nets[index]);
    return way.reverse();
  }
}
