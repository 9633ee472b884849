// Light and dark: as the system has it, unless a person switches.

class Theme {
  /** @param {() => void} changed */
  constructor(changed) {
    this.changed = changed;
    const system = matchMedia('(prefers-color-scheme: dark)');
    this.isDark = system.matches;
    this.look = this.apply();
    system.addEventListener('change', () => this.set(system.matches));
  }

  switch() {
    this.set(!this.isDark);
  }
  /** @param {boolean} isDark */
  set(isDark) {
    this.isDark = isDark;
    this.look = this.apply();
    this.changed();
  }

  /** The scale is read by its lightness alone; the least value is nearest to the ground. */
  apply() {
    document.documentElement.dataset.theme = this.isDark ? 'dark' : 'light';
    const button = find('theme');
    button.textContent = this.isDark ? '☀' : '☾';
    button.title = this.isDark ? 'Light' : 'Dark';
    const scale = (/** @type {number} */ share) => d3.interpolateViridis(this.isDark ? 0.12 + share * 0.88 : 0.97 - share * 0.97);
    const css = d3.range(NUM_COLOURS).map((i) => scale(i / (NUM_COLOURS - 1)));
    const zero = this.isDark ? '#2b313a' : '#c9cfd8';
    return {
      css,
      palette: makePalette(scale),
      zero: makePixel(zero),
      background: makePixel(this.isDark ? '#0e1116' : '#e9ecf1'),
      /** What is read on each colour, that of 0 first. */
      inks: [zero, ...css].map((colour) => (d3.lab(d3.rgb(colour)).l > 55 ? '#10151c' : '#f4f7fb')),
    };
  }
}
