// Long work in slices, so that the page answers all the while.

const SLICE_MS = 12;

/** Lets the browser do what waits. @returns {Promise<void>} */
function takeTurn() {
  return new Promise((resolve) => {
    const channel = new MessageChannel();
    channel.port1.onmessage = () => {
      channel.port1.close();
      resolve();
    };
    channel.port2.postMessage(null);
  });
}

/**
 * Runs a generator to its end, a slice at a time; undefined if it was given up on the way.
 * @template T
 * @param {Generator<unknown, T>} work
 * @param {() => boolean} [isWanted]
 * @returns {Promise<T | undefined>}
 */
async function runInSlices(work, isWanted = () => true) {
  for (;;) {
    const end = performance.now() + SLICE_MS;
    do {
      const step = work.next();
      if (step.done) return step.value;
    } while (performance.now() < end);
    await takeTurn();
    if (!isWanted()) return undefined;
  }
}
