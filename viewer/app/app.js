// The page as a whole: from the view in the address to the plan and the panel, and back.

/** @typedef {{from: number, to: number, isReal: boolean}} Line between tiles */
/**
 * What is drawn above the tiles.
 * @typedef {{tile: number, box: {x: number, y: number, width: number, height: number} | null, lines: Line[], walk: {x: number, y: number}[], examples: number[]}} Marks
 */
/**
 * What is selected.
 * @typedef {{kind: 'none'} | {kind: 'instance', occurrence: number, instance: number} | {kind: 'node', node: number}} Choice
 */

const PANELS = [['device', 'Device'], ['selection', 'Selection'], ['statistics', 'Statistics']];
const NO_MARKS = {
  tile: -1,
  box: null,
  lines: [],
  walk: [],
  examples: []
};

class App {
  constructor() {
    this.state = new State();
    /** @type {Device | null} */
    this.device = null;
    /** @type {Plan | null} */
    this.plan = null;
    /** @type {Marks} */
    this.marks = NO_MARKS;
    /** @type {ReturnType<typeof makeScale> | null} */
    this.scale = null;
    this.theme = new Theme(() => this.showAgain());
    this.planView = new PlanView(this);
    this.search = new SearchBox(this);
    this.makeControls();
    listenToKeys(this);
    this.state.listen((view, before) => this.show(view, before));
  }

  getDevice() {
    return /** @type {Device} */ (this.device);
  }
  getPlan() {
    return /** @type {Plan} */ (this.plan);
  }

  makeControls() {
    const measure = /** @type {HTMLSelectElement} */ (find('measure'));
    measure.append(...MEASURES.map(({id, name}) => make('option', {value: id}, name)));
    measure.addEventListener('change', () => this.state.update({measure: measure.value}));
    const level = /** @type {HTMLSelectElement} */ (find('level'));
    level.addEventListener('change', () => this.state.update({level: level.value, zoom: ''}));
    find('theme').addEventListener('click', () => this.switchTheme());
    const tabs = find('tabs');
    tabs.append(...PANELS.map(
        ([id, name]) => make(
            'button',
            {type: 'button', role: 'tab', id: `tab-${id}`, 'aria-controls': 'panel-body', onclick: () => this.showPanel(id)},
            name)));
    tabs.addEventListener('keydown', (event) => {
      const step = event.key === 'ArrowRight' ? 1 : event.key === 'ArrowLeft' ? -1 : 0;
      if (step === 0) return;
      const at = PANELS.findIndex(([id]) => id === this.state.view.panel);
      this.showPanel(PANELS[(at + step + PANELS.length) % PANELS.length][0]);
      find(`tab-${this.state.view.panel}`).focus();
    });
  }

  /**
   * Shows a device. Throws a DatabaseError where it is none.
   * @param {ArrayBuffer} buffer
   * @param {string} name
   * @param {Facts} facts
   */
  open(buffer, name, facts) {
    this.device = new Device(buffer, name, facts);
    this.plan = null;
    document.title = `${name} – kep-rg`;
    find('title').textContent = name;
    find('title').setAttribute('title', name);
    const levels = this.device.getLevels();
    const best = this.device.bestLevel;
    find('level').replaceChildren(...levels.map(
        ({level, tiles}) => make('option', {value: level === best ? '' : level}, `level ${level}: ${formatNumber(tiles)}`)));
    this.show(this.state.view, null);
  }

  /** @param {View} view @param {View | null} before null for a new device or new colours */
  show(view, before) {
    if (!this.device) return;
    const begin = performance.now();
    const isNewPlan = !this.plan || !before || view.level !== before.level;
    if (isNewPlan) this.showPlan(view);
    if (isNewPlan || view.zoom !== before?.zoom) this.showZoom(view);
    if (isNewPlan || view.measure !== before?.measure) this.showMeasure(view);
    const isSame = before && !isNewPlan && [
      'node', 'kind', 'at', 'edge', 'panel', 'chart', 'bin'
    ].every((name) => view[/** @type {keyof View} */ (name)] === before[/** @type {keyof View} */ (name)]);
    if (!isSame) this.showSelection(view, before);
    performance.measure('show', {start: begin});
  }

