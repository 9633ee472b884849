// Lays out the inside of each module once: on the grid that the names of its instances tell, else as a treemap.

const MARGIN = 0.3;           // around a grid inside a cell of another, in tiles
const TREEMAP_MARGIN = 0.03;  // around a treemap inside a cell, as a share of it
const TREEMAP_HEAD = 0.1;     // above it, for the name
const MAX_TREEMAP_TILES = 4000;

/**
 * @typedef {object} Layout
 * @property {number} width in tiles, margins among them
 * @property {number} height
 * @property {number} numColumns in tiles, without margins; 0 where there is no grid
 * @property {number} numRows
 * @property {Cell[]} cells one for each of the module's contents
 */
/**
 * Where one instance stands inside. `column` and `row`, in tiles, are -1 beside a grid.
 * @typedef {{x: number, y: number, width: number, height: number, column: number, row: number, inside: Layout | null}} Cell
 */

class Layouts {
  /** Down to so many levels of instances. @param {Contents} contents @param {number} level */
  constructor(contents, level) {
    this.contents = contents;
    this.level = level;
    this.gridDepth = contents.getGridDepth(contents.positions.getModule(contents.getTop()));
    /** @type {Map<string, Layout>} */
    this.layouts = new Map();
  }

  /**
   * The level whose tiles are best to look at: those of the grids, else as many as can be told apart.
   * @param {Contents} contents
   */
  static chooseLevel(contents) {
    const top = contents.positions.getModule(contents.getTop());
    const depth = contents.getGridDepth(top);
    if (depth !== 0) return depth;
    const counts = d3.range(1, 9).map((level) => new Layouts(contents, level).countTiles(top, 0));
    const fits = counts.filter((count, i) => i === 0 || (count > counts[i - 1] && count <= MAX_TREEMAP_TILES));
    return fits.length;
  }

  /** The inside of an instance is shown, not the instance as one tile. @param {number} body @param {number} depth */
  isOpen(body, depth) {
    if (body < 0 || depth >= this.level) return false;
    if (this.level <= this.gridDepth) return this.contents.hasGrid(body);
    return this.contents.get(body).length !== 0;
  }

  /** @param {number} module @param {number} depth @returns {number} */
  countTiles(module, depth) {
    let count = 0;
    for (const {body, pins} of this.contents.get(module))
      count += this.isOpen(body, depth + 1) ? this.countTiles(body, depth + 1) + (pins === 0 ? 0 : 1) : 1;
    return count;
  }

  /** @param {number} module @param {number} depth @returns {Layout} */
  get(module, depth) {
    const key = `${module} ${depth}`;
    let layout = this.layouts.get(key);
    if (!layout) {
      layout = this.make(module, depth);
      this.layouts.set(key, layout);
    }
    return layout;
  }

  /** @param {number} module @param {number} depth @returns {Layout} */
  make(module, depth) {
    const contents = this.contents.get(module);
    const insides = contents.map(({body}) => (this.isOpen(body, depth + 1) ? this.get(body, depth + 1) : null));
    const grid = this.contents.getGrid(module);
    return grid ? layOutGrid(grid, contents, insides) : layOutTreemap(contents, insides);
  }
}

/**
 * @param {NonNullable<ReturnType<typeof findGrid>>} grid
 * @param {Content[]} contents
 * @param {(Layout | null)[]} insides
 * @returns {Layout}
 */
function layOutGrid(grid, contents, insides) {
  const byCell = d3.group(d3.range(contents.length), (i) => {
    const cell = grid.cells[i];
    return cell ? cell.y * grid.numColumns + cell.x : -1;
  });
  const beside = byCell.get(-1) ?? [];
  byCell.delete(-1);
  const axes = measureAxes(grid, byCell, insides);
  /** @type {Cell[]} */
  const cells = new Array(contents.length);
  for (const [key, members] of byCell)
    shareCell(key % grid.numColumns, Math.floor(key / grid.numColumns), members, axes, insides, cells);
  const width = axes.x[grid.numColumns];
  const height = axes.y[grid.numRows];
  const strip = beside.length === 0 ? 0 : Math.max(height / 12, 1);
  putBeside(beside, contents, insides, cells, {x: 0, y: height + strip / 4, width, height: strip});
  return {
    width,
    height: strip === 0 ? height : height + strip * 1.25,
    numColumns: axes.columns[grid.numColumns],
    numRows: axes.rows[grid.numRows],
    cells
  };
}

/**
 * Instances with the same coordinates stand side by side in one cell.
 * @param {number} x
 * @param {number} y
 * @param {number[]} members
 * @param {ReturnType<typeof measureAxes>} axes
 * @param {(Layout | null)[]} insides
 * @param {Cell[]} cells
 */
