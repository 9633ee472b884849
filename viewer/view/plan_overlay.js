// What is drawn above the tiles: outlines of what is open, names where there is room, the selection, edges and a walk.

/** @typedef {{k: number, x: number, y: number}} Scale from tiles to pixels */

/** @param {PlanView} view @param {Scale} screen */
function paintOverlay(view, screen) {
  const plan = /** @type {Plan} */ (view.plan);
  const {overlay} = view;
  const context = /** @type {CanvasRenderingContext2D} */ (overlay.getContext('2d'));
  context.clearRect(0, 0, overlay.width, overlay.height);
  const ratio = view.ratio;
  const style = getComputedStyle(document.documentElement);
  const colour = (/** @type {string} */ name) => style.getPropertyValue(`--${name}`).trim();
  context.lineJoin = 'round';
  paintGroups(context, plan, screen, colour('soft'), ratio);
  paintNames(context, view, screen, ratio);
  paintEdges(context, view, screen, ratio, colour);
  paintBox(context, plan, screen, view.hovered, colour('ink'), ratio, []);
  if (view.cursor >= 0 && document.activeElement === overlay)
    paintBox(context, plan, screen, view.cursor, colour('accent'), 2 * ratio, [5 * ratio, 3 * ratio]);
  for (const tile of view.app.marks.examples) paintRing(context, plan, screen, tile, colour, ratio);
  paintSelection(context, plan, screen, view.app.marks, colour, ratio);
}

/**
 * @param {CanvasRenderingContext2D} context
 * @param {Plan} plan
 * @param {Scale} screen
 * @param {string} colour
 * @param {number} ratio
 */
function paintGroups(context, plan, screen, colour, ratio) {
  if (plan.groups.length > 20000) return;
  context.strokeStyle = colour;
  context.lineWidth = ratio;
  for (const group of plan.groups) {
    const width = group.width * screen.k;
    const height = group.height * screen.k;
    const left = group.x * screen.k + screen.x;
    const top = group.y * screen.k + screen.y;
    if (width < 12 || left > context.canvas.width || top > context.canvas.height || left + width < 0 || top + height < 0)
      continue;
    context.strokeRect(left - 2 * ratio, top - 2 * ratio, width + 3 * ratio, height + 3 * ratio);
    if (width > 60 * ratio && height > 120 * ratio && !isGrid(plan, group))
      paintGroupName(context, plan, group, left, top, ratio);
  }
}

/** @param {Plan} plan @param {{occurrence: number}} group */
function isGrid(plan, group) {
  return plan.contents.getGrid(plan.positions.getModule(group.occurrence)) !== null;
}

/**
 * In the head that treemaps have.
 * @param {CanvasRenderingContext2D} context
 * @param {Plan} plan
 * @param {{occurrence: number}} group
 * @param {number} left
 * @param {number} top
 * @param {number} ratio
 */
function paintGroupName(context, plan, group, left, top, ratio) {
  context.font = `600 ${11 * ratio}px ui-monospace, "DejaVu Sans Mono", monospace`;
  context.textBaseline = 'bottom';
  context.fillStyle = String(context.strokeStyle);
  context.fillText(plan.positions.getOwnName(group.occurrence), left, top - 3 * ratio);
}

/** @param {CanvasRenderingContext2D} context @param {PlanView} view @param {Scale} screen @param {number} ratio */
function paintNames(context, view, screen, ratio) {
  const plan = /** @type {Plan} */ (view.plan);
  const look = view.app.getLook();
  context.font = `${11 * ratio}px ui-monospace, "DejaVu Sans Mono", monospace`;
  context.textBaseline = 'top';
  let painted = 0;
  for (let i = 0; i < plan.count && painted < 1500; ++i) {
    const width = plan.widths[i] * screen.k;
    const height = plan.heights[i] * screen.k;
    if (width < 44 * ratio || height < 16 * ratio) continue;
    const left = plan.x[i] * screen.k + screen.x;
    const top = plan.y[i] * screen.k + screen.y;
    if (left + width < 0 || top + height < 0 || left > context.canvas.width || top > context.canvas.height) continue;
    const module = plan.positions.getModule(plan.occurrences[i]);
    const room = Math.floor((width - 8 * ratio) / (6.7 * ratio));
    const name = plan.graph.model.getInstanceName(module, plan.instances[i]);
    context.fillStyle = look.inks[view.colours[i]];
    context.fillText(name.length > room ? `${name.slice(0, Math.max(room - 1, 1))}…` : name, left + 4 * ratio, top + 3 * ratio);
    ++painted;
  }
}

/**
 * @param {CanvasRenderingContext2D} context
 * @param {Plan} plan
 * @param {Scale} screen
 * @param {number} tile
 * @param {string} colour
 * @param {number} width
 * @param {number[]} dash
 */
function paintBox(context, plan, screen, tile, colour, width, dash) {
  if (tile < 0 || tile >= plan.count) return;
  context.setLineDash(dash);
  context.strokeStyle = colour;
  context.lineWidth = width;
  context.strokeRect(
      plan.x[tile] * screen.k + screen.x, plan.y[tile] * screen.k + screen.y, Math.max(plan.widths[tile] * screen.k, 3),
      Math.max(plan.heights[tile] * screen.k, 3));
  context.setLineDash([]);
}

