// The panel of a node: what it drives and what drives it, and the walk behind a chosen edge.

/**
 * @param {App} app
 * @param {number} node
 * @param {{list: 'out' | 'in', index: number} | null} chosen
 * @returns {Child[]}
 */
function makeNodePanel(app, node, chosen) {
  const device = app.getDevice();
  const {graph, model, positions} = device;
  const name = graph.getName(node);
  const kind = graph.getKind(node);
  const fanouts = graph.getFanouts(node);
  const fanins = graph.getFanins(node);
  const path = name.slice(0, name.lastIndexOf(':'));
  const uip = graph.getUip(node);
  /** @type {[string, Child][]} */
  const place = uip ? describePin(model, positions, uip) : [['Port of the top', make('span.name', {}, name)]];
  return [
    makePath(app, path, name.slice(name.lastIndexOf(':'))),
    make('h2.name', {id: 'selected'}, name),
    makeFacts([
      ['Kind', {uip: 'plain node', hipi: 'hipi twin', boundary: 'boundary node'}[kind]],
      ...place,
      ['Number', formatNumber(node)],
      ...describeTwin(app, node, kind),
      ...describeNodeFindings(app, node),
    ]),
    ...makeEdgeLists(app, fanouts, fanins, chosen),
    make(
        'p.soft', {},
        'On the plan an edge ends in a dot at the node that is driven; redundant edges are dashed, the thick line is the walk of the chosen edge. "f" zooms to them.'),
    ...(chosen ? makeWalk(app, node, chosen, (chosen.list === 'out' ? fanouts : fanins)[chosen.index]) :
                 [make('p', {}, 'Choose an edge to see the walk behind it.')]),
  ];
}

/** @param {Model} model @param {Positions} positions @param {Uip} uip @returns {[string, Child][]} */
function describePin(model, positions, uip) {
  const module = positions.getModule(uip.occurrence);
  const {master, port} = model.getPinParts(module, uip.pin);
  const net = model.getPinNet(module, uip.pin);
  return [
    ['Module', make('span.name', {}, model.getModuleName(master))],
    ['Port', make('span.name', {}, `${model.getPortName(master, port)} (${DIRECTION_NAMES[model.getDirection(master, port)]})`)],
    ['Net outside', make('span.name', {}, net === NONE ? 'none' : positions.getNetPath(uip.occurrence, net))],
  ];
}

/** @param {App} app @param {number} node @param {string} kind @returns {[string, Child][]} */
function describeTwin(app, node, kind) {
  const {graph} = app.getDevice();
  const uip = graph.getUip(node);
  const other = uip ? graph.findNodeAt(uip, kind !== 'hipi') : -1;
  if (other < 0) return [];
  return [[
    kind === 'hipi' ? 'Plain node' : 'Hipi twin',
    make('button', {type: 'button', onclick: () => app.selectNode(other)}, 'go there')
  ]];
}

/** @param {App} app @param {number} node @returns {[string, Child][]} */
function describeNodeFindings(app, node) {
  const {findings} = app.getDevice().facts;
  return (findings ?? [])
      .flatMap(({kind, first}) => first.filter(([at]) => at === node).map(([, , text]) => /** @type {[string, Child]} */ ([
                                                                            `Finding: ${kind}`, text
                                                                          ])));
}

/**
 * @param {App} app
 * @param {Edge[]} fanouts
 * @param {Edge[]} fanins
 * @param {{list: 'out' | 'in', index: number} | null} chosen
 * @returns {Child[]}
 */
function makeEdgeLists(app, fanouts, fanins, chosen) {
  const lists = /** @type {['out' | 'in', string, Edge[]][]} */ ([['out', 'Fanouts', fanouts], ['in', 'Fanins', fanins]]);
  return lists.flatMap(
      ([list, label, edges]) =>
          [make('h3', {}, `${label}: ${formatNumber(edges.length)}`),
           makeList({
             label,
             count: edges.length,
             maxRows: 8,
             chosen: chosen?.list === list ? chosen.index : -1,
             getRow: (i) => makeEdgeRow(app, edges[i]),
             choose: (i) => app.selectEdge(list, i)
           }),
  ]);
}

