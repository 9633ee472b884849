// Reads messages of Cap'n Proto in place: lists of numbers and rows become typed arrays over the bytes of the file.

/** What a person is told when a file can't be read: one line. */
class DatabaseError extends Error {}

/**
 * A struct: where its data and its pointers begin, in bytes, and how long they are.
 * @typedef {{data: number, pointers: number, dataBytes: number, numPointers: number}} Struct
 */
/**
 * A list: where its elements begin, how many there are, and their size as pointers tell it (7: rows of words).
 * @typedef {{at: number, count: number, size: number, rowWords: number, rowPointers: number}} List
 */

class Message {
  /**
   * A message with its table of segments, from `begin`, a multiple of 8.
   * @param {ArrayBuffer} buffer
   * @param {number} begin
   * @param {number} end
   */
  constructor(buffer, begin, end) {
    this.buffer = buffer;
    this.view = new DataView(buffer);
    this.begin = begin;
    this.end = end;
    this.require(begin + 8 <= end);
    const numSegments = this.view.getUint32(begin, true) + 1;
    let at = begin + Math.ceil((numSegments + 1) / 2) * 8;
    /** @type {number[]} */
    this.segments = [];
    for (let i = 0; i < numSegments; ++i) {
      this.require(begin + 4 * i + 8 <= end);
      this.segments.push(at);
      at += this.view.getUint32(begin + 4 * i + 4, true) * 8;
    }
    this.require(at <= end);
  }

  /** @param {boolean} holds */
  require(holds) {
    if (!holds) throw new DatabaseError('the file is damaged: a pointer leads out of its section');
  }

  /** @returns {Struct} */
  getRoot() {
    return this.readStruct(this.segments[0]);
  }

  /**
   * Follows the pointer at `at`; null where there is none. `content` is where it leads, `low` and `high` describe that.
   * @param {number} at
   */
  follow(at) {
    this.require(at >= this.begin && at + 8 <= this.end);
    const low = this.view.getUint32(at, true);
    const high = this.view.getUint32(at + 4, true);
    if (low === 0 && high === 0) return null;
    if ((low & 3) !== 2) return {content: at + 8 + (low >> 2) * 8, low, high};
    this.require(high < this.segments.length);
    const pad = this.segments[high] + (low >>> 3) * 8;
    if ((low & 4) === 0) return this.followPad(pad);
    this.require(pad + 16 <= this.end);
    const segment = this.view.getUint32(pad + 4, true);
    this.require(segment < this.segments.length);
    const content = this.segments[segment] + (this.view.getUint32(pad, true) >>> 3) * 8;
    return {content, low: this.view.getUint32(pad + 8, true), high: this.view.getUint32(pad + 12, true)};
  }

  /**
   * The pointer that a far pointer leads to is no far pointer itself.
   * @param {number} at
   * @returns {{content: number, low: number, high: number} | null}
   */
  followPad(at) {
    this.require(at + 8 <= this.end && (this.view.getUint32(at, true) & 3) !== 2);
    return this.follow(at);
  }

  /**
   * @param {number} at
   * @returns {Struct}
   */
  readStruct(at) {
    const found = this.follow(at);
    if (!found) return {data: at, pointers: at, dataBytes: 0, numPointers: 0};
    this.require((found.low & 3) === 0);
    const dataBytes = (found.high & 0xffff) * 8;
    const numPointers = found.high >>> 16;
    this.require(found.content >= this.begin && found.content + dataBytes + numPointers * 8 <= this.end);
    return {data: found.content, pointers: found.content + dataBytes, dataBytes, numPointers};
  }

  /**
   * The list in a struct's pointer, empty where there is none.
   * @param {Struct} from
   * @param {number} index
   */
  getList(from, index) {
    return this.readList(index < from.numPointers ? from.pointers + index * 8 : -1);
  }