function shareCell(x, y, members, axes, insides, cells) {
  const side = Math.ceil(Math.sqrt(members.length));
  const width = (axes.x[x + 1] - axes.x[x]) / side;
  const height = (axes.y[y + 1] - axes.y[y]) / Math.ceil(members.length / side);
  members.forEach((i, k) => {
    cells[i] = putInside({
      x: axes.x[x] + (k % side) * width,
      y: axes.y[y] + Math.floor(k / side) * height,
      width,
      height,
      column: axes.columns[x],
      row: axes.rows[y],
      inside: insides[i]
    });
  });
}

/**
 * Where columns and rows begin: in tiles with margins, and counted in tiles.
 * @param {NonNullable<ReturnType<typeof findGrid>>} grid
 * @param {Map<number, number[]>} byCell
 * @param {(Layout | null)[]} insides
 */
function measureAxes(grid, byCell, insides) {
  const widths = new Float64Array(grid.numColumns).fill(1);
  const heights = new Float64Array(grid.numRows).fill(1);
  const columns = new Uint32Array(grid.numColumns).fill(1);
  const rows = new Uint32Array(grid.numRows).fill(1);
  for (const [key, members] of byCell) {
    const x = key % grid.numColumns;
    const y = Math.floor(key / grid.numColumns);
    for (const inside of members.map((i) => insides[i])) {
      if (!inside) continue;
      widths[x] = Math.max(widths[x], inside.width + 2 * MARGIN);
      heights[y] = Math.max(heights[y], inside.height + 2 * MARGIN);
      columns[x] = Math.max(columns[x], inside.numColumns);
      rows[y] = Math.max(rows[y], inside.numRows);
    }
  }
  return {x: addUp(widths), y: addUp(heights), columns: addUp(columns), rows: addUp(rows)};
}

/** Where each begins, and the end. @param {ArrayLike<number>} sizes */
function addUp(sizes) {
  const sums = new Float64Array(sizes.length + 1);
  for (let i = 0; i < sizes.length; ++i) sums[i + 1] = sums[i] + sizes[i];
  return sums;
}

/** What is inside a cell has a margin around it. @param {Cell} cell @returns {Cell} */
function putInside(cell) {
  if (!cell.inside) return cell;
  if (cell.inside.numColumns === 0)
    return {
      ...cell,
      x: cell.x + cell.width * TREEMAP_MARGIN,
      y: cell.y + cell.height * TREEMAP_HEAD,
      width: cell.width * (1 - 2 * TREEMAP_MARGIN),
      height: cell.height * (1 - TREEMAP_HEAD - TREEMAP_MARGIN)
    };
  const x = (MARGIN / (cell.inside.width + 2 * MARGIN)) * cell.width;
  const y = (MARGIN / (cell.inside.height + 2 * MARGIN)) * cell.height;
  return {...cell, x: cell.x + x, y: cell.y + y, width: cell.width - 2 * x, height: cell.height - 2 * y};
}

/** @param {Content[]} contents @param {(Layout | null)[]} insides @returns {Layout} */
function layOutTreemap(contents, insides) {
  const side = Math.max(Math.sqrt(contents.length), 1);
  const width = side * 1.3;
  /** @type {Cell[]} */
  const cells = new Array(contents.length);
  putBeside(contents.map((_, i) => i), contents, insides, cells, {x: 0, y: 0, width, height: side});
  return {width, height: side, numColumns: 0, numRows: 0, cells};
}

/**
 * A treemap of some instances in a rectangle.
 * @param {number[]} members
 * @param {Content[]} contents
 * @param {(Layout | null)[]} insides
 * @param {Cell[]} cells
 * @param {{x: number, y: number, width: number, height: number}} box
 */
function putBeside(members, contents, insides, cells, box) {
  if (members.length === 0) return;
  /** @typedef {{member: number, children?: Tree[]}} Tree */
  /** @type {Tree} */
  const tree = {member: -1, children: members.map((member) => ({member}))};
  const root = d3.hierarchy(tree).sum(({member}) => (member < 0 ? 0 : contents[member].nodes));
  for (const leaf of d3.treemap().size([box.width, box.height])(/** @type {any} */ (root)).leaves()) {
    const {member} = /** @type {Tree} */ (/** @type {unknown} */ (leaf.data));
    if (member < 0) continue;
    cells[member] = putInside({
      x: box.x + leaf.x0,
      y: box.y + leaf.y0,
      width: leaf.x1 - leaf.x0,
      height: leaf.y1 - leaf.y0,
      column: -1,
      row: -1,
      inside: insides[member]
    });
  }
}