  showAgain() {
    if (this.device) this.show(this.state.view, null);
  }

  /** @param {View} view */
  showPlan(view) {
    const device = this.getDevice();
    const level = Number(view.level) || device.bestLevel;
    const plan = device.getPlan(level);
    /** @type {HTMLSelectElement} */ (find('level')).value = level === device.bestLevel ? '' : String(level);
    if (plan === this.plan) return;
    this.plan = plan;
    this.scale = null;
    this.planView.setPlan(plan);
  }

  /** @param {View} view */
  showZoom(view) {
    const [k, x, y] = view.zoom.split(',').map(Number);
    const transform =
        k > 0 && Number.isFinite(x) && Number.isFinite(y) ? d3.zoomIdentity.translate(x, y).scale(k) : d3.zoomIdentity;
    const {transform: now} = this.planView;
    if (writeZoom(now) !== writeZoom(transform)) this.planView.setTransform(transform);
  }
  keepZoom() {
    this.state.update({zoom: writeZoom(this.planView.transform)}, false);
  }

  /** @param {View} view */
  async showMeasure(view) {
    const plan = this.getPlan();
    const measure = MEASURES.find(({id}) => id === view.measure) ?? MEASURES[0];
    /** @type {HTMLSelectElement} */ (find('measure')).value = measure.id;
    showLegend(this, measure, null);
    const measures = this.getDevice().getMeasures(plan);
    await runInSlices(measures.addUp(), () => plan === this.plan);
    if (plan !== this.plan || this.state.view.measure !== view.measure) return;
    const values = measures.get(measure.id);
    this.values = values;
    this.scale = values && makeScale(values);
    showLegend(
        this, measure, this.scale, 'unknown: the checks were left out when the page was made, or the device was dropped onto it');
    this.planView.setColours(this.scale ? this.scale.colours : new Uint8Array(plan.count));
    performance.mark('coloured');
  }

  takeNextMeasure() {
    const at = MEASURES.findIndex(({id}) => id === this.state.view.measure);
    const next = MEASURES[(at + 1) % MEASURES.length];
    this.state.update({measure: next.id});
    this.announce(`Coloured by ${next.name}`);
  }

  /** @returns {Choice} */
  getSelection() {
    const {node, kind, at} = this.state.view;
    const {graph, positions} = this.getDevice();
    if (node !== '') {
      const nodes = graph.findNodes(node);
      const found = kind === 'hipi' ? nodes.find((each) => graph.getKind(each) === 'hipi') : nodes[0];
      return found === undefined ? {kind: 'none'} : {kind: 'node', node: found};
    }
    const [found] = at === '' ? [] : positions.findInstances(at.split('/'));
    return found ? {kind: 'instance', ...found} : {kind: 'none'};
  }

  /** @returns {{list: 'out' | 'in', index: number} | null} */
  getChosenEdge() {
    const found = /^(out|in)\.(\d+)$/.exec(this.state.view.edge);
    return found && {list: found[1] === 'out' ? 'out' : 'in', index: Number(found[2])};
  }

  /** @param {View} view @param {View | null} before */
  showSelection(view, before) {
    const selection = this.getSelection();
    this.marks = makeMarks(this, selection, this.getChosenEdge());
    for (const [id] of PANELS) {
      find(`tab-${id}`).setAttribute('aria-selected', String(id === view.panel));
      find(`tab-${id}`).tabIndex = id === view.panel ? 0 : -1;
    }
    const body = find('panel-body');
    body.setAttribute('aria-labelledby', `tab-${view.panel}`);
    const isSameThing =
        before && before.node === view.node && before.at === view.at && before.kind === view.kind && before.panel === view.panel;
    const top = isSameThing ? body.scrollTop : 0;
    const focused = isSameThing ? document.activeElement?.getAttribute('aria-label') : null;
    fill(body, this.makePanel(view, selection));
    body.scrollTop = top;
    if (focused) /** @type {HTMLElement | null} */
      (body.querySelector(`[aria-label="${CSS.escape(focused)}"]`))?.focus({preventScroll: true});
    if (this.marks.tile >= 0 && !isSameThing) this.planView.reveal(this.marks.tile);
    this.planView.draw();
  }

