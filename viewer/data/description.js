// What is routing: the muxes with their arcs, and all that tells where a walk ends and where it goes on. Ports are told by
// their numbers over all modules here, as in the file.

const TUNNEL_SOURCE = 1;
const TUNNEL_THROUGH = 2;
const TUNNEL_TARGET = 3;
const PORT_IS_INSERTED = 4;

class Description {
  /** @param {Database} database @param {Model} model */
  constructor(database, model) {
    this.tables = database.description;
    this.model = model;
    /** From an input to outputs. @type {Map<number, number[]>} */
    this.arcs = new Map();
    /** From an input of a skip mux to outputs. @type {Map<number, number[]>} */
    this.skipPaths = new Map();
    /** From an input on one instance to outputs. @type {Map<string, number[]>} */
    this.skipPathsOfInstances = new Map();
    /** Inputs on instances at which no skip path begins, though their mux is a skip mux. @type {Set<string>} */
    this.noSkipPaths = new Set();
    /** @type {Set<number>} */
    this.stopModules = new Set();
    this.muxes = this.readMuxes();
    this.readArcs();
    this.readPattern();
    this.readForeignModules();
    this.flyovers = this.readFlyovers();
    this.spareRows = this.readSpareRows();
  }

  readMuxes() {
    const {muxes, skipExceptions} = this.tables;
    /** @type {{isSkip: boolean, exceptions: {module: number, instance: number}[]}[]} */
    const list = [];
    for (let i = 0; i < muxes.length; i += 2) {
      const isSkip = muxes[i + 1] !== 0;
      list.push({isSkip, exceptions: []});
      const canStop = !this.model.isIpRoot(muxes[i]) || this.model.getView(muxes[i]) === VIEW_LOGICAL;
      if (!isSkip && canStop) this.stopModules.add(muxes[i]);
    }
    for (let i = 0; i < skipExceptions.length; i += 4)
      list[skipExceptions[i]].exceptions.push({module: skipExceptions[i + 1], instance: skipExceptions[i + 2]});
    return list;
  }

  /** From an input to an output; the first that was stated of an input holds. */
  readFlyovers() {
    const {flyovers} = this.tables;
    /** @type {Map<number, number>} */
    const outputs = new Map();
    for (let i = flyovers.length - 2; i >= 0; i -= 2) outputs.set(flyovers[i], flyovers[i + 1]);
    return outputs;
  }
  readSpareRows() {
    const {spareRows} = this.tables;
    /** @type {Set<string>} */
    const instances = new Set();
    for (let i = 0; i < spareRows.length; i += 4)
      if (spareRows[i + 2]) instances.add(`${spareRows[i]} ${spareRows[i + 1]}`);
    return instances;
  }

  readArcs() {
    const {arcs} = this.tables;
    const add = (/** @type {Map<any, number[]>} */ map, /** @type {any} */ key, /** @type {number} */ output) => {
      const outputs = map.get(key);
      if (outputs)
        outputs.push(output);
      else
        map.set(key, [output]);
    };
    for (let i = 0; i < arcs.length; i += 4) {
      const [input, output, number] = arcs.subarray(i, i + 3);
      add(this.arcs, input, output);
      const mux = number === NONE ? undefined : this.muxes[number];
      if (!mux) continue;
      if (mux.isSkip) add(this.skipPaths, input, output);
      for (const {module, instance} of mux.exceptions) {
        if (mux.isSkip)
          this.noSkipPaths.add(`${module} ${instance} ${input}`);
        else
          add(this.skipPathsOfInstances, `${module} ${instance} ${input}`, output);
      }
    }
  }

  /** On instances whose name holds the pattern, arcs are skip paths. */
  readPattern() {
    const {names, pattern} = this.tables;
    const end = names.indexOf(0, pattern);
    const text = names.length === 0 || end < 0 ? '' : new TextDecoder().decode(names.subarray(pattern, end));
    if (text === '') return;
    const {model} = this;
    const {arcs} = this.tables;
    for (let module = 0; module < model.numModules; ++module)
      for (let instance = 0; instance < model.getNumInstances(module); ++instance) {
        if (!model.getInstanceName(module, instance).includes(text)) continue;
        const master = model.getMaster(module, instance);
        for (let i = 0; i < arcs.length; i += 4)
          if (arcs[i] >= model.firstPort[master] && arcs[i] < model.firstPort[master + 1])
            this.addPatternPath(module, instance, i);
      }
  }

  /** @param {number} module @param {number} instance @param {number} arc its row */
  addPatternPath(module, instance, arc) {
    const [input, output, number] = this.tables.arcs.subarray(arc, arc + 3);
    const mux = number === NONE ? undefined : this.muxes[number];
    if (!mux || mux.isSkip || mux.exceptions.length !== 0) return;
    const key = `${module} ${instance} ${input}`;
    this.skipPathsOfInstances.set(key, [...(this.skipPathsOfInstances.get(key) ?? []), output]);
  }

  /** Under a device top a module of another database is a stop module. */
  readForeignModules() {
    const {model} = this;
    if (!model.isDeviceTop(model.tables.top)) return;
    for (let module = 0; module < model.numModules; ++module)
      if (model.isForeign(module)) this.stopModules.add(module);
  }

  /** @param {number} module */
  getTunnel(module) {
    return this.tables.tunnels[module] ?? 0;
  }
  /** @param {number} port */
  isInserted(port) {
    return ((this.tables.portMarks[port] ?? 0) & PORT_IS_INSERTED) !== 0;
  }

  /**
   * Where a signal at a pin goes on without a node: outputs of the same instance, across a skip path or by a flyover.
   * @param {number} occurrence
   * @param {number} module of the occurrence
   * @param {{instance: number, master: number, port: number}} pin
   * @returns {{outputs: number[], isFlyover: boolean}}
   */
  findPaths(occurrence, module, pin) {
    const first = this.model.firstPort[pin.master];
    const input = first + pin.port;
    const key = `${module} ${pin.instance} ${input}`;
    const outputs = this.skipPaths.has(input) ? (this.noSkipPaths.has(key) ? [] : this.skipPaths.get(input)) :
                                                this.skipPathsOfInstances.get(key);
    if (outputs && outputs.length !== 0) return {outputs: outputs.map((port) => port - first), isFlyover: false};
    const flyover = this.flyovers.get(input);
    const isTaken = flyover !== undefined && this.spareRows.has(`${occurrence} ${pin.instance}`);
    return {outputs: isTaken ? [flyover - first] : [], isFlyover: isTaken};
  }
}
