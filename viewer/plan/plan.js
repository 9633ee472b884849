// The floor plan: tiles with their rectangles, and from each occurrence, instance and node to its tile.

const PINS_SHARE = 0.12;  // of an open instance's height: a tile for the nodes at its own pins

class Plan {
  /**
   * With tiles of a level: so many levels of instances below the top.
   * @param {Contents} contents
   * @param {number} level
   */
  constructor(contents, level) {
    this.contents = contents;
    this.graph = contents.graph;
    this.positions = contents.positions;
    this.level = level;
    this.layouts = new Layouts(contents, level);
    this.top = contents.getTop();
    const module = this.positions.getModule(this.top);
    this.layout = this.layouts.get(module, 0);
    this.count = this.layouts.countTiles(module, 0);
    this.width = this.layout.width;
    this.height = this.layout.height;
    this.hasGrid = contents.hasGrid(module);
    this.x = new Float32Array(this.count);
    this.y = new Float32Array(this.count);
    this.widths = new Float32Array(this.count);
    this.heights = new Float32Array(this.count);
    this.columns = new Int32Array(this.count);
    this.rows = new Int32Array(this.count);
    /** Where the instance that a tile is stands. */
    this.occurrences = new Uint32Array(this.count);
    this.instances = new Uint32Array(this.count);
    /** By occurrence: its tile, -1 where it lies above the tiles. */
    this.tileOfOccurrence = new Int32Array(this.positions.count).fill(-1);
    /**
     * Occurrences above the tiles: the tile of each of the module's contents; of one that is open itself that of its
     * pins, or -1.
     * @type {Map<number, Int32Array>}
     */
    this.open = new Map();
    /**
     * Rectangles of the occurrences that are open, but for the top.
     * @type {{x: number, y: number, width: number, height: number, occurrence: number}[]}
     */
    this.groups = [];
    this.next = 0;
    this.fill(this.top, this.layout, 0, {x: 0, y: 0, scaleX: 1, scaleY: 1, column: 0, row: 0});
    this.nameOccurrences();
  }

  /**
   * @param {number} occurrence
   * @param {Layout} layout
   * @param {number} depth
   * @param {{x: number, y: number, scaleX: number, scaleY: number, column: number, row: number}} at
   */
  fill(occurrence, layout, depth, at) {
    const contents = this.contents.get(this.positions.getModule(occurrence));
    const tiles = new Int32Array(contents.length).fill(-1);
    this.open.set(occurrence, tiles);
    contents.forEach(({instance, body, pins, isInner}, i) => {
      const cell = layout.cells[i];
      const box = {
        x: at.x + cell.x * at.scaleX,
        y: at.y + cell.y * at.scaleY,
        width: cell.width * at.scaleX,
        height: cell.height * at.scaleY
      };
      const isPlaced = cell.column >= 0 && at.column >= 0;
      const column = isPlaced ? at.column + cell.column : -1;
      const row = isPlaced ? at.row + cell.row : -1;
      if (!cell.inside) {
        tiles[i] = this.addTile(occurrence, instance, box, column, row);
        if (isInner)
          for (const child of this.positions.getChildren(occurrence, instance)) this.tileOfOccurrence[child] = tiles[i];
        return;
      }
      const child = this.positions.getChild(occurrence, instance, body);
      this.groups.push({...box, occurrence: child});
      if (pins !== 0) {
        const strip = box.height * PINS_SHARE;
        tiles[i] = this.addTile(occurrence, instance, {...box, height: strip}, column, row);
        box.y += strip;
        box.height -= strip;
      }
      this.fill(
          child, cell.inside, depth + 1,
          {x: box.x, y: box.y, scaleX: box.width / cell.inside.width, scaleY: box.height / cell.inside.height, column, row});
    });
  }

