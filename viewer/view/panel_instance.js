// The panel of an instance: its module, how often that is used, its nodes and measures, and what is inside.

/**
 * The names from the top down, each a way to go there.
 * @param {App} app
 * @param {string} path
 * @param {string} [last] more behind the last
 */
function makePath(app, path, last) {
  const names = path === '' ? [] : path.split('/');
  const buttons = names.map(
      (name, i) => make('button.name', {type: 'button', onclick: () => app.selectPath(names.slice(0, i + 1).join('/'))}, name));
  const top = make('button', {type: 'button', onclick: () => app.clearSelection()}, 'device');
  return make(
      'nav.path', {'aria-label': 'Where it stands'}, top, ...buttons.flatMap((button) => ['/', button]),
      last ? make('span.name', {}, last) : null);
}

/** @param {App} app @param {number} occurrence @param {number} instance @returns {Child[]} */
function makeInstancePanel(app, occurrence, instance) {
  const device = app.getDevice();
  const {model, positions, graph} = device;
  const module = positions.getModule(occurrence);
  const master = model.getMaster(module, instance);
  const path = positions.getInstancePath(occurrence, instance);
  const nodes = NodeRanges.under(graph, occurrence, instance);
  const views = model.getViews(master);
  const uses = device.getUses();
  return [
    makePath(app, path),
    make('h2.name', {id: 'selected'}, path),
    makeFacts([
      ['Module', make('span.name', {}, model.getModuleName(master))],
      ['View', views.map((view) => model.getViewName(view)).join(', ')],
      ['Used', `${formatCount(Math.max(...views.map((view) => uses[view])), 'time')}`],
      ['Level', formatNumber(positions.getLevel(occurrence) + 1)],
      ['Ports', formatNumber(model.getNumPorts(master))],
      ['Nodes', formatNumber(nodes.count)],
      ...describeSums(sumNodes(graph, nodes)),
      ...describeFindings(app, nodes),
    ]),
    make('h3', {}, 'Nodes'),
    makeNodeList(app, 'Nodes', nodes, 9),
    ...makeInside(app, occurrence, instance),
  ];
}

/** Up to so many nodes are added up while a person waits. @param {Graph} graph @param {NodeRanges} nodes */
function sumNodes(graph, nodes) {
  if (nodes.count === 0 || nodes.count > 20000) return null;
  const sum = {nodes: nodes.count, fanouts: 0, redundant: 0, fanins: 0, maxFanout: 0, maxFanin: 0, shapes: new Set()};
  for (const [first, count] of nodes.ranges)
    for (let node = first; node < first + count; ++node) {
      const shape = graph.getShape(node);
      const fanouts = graph.getNumFanouts(shape);
      const fanins = graph.getNumFanins(shape);
      sum.fanouts += fanouts;
      sum.fanins += fanins;
      sum.redundant += fanouts - graph.getNumReal(shape);
      sum.maxFanout = Math.max(sum.maxFanout, fanouts);
      sum.maxFanin = Math.max(sum.maxFanin, fanins);
      sum.shapes.add(shape);
    }
  return sum;
}

/** @param {ReturnType<typeof sumNodes>} sum @returns {[string, Child][]} */
function describeSums(sum) {
  if (!sum) return [];
  return [
    [
      'Edges out',
      `${formatNumber(sum.fanouts)}  (${formatNumber(sum.fanouts / sum.nodes)} a node, at most ${formatNumber(sum.maxFanout)})`
    ],
    [
      'Edges in',
      `${formatNumber(sum.fanins)}  (${formatNumber(sum.fanins / sum.nodes)} a node, at most ${formatNumber(sum.maxFanin)})`
    ],
    ['Redundant edges out', formatNumber(sum.redundant)],
    ['Distinct shapes', formatNumber(sum.shapes.size)],
  ];
}

/** @param {App} app @param {NodeRanges} nodes @returns {[string, Child][]} */
function describeFindings(app, nodes) {
  const {findings} = app.getDevice().facts;
  if (!findings) return [['Findings of check', 'unknown']];
  const isBelow = (/** @type {number} */ node) => nodes.ranges.some(([first, count]) => node >= first && node < first + count);
  let count = 0;
  for (const {first} of findings)
    for (const [node] of first)
      if (isBelow(node)) ++count;
  return [['Findings of check', formatNumber(count)]];
}

/** @param {App} app @param {number} occurrence @param {number} instance @returns {Child[]} */
function makeInside(app, occurrence, instance) {
  const device = app.getDevice();
  const {model, positions, contents} = device;
  return positions.getChildren(occurrence, instance).flatMap((child) => {
    const module = positions.getModule(child);
    const inside = contents.get(module);
    if (inside.length === 0) return [];
    const row = (/** @type {Content} */ each) =>
        [make('span.name', {}, model.getInstanceName(module, each.instance)),
         make(
             'span.kind', {},
             `${model.getModuleName(model.getMaster(module, each.instance))}, ${formatCount(each.nodes, 'node')}`),
    ];
    return [
      make('h3', {}, `Instances inside with nodes (${model.getViewName(module)})`),
      makeList({
        label: 'Instances inside',
        count: inside.length,
        maxRows: 9,
        getRow: (i) => row(inside[i]),
        choose: (i) => app.selectInstance(child, inside[i].instance)
      }),
    ];
  });
}
