// The tables of a device database, as docs/file-format.md tells them.

/**
 * @typedef {object} Words
 * A list of words of which each distinct one is kept once; without numbers the words are the list.
 * @property {number} width bytes of a number
 * @property {Uint8Array} numbers
 * @property {Uint32Array} words two a word, the lower half first
 */
/** @typedef {ReturnType<typeof readDatabase>} Database */

const DATABASE_MARK = [0xcb, 0x4b, 0x44, 0x42, 0x0d, 0x0a, 0x1a, 0x0a];
const DATABASE_VERSION = 1;
const NONE = 0xffffffff;

/**
 * All tables, over the bytes of the file. Throws a DatabaseError with one line for people.
 * @param {ArrayBuffer} buffer
 */
function readDatabase(buffer) {
  const header = readHeader(buffer);
  /** @param {string} name */
  const section = (name) => {
    const found = header.sections.find((each) => each.name === name);
    if (!found) throw new DatabaseError(`the file is damaged: it has no section ${name}`);
    return new Message(buffer, found.begin, found.begin + found.bytes);
  };
  const database = {
    header,
    model: readModel(section('model')),
    occurrences: readPositions(section('positions')),
    description: readDescription(section('description')),
    graph: readGraph(section('graph')),
  };
  checkTables(database.model, database.occurrences);
  if (database.graph.firstNodes.length < 2 || database.graph.shapes.length === 0)
    throw new DatabaseError('there is no graph in it; "kep-rg build MODEL ROUTING -o DEVICE.kdb" makes one');
  return database;
}

/** @param {ArrayBuffer} buffer */
function readHeader(buffer) {
  const bytes = new Uint8Array(buffer, 0, Math.min(buffer.byteLength, 8));
  if (buffer.byteLength < 24 || DATABASE_MARK.some((byte, i) => bytes[i] !== byte))
    throw new DatabaseError("it is no device database: it doesn't begin with the mark of the format");
  const view = new DataView(buffer);
  const version = view.getUint32(8, true);
  if (version !== DATABASE_VERSION)
    throw new DatabaseError(`it has version ${version} of the format, and this page reads version ${DATABASE_VERSION}`);
  const message = new Message(buffer, 24, Math.min(24 + view.getUint32(12, true), buffer.byteLength));
  const root = message.getRoot();
  const sections = message.getStructs(root, 1).map((row) => ({
                                                     name: message.getText(row, 0),
                                                     begin: message.getLong(row, 0),
                                                     bytes: message.getLong(row, 8),
                                                   }));
  if (sections.some((each) => each.begin + each.bytes > buffer.byteLength)) throw new DatabaseError('the file is cut short');
  const counts = message.getStructs(root, 2).map((row) => [message.getText(row, 0), message.getLong(row, 0)]);
  const inputs = message.getStructs(root, 3).map((row) => ({role: message.getText(row, 0), name: message.getText(row, 1)}));
  return {
    madeBy: message.getText(root, 0),
    sections,
    /** @type {Record<string, number>} */
    counts: Object.fromEntries(counts),
    inputs,
    numBytes: buffer.byteLength,
  };
}

/**
 * That no walk up or down the hierarchy goes round in circles. The tool tests far more when it opens a file.
 * @param {ReturnType<typeof readModel>} model
 * @param {Uint32Array} occurrences
 */
function checkTables(model, occurrences) {
  const numModules = model.modules.length / 8;
  let isSound = model.top < numModules && occurrences.length >= 12;
  for (let i = 0; i < model.instances.length; i += 4) isSound &&= model.instances[i + 1] < numModules;
  for (let i = 1; i < occurrences.length / 6; ++i) isSound &&= occurrences[i * 6 + 2] < i && occurrences[i * 6 + 5] < numModules;
  if (!isSound) throw new DatabaseError('the file is damaged: a module or an occurrence is not there');
}

/** @param {Message} message */
function readModel(message) {
  const root = message.getRoot();
  return {
    top: message.getNumber(root, 0),
    names: message.getBytes(root, 0),
    modules: message.getRows(root, 1, 8),
    ports: message.getRows(root, 2, 6),
    instances: message.getRows(root, 3, 4),
    netNames: message.getRows(root, 4, 1),
    instPortNets: message.getRows(root, 5, 1),
  };
}

/** @param {Message} message */
function readPositions(message) {
  return message.getRows(message.getRoot(), 0, 6);
}

/** @param {Message} message */
function readDescription(message) {
  const root = message.getRoot();
  return {
    pattern: message.getNumber(root, 4),
    names: message.getBytes(root, 0),
    routingRoots: message.getRows(root, 1, 1),
    muxes: message.getRows(root, 2, 2),
    skipExceptions: message.getRows(root, 3, 4),
    arcs: message.getRows(root, 4, 4),
    flyovers: message.getRows(root, 5, 2),
    portMarks: message.getBytes(root, 6),
    tunnels: message.getBytes(root, 7),
    spareRows: message.getRows(root, 11, 4),
  };
}

/** @param {Message} message */
function readGraph(message) {
  const root = message.getRoot();
  return {
    placedOccurrences: message.getRows(root, 0, 4),
    places: message.getRows(root, 1, 1),
    occurrences: message.getRows(root, 2, 1),
    firstNodes: message.getRows(root, 3, 1),
    lacking: message.getRows(root, 5, 4),
    firstRanks: message.getRows(root, 6, 1),
    ranks: message.getRows(root, 7, 1),
    firstKeys: message.getRows(root, 8, 1),
    keys: message.getRows(root, 9, 1),
    pages: message.getRows(root, 10, 1),
    widthOfShapes: message.getNumber(root, 0) & 0xff,
    shapesOfNodes: message.getBytes(root, 11),
    shapes: message.getRows(root, 12, 4),
    fanouts: message.getRows(root, 13, 2),
    muxInputs: readWords(message, message.readStruct(root.pointers + 14 * 8)),
    fanins: readWords(message, message.readStruct(root.pointers + 15 * 8)),
    numTemplates: message.getLong(root, 8),
    numEdges: message.getLong(root, 16),
    numRealEdges: message.getLong(root, 24),
  };
}

/**
 * @param {Message} message
 * @param {Struct} from
 * @returns {Words}
 */
function readWords(message, from) {
  return {
    width: message.getNumber(from, 0) & 0xff,
    numbers: message.getBytes(from, 0),
    words: message.getRows(from, 1, 2),
  };
}