/**
 * Two lines of opposite colours are seen on any ground.
 * @param {CanvasRenderingContext2D} context
 * @param {Plan} plan
 * @param {Scale} screen
 * @param {Marks} marks
 * @param {(name: string) => string} colour
 * @param {number} ratio
 */
function paintSelection(context, plan, screen, marks, colour, ratio) {
  for (const [name, width] of /** @type {[string, number][]} */ ([['card', 5], ['ink', 2.5]])) {
    if (marks.box) {
      context.strokeStyle = colour(name);
      context.lineWidth = width * ratio;
      context.strokeRect(
          marks.box.x * screen.k + screen.x, marks.box.y * screen.k + screen.y, marks.box.width * screen.k,
          marks.box.height * screen.k);
    } else
      paintBox(context, plan, screen, marks.tile, colour(name), width * ratio, []);
  }
}

/**
 * @param {CanvasRenderingContext2D} context
 * @param {Plan} plan
 * @param {Scale} screen
 * @param {number} tile
 * @param {(name: string) => string} colour
 * @param {number} ratio
 */
function paintRing(context, plan, screen, tile, colour, ratio) {
  const {x, y} = plan.getCentre(tile);
  for (const [name, width] of /** @type {[string, number][]} */ ([['card', 4], ['ink', 2]])) {
    context.strokeStyle = colour(name);
    context.lineWidth = width * ratio;
    context.beginPath();
    context.arc(
        x * screen.k + screen.x, y * screen.k + screen.y, Math.max(6 * ratio, plan.widths[tile] * screen.k * 0.35), 0,
        2 * Math.PI);
    context.stroke();
  }
}

/**
 * Lines from tile to tile: real edges whole, redundant ones dashed; the walk of the chosen edge on top.
 * @param {CanvasRenderingContext2D} context
 * @param {PlanView} view
 * @param {Scale} screen
 * @param {number} ratio
 * @param {(name: string) => string} colour
 */
function paintEdges(context, view, screen, ratio, colour) {
  const plan = /** @type {Plan} */ (view.plan);
  const {marks} = view.app;
  const halo = colour('card');
  for (const line of marks.lines) {
    const ink = colour(line.isReal ? 'real' : 'redundant');
    const dash = line.isReal ? [] : [6 * ratio, 4 * ratio];
    paintLine(context, plan, screen, line, halo, 3.5 * ratio, [], ratio);
    paintLine(context, plan, screen, line, ink, 1.6 * ratio, dash, ratio);
  }
  if (marks.walk.length < 2) return;
  for (const [name, width] of /** @type {[string, number][]} */ ([['card', 7], ['walk', 3.5]])) {
    context.strokeStyle = colour(name);
    context.lineWidth = width * ratio;
    context.beginPath();
    marks.walk.forEach((point, i) => {
      const x = point.x * screen.k + screen.x;
      const y = point.y * screen.k + screen.y;
      if (i === 0)
        context.moveTo(x, y);
      else
        context.lineTo(x, y);
    });
    context.stroke();
  }
  const end = marks.walk[marks.walk.length - 1];
  paintDot(context, end.x * screen.k + screen.x, end.y * screen.k + screen.y, colour('walk'), halo, 5 * ratio);
}

/**
 * A line bends to the right of its way, so that both ways between two tiles are seen; a dot is its end.
 * @param {CanvasRenderingContext2D} context
 * @param {Plan} plan
 * @param {Scale} screen
 * @param {Line} line
 * @param {string} colour
 * @param {number} width
 * @param {number[]} dash
 * @param {number} ratio
 */
function paintLine(context, plan, screen, line, colour, width, dash, ratio) {
  const from = plan.getCentre(line.from);
  const to = plan.getCentre(line.to);
  const x0 = from.x * screen.k + screen.x;
  const y0 = from.y * screen.k + screen.y;
  const x1 = to.x * screen.k + screen.x;
  const y1 = to.y * screen.k + screen.y;
  context.strokeStyle = colour;
  context.lineWidth = width;
  context.setLineDash(dash);
  context.beginPath();
  if (line.from === line.to) {
    const radius = Math.max(4 * ratio, plan.widths[line.from] * screen.k * 0.22);
    context.arc(x0, y0, radius, 0, 2 * Math.PI);
  } else {
    context.moveTo(x0, y0);
    const bend = line.isReal ? 0.12 : 0.2;
    context.quadraticCurveTo((x0 + x1) / 2 - (y1 - y0) * bend, (y0 + y1) / 2 + (x1 - x0) * bend, x1, y1);
  }
  context.stroke();
  context.setLineDash([]);
  if (line.from !== line.to) paintDot(context, x1, y1, colour, colour, width * 1.3);
}

/**
 * @param {CanvasRenderingContext2D} context
 * @param {number} x
 * @param {number} y
 * @param {string} colour
 * @param {string} edge
 * @param {number} radius
 */
function paintDot(context, x, y, colour, edge, radius) {
  context.beginPath();
  context.arc(x, y, radius, 0, 2 * Math.PI);
  context.fillStyle = colour;
  context.fill();
  context.strokeStyle = edge;
  context.lineWidth = 1;
  context.stroke();
}
