// Finds instances and nodes by name: level by level, as in a file system, and by any part of a name.

/** @typedef {{name: string, kind: 'instance' | 'node', detail: string}} Found */

const MAX_FOUND = 40;
const MAX_ALIKE = 6;  // places of one folded instance that are listed

class Finder {
  /** @param {Graph} graph @param {Contents} contents */
  constructor(graph, contents) {
    this.graph = graph;
    this.contents = contents;
    this.model = graph.model;
    this.positions = graph.positions;
  }

  /**
   * What a text may become: the next name of a path first, then names that hold the text. Yields now and then.
   * @param {string} text
   * @returns {Generator<void, Found[]>}
   */
  * find(text) {
    /** @type {Map<string, Found>} */
    const found = new Map();
    const add = (/** @type {Found} */ each) => {
      if (found.size < MAX_FOUND) found.set(`${each.kind} ${each.name}`, each);
    };
    this.complete(text).forEach(add);
    if (text.length > 1 && found.size < MAX_FOUND) yield* this.search(text, add);
    return [...found.values()];
  }

  /** @param {string} text @returns {Found[]} */
  complete(text) {
    const colon = text.lastIndexOf(':');
    if (colon >= 0) return this.completePort(text.slice(0, colon), text.slice(colon + 1));
    const names = text.split('/');
    const begin = names.pop() ?? '';
    const above = names.length === 0 ?
        [this.contents.getTop()] :
        this.positions.findInstances(names).flatMap(({occurrence, instance}) => this.positions.getChildren(occurrence, instance));
    return above.flatMap((occurrence) => this.completeInstance(occurrence, begin)).slice(0, MAX_FOUND);
  }

  /** @param {number} occurrence @param {string} begin @returns {Found[]} */
  completeInstance(occurrence, begin) {
    const module = this.positions.getModule(occurrence);
    const found = [];
    for (const {instance} of this.contents.get(module)) {
      if (!this.model.getInstanceName(module, instance).startsWith(begin)) continue;
      found.push(this.describe(occurrence, instance));
      if (found.length === MAX_FOUND) break;
    }
    return found;
  }

  /** @param {number} occurrence @param {number} instance @returns {Found} */
  describe(occurrence, instance) {
    const module = this.positions.getModule(occurrence);
    return {
      name: this.positions.getInstancePath(occurrence, instance),
      kind: 'instance',
      detail: this.model.getModuleName(this.model.getMaster(module, instance))
    };
  }

  /** @param {string} path @param {string} begin @returns {Found[]} */
  completePort(path, begin) {
    if (path === '') {
      const nodes = Array.from({length: Math.min(this.graph.getNumNodes(BOUNDARY_PLACE), 100000)}, (_, node) => node);
      return nodes.map((node) => this.describeNode(node)).filter(({name}) => name.startsWith(`:${begin}`));
    }
    return this.positions.findInstances(path.split('/'))
        .flatMap(({occurrence, instance}) => this.listPinNodes(occurrence, instance).map((node) => this.describeNode(node)))
        .filter(({name}) => name.startsWith(`${path}:${begin}`));
  }

  /** @param {number} node @returns {Found} */
  describeNode(node) {
    return {
      name: this.graph.getName(node),
      kind: 'node',
      detail: this.graph.getKind(node) === 'boundary' ? 'boundary node' : 'node'
    };
  }

  /** The nodes at the pins of an instance, one for each name. @param {number} occurrence @param {number} instance */
  listPinNodes(occurrence, instance) {
    const module = this.positions.getModule(occurrence);
    const numPorts = this.model.getNumPorts(this.model.getMaster(module, instance));
    const first = this.model.getPin(module, instance, 0);
    const nodes = [];
    for (let pin = first; pin < first + numPorts; ++pin) {
      const node = this.graph.findNodeAt({occurrence, pin});
      if (node >= 0) nodes.push(node);
    }
    return nodes;
  }

  /**
   * Names that hold the text, found in folded modules first.
   * @param {string} text
   * @param {(found: Found) => void} add
   * @returns {Generator<void, void>}
   */
  * search(text, add) {
    const colon = text.lastIndexOf(':');
    const port = colon < 0 ? null : text.slice(colon + 1);
    const parts = (colon < 0 ? text : text.slice(0, colon)).toLowerCase().split('/');
    const tail = parts.pop() ?? '';
    const match = makeMatch(tail, parts.length !== 0, port !== null);
    let steps = 0;
    for (let module = 0; module < this.model.numModules; ++module) {
      if (this.positions.getOccurrences(module).length === 0) continue;
      for (const {instance} of this.contents.get(module)) {
        if (++steps % 2000 === 0) yield;
        if (match(this.model.getInstanceName(module, instance).toLowerCase()))
          yield* this.listPlaces(module, instance, parts, port, add);
      }
    }
  }

  /**
   * @param {number} module
   * @param {number} instance
   * @param {string[]} parts of names above
   * @param {string | null} port
   * @param {(found: Found) => void} add
   * @returns {Generator<void, void>}
   */
  * listPlaces(module, instance, parts, port, add) {
    let alike = 0;
    let steps = 0;
    for (const occurrence of this.positions.getOccurrences(module)) {
      if (++steps % 5000 === 0) yield;
      if (!this.fitsAbove(occurrence, parts)) continue;
      if (port === null)
        add(this.describe(occurrence, instance));
      else
        this.listPinNodes(occurrence, instance)
            .map((node) => this.describeNode(node))
            .filter(({name}) => name.slice(name.lastIndexOf(':') + 1).startsWith(port))
            .forEach(add);
      if (++alike === MAX_ALIKE) return;
    }
  }

  /** The names above end with the first part, and are the others. @param {number} occurrence @param {string[]} parts */
  fitsAbove(occurrence, parts) {
    for (let i = parts.length - 1; i >= 0; --i) {
      if (occurrence === 0) return false;
      const name = this.positions.getOwnName(occurrence).toLowerCase();
      if (i === 0 ? !name.endsWith(parts[0]) : name !== parts[i]) return false;
      occurrence = this.positions.getParent(occurrence);
    }
    return true;
  }
}

/**
 * How a name must hold the last part of a text: with a "/" before it at its begin, with a ":" behind it at its end.
 * @param {string} tail
 * @param {boolean} atBegin
 * @param {boolean} atEnd
 * @returns {(name: string) => boolean}
 */
function makeMatch(tail, atBegin, atEnd) {
  if (atBegin && atEnd) return (name) => name === tail;
  if (atBegin) return (name) => name.startsWith(tail);
  if (atEnd) return (name) => name.endsWith(tail);
  return (name) => name.includes(tail);
}
