// The search field: what is found while one types, chosen by arrows and Enter or by a click.

class SearchBox {
  /** @param {App} app */
  constructor(app) {
    this.app = app;
    this.input = /** @type {HTMLInputElement} */ (find('search-input'));
    this.list = find('search-list');
    /** @type {Found[]} */
    this.found = [];
    this.at = 0;
    this.run = 0;
    this.input.addEventListener('input', () => this.search());
    this.input.addEventListener('focus', () => this.search());
    this.input.addEventListener('blur', () => this.close());
    this.input.addEventListener('keydown', (event) => this.pressKey(event));
    this.list.addEventListener('mousedown', (event) => {
      event.preventDefault();  // the field keeps the focus
      const row = /** @type {HTMLElement} */ (event.target).closest('li');
      if (row?.dataset.index) this.choose(this.found[Number(row.dataset.index)]);
    });
  }

  async search() {
    const own = ++this.run;
    const device = this.app.device;
    if (!device) return;
    const begin = performance.now();
    const found = await runInSlices(device.finder.find(this.input.value.trim()), () => own === this.run);
    if (!found || own !== this.run || document.activeElement !== this.input) return;
    performance.measure('search', {start: begin});
    this.found = found;
    this.at = 0;
    this.show();
  }

  show() {
    const rows = this.found.map(
        (each, i) => make(
            'li', {id: `found-${i}`, role: 'option', 'data-index': i, 'aria-selected': String(i === this.at)},
            make('span.name', {}, each.name),
            make('span.kind', {}, each.kind === 'node' ? each.detail : `instance of ${each.detail}`)));
    if (rows.length === 0)
      rows.push(make('li.note', {role: 'option', 'aria-disabled': 'true'}, 'Nothing with nodes has such a name.'));
    if (this.found.length === MAX_FOUND)
      rows.push(make('li.note', {role: 'option', 'aria-disabled': 'true'}, `the first ${MAX_FOUND}: type more of the name`));
    this.list.replaceChildren(...rows);
    this.list.hidden = false;
    this.input.setAttribute('aria-expanded', 'true');
    this.mark();
  }

  mark() {
    this.list.querySelectorAll('[data-index]').forEach((row, i) => row.setAttribute('aria-selected', String(i === this.at)));
    const row = document.getElementById(`found-${this.at}`);
    row?.scrollIntoView({block: 'nearest'});
    this.input.setAttribute('aria-activedescendant', row ? row.id : '');
  }

  close() {
    ++this.run;
    this.list.hidden = true;
    this.input.setAttribute('aria-expanded', 'false');
    this.input.removeAttribute('aria-activedescendant');
  }

  /** @param {KeyboardEvent} event */
  pressKey(event) {
    const current = this.found[this.at];
    const isOpen = !this.list.hidden;
    if (event.key === 'ArrowDown' || event.key === 'ArrowUp') {
      this.at = Math.min(Math.max(this.at + (event.key === 'ArrowDown' ? 1 : -1), 0), Math.max(this.found.length - 1, 0));
      this.mark();
    } else if (event.key === 'Enter')
      this.choose(this.findExact() ?? (isOpen ? current : undefined));
    else if (
        event.key === 'Tab' && !event.shiftKey && isOpen && current && this.input.value !== '' &&
        this.input.value !== current.name)
      this.goInto(current);
    else if (event.key === 'Escape') {
      this.close();
      this.input.blur();
      find('overlay').focus();
    } else
      return;
    event.preventDefault();
    event.stopPropagation();
  }

  /** What is typed is the whole name of a node or an instance. */
  findExact() {
    const name = this.input.value.trim();
    const {graph, positions} = this.app.getDevice();
    if (name.includes(':')) return graph.findNodes(name).length ? {name, kind: 'node'} : undefined;
    return name !== '' && this.at === 0 && positions.findInstances(name.split('/')).length ? {name, kind: 'instance'} : undefined;
  }

  /** Completes the field, ready for the next level. @param {Found} found */
  goInto(found) {
    const {positions} = this.app.getDevice();
    const isOpen = found.kind === 'instance' &&
        positions.findInstances(found.name.split('/'))
            .some(({occurrence, instance}) => positions.getChildren(occurrence, instance).length !== 0);
    this.input.value = found.kind === 'node' ? found.name : `${found.name}${isOpen ? '/' : ':'}`;
    this.search();
  }

  /** @param {{name: string, kind: string} | undefined} found */
  choose(found) {
    if (!found) return;
    this.input.value = found.name;
    this.close();
    if (found.kind === 'node')
      this.app.selectNodeName(found.name);
    else
      this.app.selectPath(found.name);
    find('panel-body').focus();
  }
}
