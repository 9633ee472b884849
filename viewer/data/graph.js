// The graph, unfolded where it is asked: nodes are numbers in the order of a dump, an edge is made when it is looked at.

const SHAPE_WIDTH = 4;
const BOUNDARY_PLACE = 0;
const ABSOLUTE = 0x80000000;

/**
 * Where a node stands: a pin at an occurrence, or a port of the top. @typedef {{occurrence: number, pin: number}} Uip
 */
/**
 * An edge seen from one end. `node` is the other end, -1 where none stands there.
 * @typedef {{node: number, isReal: boolean, muxInput: Uip | null}} Edge
 */

/** @param {number} bits */
function countBits(bits) {
  bits -= (bits >>> 1) & 0x55555555;
  bits = (bits & 0x33333333) + ((bits >>> 2) & 0x33333333);
  return Math.imul((bits + (bits >>> 4)) & 0x0f0f0f0f, 0x01010101) >>> 24;
}

/**
 * The place of a marked number among all that are marked; -1 if it is not.
 * @param {Uint32Array} blocks
 * @param {number} number
 */
function getMarkRank(blocks, number) {
  const row = (number >>> 6) * 4;
  if (row >= blocks.length) return -1;
  const bit = number & 31;
  const half = (number >>> 5) & 1;
  const word = blocks[row + half];
  if (((word >>> bit) & 1) === 0) return -1;
  const before = countBits(word & ((1 << bit) - 1)) + (half ? countBits(blocks[row]) : 0);
  return blocks[row + 2] + before;
}

/** A number of one to four bytes. @param {Uint8Array} bytes @param {number} index @param {number} width */
function readPacked(bytes, index, width) {
  let at = index * width;
  let number = bytes[at];
  for (let shift = 8; shift < width * 8; shift += 8) number += bytes[++at] * 2 ** shift;
  return number;
}

class Graph {
  /** @param {Database} database @param {Positions} positions */
  constructor(database, positions) {
    this.tables = database.graph;
    this.positions = positions;
    this.model = positions.model;
    this.numPlaces = this.tables.firstNodes.length - 1;
    this.numNodes = this.tables.firstNodes[this.numPlaces];
    this.shapeHalves = new Uint16Array(this.tables.shapes.buffer, this.tables.shapes.byteOffset, this.tables.shapes.length * 2);
  }

  /** The place of an occurrence; -1 where its module has no nodes. @param {number} occurrence */
  getPlace(occurrence) {
    const rank = getMarkRank(this.tables.placedOccurrences, occurrence);
    return rank < 0 ? -1 : this.tables.places[rank];
  }
  /** @param {number} place */
  getOccurrence(place) {
    return this.tables.occurrences[place];
  }
  /** @param {number} place */
  getNumNodes(place) {
    return this.tables.firstNodes[place + 1] - this.tables.firstNodes[place];
  }

  /** The place of a node. @param {number} node */
  findPlace(node) {
    const first = this.tables.firstNodes;
    let low = 0;
    let high = this.numPlaces;
    while (high - low > 1) {
      const middle = (low + high) >>> 1;
      if (first[middle] <= node)
        low = middle;
      else
        high = middle;
    }
    return low;
  }

  /** The ranks of the nodes at a place, where some are lacking; else null. @param {number} place */
  getRanks(place) {
    const lacking = getMarkRank(this.tables.lacking, place);
    if (lacking < 0) return null;
    const begin = this.tables.firstRanks[lacking];
    return this.tables.ranks.subarray(begin, begin + this.getNumNodes(place));
  }
  /** @param {number} place @param {number} node */
  getRank(place, node) {
    const at = node - this.tables.firstNodes[place];
    const ranks = this.getRanks(place);
    return ranks ? ranks[at] : at;
  }
  /** The node of a rank; -1 where none stands. @param {number} place @param {number} rank */
  findNode(place, rank) {
    const count = this.getNumNodes(place);
    const ranks = this.getRanks(place);
    const at = ranks ? findSorted(ranks, rank) : rank < count ? rank : -1;
    return at < 0 ? -1 : this.tables.firstNodes[place] + at;
  }

  /** The keys of a place's module: twice a pin, and one more for a hipi twin. @param {number} place */
  getKeys(place) {
    const module = this.positions.getModule(this.getOccurrence(place));
    return this.tables.keys.subarray(this.tables.firstKeys[module], this.tables.firstKeys[module + 1]);
  }
  /** @param {number} place @param {number} node */
  getKey(place, node) {
    return this.getKeys(place)[this.getRank(place, node)];
  }

  /** The plain node at a uip, or its hipi twin; -1 without one. @param {Uip} uip @param {boolean} [isHipi] */
  findNodeAt(uip, isHipi = false) {
    const place = this.getPlace(uip.occurrence);
    if (place < 0 || this.getNumNodes(place) === 0) return -1;
    const rank = findSorted(this.getKeys(place), uip.pin * 2 + (isHipi ? 1 : 0));
    return rank < 0 ? -1 : this.findNode(place, rank);
  }

  /** Where a node stands; null for a boundary node. @param {number} node @returns {Uip | null} */
  getUip(node) {
    const place = this.findPlace(node);
    if (place === BOUNDARY_PLACE) return null;
    return {occurrence: this.getOccurrence(place), pin: this.getKey(place, node) >>> 1};
  }
  /** Of a boundary node: its port of the top. @param {number} node */
  getBoundaryPort(node) {
    return (this.getKey(BOUNDARY_PLACE, node) >>> 1) - this.model.firstPort[this.model.tables.top];
  }
  /** @param {number} node */
  getKind(node) {
    const place = this.findPlace(node);
    if (place === BOUNDARY_PLACE) return 'boundary';
    return (this.getKey(place, node) & 1) !== 0 ? 'hipi' : 'uip';
  }
  /** As the dump has it. @param {number} node */
  getName(node) {
    const uip = this.getUip(node);
    if (uip) return this.positions.getPinPath(uip.occurrence, uip.pin);
    return `:${this.model.getPortName(this.model.tables.top, this.getBoundaryPort(node))}`;
  }

