// Histograms and tables of the whole device. A bar or a row leads to nodes.

const MAX_EXAMPLES = 200;

const CHARTS = [
  {id: 'fanout', name: 'Fanout', unit: 'fanouts', what: 'Nodes by how many edges lead out of them, redundant ones among them.'},
  {id: 'fanin', name: 'Fanin', unit: 'fanins', what: 'Nodes by how many edges lead into them.'},
  {id: 'hops', name: 'Hops', unit: 'hops', what: 'Edges by the steps of their trace: along a net or through a mux.'},
  {
    id: 'lengths',
    name: 'Wire lengths',
    unit: 'tiles',
    what: 'Edges by how many columns and rows of tiles lie between their ends.'
  },
  {
    id: 'largest',
    name: 'Largest nets',
    unit: '',
    what: 'The nodes that drive most, and the nets of the model with most inst ports.'
  },
  {id: 'templates', name: 'Templates', unit: '', what: 'Distinct lists of fanouts, by the number of nodes that have each.'},
];

/** @param {App} app @returns {Child[]} */
function makeStatisticsPanel(app) {
  const {view} = app.state;
  const chart = CHARTS.find(({id}) => id === view.chart) ?? CHARTS[0];
  const choose = make(
      'div.switch', {role: 'group', 'aria-label': 'Statistics', style: 'flex-wrap: wrap; margin-top: 0'},
      ...CHARTS.map(
          ({id, name}) => make(
              'button', {
                type: 'button',
                'aria-pressed': String(id === chart.id),
                'aria-label': name,
                onclick: () => app.state.update({chart: id, bin: ''})
              },
              name)));
  const body = make('div', {id: 'chart'}, make('p.soft', {role: 'status'}, 'being counted'));
  const examples = make('div', {id: 'examples'});
  fillChart(app, chart, body, examples);
  return [choose, make('p.soft', {}, chart.what), body, examples];
}

/** @param {App} app @param {typeof CHARTS[number]} chart @param {HTMLElement} body @param {HTMLElement} examples */
async function fillChart(app, chart, body, examples) {
  const device = app.getDevice();
  const run = (/** @type {Generator<any, any>} */ work) => runInSlices(work, () => body.isConnected);
  await takeTurn();
  if (chart.id === 'largest')
    fill(
        body,
        makeLargest(app, await run(device.statistics.listLargest(100)) ?? [], await run(device.statistics.listNets(100)) ?? []));
  else if (chart.id === 'templates')
    fill(body, makeTemplates(app, await run(device.statistics.listTemplates()) ?? [], examples));
  else {
    const data = await run(countBins(device, chart.id));
    if (data) showBars(app, chart, data, body, examples);
  }
  performance.mark(`counted ${chart.id}`);
}

/**
 * Bins, null where nothing is known, and a note on what isn't counted.
 * @param {Device} device
 * @param {string} id
 * @returns {Generator<void, {bins: Bin[] | null, note: string}>}
 */
function* countBins(device, id) {
  if (id === 'fanout') return {bins: yield* device.statistics.countByFanout(), note: ''};
  if (id === 'fanin') return {bins: yield* device.statistics.countByFanin(), note: ''};
  if (id === 'hops') {
    const {hops, untraced} = device.facts;
    if (!hops)
      return {bins: null, note: 'Unknown: the traces were left out when the page was made, or the device was dropped onto it.'};
    const bins = hops.flatMap((count, value) => (count ? [{value, count}] : []));
    return {
      bins,
      note: untraced ?
          `${formatCount(untraced, 'edge')} without a verified trace, those at boundary nodes among them, not counted` :
          ''
    };
  }
  const plan = device.getPlan(device.bestLevel);
  if (!plan.hasGrid)
    return {bins: null, note: 'The names of the instances tell no coordinates, so there are no lengths in tiles.'};
  device.lengths ??= yield* device.wireLengths.count();
  const {bins, without} = device.lengths;
  return {bins, note: without ? `${formatCount(without, 'edge')} with an end beside the grid not counted` : ''};
}

/**
 * @param {App} app
 * @param {typeof CHARTS[number]} chart
 * @param {{bins: Bin[] | null, note: string}} data
 * @param {HTMLElement} body
 * @param {HTMLElement} examples
 */
function showBars(app, chart, data, body, examples) {
  if (!data.bins) {
    body.replaceChildren(make('p', {}, data.note));
    return;
  }
  const groups = groupBins(data.bins);
  const total = d3.sum(data.bins, ({count}) => count);
  const mean = d3.sum(data.bins, ({value, count}) => value * count) / Math.max(total, 1);
  const what = chart.id === 'fanout' || chart.id === 'fanin' ? 'node' : 'edge';
  const choose = (/** @type {Group} */ group) => {
    app.state.update({bin: `${group.low}-${group.high}`}, false);
    showExamples(app, chart, group, examples);
  };
  const chosen = app.state.view.bin;
  body.replaceChildren(
      make(
          'p', {},
          `${formatCount(total, what)}, ${formatNumber(mean)} ${chart.unit} on average, at most ${
              formatNumber(data.bins.at(-1)?.value ?? 0)}`),
      makeBars(groups, {label: `${chart.name}: ${what}s by ${chart.unit}`, what, unit: chart.unit, chosen, choose}),
      make('p.soft', {}, `Heights are logarithmic. ${data.note}`));
  const group = groups.find(({low, high}) => `${low}-${high}` === chosen);
  if (group) showExamples(app, chart, group, examples);
}

