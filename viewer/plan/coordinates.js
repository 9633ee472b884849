// Reads coordinates from the names of instances: X_Y, x3y4, tile_3_4, R2C5 and the like.

/** @typedef {{x: number, y: number}} Coordinates */

/**
 * The coordinates that a name tells; null where it holds fewer than two numbers. Rows count from above, y from below.
 * @param {string} name
 * @returns {Coordinates | null}
 */
function readCoordinates(name) {
  const numbers = [...name.matchAll(/([A-Za-z]*)[^A-Za-z0-9]*(\d+)/g)].map(([, word, digits]) => ({
                                                                             word: word.toLowerCase(),
                                                                             value: Number(digits),
                                                                           }));
  if (numbers.length < 2) return null;
  const find = (/** @type {RegExp} */ words) => numbers.find((number) => words.test(number.word))?.value;
  const x = find(/^(x|c|cols?|columns?)$/);
  const y = find(/^y$/);
  const row = find(/^(r|rows?)$/);
  if (x !== undefined && y !== undefined) return {x, y};
  if (x !== undefined && row !== undefined) return {x, y: -row};
  return {x: numbers[0].value, y: numbers[1].value};
}

/**
 * The coordinates of instances that stand on a grid, each null where it stands beside it; null if too few do to call it
 * one. Columns and rows count from 0, from the upper left.
 * @param {string[]} names
 */
function findGrid(names) {
  const found = names.map(readCoordinates);
  const placed = found.filter((each) => each !== null);
  if (placed.length < 2 || placed.length * 2 < names.length) return null;
  const positions = new Set(placed.map(({x, y}) => `${x} ${y}`));
  if (positions.size < 2 || positions.size * 8 < placed.length) return null;
  const columns = makeAxis(placed.map(({x}) => x));
  const rows = makeAxis(placed.map(({y}) => -y));
  return {
    numColumns: columns.size,
    numRows: rows.size,
    cells: found.map((each) => each && {x: columns.find(each.x), y: rows.find(-each.y)}),
  };
}

/**
 * From a coordinate to its index: counted from the least one, or, where most numbers in between are unused, among those used.
 * @param {number[]} values
 */
function makeAxis(values) {
  const used = [...new Set(values)].sort((a, b) => a - b);
  const range = used[used.length - 1] - used[0] + 1;
  if (range <= used.length * 2 + 2) return {size: range, find: (/** @type {number} */ value) => value - used[0]};
  const indices = new Map(used.map((value, i) => [value, i]));
  return {size: used.length, find: (/** @type {number} */ value) => indices.get(value) ?? 0};
}
