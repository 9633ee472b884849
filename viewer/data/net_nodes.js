// The nodes on a connection: on a net and all nets that are joined to it through ports, down to muxes and not across them.

const MAX_JOINED_NETS = 20000;

/**
 * Nodes at pins of these nets, and those that stand behind mux inputs on them, in order.
 * @param {Walker} walker
 * @param {number} occurrence
 * @param {number} net
 */
function findNodesOnNet(walker, occurrence, net) {
  const {model, positions} = walker;
  /** @type {Set<number>} */
  const found = new Set();
  /** @type {Set<string>} */
  const seen = new Set();
  /** @type {[number, number][]} */
  const pending = [];
  const enter = (/** @type {number} */ at, /** @type {number} */ other) => {
    if (at <= 0 || other === NONE || seen.has(`${at} ${other}`) || seen.size === MAX_JOINED_NETS) return;
    seen.add(`${at} ${other}`);
    pending.push([at, other]);
  };
  enter(occurrence, net);
  for (let next = pending.pop(); next; next = pending.pop()) {
    const [at] = next;
    const module = positions.getModule(at);
    const members = model.getNetMembers(module);
    for (const pin of members.getPins(next[1])) {
      for (const node of listNodesBehind(walker, at, module, pin)) found.add(node);
      const {instance, master, port} = model.getPinParts(module, pin);
      const body = model.getRoutedView(master);
      if (body < 0 || !model.isInner(body) || walker.description.stopModules.has(body)) continue;
      enter(positions.getChild(at, instance, body), model.getPortNet(body, port));
    }
    const parent = positions.getParent(at);
    if (parent === 0) continue;
    const above = positions.getModule(parent);
    for (const port of members.getPorts(next[1]))
      enter(parent, model.getPinNet(above, model.getPin(above, positions.getInstance(at), port)));
  }
  return [...found].sort((left, right) => left - right);
}

/**
 * The nodes at a pin and, where it is a mux input, at the outputs of its arcs.
 * @param {Walker} walker
 * @param {number} occurrence
 * @param {number} module of the occurrence
 * @param {number} pin
 */
function listNodesBehind({graph, model, description}, occurrence, module, pin) {
  const {instance, master, port} = model.getPinParts(module, pin);
  const first = model.firstPort[Math.max(model.getRoutedView(master), 0)];
  const outputs = description.arcs.get(first + port) ?? [];
  return [pin, ...outputs.map((output) => model.getPin(module, instance, output - first))]
      .flatMap((each) => [false, true].map((isTwin) => graph.findNodeAt({occurrence, pin: each}, isTwin)))
      .filter((node) => node >= 0);
}
