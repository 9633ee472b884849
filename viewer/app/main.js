// Begins: takes device and facts out of the page, and whatever is dropped on it.

/** The bytes of text in base64. @param {string} text */
function decodeBase64(text) {
  const packed = atob(text.trim());
  const bytes = new Uint8Array(packed.length);
  for (let i = 0; i < packed.length; ++i) bytes[i] = packed.charCodeAt(i);
  return bytes;
}

/** @param {Uint8Array<ArrayBuffer>} bytes */
function decompress(bytes) {
  return new Response(new Blob([bytes]).stream().pipeThrough(new DecompressionStream('gzip'))).arrayBuffer();
}

/** @param {App} app @param {ArrayBuffer} buffer @param {string} name @param {Facts} facts */
function openDevice(app, buffer, name, facts) {
  try {
    app.open(buffer, name, facts);
  } catch (error) {
    // What is wrong with a file that passes for a database shows in many ways, and all of them are damage.
    const reason = error instanceof DatabaseError ? error.message : 'the file is damaged';
    if (!(error instanceof DatabaseError)) console.error(error);
    refuse(`${name}: ${reason}`);
  }
}

/** @param {string} line */
function refuse(line) {
  find('panel-body').replaceChildren(make('p.problem', {role: 'alert'}, line));
}

/** @param {App} app */
function listenToDrops(app) {
  const drop = find('drop');
  document.addEventListener('dragover', (event) => {
    event.preventDefault();
    drop.hidden = false;
  });
  document.addEventListener('dragleave', (event) => {
    if (!event.relatedTarget) drop.hidden = true;
  });
  document.addEventListener('drop', async (event) => {
    event.preventDefault();
    drop.hidden = true;
    const file = event.dataTransfer?.files[0];
    if (!file) return;
    app.state.update({node: '', kind: '', at: '', edge: '', zoom: '', level: '', bin: '', panel: 'device'});
    openDevice(app, await file.arrayBuffer(), file.name, {});
  });
}

const app = new App();

/** The app, for those who look into the page from outside. */
function getApp() {
  return app;
}

async function begin() {
  listenToDrops(app);
  const facts = /** @type {Facts} */ (JSON.parse(document.getElementById('facts')?.textContent || '{}'));
  const text = document.getElementById('database')?.textContent;
  if (!text) return refuse('The page has no device in it. Drop a device database (.kdb) onto it.');
  openDevice(app, await decompress(decodeBase64(text)), facts.name ?? 'device', facts);
}

begin();
