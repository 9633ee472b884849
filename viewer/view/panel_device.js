// The panel of the whole device: what is in it, from what it was made, what the check found.

/** @param {App} app @returns {Child[]} */
function makeDevicePanel(app) {
  const device = app.getDevice();
  const {counts, inputs, madeBy, numBytes} = device.header;
  const {graph} = device;
  const boundary = graph.getNumNodes(BOUNDARY_PLACE);
  const rows = Object
                   .entries({
                     Modules: counts.modules,
                     Instances: counts.instances,
                     Nets: counts.nets,
                     'Inner occurrences': counts.occurrences,
                     Muxes: counts.muxes,
                     Arcs: counts.arcs,
                     Nodes: graph.numNodes,
                     'Real edges': graph.tables.numRealEdges,
                     'Redundant edges': graph.tables.numEdges - graph.tables.numRealEdges,
                     Templates: graph.tables.numTemplates,
                     'Boundary nodes': boundary,
                   })
                   .filter(([, value]) => value !== undefined);
  const all = {count: boundary, get: (/** @type {number} */ i) => i};
  return [
    make('h2', {}, device.name),
    makeFacts(rows.map(([name, value]) => [name, formatNumber(value)])),
    make(
        'p.soft', {},
        `${formatNumber(numBytes)} bytes, made by ${madeBy}${
            inputs.length ? ` from ${inputs.map(({name}) => name).join(', ')}` : ''}`),
    make('p.soft', {}, 'Modules, instances and nets are counted once, however often they stand in the device.'),
    ...(boundary ? [make('h3', {}, 'Boundary nodes'), makeNodeList(app, 'Boundary nodes', all, 6)] : []),
    make('h3', {}, 'Findings of check'),
    ...makeFindings(app),
    make('h3', {}, 'Modules by use'),
    makeModuleList(app),
  ];
}

/** @param {App} app @returns {Child[]} */
function makeFindings(app) {
  const {findings, checked} = app.getDevice().facts;
  if (!findings)
    return [make('p.soft', {}, 'Unknown: the checks were left out when the page was made, or the device was dropped onto it.')];
  if (findings.length === 0) return [make('p', {}, checked ? 'The check found nothing.' : 'None.')];
  return findings.flatMap(
      ({kind, subject, count, first}) =>
          [make('p', {}, `${kind} (${subject}): ${formatNumber(count)}`),
           makeList({
             label: kind,
             count: first.length,
             maxRows: 5,
             getRow: (i) => [make('span.name', {title: first[i][2]}, first[i][2])],
             choose: (i) => (first[i][0] < 0 ? undefined : app.selectNode(first[i][0]))
           }),
  ]);
}

/** Modules that hold nodes or are muxes, most used first; a choice shows the first place of one. @param {App} app */
function makeModuleList(app) {
  const device = app.getDevice();
  const {model, positions} = device;
  const uses = device.getUses();
  const modules = d3.range(model.numModules).filter((module) => uses[module] !== 0).sort((a, b) => uses[b] - uses[a] || a - b);
  return makeList({
    label: 'Modules by use',
    count: modules.length,
    maxRows: 8,
    getRow: (i) =>
        [make('span.name', {}, model.getModuleName(modules[i])),
         make('span.kind', {}, `${model.getViewName(modules[i])}, ${formatNumber(uses[modules[i]])}×`)],
    choose: (i) => showModule(app, modules[i], positions)
  });
}

/**
 * Selects an instance of a module: the first that there is.
 * @param {App} app
 * @param {number} module
 * @param {Positions} positions
 */
function showModule(app, module, positions) {
  const {model} = positions;
  for (let above = 0; above < model.numModules; ++above) {
    const places = positions.getOccurrences(above);
    if (places.length === 0) continue;
    for (let slot = model.firstSlot[above]; slot < model.firstSlot[above + 1]; ++slot)
      if (model.slotMasters[slot] === module) return app.selectInstance(places[0], model.slotInstances[slot]);
  }
  return undefined;
}
