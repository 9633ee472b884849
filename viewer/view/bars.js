// A histogram as bars: one stop for Tab, arrows go from bar to bar, Enter chooses.

/** @typedef {{low: number, high: number, count: number}} Group bins from one value to another */

const MAX_BARS = 40;

/** Bins side by side, so that there are not more bars than are told apart. @param {Bin[]} bins @returns {Group[]} */
function groupBins(bins) {
  if (bins.length === 0) return [];
  const low = bins[0].value;
  const step = Math.max(Math.ceil((bins[bins.length - 1].value - low + 1) / MAX_BARS), 1);
  /** @type {Map<number, Group>} */
  const groups = new Map();
  for (const {value, count} of bins) {
    const index = Math.floor((value - low) / step);
    const group = groups.get(index) ?? {low: low + index * step, high: low + (index + 1) * step - 1, count: 0};
    group.count += count;
    groups.set(index, group);
  }
  return [...groups.values()];
}

/** @param {Group} group */
function tellRange({low, high}) {
  return low === high ? formatNumber(low) : `${formatNumber(low)}–${formatNumber(high)}`;
}

/**
 * @param {Group[]} groups
 * @param {{label: string, what: string, unit: string, chosen: string, choose: (group: Group) => void}} options
 */
function makeBars(groups, options) {
  const width = 400;
  const height = 190;
  const low = groups[0]?.low ?? 0;
  const step = groups.length ? groups[0].high - low + 1 : 1;
  const numBars = groups.length ? Math.round((groups[groups.length - 1].high + 1 - low) / step) : 1;
  const most = d3.max(groups, ({count}) => count) ?? 1;
  const y = d3.scaleLog([0.7, most], [height - 34, 18]);
  const svg = d3.create('svg')
                  .attr('class', 'bars')
                  .attr('viewBox', `0 0 ${width} ${height}`)
                  .attr('role', 'group')
                  .attr('aria-label', options.label);
  const barWidth = (width - 44) / numBars;
  const x = (/** @type {number} */ value) => 42 + ((value - low) / step) * barWidth;
  drawAxes(svg, y, most, width, height, x, groups, options);
  const tell = (/** @type {Group} */ group) => `${tellRange(group)} ${options.unit}: ${formatCount(group.count, options.what)}`;
  const bars = svg.selectAll('g.b')
                   .data(groups)
                   .join('g')
                   .attr('role', 'button')
                   .attr('aria-pressed', ({low: a, high: b}) => String(`${a}-${b}` === options.chosen))
                   .attr('tabindex', (_, i) => (i === 0 ? 0 : -1))
                   .attr('aria-label', tell);
  bars.append('title').text(tell);
  const draw = (/** @type {string} */ name, /** @type {number} */ gap, /** @type {(group: Group) => number} */ top) =>
      bars.append('rect')
          .attr('class', name)
          .attr('x', (group) => x(group.low) + gap / 2)
          .attr('width', Math.max(barWidth - gap, 1))
          .attr('y', top)
          .attr('height', (group) => height - 34 - top(group));
  draw('hit', 0, () => 0);
  draw('bar', 1.5, ({count}) => y(count));
  listenToBars(/** @type {SVGGElement[]} */ (bars.nodes()), (i) => options.choose(groups[i]));
  return /** @type {SVGElement} */ (svg.node());
}

/** @param {SVGGElement[]} elements @param {(index: number) => void} choose */
function listenToBars(elements, choose) {
  const press = (/** @type {number} */ i) => {
    elements.forEach((element, k) => element.setAttribute('aria-pressed', String(k === i)));
    choose(i);
  };
  elements.forEach((element, i) => listenToBar(element, elements, i, () => press(i)));
}

/** @param {SVGGElement} element @param {SVGGElement[]} elements @param {number} i @param {() => void} choose */
function listenToBar(element, elements, i, choose) {
  element.addEventListener('click', choose);
  element.addEventListener('keydown', (event) => {
    const next = event.key === 'ArrowRight' ? i + 1 :
        event.key === 'ArrowLeft'           ? i - 1 :
        event.key === 'Home'                ? 0 :
        event.key === 'End'                 ? elements.length - 1 :
                                              -1;
    if (event.key === 'Enter' || event.key === ' ')
      choose();
    else if (next >= 0 && next < elements.length) {
      element.tabIndex = -1;
      elements[next].tabIndex = 0;
      elements[next].focus();
    } else
      return;
    event.preventDefault();
  });
}

/**
 * @param {any} svg
 * @param {d3.ScaleLogarithmic<number, number>} y
 * @param {number} most
 * @param {number} width
 * @param {number} height
 * @param {(value: number) => number} x
 * @param {Group[]} groups
 * @param {{what: string, unit: string}} options
 */
function drawAxes(svg, y, most, width, height, x, groups, {what, unit}) {
  for (let tick = 1; tick <= most; tick *= 10) {
    svg.append('line').attr('x1', 40).attr('x2', width).attr('y1', y(tick)).attr('y2', y(tick)).attr('stroke', 'var(--line)');
    svg.append('text').attr('x', 36).attr('y', y(tick) + 4).attr('text-anchor', 'end').text(d3.format('~s')(tick));
  }
  const every = Math.ceil(groups.length / 8);
  const last = groups.length - 1;
  groups.forEach((group, i) => {
    if (i % every !== 0 && i !== last) return;
    if (i !== last && last - i < every) return;
    svg.append('text')
        .attr('x', (x(group.low) + x(group.high + 1)) / 2)
        .attr('y', height - 20)
        .attr('text-anchor', 'middle')
        .text(d3.format('~s')(group.low));
  });
  svg.append('text').attr('x', 0).attr('y', 9).text(`${what}s`);
  svg.append('text').attr('x', width).attr('y', height - 4).attr('text-anchor', 'end').text(unit);
}
