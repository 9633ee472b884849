// The nodes at and below an instance, as ranges of numbers: a part of a device may hold millions.

class NodeRanges {
  /** @param {[number, number][]} ranges first nodes and counts */
  constructor(ranges) {
    this.ranges = ranges.filter(([, count]) => count !== 0).sort((left, right) => left[0] - right[0]);
    this.ends = new Float64Array(this.ranges.length);
    this.count = 0;
    this.ranges.forEach(([, count], i) => {
      this.count += count;
      this.ends[i] = this.count;
    });
  }

  /** @param {number} index */
  get(index) {
    const i = d3.bisectRight(this.ends, index);
    const [first, count] = this.ranges[i];
    return first + count - (this.ends[i] - index);
  }

  /**
   * At the pins of an instance and below it, in all views.
   * @param {Graph} graph
   * @param {number} occurrence
   * @param {number} instance
   */
  static under(graph, occurrence, instance) {
    const ranges = [NodeRanges.atPins(graph, occurrence, instance)];
    const pending = graph.positions.getChildren(occurrence, instance);
    for (let next = pending.pop(); next !== undefined; next = pending.pop()) {
      const place = graph.getPlace(next);
      if (place >= 0) ranges.push([graph.tables.firstNodes[place], graph.getNumNodes(place)]);
      const module = graph.positions.getModule(next);
      for (let i = 0; i < graph.model.getNumInstances(module); ++i)
        if (graph.model.getViews(graph.model.getMaster(module, i)).some((view) => graph.model.isInner(view)))
          pending.push(...graph.positions.getChildren(next, i));
    }
    return new NodeRanges(ranges);
  }

  /** @param {Graph} graph @param {number} occurrence @param {number} instance @returns {[number, number]} */
  static atPins(graph, occurrence, instance) {
    const {model, positions} = graph;
    const place = graph.getPlace(occurrence);
    if (place < 0 || graph.getNumNodes(place) === 0) return [0, 0];
    const module = positions.getModule(occurrence);
    const firstPin = model.getPin(module, instance, 0);
    const keys = graph.getKeys(place);
    const firstRank = d3.bisectLeft(keys, firstPin * 2);
    const endRank = d3.bisectLeft(keys, (firstPin + model.getNumPorts(model.getMaster(module, instance))) * 2);
    const ranks = graph.getRanks(place);
    const begin = ranks ? d3.bisectLeft(ranks, firstRank) : firstRank;
    const end = ranks ? d3.bisectLeft(ranks, endRank) : endRank;
    return [graph.tables.firstNodes[place] + begin, end - begin];
  }
}