  /** Nodes with that name: a plain one, then its twin. @param {string} name */
  findNodes(name) {
    const colon = name.lastIndexOf(':');
    if (colon < 0) return [];
    const port = name.slice(colon + 1);
    if (colon === 0) return this.findBoundaryNodes(port);
    const nodes = this.positions.findInstances(name.slice(0, colon).split('/')).flatMap(({occurrence, instance}) => {
      const module = this.positions.getModule(occurrence);
      const master = this.model.getMaster(module, instance);
      for (let i = 0; i < this.model.getNumPorts(master); ++i)
        if (this.model.getPortName(master, i) === port) {
          const uip = {occurrence, pin: this.model.getPin(module, instance, i)};
          return [this.findNodeAt(uip), this.findNodeAt(uip, true)];
        }
      return [];
    });
    return nodes.filter((node) => node >= 0);
  }
  /** @param {string} port */
  findBoundaryNodes(port) {
    for (let node = 0; node < this.getNumNodes(BOUNDARY_PLACE); ++node)
      if (this.model.getPortName(this.model.tables.top, this.getBoundaryPort(node)) === port) return [node];
    return [];
  }

  /** @param {number} place @param {number} rank */
  getShapeAt(place, rank) {
    return readPacked(this.tables.shapesOfNodes, this.tables.pages[place] + rank, this.tables.widthOfShapes);
  }
  /** The number of a node's shape. @param {number} node */
  getShape(node) {
    const place = this.findPlace(node);
    return this.getShapeAt(place, this.getRank(place, node));
  }
  /** @param {number} shape */
  getFirstFanout(shape) {
    return this.tables.shapes[shape * SHAPE_WIDTH];
  }
  /** @param {number} shape */
  getFirstFanin(shape) {
    return this.tables.shapes[shape * SHAPE_WIDTH + 1];
  }
  /** @param {number} shape */
  getNumReal(shape) {
    return this.shapeHalves[shape * SHAPE_WIDTH * 2 + 4];
  }
  /** @param {number} shape */
  getNumFanouts(shape) {
    return this.shapeHalves[shape * SHAPE_WIDTH * 2 + 5];
  }
  /** @param {number} shape */
  getNumFanins(shape) {
    return this.shapeHalves[shape * SHAPE_WIDTH * 2 + 6];
  }

  /** The node that a word seen from a place tells. @param {number} place @param {number} low @param {number} high */
  findSeen(place, low, high) {
    const isAbsolute = low >= ABSOLUTE;
    const rank = (isAbsolute ? low - ABSOLUTE : low) - 1;
    return rank < 0 ? -1 : this.findNode(isAbsolute ? high : (place + high) >>> 0, rank);
  }

  /** What a node drives: the real edges first. @param {number} node @returns {Edge[]} */
  getFanouts(node) {
    const place = this.findPlace(node);
    const shape = this.getShapeAt(place, this.getRank(place, node));
    const first = this.getFirstFanout(shape);
    const numReal = this.getNumReal(shape);
    return Array.from({length: this.getNumFanouts(shape)}, (_, i) => {
      const at = (first + i) * 2;
      const to = this.findSeen(place, this.tables.fanouts[at], this.tables.fanouts[at + 1]);
      return {node: to, isReal: i < numReal, muxInput: this.getMuxInput(first + i, to)};
    });
  }

  /**
   * The mux input of the fanout at a position, which leads to a node.
   * @param {number} position
   * @param {number} to
   * @returns {Uip | null}
   */
  getMuxInput(position, to) {
    const {width, numbers, words} = this.tables.muxInputs;
    const word = (numbers.length ? readPacked(numbers, position, width) : position) * 2;
    const low = words[word];
    const high = words[word + 1];
    if (high !== 0) return {occurrence: high, pin: low};
    const uip = low === ABSOLUTE || to < 0 ? null : this.getUip(to);
    return uip && {occurrence: uip.occurrence, pin: (uip.pin + low) >>> 0};
  }

  /** The nodes that drive a node, one for each edge. @param {number} node */
  getSources(node) {
    const place = this.findPlace(node);
    const shape = this.getShapeAt(place, this.getRank(place, node));
    const {width, numbers, words} = this.tables.fanins;
    const first = this.getFirstFanin(shape);
    return Array.from({length: this.getNumFanins(shape)}, (_, i) => {
      const word = (numbers.length ? readPacked(numbers, first + i, width) : first + i) * 2;
      return this.findSeen(place, words[word], words[word + 1]);
    });
  }

  /** What drives a node: each edge as its source has it, seen from here. @param {number} node @returns {Edge[]} */
  getFanins(node) {
    return [...new Set(this.getSources(node))].flatMap(
        (source) => source < 0 ?
            [] :
            this.getFanouts(source).filter((edge) => edge.node === node).map((edge) => ({...edge, node: source})));
  }
}

/** Where a number stands in a sorted list; -1 if it doesn't. @param {Uint32Array} list @param {number} wanted */
function findSorted(list, wanted) {
  let low = 0;
  let high = list.length;
  while (low < high) {
    const middle = (low + high) >>> 1;
    if (list[middle] < wanted)
      low = middle + 1;
    else
      high = middle;
  }
  return low < list.length && list[low] === wanted ? low : -1;
}
