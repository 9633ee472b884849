// How far apart, in tiles, the two ends of edges stand: columns and rows added. Counted for each page of shapes by the
// differences of places that its words tell, with how many edges tell each: not edge by edge.

/** @typedef {{high: number, isAbsolute: boolean, count: number}} Direction edges from a place to another one */

class WireLengths {
  /** @param {Device} device */
  constructor(device) {
    this.graph = device.graph;
    this.pages = device.pages;
    this.plan = device.getPlan(device.bestLevel);
    /** @type {Map<number, Direction[]>} */
    this.directions = new Map();
  }

  /** Edges by length; those with an end that has no coordinates are counted apart. Yields now and then. */
  * count() {
    /** @type {Map<number, number>} */
    const counts = new Map();
    let without = 0;
    const {graph} = this;
    const add = (/** @type {number} */ length, /** @type {number} */ count) => {
      if (length < 0)
        without += count;
      else
        counts.set(length, (counts.get(length) ?? 0) + count);
    };
    let steps = 0;
    for (let place = 0; place < graph.numPlaces; ++place) {
      if (graph.getNumNodes(place) === 0) continue;
      const from = this.getTile(place);
      if (from < 0)
        steps += this.countSingly(place, add);
      else
        for (const direction of this.getDirections(place)) {
          const to = this.getTile(direction.isAbsolute ? direction.high : (place + direction.high) >>> 0);
          if (to < 0)
            steps += this.countTowards(place, direction, add);
          else
            add(this.measure(from, to), direction.count);
          ++steps;
        }
      if (steps > 3000) {
        steps = 0;
        yield;
      }
    }
    return {bins: sortBins(counts), without};
  }

  /** The tile in which all nodes of a place stand; -1 where they stand in several, or none. @param {number} place */
  getTile(place) {
    return place === BOUNDARY_PLACE ? -1 : this.plan.tileOfOccurrence[this.graph.getOccurrence(place)];
  }

  /** -1 where one has no coordinates. @param {number} from @param {number} to */
  measure(from, to) {
    if (from < 0 || to < 0 || this.plan.columns[from] < 0 || this.plan.columns[to] < 0) return -1;
    return Math.abs(this.plan.columns[from] - this.plan.columns[to]) + Math.abs(this.plan.rows[from] - this.plan.rows[to]);
  }

  /** Where the fanouts of all nodes at a place lead, with how many do. @param {number} place */
  getDirections(place) {
    const key = this.pages.getKey(place);
    let directions = this.directions.get(key);
    if (!directions) {
      directions = this.findDirections(place);
      this.directions.set(key, directions);
    }
    return directions;
  }

  /** @param {number} place @returns {Direction[]} */
  findDirections(place) {
    const {graph} = this;
    const words = graph.tables.fanouts;
    /** @type {Map<number, Direction>} */
    const directions = new Map();
    for (const shape of this.pages.getShapes(place)) {
      const first = graph.getFirstFanout(shape) * 2;
      for (let at = first; at < first + graph.getNumFanouts(shape) * 2; at += 2) {
        const isAbsolute = words[at] >= ABSOLUTE;
        const high = words[at + 1];
        const key = high * 2 + (isAbsolute ? 1 : 0);
        const direction = directions.get(key);
        if (direction)
          ++direction.count;
        else
          directions.set(key, {high, isAbsolute, count: 1});
      }
    }
    return [...directions.values()];
  }

  /**
   * Edges from a place whose nodes stand in several tiles.
   * @param {number} place
   * @param {(length: number, count: number) => void} add
   */
  countSingly(place, add) {
    let steps = 0;
    const first = this.graph.tables.firstNodes[place];
    for (let node = first; node < first + this.graph.getNumNodes(place); ++node) {
      const from = this.plan.findTileOfNode(node);
      for (const edge of this.graph.getFanouts(node)) {
        add(this.measure(from, edge.node < 0 ? -1 : this.plan.findTileOfNode(edge.node)), 1);
        ++steps;
      }
    }
    return steps * 4;
  }

  /**
   * Edges from a place in one tile to one whose nodes stand in several.
   * @param {number} place
   * @param {Direction} direction
   * @param {(length: number, count: number) => void} add
   */
  countTowards(place, direction, add) {
    const {graph} = this;
    const words = graph.tables.fanouts;
    const from = this.getTile(place);
    for (const shape of this.pages.getShapes(place)) {
      const first = graph.getFirstFanout(shape) * 2;
      for (let at = first; at < first + graph.getNumFanouts(shape) * 2; at += 2) {
        if (words[at + 1] !== direction.high || words[at] >= ABSOLUTE !== direction.isAbsolute) continue;
        const node = graph.findSeen(place, words[at], words[at + 1]);
        add(this.measure(from, node < 0 ? -1 : this.plan.findTileOfNode(node)), 1);
      }
    }
    return direction.count;
  }

  /**
   * The first nodes with a fanout so far away.
   * @param {(length: number) => boolean} isWanted
   * @param {number} limit
   * @returns {Generator<void, number[]>}
   */
  * findNodes(isWanted, limit) {
    const {graph} = this;
    const found = [];
    for (let place = 0; place < graph.numPlaces && found.length < limit; ++place) {
      if (place % 200 === 0) yield;
      if (graph.getNumNodes(place) === 0) continue;
      const from = this.getTile(place);
      const mayHold = from < 0 || this.getDirections(place).some(({high, isAbsolute}) => {
        const to = this.getTile(isAbsolute ? high : (place + high) >>> 0);
        return to < 0 || isWanted(this.measure(from, to));
      });
      if (!mayHold) continue;
      const first = graph.tables.firstNodes[place];
      for (let node = first; node < first + graph.getNumNodes(place) && found.length < limit; ++node) {
        const own = this.plan.findTileOfNode(node);
        if (graph.getFanouts(node).some(
                (edge) => edge.node >= 0 && isWanted(this.measure(own, this.plan.findTileOfNode(edge.node)))))
          found.push(node);
      }
      yield;
    }
    return found;
  }
}