/** @param {App} app @param {typeof CHARTS[number]} chart @param {Group} group @param {HTMLElement} examples */
async function showExamples(app, chart, group, examples) {
  const device = app.getDevice();
  const {graph} = device;
  const fits = (/** @type {number} */ value) => value >= group.low && value <= group.high;
  const search = chart.id === 'lengths' ?
      device.wireLengths.findNodes(fits, MAX_EXAMPLES) :
      chart.id === 'hops' ?
      device.statistics.findNodesByHops(fits, 20) :
      device.statistics.findNodes(
          (shape) => fits(chart.id === 'fanout' ? graph.getNumFanouts(shape) : graph.getNumFanins(shape)), MAX_EXAMPLES);
  const range = group.low === group.high ? formatNumber(group.low) : `${formatNumber(group.low)} to ${formatNumber(group.high)}`;
  const title = chart.id === 'hops' ? `Nodes with a fanout ${range} ${chart.unit} away, one for each page of shapes` :
      chart.id === 'lengths' ? `Nodes that drive over ${range} ${chart.unit}` :
                               `Nodes with ${range} ${chart.unit}`;
  await listExamples(app, title, search, examples);
}

/** @param {App} app @param {string} title @param {Generator<void, number[]>} search @param {HTMLElement} examples */
async function listExamples(app, title, search, examples) {
  examples.replaceChildren(make('h3', {}, title), make('p.soft', {role: 'status'}, 'being searched'));
  const heading = examples.firstChild;
  const nodes = await runInSlices(search, () => examples.isConnected && examples.firstChild === heading);
  if (!nodes || examples.firstChild !== heading) return;
  const cut = nodes.length === MAX_EXAMPLES ?
      [make('p.soft', {}, `the first ${MAX_EXAMPLES}; rings on the plan show where they are`)] :
      [];
  examples.replaceChildren(
      make('h3', {}, title), makeNodeList(app, title, {count: nodes.length, get: (i) => nodes[i]}, 8), ...cut);
  app.showExamples([...new Set(nodes.map((node) => app.getPlan().findTileOfNode(node)))].filter((tile) => tile >= 0));
  performance.mark('examples');
}

/**
 * @param {App} app
 * @param {{node: number, fanouts: number}[]} nodes
 * @param {{module: number, net: number, pins: number, places: number}[]} nets
 * @returns {Child[]}
 */
function makeLargest(app, nodes, nets) {
  const device = app.getDevice();
  const {graph, model, positions} = device;
  const examples = make('div', {id: 'net-nodes'});
  const showNet = (/** @type {{module: number, net: number}} */ {module, net}) => {
    const [occurrence] = positions.getOccurrences(module);
    const found = findNodesOnNet(device.walker, occurrence, net);
    const title = `Nodes on ${positions.getNetPath(occurrence, net)} at all levels, and those behind mux inputs on it`;
    examples.replaceChildren(make('h3', {}, title), makeNodeList(app, title, {count: found.length, get: (i) => found[i]}, 8));
    app.showExamples([...new Set(found.map((node) => app.getPlan().findTileOfNode(node)))].filter((tile) => tile >= 0));
  };
  return [
    make('h3', {}, 'Nodes that drive most'),
    makeList({
      label: 'Nodes that drive most',
      count: nodes.length,
      maxRows: 9,
      choose: (i) => app.selectNode(nodes[i].node),
      getRow: (i) =>
          [make('span.name', {}, graph.getName(nodes[i].node)), make('span.kind', {}, formatCount(nodes[i].fanouts, 'fanout'))]
    }),
    make('h3', {}, 'Nets with most inst ports'),
    makeList({
      label: 'Nets with most inst ports',
      count: nets.length,
      maxRows: 9,
      choose: (i) => showNet(nets[i]),
      getRow: (i) =>
          [make('span.name', {}, `${model.getModuleName(nets[i].module)} ${model.getNetName(nets[i].module, nets[i].net)}`),
           make('span.kind', {}, `${formatCount(nets[i].pins, 'inst port')}, ${formatCount(nets[i].places, 'place')}`)]
    }),
    examples,
  ];
}

/** @param {App} app @param {Template[]} templates @param {HTMLElement} examples @returns {Child[]} */
function makeTemplates(app, templates, examples) {
  const {statistics} = app.getDevice();
  const choose = (/** @type {Template} */ template) => {
    const key = statistics.getTemplateKey(template.shape);
    listExamples(
        app, `Nodes with this list of ${formatCount(template.fanouts, 'fanout')}`,
        statistics.findNodes((shape) => statistics.getTemplateKey(shape) === key, MAX_EXAMPLES), examples);
  };
  const total = d3.sum(templates, ({nodes}) => nodes);
  return [
    make('p', {}, `${formatCount(templates.length, 'template')} of ${formatCount(total, 'node')} with fanouts`),
    makeList({
      label: 'Templates by use',
      count: templates.length,
      maxRows: 12,
      choose: (i) => choose(templates[i]),
      getRow: (i) =>
          [make(
               'span.name', {},
               `${formatCount(templates[i].fanouts, 'fanout')}${
                   templates[i].redundant ? `, ${formatNumber(templates[i].redundant)} redundant` : ''}`),
           make('span.kind', {}, formatCount(templates[i].nodes, 'node'))]
    }),
  ];
}
