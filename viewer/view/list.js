// A list of any length: only the rows in sight are elements. One stop for Tab; arrows move in it, Enter chooses.

const ROW_HEIGHT = 24;
const MAX_ROWS = 1000000;  // more is higher than a browser can scroll

/**
 * @typedef {object} ListOptions
 * @property {string} label
 * @property {number} count
 * @property {(index: number) => Child[]} getRow
 * @property {(index: number) => void} choose
 * @property {number} [chosen]
 * @property {number} [maxRows] in sight
 * @property {string} [empty]
 */

let numLists = 0;

/** @param {ListOptions} options */
function makeList(options) {
  const list = new VirtualList(options);
  return list.element;
}

class VirtualList {
  /** @param {ListOptions} options */
  constructor(options) {
    this.options = options;
    this.count = Math.min(options.count, MAX_ROWS);
    this.chosen = options.chosen ?? -1;
    this.at = Math.max(this.chosen, 0);
    this.id = `list${++numLists}`;
    const height = Math.max(Math.min(this.count, options.maxRows ?? 10), 1) * ROW_HEIGHT + 2;
    this.body = make('div', {style: `height: ${this.count * ROW_HEIGHT}px; position: relative`, role: 'presentation'});
    this.element = make(
        'div.list', {
          role: 'listbox',
          tabindex: 0,
          'aria-label': `${options.label}, ${formatNumber(options.count)}`,
          style: `height: ${height}px`,
          onscroll: () => this.draw(),
          onkeydown: (/** @type {KeyboardEvent} */ event) => this.pressKey(event),
          onclick: (/** @type {MouseEvent} */ event) => this.click(event)
        },
        this.body);
    if (this.count === 0)
      this.body.append(make('div.row.soft', {}, options.empty ?? 'none'));
    else
      requestAnimationFrame(() => this.moveTo(this.at));
    this.draw();
  }

  draw() {
    if (this.count === 0) return;
    const height = this.element.clientHeight || (this.options.maxRows ?? 10) * ROW_HEIGHT;
    const first = Math.max(Math.floor(this.element.scrollTop / ROW_HEIGHT) - 4, 0);
    const end = Math.min(Math.ceil((this.element.scrollTop + height) / ROW_HEIGHT) + 4, this.count);
    this.body.replaceChildren(...Array.from({length: Math.max(end - first, 0)}, (_, i) => this.makeRow(first + i)));
    this.element.setAttribute('aria-activedescendant', `${this.id}-${this.at}`);
  }

  /** @param {number} index */
  makeRow(index) {
    return make(
        `div.row${index === this.at ? '.at' : ''}`, {
          id: `${this.id}-${index}`,
          role: 'option',
          'aria-selected': String(index === this.chosen),
          'aria-setsize': this.count,
          'aria-posinset': index + 1,
          'data-index': index,
          style: `top: ${index * ROW_HEIGHT}px`
        },
        ...this.options.getRow(index));
  }

  /** @param {number} index */
  moveTo(index) {
    if (this.count === 0) return;
    this.at = Math.min(Math.max(index, 0), this.count - 1);
    const top = this.at * ROW_HEIGHT;
    const height = this.element.clientHeight;
    if (top < this.element.scrollTop)
      this.element.scrollTop = top;
    else if (top + ROW_HEIGHT > this.element.scrollTop + height)
      this.element.scrollTop = top + ROW_HEIGHT - height;
    this.draw();
  }

  /** @param {number} index */
  choose(index) {
    this.chosen = this.at = index;
    this.draw();
    this.options.choose(index);
  }

  /** @param {MouseEvent} event */
  click(event) {
    const row = /** @type {HTMLElement} */ (event.target).closest('[data-index]');
    if (row) this.choose(Number(/** @type {HTMLElement} */ (row).dataset.index));
  }

  /** @param {KeyboardEvent} event */
  pressKey(event) {
    const page = Math.max(Math.floor(this.element.clientHeight / ROW_HEIGHT) - 1, 1);
    const steps = /** @type {Record<string, number>} */ (
        {ArrowDown: 1, ArrowUp: -1, PageDown: page, PageUp: -page, Home: -this.count, End: this.count});
    if (event.key in steps)
      this.moveTo(this.at + steps[event.key]);
    else if (event.key === 'Enter' && this.count !== 0)
      this.choose(this.at);
    else
      return;
    event.preventDefault();
  }
}

/**
 * A list of nodes with a field that filters them by name.
 * @param {App} app
 * @param {string} label
 * @param {{count: number, get: (index: number) => number}} nodes
 * @param {number} [maxRows]
 */
function makeNodeList(app, label, nodes, maxRows = 10) {
  const {graph} = app.getDevice();
  const show = (/** @type {{count: number, get: (index: number) => number}} */ shown) => makeList({
    label,
    count: shown.count,
    maxRows,
    getRow: (i) =>
        [make('span.name', {title: graph.getName(shown.get(i))}, graph.getName(shown.get(i))),
         make('span.kind', {}, describeDegree(graph, shown.get(i)))],
    choose: (i) => app.selectNode(shown.get(i))
  });
  const box = make('div', {}, show(nodes));
  if (nodes.count < 6) return box;
  let run = 0;
  const filter = async (/** @type {string} */ text) => {
    const own = ++run;
    const found = text === '' ? nodes : await runInSlices(filterNodes(graph, nodes, text), () => own === run);
    if (found && own === run)
      box.replaceChildren(
          show(found),
          ...('isCut' in found && found.isCut ? [make('p.soft', {}, `the first ${formatNumber(found.count)}`)] : []));
  };
  const field = make('input.filter', {
    type: 'search',
    placeholder: 'Filter by part of a name',
    'aria-label': `Filter ${label}`,
    oninput: (/** @type {Event} */ event) => filter(/** @type {HTMLInputElement} */ (event.target).value)
  });
  return make('div', {}, field, box);
}

/** "kind, fanins in, fanouts out". @param {Graph} graph @param {number} node */
function describeDegree(graph, node) {
  const shape = graph.getShape(node);
  const kind = graph.getKind(node);
  return `${kind === 'uip' ? '' : `${kind} `}${graph.getNumFanins(shape)}→${graph.getNumFanouts(shape)}`;
}

/** @param {Graph} graph @param {{count: number, get: (index: number) => number}} nodes @param {string} text */
function* filterNodes(graph, nodes, text) {
  const wanted = text.toLowerCase();
  /** @type {number[]} */
  const found = [];
  for (let i = 0; i < nodes.count && found.length < 1000; ++i) {
    if (graph.getName(nodes.get(i)).toLowerCase().includes(wanted)) found.push(nodes.get(i));
    if (i % 500 === 0) yield;
  }
  return {count: found.length, get: (/** @type {number} */ i) => found[i], isCut: found.length === 1000};
}
