// The folded model: each module once. Modules, instances, ports and nets are told by their numbers; an inst port ("pin")
// by its number in the module that holds the instance.

const VIEW_NAMES = ['LOGICAL', 'VIEW_1', 'BLC', 'LOGICAL_TWIN'];
const NUM_VIEWS = 4;
const VIEW_LOGICAL = 0;
const VIEW_BLC = 2;
const DIRECTION_NAMES = ['input', 'output', 'bidir'];
const INPUT = 0;
const OUTPUT = 1;

const MODULE_WIDTH = 8;
const PORT_WIDTH = 6;
const INSTANCE_WIDTH = 4;

class Model {
  /** @param {Database} database */
  constructor(database) {
    this.tables = database.model;
    this.numModules = this.tables.modules.length / MODULE_WIDTH;
    this.numInstances = this.tables.instances.length / INSTANCE_WIDTH;
    this.decoder = new TextDecoder();
    /** Where the members of each module begin, in the tables of all modules. */
    this.firstPort = this.countMembers(3);
    this.firstInstance = this.countMembers(4);
    this.firstNet = this.countMembers(5);
    this.views = this.listViews();
    const pins = this.listPins();
    this.firstPin = pins.first;
    this.firstPinOfInstance = pins.ofInstance;
    const slots = this.listSlots();
    this.firstSlot = slots.first;
    this.firstSlotOfInstance = slots.ofInstance;
    this.slotInstances = slots.instances;
    this.slotMasters = slots.masters;
    this.slotInnerRanks = slots.innerRanks;
    /** @type {Map<number, NetMembers>} */
    this.members = new Map();
  }

  /** @param {number} field of a module's row, with the number of members */
  countMembers(field) {
    const first = new Uint32Array(this.numModules + 1);
    for (let module = 0; module < this.numModules; ++module)
      first[module + 1] = first[module] + this.tables.modules[module * MODULE_WIDTH + field];
    return first;
  }

  /** The module that stands for each module in each view: itself in its own, else the first of its equivalents. */
  listViews() {
    const views = new Int32Array(this.numModules * NUM_VIEWS).fill(-1);
    /** @type {Map<number, number>} */
    const firstOfView = new Map();
    const forEachEquivalent = (/** @type {(module: number, group: number) => void} */ use) => {
      for (let module = 0; module < this.numModules; ++module) {
        const group = this.tables.modules[module * MODULE_WIDTH + 2];
        if (group !== NONE) use(module, group * NUM_VIEWS);
      }
    };
    forEachEquivalent((module, group) => {
      const key = group + this.getView(module);
      if (!firstOfView.has(key)) firstOfView.set(key, module);
    });
    forEachEquivalent((module, group) => {
      for (let view = 0; view < NUM_VIEWS; ++view) views[module * NUM_VIEWS + view] = firstOfView.get(group + view) ?? -1;
    });
    for (let module = 0; module < this.numModules; ++module) views[module * NUM_VIEWS + this.getView(module)] = module;
    return views;
  }

  /** The pins of each module, instance by instance. */
  listPins() {
    const first = new Float64Array(this.numModules + 1);
    const ofInstance = new Uint32Array(this.numInstances);
    for (let module = 0; module < this.numModules; ++module) {
      let pins = 0;
      for (let i = this.firstInstance[module]; i < this.firstInstance[module + 1]; ++i) {
        ofInstance[i] = pins;
        pins += this.getNumPorts(this.tables.instances[i * INSTANCE_WIDTH + 1]);
      }
      first[module + 1] = first[module] + pins;
    }
    return {first, ofInstance};
  }

