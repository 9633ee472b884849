// Makes elements of the page.

/** @typedef {Node | string | null | false} Child */

/**
 * An element with attributes, "on..." handlers among them, and children.
 * @param {string} tag "tag.class"
 * @param {Record<string, any>} [attributes]
 * @param {...Child} children
 * @returns {HTMLElement}
 */
function make(tag, attributes = {}, ...children) {
  const [name, ...classes] = tag.split('.');
  const element = document.createElement(name);
  if (classes.length) element.className = classes.join(' ');
  for (const [key, value] of Object.entries(attributes)) {
    if (key.startsWith('on'))
      element.addEventListener(key.slice(2), value);
    else if (value !== false && value !== undefined)
      element.setAttribute(key, value === true ? '' : String(value));
  }
  for (const child of children)
    if (child) element.append(child);
  return element;
}

/** @param {HTMLElement} element @param {Child[]} children instead of those that it has */
function fill(element, children) {
  element.replaceChildren();
  for (const child of children)
    if (child) element.append(child);
}

/** The element of the page with that id. @param {string} id */
function find(id) {
  const element = document.getElementById(id);
  if (!element) throw new Error(`the page has no element ${id}`);
  return element;
}

/** @param {number} number */
function formatNumber(number) {
  if (Number.isInteger(number)) return number.toLocaleString('en');
  return number.toLocaleString('en', {maximumFractionDigits: Math.abs(number) < 10 ? 2 : 1});
}

/** "1 node", "2 nodes". @param {number} count @param {string} word */
function formatCount(count, word) {
  return `${formatNumber(count)} ${word}${count === 1 ? '' : 's'}`;
}

/** Rows of a name and a value. @param {[string, Child][]} rows */
function makeFacts(rows) {
  return make(
      'table.facts', {},
      make('tbody', {}, ...rows.map(([name, value]) => make('tr', {}, make('th', {scope: 'row'}, name), make('td', {}, value)))));
}
