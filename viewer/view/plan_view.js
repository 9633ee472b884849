// The floor plan on the screen: tiles below, and above them what is selected, names and the lines of edges.

class PlanView {
  /** @param {App} app */
  constructor(app) {
    this.app = app;
    this.tiles = /** @type {HTMLCanvasElement} */ (find('tiles'));
    this.overlay = /** @type {HTMLCanvasElement} */ (find('overlay'));
    /** @type {Plan | null} */
    this.plan = null;
    /** The tile on which the keyboard stands. */
    this.cursor = -1;
    this.hovered = -1;
    this.transform = d3.zoomIdentity;
    /** Of the tiles, as makeScale() gives them. @type {Uint8Array} */
    this.colours = new Uint8Array(0);
    /** @type {ImageData | null} */
    this.image = null;
    /** Pixels of the screen to one of the page. */
    this.ratio = 1;
    this.isAwaited = false;
    this.zoom = /** @type {d3.ZoomBehavior<HTMLCanvasElement, unknown>} */ (d3.zoom());
    this.zoom.scaleExtent([0.5, 2000]).on('zoom', (event) => this.moveTo(event.transform)).on('end', () => this.app.keepZoom());
    d3.select(this.overlay).call(this.zoom).on('dblclick.zoom', null);
    this.listen();
    new ResizeObserver(() => this.resize()).observe(find('plan'));
  }

  listen() {
    const {overlay} = this;
    overlay.addEventListener('pointermove', (event) => this.hover(event));
    overlay.addEventListener('pointerleave', () => this.hover(null));
    overlay.addEventListener('click', (event) => {
      const tile = this.findTileAt(event);
      if (tile >= 0) this.app.selectTile(tile);
    });
    overlay.addEventListener('keydown', (event) => this.pressKey(event));
    overlay.addEventListener('focus', () => this.draw());
    overlay.addEventListener('blur', () => this.draw());
    for (const button of document.querySelectorAll('#zoom button'))
      button.addEventListener('click', () => this.zoomBy(/** @type {HTMLElement} */ (button).dataset.zoom ?? ''));
  }

  /** @param {Plan} plan */
  setPlan(plan) {
    this.plan = plan;
    this.cursor = -1;
    this.hovered = -1;
    this.colours = new Uint8Array(plan.count);
    this.zoom.scaleExtent([0.7, Math.max(40, Math.max(plan.width, plan.height) * 4)]);
    this.resize();
  }

  /** @param {Uint8Array} colours */
  setColours(colours) {
    this.colours = colours;
    this.draw();
  }

  resize() {
    const {clientWidth, clientHeight} = find('plan');
    this.ratio = devicePixelRatio || 1;
    for (const canvas of [this.tiles, this.overlay]) {
      canvas.width = Math.max(Math.round(clientWidth * this.ratio), 1);
      canvas.height = Math.max(Math.round(clientHeight * this.ratio), 1);
    }
    this.image = null;
    this.draw();
  }

  /** From tiles to pixels of the canvas: all is in sight at scale 1. */
  getScreen() {
    const plan = /** @type {Plan} */ (this.plan);
    const width = this.tiles.width;
    const height = this.tiles.height;
    const fit = 0.94 * Math.min(width / plan.width, (height - 124 * this.ratio) / plan.height);
    const x = (width - plan.width * fit) / 2;
    const y = (height - 106 * this.ratio - plan.height * fit) / 2;
    const {k} = this.transform;
    return {k: fit * k, x: x * k + this.transform.x * this.ratio, y: y * k + this.transform.y * this.ratio};
  }

  /** @param {d3.ZoomTransform} transform */
  moveTo(transform) {
    this.transform = transform;
    this.draw();
  }
  /** @param {d3.ZoomTransform} transform */
  setTransform(transform) {
    d3.select(this.overlay).call(this.zoom.transform, transform);
  }
  /** @param {string} how */
  zoomBy(how) {
    const overlay = d3.select(this.overlay);
    if (how === 'all')
      overlay.call(this.zoom.transform, d3.zoomIdentity);
    else if (how === 'marks')
      this.zoomToMarks();
    else
      overlay.call(this.zoom.scaleBy, how === 'in' ? 1.6 : 1 / 1.6);
  }