/** @param {App} app @param {Edge} edge */
function makeEdgeRow(app, edge) {
  const {graph, model, positions} = app.getDevice();
  const name = edge.node < 0 ? '(no node)' : graph.getName(edge.node);
  const {muxInput} = edge;
  const through = muxInput ? model.getPinName(positions.getModule(muxInput.occurrence), muxInput.pin) : '';
  return [
    make(`span.badge.${edge.isReal ? 'real' : 'redundant'}`, {}, edge.isReal ? 'real' : 'redundant'),
    make('span.name', {title: name}, name),
    make(
        'span.kind', {title: muxInput ? positions.getPinPath(muxInput.occurrence, muxInput.pin) : 'through no mux'},
        muxInput ? `through :${through.slice(through.lastIndexOf(':') + 1)}` : 'direct'),
  ];
}

/**
 * @param {App} app
 * @param {number} node
 * @param {{list: 'out' | 'in', index: number}} chosen
 * @param {Edge | undefined} edge
 * @returns {Child[]}
 */
function makeWalk(app, node, chosen, edge) {
  if (!edge || edge.node < 0) return [];
  const device = app.getDevice();
  const {graph, positions} = device;
  const [from, to] = chosen.list === 'out' ? [node, edge.node] : [edge.node, node];
  const walk = device.walker.find(from, {...edge, node: to});
  const goal = make(
      'button', {type: 'button', id: 'go', onclick: () => app.selectNode(edge.node)},
      chosen.list === 'out' ? 'Go to the fanout' : 'Go to the fanin');
  const heading = make('h3', {}, 'The walk behind the edge');
  const {muxInput} = edge;
  const title = make(
      'p.name', {}, `${graph.getName(from)} → ${graph.getName(to)}, ${edge.isReal ? 'real' : 'redundant'}`,
      muxInput ? `, through ${positions.getPinPath(muxInput.occurrence, muxInput.pin)}` : '');
  if (!walk)
    return [
      heading, title, make('p.problem', {}, 'No walk was found through the model. "kep-rg check --trace" tells more.'), goal
    ];
  const steps = describeWalk(device, to, walk);
  return [
    heading, title,
    make(
        'ol.walk', {'aria-label': 'Steps of the walk'},
        ...steps.map(
            ({sign, text, net, level}) => make(
                'li', {style: `margin-left: ${Math.max(level, 0) * 12}px`}, `${sign} `, make('span.name', {}, text),
                net === '' ? null : make('span', {}, ': net ', make('span.name', {}, net)),
                level < 0 ? null : make('span.level', {}, `  level ${level}`)))),
    goal
  ];
}

/** @param {Model} model @param {number} module */
function nameModule(model, module) {
  const view = model.getView(module);
  return `${model.getModuleName(module)}${view === VIEW_LOGICAL ? '' : ` (${VIEW_NAMES[view].toLowerCase()})`}`;
}

/**
 * The steps as the tool tells them: where a net is entered, which net, at which level of the hierarchy; then the end.
 * @param {Device} device
 * @param {number} to
 * @param {Walk} walk
 * @returns {{sign: string, text: string, net: string, level: number}[]}
 */
function describeWalk(device, to, walk) {
  const {positions, graph, model} = device;
  const steps = walk.nets.map(({occurrence, net, kind, at, out}) => {
    const module = nameModule(model, positions.getModule(occurrence));
    const far = out ? positions.getPinPath(out.occurrence, out.pin) : '';
    const point = at ? positions.getPinPath(at.occurrence, at.pin) : '';
    const below = at && kind === 'up' ?
        nameModule(model, model.getRoutedView(model.getPinParts(positions.getModule(at.occurrence), at.pin).master)) :
        '';
    const [sign, text] = /** @type {[string, string]} */ ({
      outside: ['●', 'outside'],
      inside: ['●', `inside ${module}`],
      down: ['↓', `${point} down into ${module}`],
      up: ['↑', `${point} up out of ${below}`],
      skip: ['⇝', `${point} across a skip path to ${far}`],
      flyover: ['⇝', `${point} by a flyover to ${far}`],
    }[kind]);
    return {sign, text, net: positions.getNetPath(occurrence, net), level: positions.getLevel(occurrence)};
  });
  const uip = graph.getUip(to);
  const level = uip ? positions.getLevel(uip.occurrence) : 0;
  const {muxInput} = walk;
  const ends = {
    mux: ['▷', muxInput ? `${positions.getPinPath(muxInput.occurrence, muxInput.pin)} mux input → ${graph.getName(to)}` : ''],
    target: ['◎', `${graph.getName(to)} target`],
    twin: ['◎', `${graph.getName(to)} the plain node at the same place, which its hipi twin drives`],
    boundary: ['◎', `${graph.getName(to)} out of the device`],
  };
  const [sign, text] = ends[walk.end];
  return [...steps, {sign, text: graph.getKind(to) === 'hipi' ? `${text} (hipi)` : text, net: '', level}];
}