  /** A slot is an instance in one view of its master: the view that the model names first, then the others. */
  listSlots() {
    const first = new Uint32Array(this.numModules + 1);
    const ofInstance = new Uint32Array(this.numInstances);
    /** @type {number[]} */
    const instances = [];
    /** @type {number[]} */
    const masters = [];
    /** @type {number[]} */
    const innerRanks = [];
    for (let module = 0; module < this.numModules; ++module) {
      let inner = 0;
      for (let i = this.firstInstance[module]; i < this.firstInstance[module + 1]; ++i) {
        ofInstance[i] = masters.length - first[module];
        for (const master of this.getViews(this.tables.instances[i * INSTANCE_WIDTH + 1])) {
          instances.push(i - this.firstInstance[module]);
          masters.push(master);
          innerRanks.push(this.isInner(master) ? inner++ : -1);
        }
      }
      first[module + 1] = masters.length;
    }
    return {
      first,
      ofInstance,
      instances: Uint32Array.from(instances),
      masters: Uint32Array.from(masters),
      innerRanks: Int32Array.from(innerRanks)
    };
  }

  /**
   * A module and what describes the same hardware in other views, in the order of slots.
   * @param {number} module
   */
  getViews(module) {
    const views = [module];
    for (let view = 0; view < NUM_VIEWS; ++view) {
      const other = this.views[module * NUM_VIEWS + view];
      if (other >= 0 && other !== module) views.push(other);
    }
    return views;
  }

  /**
   * What walks go on in: the BLC description where there is one, else the logical one; -1 for neither.
   * @param {number} module
   */
  getRoutedView(module) {
    const blc = this.views[module * NUM_VIEWS + VIEW_BLC];
    return blc >= 0 ? blc : this.views[module * NUM_VIEWS + VIEW_LOGICAL];
  }

  /** @param {number} offset */
  getName(offset) {
    const end = this.tables.names.indexOf(0, offset);
    return this.decoder.decode(this.tables.names.subarray(offset, end));
  }
  /** @param {number} module */
  getModuleName(module) {
    return this.getName(this.tables.modules[module * MODULE_WIDTH + 1]);
  }
  /** @param {number} module */
  getView(module) {
    return this.tables.modules[module * MODULE_WIDTH + 6] & 0xff;
  }
  /** @param {number} module */
  getViewName(module) {
    return VIEW_NAMES[this.getView(module)];
  }
  /** @param {number} module */
  isIpRoot(module) {
    return (this.tables.modules[module * MODULE_WIDTH + 6] & 0x100) !== 0;
  }
  /** @param {number} module */
  isBidirBuffer(module) {
    return (this.tables.modules[module * MODULE_WIDTH + 6] & 0x400) !== 0;
  }
  /** @param {number} module */
  isForeign(module) {
    return (this.tables.modules[module * MODULE_WIDTH + 6] & 0x800) !== 0;
  }
  /** @param {number} module */
  isDeviceTop(module) {
    return (this.tables.modules[module * MODULE_WIDTH + 6] & 0x1000) !== 0;
  }
  /** It holds instances or nets. @param {number} module */
  isInner(module) {
    return this.getNumInstances(module) + this.getNumNets(module) !== 0;
  }
  /** @param {number} module */
  getNumPorts(module) {
    return this.firstPort[module + 1] - this.firstPort[module];
  }
  /** @param {number} module */
  getNumInstances(module) {
    return this.firstInstance[module + 1] - this.firstInstance[module];
  }
  /** @param {number} module */
  getNumNets(module) {
    return this.firstNet[module + 1] - this.firstNet[module];
  }
  /** @param {number} module */
  getNumPins(module) {
    return this.firstPin[module + 1] - this.firstPin[module];
  }

