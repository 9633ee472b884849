// Where modules stand: the inner occurrences, those of modules that hold something. Occurrence 0 stands above the tops.

const OCCURRENCE_WIDTH = 6;

class Positions {
  /** @param {Database} database @param {Model} model */
  constructor(database, model) {
    this.model = model;
    this.rows = database.occurrences;
    this.count = this.rows.length / OCCURRENCE_WIDTH;
    /** The slots above: the top and its equivalents. */
    this.tops = model.getViews(model.tables.top);
    /** Of modules that were searched by name: their instances. @type {Map<number, Map<string, number>>} */
    this.instanceNames = new Map();
    /** @type {ReturnType<typeof groupByNumber> | null} */
    this.byModule = null;
  }

  /** @param {number} occurrence */
  getParent(occurrence) {
    return this.rows[occurrence * OCCURRENCE_WIDTH + 2];
  }
  /** The number of modules for occurrence 0. @param {number} occurrence */
  getModule(occurrence) {
    return this.rows[occurrence * OCCURRENCE_WIDTH + 5];
  }
  /** The instance that an occurrence is, in the module above; -1 for a top. @param {number} occurrence */
  getInstance(occurrence) {
    const parent = this.getParent(occurrence);
    if (parent === 0) return -1;
    return this.model.slotInstances[this.model.firstSlot[this.getModule(parent)] + this.rows[occurrence * OCCURRENCE_WIDTH + 3]];
  }

  /**
   * The occurrence of an instance in one view of its master; -1 where that holds nothing.
   * @param {number} occurrence
   * @param {number} instance
   * @param {number} master
   */
  getChild(occurrence, instance, master) {
    const {model} = this;
    const module = this.getModule(occurrence);
    let slot = model.firstSlot[module] + model.firstSlotOfInstance[model.firstInstance[module] + instance];
    while (model.slotMasters[slot] !== master) ++slot;
    const rank = model.slotInnerRanks[slot];
    return rank < 0 ? -1 : this.rows[occurrence * OCCURRENCE_WIDTH + 4] + rank;
  }

  /**
   * The occurrences of an instance in all views that hold something.
   * @param {number} occurrence
   * @param {number} instance
   */
  getChildren(occurrence, instance) {
    const master = this.model.getMaster(this.getModule(occurrence), instance);
    return this.model.getViews(master).map((view) => this.getChild(occurrence, instance, view)).filter((child) => child > 0);
  }

  /** The tops that hold something. @returns {number[]} */
  getTops() {
    const tops = [];
    for (let i = 1; i < this.count && this.getParent(i) === 0; ++i) tops.push(i);
    return tops;
  }

  /** Instance names from the top, joined by "/"; "" for a top. @param {number} occurrence */
  getPath(occurrence) {
    const names = [];
    for (; occurrence !== 0 && this.getParent(occurrence) !== 0; occurrence = this.getParent(occurrence))
      names.push(this.getOwnName(occurrence));
    return names.reverse().join('/');
  }
  /** @param {number} occurrence */
  getOwnName(occurrence) {
    const parent = this.getParent(occurrence);
    return parent === 0 ? '' : this.model.getInstanceName(this.getModule(parent), this.getInstance(occurrence));
  }
  /** "a/b", where b is an instance at the occurrence. @param {number} occurrence @param {number} instance */
  getInstancePath(occurrence, instance) {
    return this.join(occurrence, this.model.getInstanceName(this.getModule(occurrence), instance));
  }
  /** "a/b:c". @param {number} occurrence @param {number} pin */
  getPinPath(occurrence, pin) {
    return this.join(occurrence, this.model.getPinName(this.getModule(occurrence), pin));
  }
  /** "a/n". @param {number} occurrence @param {number} net */
  getNetPath(occurrence, net) {
    return this.join(occurrence, this.model.getNetName(this.getModule(occurrence), net));
  }
  /** @param {number} occurrence @param {string} name */
  join(occurrence, name) {
    const path = this.getPath(occurrence);
    return path ? `${path}/${name}` : name;
  }

  /** How many levels below the top. @param {number} occurrence */
  getLevel(occurrence) {
    let level = -1;
    for (; occurrence !== 0; occurrence = this.getParent(occurrence)) ++level;
    return level;
  }

  /** The occurrences of a module, in order. @param {number} module */
  getOccurrences(module) {
    this.byModule ??= groupByNumber(
        Uint32Array.from({length: this.count}, (_, i) => (i === 0 ? NONE : this.getModule(i))), this.model.numModules);
    return this.byModule.indices.subarray(this.byModule.first[module], this.byModule.first[module + 1]);
  }

  /**
   * Where a path of instance names leads: pairs of an occurrence and an instance in it, one for each view on the way.
   * @param {string[]} names
   * @returns {{occurrence: number, instance: number}[]}
   */
  findInstances(names) {
    let above = this.getTops();
    /** @type {{occurrence: number, instance: number}[]} */
    let found = [];
    for (const name of names) {
      found = above.flatMap((occurrence) => {
        const instance = this.findInstance(this.getModule(occurrence), name);
        return instance < 0 ? [] : [{occurrence, instance}];
      });
      above = found.flatMap(({occurrence, instance}) => this.getChildren(occurrence, instance));
    }
    return found;
  }

  /** The instance of that name; -1 without one. @param {number} module @param {string} name */
  findInstance(module, name) {
    let names = this.instanceNames.get(module);
    if (!names) {
      names = new Map();
      for (let i = 0; i < this.model.getNumInstances(module); ++i) names.set(this.model.getInstanceName(module, i), i);
      this.instanceNames.set(module, names);
    }
    return names.get(name) ?? -1;
  }
}