  /**
   * @param {number} at
   * @returns {List}
   */
  readList(at) {
    const found = at < 0 ? null : this.follow(at);
    if (!found) return {at: 0, count: 0, size: 0, rowWords: 0, rowPointers: 0};
    this.require((found.low & 3) === 1 && found.content >= this.begin);
    const size = found.high & 7;
    let count = found.high >>> 3;
    let rowWords = 0;
    let rowPointers = 0;
    let begin = found.content;
    let bytes = Math.ceil(count * [0, 0.125, 1, 2, 4, 8, 8, 8][size]);
    if (size === 7) {
      this.require(begin + 8 <= this.end);
      count = this.view.getUint32(begin, true) >>> 2;
      rowWords = this.view.getUint32(begin + 4, true) & 0xffff;
      rowPointers = this.view.getUint32(begin + 4, true) >>> 16;
      begin += 8;
      bytes = count * (rowWords + rowPointers) * 8;
    }
    this.require(begin + bytes <= this.end);
    return {at: begin, count, size, rowWords, rowPointers};
  }

  /**
   * The text of a pointer, "" where there is none.
   * @param {Struct} from
   * @param {number} index
   */
  getText(from, index) {
    const list = this.getList(from, index);
    return new TextDecoder().decode(new Uint8Array(this.buffer, list.at, Math.max(list.count - 1, 0)));
  }

  /**
   * @param {Struct} from
   * @param {number} byte
   */
  getNumber(from, byte) {
    return byte + 4 <= from.dataBytes ? this.view.getUint32(from.data + byte, true) : 0;
  }

  /**
   * A number of 64 bits; all that are read so are below 2^53.
   * @param {Struct} from
   * @param {number} byte
   */
  getLong(from, byte) {
    return this.getNumber(from, byte) + this.getNumber(from, byte + 4) * 2 ** 32;
  }

  /**
   * The structs of a list.
   * @param {Struct} from
   * @param {number} index
   * @returns {Struct[]}
   */
  getStructs(from, index) {
    const list = this.getList(from, index);
    const dataBytes = list.rowWords * 8;
    return Array.from({length: list.count}, (_, i) => {
      const data = list.at + i * (list.rowWords + list.rowPointers) * 8;
      return {data, pointers: data + dataBytes, dataBytes, numPointers: list.rowPointers};
    });
  }

  /**
   * A table of the file: a list of chunks, each a list of bytes.
   * @param {Struct} from
   * @param {number} index
   * @returns {Uint8Array}
   */
  getBytes(from, index) {
    const chunks = this.getChunks(from, index, 1);
    return chunks.length === 1 ? new Uint8Array(this.buffer, chunks[0].at, chunks[0].count) : this.joinBytes(chunks);
  }

  /** @param {List[]} chunks */
  joinBytes(chunks) {
    const bytes = new Uint8Array(chunks.reduce((sum, chunk) => sum + chunk.count, 0));
    let at = 0;
    for (const chunk of chunks) {
      bytes.set(new Uint8Array(this.buffer, chunk.at, chunk.count), at);
      at += chunk.count;
    }
    return bytes;
  }

  /**
   * A table of rows of so many words of 32 bits, in place where it is one chunk.
   * @param {Struct} from
   * @param {number} index
   * @param {number} width
   * @returns {Uint32Array}
   */
  getRows(from, index, width) {
    const chunks = this.getChunks(from, index, width * 4);
    const view = (/** @type {List} */ chunk) => new Uint32Array(this.buffer, chunk.at, chunk.count * width);
    if (chunks.length === 1) return view(chunks[0]);
    const rows = new Uint32Array(chunks.reduce((sum, chunk) => sum + chunk.count * width, 0));
    let at = 0;
    for (const chunk of chunks) {
      rows.set(view(chunk), at);
      at += chunk.count * width;
    }
    return rows;
  }

  /**
   * @param {Struct} from
   * @param {number} index
   * @param {number} rowBytes
   */
  getChunks(from, index, rowBytes) {
    const outer = this.getList(from, index);
    const chunks = Array.from({length: outer.count}, (_, i) => this.readList(outer.at + i * 8));
    for (const chunk of chunks) {
      const bytes = chunk.size === 7 ? (chunk.rowWords + chunk.rowPointers) * 8 : [0, 0, 1, 2, 4, 8][chunk.size];
      if (bytes !== rowBytes) throw new DatabaseError('the file is damaged: a table has rows of another size');
    }
    return chunks;
  }
}
