// Keys that hold everywhere, and the page that lists all of them.

const KEY_HELP = [
  ['/', 'go to the search field'],
  ['Tab in the search field', 'complete the name and go a level down'],
  ['Escape', 'close what is open, or clear the selection'],
  ['Arrows, Enter', 'on the plan: from tile to tile, select; in a list: from row to row, choose'],
  ['+  −  0', 'zoom in, out, show all'],
  ['f', 'zoom to the selection and its edges'],
  ['m', 'colour by the next measure'],
  ['g', 'go to the other end of the chosen edge'],
  ['u', 'go up to the instance around'],
  ['1  2  3', 'device, selection, statistics'],
  ['d', 'dark or light'],
  ['?', 'this list'],
];

/** @param {App} app */
function listenToKeys(app) {
  const help = /** @type {HTMLDialogElement} */ (find('help'));
  help.append(
      make('h2', {id: 'help-title'}, 'Keys'),
      make('dl', {}, ...KEY_HELP.flatMap(([keys, text]) => [make('dt', {}, make('kbd', {}, keys)), make('dd', {}, text)])),
      make(
          'p', {},
          'The address of the page holds what is looked at: send it, and others see the same. Drop a device database (.kdb) onto the page to open it.'),
      make('button', {type: 'button', onclick: () => help.close()}, 'Close'));
  find('help-button').addEventListener('click', () => help.showModal());
  /** @type {Record<string, () => void>} */
  const actions = {
    '/': () => /** @type {HTMLInputElement} */ (find('search-input')).select(),
    '?': () => help.showModal(),
    Escape: () => app.clearSelection(),
    f: () => app.planView.zoomBy('marks'),
    m: () => app.takeNextMeasure(),
    g: () => document.getElementById('go')?.click(),
    u: () => app.goUp(),
    d: () => app.switchTheme(),
    1: () => app.showPanel('device'),
    2: () => app.showPanel('selection'),
    3: () => app.showPanel('statistics'),
  };
  document.addEventListener('keydown', (event) => {
    const target = /** @type {HTMLElement} */ (event.target);
    if (event.ctrlKey || event.metaKey || event.altKey || help.open || target.closest('input, select, textarea')) return;
    const action = actions[event.key];
    if (!action) return;
    event.preventDefault();
    action();
  });
}