  /** @param {number} module @param {number} instance */
  getInstanceName(module, instance) {
    return this.getName(this.tables.instances[(this.firstInstance[module] + instance) * INSTANCE_WIDTH]);
  }
  /** @param {number} module @param {number} instance */
  getMaster(module, instance) {
    return this.tables.instances[(this.firstInstance[module] + instance) * INSTANCE_WIDTH + 1];
  }
  /** @param {number} module @param {number} port */
  getPortName(module, port) {
    return this.getName(this.tables.ports[(this.firstPort[module] + port) * PORT_WIDTH]);
  }
  /** @param {number} module @param {number} port */
  getDirection(module, port) {
    return this.tables.ports[(this.firstPort[module] + port) * PORT_WIDTH + 4] & 0xff;
  }
  /** The net behind a port, in its module; NONE without one. @param {number} module @param {number} port */
  getPortNet(module, port) {
    return this.tables.ports[(this.firstPort[module] + port) * PORT_WIDTH + 3];
  }
  /** @param {number} module @param {number} net */
  getNetName(module, net) {
    return this.getName(this.tables.netNames[this.firstNet[module] + net]);
  }
  /** @param {number} module @param {number} pin */
  getPinNet(module, pin) {
    return this.tables.instPortNets[this.firstPin[module] + pin];
  }
  /** @param {number} module @param {number} instance @param {number} port */
  getPin(module, instance, port) {
    return this.firstPinOfInstance[this.firstInstance[module] + instance] + port;
  }

  /** The instance of a pin. @param {number} module @param {number} pin */
  getPinInstance(module, pin) {
    let low = this.firstInstance[module];
    let high = this.firstInstance[module + 1];
    while (high - low > 1) {
      const middle = (low + high) >>> 1;
      if (this.firstPinOfInstance[middle] <= pin)
        low = middle;
      else
        high = middle;
    }
    return low - this.firstInstance[module];
  }

  /** Instance, master and port of a pin. @param {number} module @param {number} pin */
  getPinParts(module, pin) {
    const instance = this.getPinInstance(module, pin);
    return {
      instance,
      master: this.getMaster(module, instance),
      port: pin - this.firstPinOfInstance[this.firstInstance[module] + instance],
    };
  }

  /** "instance:port". @param {number} module @param {number} pin */
  getPinName(module, pin) {
    const {instance, master, port} = this.getPinParts(module, pin);
    return `${this.getInstanceName(module, instance)}:${this.getPortName(master, port)}`;
  }

  /** The pins and ports on each net of a module. @param {number} module */
  getNetMembers(module) {
    let members = this.members.get(module);
    if (!members) {
      members = new NetMembers(this, module);
      this.members.set(module, members);
    }
    return members;
  }
}

/** Which pins and ports each net of one module joins, in the order of the model. */
class NetMembers {
  /** @param {Model} model @param {number} module */
  constructor(model, module) {
    const numNets = model.getNumNets(module);
    const first = model.firstPin[module];
    const pinNets = model.tables.instPortNets.subarray(first, model.firstPin[module + 1]);
    const portNets = Uint32Array.from({length: model.getNumPorts(module)}, (_, port) => model.getPortNet(module, port));
    const pins = groupByNumber(pinNets, numNets);
    this.firstPins = pins.first;
    this.pins = pins.indices;
    const ports = groupByNumber(portNets, numNets);
    this.firstPorts = ports.first;
    this.ports = ports.indices;
  }
  /** @param {number} net */
  getPins(net) {
    return this.pins.subarray(this.firstPins[net], this.firstPins[net + 1]);
  }
  /** @param {number} net */
  getPorts(net) {
    return this.ports.subarray(this.firstPorts[net], this.firstPorts[net + 1]);
  }
}

/**
 * Groups indices by the numbers that stand there, NONE left out: where the indices of each number begin, and they.
 * @param {Uint32Array} numbers by index
 * @param {number} count of numbers
 */
function groupByNumber(numbers, count) {
  const first = new Uint32Array(count + 1);
  for (const number of numbers)
    if (number !== NONE) ++first[number + 1];
  for (let number = 0; number < count; ++number) first[number + 1] += first[number];
  const next = first.slice(0, count);
  const indices = new Uint32Array(first[count]);
  for (let i = 0; i < numbers.length; ++i)
    if (numbers[i] !== NONE) indices[next[numbers[i]]++] = i;
  return {first, indices};
}