  /**
   * @param {number} occurrence
   * @param {number} instance
   * @param {{x: number, y: number, width: number, height: number}} box
   * @param {number} column
   * @param {number} row
   */
  addTile(occurrence, instance, box, column, row) {
    const tile = this.next++;
    this.x[tile] = box.x;
    this.y[tile] = box.y;
    this.widths[tile] = box.width;
    this.heights[tile] = box.height;
    this.columns[tile] = column;
    this.rows[tile] = row;
    this.occurrences[tile] = occurrence;
    this.instances[tile] = instance;
    return tile;
  }

  /** What lies below a tile is of that tile. */
  nameOccurrences() {
    for (let i = 1; i < this.positions.count; ++i)
      if (this.tileOfOccurrence[i] < 0) this.tileOfOccurrence[i] = this.tileOfOccurrence[this.positions.getParent(i)];
  }

  /**
   * The tile at or below which an instance stands; -1 where it lies above the tiles.
   * @param {number} occurrence
   * @param {number} instance
   */
  findTile(occurrence, instance) {
    const tile = this.tileOfOccurrence[occurrence];
    if (tile >= 0) return tile;
    const tiles = this.open.get(occurrence);
    if (!tiles) return -1;
    const contents = this.contents.get(this.positions.getModule(occurrence));
    const at = findContent(contents, instance);
    return at < 0 ? -1 : tiles[at];
  }

  /** The tile of a node; -1 for a boundary node. @param {number} node */
  findTileOfNode(node) {
    const uip = this.graph.getUip(node);
    if (!uip) return -1;
    return this.findTileOfPin(uip.occurrence, uip.pin);
  }
  /** @param {number} occurrence @param {number} pin */
  findTileOfPin(occurrence, pin) {
    return this.findTile(occurrence, this.graph.model.getPinInstance(this.positions.getModule(occurrence), pin));
  }

  /** @param {number} tile */
  getName(tile) {
    return this.positions.getInstancePath(this.occurrences[tile], this.instances[tile]);
  }
  /** The module that a tile is an instance of. @param {number} tile */
  getMaster(tile) {
    return this.graph.model.getMaster(this.positions.getModule(this.occurrences[tile]), this.instances[tile]);
  }
  /** @param {number} tile */
  getCentre(tile) {
    return {x: this.x[tile] + this.widths[tile] / 2, y: this.y[tile] + this.heights[tile] / 2};
  }

  /** The tile at a point; -1 beside all. @param {number} x @param {number} y */
  findTileAt(x, y) {
    for (let i = 0; i < this.count; ++i)
      if (x >= this.x[i] && y >= this.y[i] && x < this.x[i] + this.widths[i] && y < this.y[i] + this.heights[i]) return i;
    return -1;
  }

  /**
   * The nearest tile in a direction, dx and dy of -1, 0 or 1; the tile itself at the border.
   * @param {number} tile
   * @param {number} dx
   * @param {number} dy
   */
  findNeighbour(tile, dx, dy) {
    const from = this.getCentre(tile);
    let best = tile;
    let least = Infinity;
    for (let i = 0; i < this.count; ++i) {
      const x = this.x[i] + this.widths[i] / 2 - from.x;
      const y = this.y[i] + this.heights[i] / 2 - from.y;
      const along = x * dx + y * dy;
      const across = Math.abs(x * dy) + Math.abs(y * dx);
      const cost = along + across * 2;
      if (along > 1e-6 && across <= along && cost < least) {
        least = cost;
        best = i;
      }
    }
    return best;
  }
}

/**
 * Where an instance stands among contents, which are in order; -1 if it doesn't.
 * @param {Content[]} contents
 * @param {number} instance
 */
function findContent(contents, instance) {
  let low = 0;
  let high = contents.length;
  while (low < high) {
    const middle = (low + high) >>> 1;
    if (contents[middle].instance < instance)
      low = middle + 1;
    else
      high = middle;
  }
  return low < contents.length && contents[low].instance === instance ? low : -1;
}
