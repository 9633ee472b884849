// What of a selection is drawn over the plan.

const MAX_LINES = 3000;

/**
 * @param {App} app
 * @param {Choice} selection
 * @param {{list: 'out' | 'in', index: number} | null} chosen
 * @returns {Marks}
 */
function makeMarks(app, selection, chosen) {
  const plan = app.getPlan();
  if (selection.kind === 'instance') {
    const tile = plan.findTile(selection.occurrence, selection.instance);
    return {...NO_MARKS, tile, box: tile < 0 ? findGroup(app, selection.occurrence, selection.instance) : null};
  }
  if (selection.kind !== 'node') return NO_MARKS;
  const {graph} = app.getDevice();
  const tile = plan.findTileOfNode(selection.node);
  const out = graph.getFanouts(selection.node);
  const into = graph.getFanins(selection.node);
  const lines = [
    ...out.map((edge) => ({from: tile, to: findTile(plan, edge.node), isReal: edge.isReal})),
    ...into.map((edge) => ({from: findTile(plan, edge.node), to: tile, isReal: edge.isReal}))
  ];
  const edge = chosen && (chosen.list === 'out' ? out : into)[chosen.index];
  const [from, to] = !edge || chosen.list === 'out' ? [selection.node, edge ? edge.node : -1] : [edge.node, selection.node];
  return {
    ...NO_MARKS,
    tile,
    lines: mergeLines(lines),
    walk: edge && to >= 0 && from >= 0 ? findWalkPoints(app, from, to, edge) : []
  };
}

/** @param {Plan} plan @param {number} node */
function findTile(plan, node) {
  return node < 0 ? -1 : plan.findTileOfNode(node);
}

/** One line for edges between the same tiles; none to what isn't on the plan. @param {Line[]} lines */
function mergeLines(lines) {
  const merged =
      new Map(lines.filter(({from, to}) => from >= 0 && to >= 0).map((line) => [`${line.from} ${line.to} ${line.isReal}`, line]));
  return [...merged.values()].slice(0, MAX_LINES);
}

/**
 * The rectangle of an instance above the tiles.
 * @param {App} app
 * @param {number} occurrence
 * @param {number} instance
 */
function findGroup(app, occurrence, instance) {
  const children = app.getDevice().positions.getChildren(occurrence, instance);
  return app.getPlan().groups.find((group) => children.includes(group.occurrence)) ?? null;
}

/**
 * The tiles that a walk comes through; nets above the tiles have none.
 * @param {App} app
 * @param {number} from
 * @param {number} to
 * @param {Edge} edge
 */
function findWalkPoints(app, from, to, edge) {
  const plan = app.getPlan();
  const walk = app.getDevice().walker.find(from, {...edge, node: to});
  if (!walk) return [];
  const tiles = [
    plan.findTileOfNode(from), ...walk.nets.map(({occurrence, at}) => {
      const own = plan.tileOfOccurrence[occurrence];
      return own >= 0 || !at ? own : plan.findTileOfPin(at.occurrence, at.pin);
    }),
    plan.findTileOfNode(to)
  ];
  return tiles.filter((tile, i) => tile >= 0 && tile !== tiles[i - 1]).map((tile) => plan.getCentre(tile));
}
