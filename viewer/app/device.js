// A device as the page works with it: the graph and all that is made from it.

/**
 * What the tool found when the page was made; absent members were not asked for.
 * @typedef {object} Facts
 * @property {string} [name]
 * @property {string} [made_by]
 * @property {boolean} [checked]
 * @property {{kind: string, subject: string, count: number, first: [number, number, string][]}[]} [findings]
 * @property {boolean} [findings_by_node_complete]
 * @property {number[]} [hops]
 * @property {number} [untraced]
 */

class Device {
  /** @param {ArrayBuffer} buffer of a device database @param {string} name @param {Facts} facts */
  constructor(buffer, name, facts) {
    const database = readDatabase(buffer);
    this.header = database.header;
    this.name = name;
    this.facts = facts;
    this.model = new Model(database);
    this.positions = new Positions(database, this.model);
    this.graph = new Graph(database, this.positions);
    this.walker = new Walker(this.graph, new Description(database, this.model));
    this.contents = new Contents(this.graph);
    this.pages = new Pages(this.graph);
    this.finder = new Finder(this.graph, this.contents);
    this.statistics = new Statistics(this);
    this.bestLevel = Layouts.chooseLevel(this.contents);
    /** @type {Map<number, Plan>} */
    this.plans = new Map();
    /** @type {Map<number, Measures>} */
    this.measures = new Map();
    this.wireLengths = new WireLengths(this);
    /** What was counted of them. @type {{bins: Bin[], without: number} | null} */
    this.lengths = null;
  }

  /** The plan with tiles of a level. @param {number} level */
  getPlan(level) {
    let plan = this.plans.get(level);
    if (!plan) {
      plan = new Plan(this.contents, level);
      this.plans.set(level, plan);
    }
    return plan;
  }
  /** @param {Plan} plan */
  getMeasures(plan) {
    let measures = this.measures.get(plan.level);
    if (!measures) {
      measures = new Measures(plan, this.pages, this.facts);
      this.measures.set(plan.level, measures);
    }
    return measures;
  }

  /** The levels that a person may choose: tiles by level. */
  getLevels() {
    const levels = [];
    const top = this.positions.getModule(this.contents.getTop());
    let before = 0;
    for (let level = 1; level <= 12; ++level) {
      const tiles = new Layouts(this.contents, level).countTiles(top, 0);
      if (tiles === before || tiles > 1500000) break;
      levels.push({level, tiles});
      before = tiles;
    }
    return levels;
  }

  /** At how many places each module stands. */
  getUses() {
    if (this.uses) return this.uses;
    const {model, positions} = this;
    const uses = new Float64Array(model.numModules);
    for (const top of positions.tops) uses[top] = 1;
    for (let module = 0; module < model.numModules; ++module) {
      const count = positions.getOccurrences(module).length;
      if (count === 0) continue;
      for (let slot = model.firstSlot[module]; slot < model.firstSlot[module + 1]; ++slot) uses[model.slotMasters[slot]] += count;
    }
    this.uses = uses;
    return uses;
  }
}