  /** Shows the selection and its edges as large as they fit. */
  zoomToMarks() {
    const {plan, app} = this;
    if (!plan) return;
    const {tile, box, lines, walk, examples} = app.marks;
    const tiles = [tile, ...examples, ...lines.flatMap(({from, to}) => [from, to])].filter((each) => each >= 0);
    const corners = tiles.flatMap(
        (each) => [[plan.x[each], plan.y[each]], [plan.x[each] + plan.widths[each], plan.y[each] + plan.heights[each]]]);
    corners.push(...walk.map(({x, y}) => [x, y]), ...(box ? [[box.x, box.y], [box.x + box.width, box.y + box.height]] : []));
    if (corners.length === 0) return;
    const [left, right] = /** @type {[number, number]} */ (d3.extent(corners, ([x]) => x));
    const [top, bottom] = /** @type {[number, number]} */ (d3.extent(corners, ([, y]) => y));
    const {k, x, y} = this.getScreen();
    const fit = k / this.transform.k;
    const width = this.tiles.width;
    const height = this.tiles.height;
    const scale = Math.min(
                      (0.8 * width) / Math.max(right - left, 1e-9), (0.7 * height) / Math.max(bottom - top, 1e-9),
                      fit * this.zoom.scaleExtent()[1]) /
        fit;
    // Where the plan begins at scale 1, and from there on to the middle of the screen.
    const origin = {
      x: (x - this.transform.x * this.ratio) / this.transform.k,
      y: (y - this.transform.y * this.ratio) / this.transform.k
    };
    const moveX = (width / 2 - (((left + right) / 2) * fit + origin.x) * scale) / this.ratio;
    const moveY = (height * 0.46 - (((top + bottom) / 2) * fit + origin.y) * scale) / this.ratio;
    this.setTransform(d3.zoomIdentity.translate(moveX, moveY).scale(scale));
  }

  /** Moves so that a tile is in sight. @param {number} tile */
  reveal(tile) {
    if (!this.plan || tile < 0) return;
    const {k, x, y} = this.getScreen();
    const centre = this.plan.getCentre(tile);
    const at = {x: centre.x * k + x, y: centre.y * k + y};
    const margin = 30 * this.ratio;
    if (at.x > margin && at.y > margin && at.x < this.tiles.width - margin && at.y < this.tiles.height - margin) return;
    const ratio = this.ratio * this.transform.k;
    d3.select(this.overlay)
        .call(this.zoom.translateBy, (this.tiles.width / 2 - at.x) / ratio, (this.tiles.height / 2 - at.y) / ratio);
  }

  /** Paints with the next picture of the browser. */
  draw() {
    if (this.isAwaited || !this.plan) return;
    this.isAwaited = true;
    requestAnimationFrame(() => {
      this.isAwaited = false;
      this.paint();
    });
  }

  paint() {
    const {plan, tiles} = this;
    if (!plan) return;
    const context = /** @type {CanvasRenderingContext2D} */ (tiles.getContext('2d', {alpha: false}));
    this.image ??= context.createImageData(tiles.width, tiles.height);
    const screen = this.getScreen();
    paintTiles(this.image, plan, {...this.app.getLook(), colours: this.colours}, screen);
    context.putImageData(this.image, 0, 0);
    paintOverlay(this, screen);
    this.app.notePicture();
  }

  /** @param {MouseEvent} event */
  findTileAt(event) {
    if (!this.plan) return -1;
    const {k, x, y} = this.getScreen();
    const box = this.overlay.getBoundingClientRect();
    const ratio = this.ratio;
    return this.plan.findTileAt(((event.clientX - box.left) * ratio - x) / k, ((event.clientY - box.top) * ratio - y) / k);
  }

  /** @param {PointerEvent | null} event */
  hover(event) {
    const tile = event ? this.findTileAt(event) : -1;
    const tip = find('tip');
    tip.hidden = tile < 0;
    if (event && tile >= 0) {
      const plan = /** @type {HTMLElement} */ (find('plan'));
      const box = plan.getBoundingClientRect();
      if (tile !== this.hovered) tip.replaceChildren(...this.app.describeTile(tile));
      tip.style.left = `${Math.min(event.clientX - box.left + 14, box.width - tip.offsetWidth - 4)}px`;
      tip.style.top = `${Math.min(event.clientY - box.top + 14, box.height - tip.offsetHeight - 4)}px`;
    }
    if (tile === this.hovered) return;
    this.hovered = tile;
    this.draw();
  }

  /** @param {KeyboardEvent} event */
  pressKey(event) {
    const {plan} = this;
    if (!plan || event.ctrlKey || event.metaKey || event.altKey) return;
    const steps = /** @type {Record<string, [number, number]>} */ (
        {ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1]});
    const step = steps[event.key];
    if (step) {
      this.cursor = this.cursor < 0 ? Math.max(this.app.getSelectedTile(), 0) : plan.findNeighbour(this.cursor, step[0], step[1]);
      this.reveal(this.cursor);
      this.app.announce(this.app.tellTile(this.cursor));
      this.draw();
    } else if (event.key === 'Enter' && this.cursor >= 0)
      this.app.selectTile(this.cursor);
    else if (event.key === '+' || event.key === '=')
      this.zoomBy('in');
    else if (event.key === '-')
      this.zoomBy('out');
    else if (event.key === '0')
      this.zoomBy('all');
    else
      return;
    event.preventDefault();
  }
}
