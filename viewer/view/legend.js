// The legend of the plan: the scale with its ends, and what has no colour of the scale.

/**
 * @param {App} app
 * @param {typeof MEASURES[number]} measure
 * @param {ReturnType<typeof makeScale> | null} scale
 * @param {string} [reason] why nothing is shown
 */
function showLegend(app, measure, scale, reason) {
  const legend = find('legend');
  const heading = make('h2', {}, `${measure.name}: ${measure.unit}`);
  if (!scale) {
    legend.setAttribute('aria-label', `${measure.name}: ${reason ?? 'being counted'}`);
    legend.replaceChildren(heading, make('p', {}, reason ?? 'being counted'));
    return;
  }
  const width = 250;
  const ends = scale.high === 0 ? 'all 0' : `${formatNumber(scale.low)} to ${formatNumber(scale.high)}`;
  legend.setAttribute(
      'aria-label', `Colours tell ${measure.unit}: ${ends}, from ${app.isDark() ? 'dark to light' : 'light to dark'}`);
  legend.replaceChildren(heading);
  if (scale.high !== 0) legend.append(makeBar(app, scale, width));
  const zeros = scale.colours.reduce((count, colour) => count + (colour === 0 ? 1 : 0), 0);
  const notes =
      [zeros ? `grey: 0, ${formatCount(zeros, 'tile')}` : '', scale.isLog ? 'logarithmic' : ''].filter((note) => note !== '');
  if (notes.length) legend.append(make('p', {}, notes.join(' · ')));
}

/** @param {App} app @param {ReturnType<typeof makeScale>} scale @param {number} width */
function makeBar(app, scale, width) {
  const counts = new Float64Array(NUM_COLOURS);
  for (const colour of scale.colours)
    if (colour > 0) ++counts[colour - 1];
  const most = d3.max(counts) || 1;
  const svg = d3.create('svg').attr('width', width).attr('height', 62).attr('aria-hidden', 'true');
  const step = width / NUM_COLOURS;
  const {css} = app.getLook();
  svg.selectAll('rect.c')
      .data(css)
      .join('rect')
      .attr('x', (_, i) => i * step)
      .attr('y', 28)
      .attr('width', step + 0.5)
      .attr('height', 12)
      .attr('fill', (colour) => colour);
  svg.selectAll('rect.n')
      .data(counts)
      .join('rect')
      .attr('x', (_, i) => i * step)
      .attr('width', Math.max(step - 0.7, 1))
      .attr('y', (count) => 26 - barHeight(count, most))
      .attr('height', (count) => barHeight(count, most))
      .attr('fill', 'var(--soft)');
  const shares = scale.high === scale.low ? [0.5] : [0, 0.5, 1];
  svg.selectAll('text')
      .data(shares)
      .join('text')
      .attr('x', (share) => share * width)
      .attr('y', 54)
      .attr(
          'text-anchor',
          (share) =>
              (share === 0     ? 'start' :
                   share === 1 ? 'end' :
                                 'middle'))
      .text((share) => formatNumber(Number(scale.get(share).toPrecision(3))));
  return /** @type {SVGElement} */ (svg.node());
}

/** How many tiles have a colour, so that one is seen beside thousands. @param {number} count @param {number} most */
function barHeight(count, most) {
  return count === 0 ? 0 : 2 + (22 * Math.log1p(count)) / Math.log1p(most);
}