  /** @param {View} view @param {Choice} selection @returns {Child[]} */
  makePanel(view, selection) {
    if (view.panel === 'device') return makeDevicePanel(this);
    if (view.panel === 'statistics') return makeStatisticsPanel(this);
    if (selection.kind === 'node') return makeNodePanel(this, selection.node, this.getChosenEdge());
    if (selection.kind === 'instance') return makeInstancePanel(this, selection.occurrence, selection.instance);
    const asked = view.node || view.at;
    if (asked !== '') return [make('p.problem', {}, `There is no ${view.node ? 'node' : 'instance'} ${asked} in this device.`)];
    return [make('p.soft', {}, 'Click a tile, or search for a name.')];
  }

  /** @param {string} panel */
  showPanel(panel) {
    this.state.update({panel});
  }
  /** @param {number} tile */
  selectTile(tile) {
    this.planView.cursor = tile;
    this.selectPath(this.getPlan().getName(tile));
  }
  /** @param {number} occurrence @param {number} instance */
  selectInstance(occurrence, instance) {
    this.selectPath(this.getDevice().positions.getInstancePath(occurrence, instance));
  }
  /** @param {string} path */
  selectPath(path) {
    this.state.update({at: path, node: '', kind: '', edge: '', panel: 'selection'});
    this.announce(`Selected ${path}`);
  }
  /** @param {number} node */
  selectNode(node) {
    const {graph} = this.getDevice();
    const name = graph.getName(node);
    const isTwin = graph.getKind(node) === 'hipi';
    this.state.update({node: name, kind: isTwin ? 'hipi' : '', at: '', edge: '', panel: 'selection'});
    this.announce(`Selected node ${name}`);
  }
  /** @param {string} name */
  selectNodeName(name) {
    const [node] = this.getDevice().graph.findNodes(name);
    if (node !== undefined) this.selectNode(node);
  }
  /** @param {'out' | 'in'} list @param {number} index */
  selectEdge(list, index) {
    this.state.update({edge: `${list}.${index}`});
  }
  clearSelection() {
    this.state.update({node: '', kind: '', at: '', edge: '', bin: ''});
  }
  goUp() {
    const {node, at} = this.state.view;
    const path = node === '' ? at.split('/').slice(0, -1).join('/') : node.slice(0, node.lastIndexOf(':'));
    if (path === '')
      this.clearSelection();
    else
      this.selectPath(path);
  }
  getSelectedTile() {
    return this.marks.tile;
  }

  /** @param {number[]} tiles */
  showExamples(tiles) {
    this.marks = {...this.marks, examples: tiles};
    this.planView.draw();
  }

  /** @param {number} tile */
  tellTile(tile) {
    const measure = MEASURES.find(({id}) => id === this.state.view.measure) ?? MEASURES[0];
    const value = this.values ? `, ${formatNumber(this.values[tile])} ${measure.unit}` : '';
    const plan = this.getPlan();
    return `${plan.getName(tile)}, ${plan.graph.model.getModuleName(plan.getMaster(tile))}${value}`;
  }
  /** @param {number} tile @returns {HTMLElement[]} */
  describeTile(tile) {
    const [name, ...rest] = this.tellTile(tile).split(', ');
    return [make('div.name', {}, name), ...rest.map((line) => make('div', {}, line))];
  }

  /** @param {string} text */
  announce(text) {
    find('announce').textContent = text;
  }

  isDark() {
    return this.theme.isDark;
  }
  getLook() {
    return this.theme.look;
  }
  switchTheme() {
    this.theme.switch();
  }

  /** The first picture of a device is a mark for those who measure. */
  notePicture() {
    if (this.hasPicture) return;
    this.hasPicture = true;
    performance.mark('first picture');
  }
}
