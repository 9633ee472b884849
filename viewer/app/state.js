// What is looked at, kept in the address of the page: who opens the link sees the same.

/**
 * @typedef {object} View
 * @property {string} node name of the selected node, "" for none
 * @property {string} kind "hipi" where the twin is meant
 * @property {string} at path of the selected instance, "" for none
 * @property {string} edge "out.N" or "in.N": the N-th fanout or fanin of the node
 * @property {string} measure
 * @property {string} level of the tiles, "" for the best one
 * @property {string} panel "device", "selection" or "statistics"
 * @property {string} chart of the statistics
 * @property {string} bin the bar or row of it
 * @property {string} zoom "scale,x,y", "" for all
 */

/** @type {View} */
const FIRST_VIEW = {
  node: '',
  kind: '',
  at: '',
  edge: '',
  measure: 'nodes',
  level: '',
  panel: 'device',
  chart: 'fanout',
  bin: '',
  zoom: ''
};

/** @param {string} hash @returns {View} */
function readView(hash) {
  const view = {...FIRST_VIEW};
  const fields = new URLSearchParams(hash.replace(/^#/, ''));
  for (const name of /** @type {(keyof View)[]} */ (Object.keys(view))) view[name] = fields.get(name) ?? FIRST_VIEW[name];
  return view;
}

/** Only what isn't as at first, and names readable. @param {View} view */
function writeView(view) {
  return /** @type {(keyof View)[]} */ (Object.keys(view))
      .filter((name) => view[name] !== FIRST_VIEW[name])
      .map((name) => `${name}=${encodeURIComponent(view[name]).replace(/%2F/g, '/').replace(/%3A/g, ':').replace(/%2C/g, ',')}`)
      .join('&');
}

/** The view at hand. Whoever shows something of it listens. */
class State {
  constructor() {
    this.view = readView(location.hash);
    /** @type {((view: View, before: View) => void)[]} */
    this.listeners = [];
    addEventListener('hashchange', () => {
      if (location.hash.slice(1) !== writeView(this.view)) this.show(readView(location.hash));
    });
  }

  /** @param {(view: View, before: View) => void} listener */
  listen(listener) {
    this.listeners.push(listener);
  }

  /**
   * Changes some of it; a new selection is a step that "back" undoes, a new zoom is not.
   * @param {Partial<View>} changes
   * @param {boolean} [isStep]
   */
  update(changes, isStep = true) {
    const next = {...this.view, ...changes};
    const hash = writeView(next);
    if (hash === writeView(this.view)) return;
    const address = `${location.pathname}${location.search}#${hash}`;
    if (isStep)
      history.pushState(null, '', address);
    else
      history.replaceState(null, '', address);
    this.show(next);
  }

  /** @param {View} next */
  show(next) {
    const before = this.view;
    this.view = next;
    for (const listener of this.listeners) listener(next, before);
  }
}

/** A zoom as the address has it. @param {{k: number, x: number, y: number}} transform */
function writeZoom({k, x, y}) {
  return k === 1 && x === 0 && y === 0 ? '' : [k.toFixed(3), x.toFixed(1), y.toFixed(1)].join(',');
}
