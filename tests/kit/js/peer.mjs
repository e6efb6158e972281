// A websocket client that can break every rule: it works on the bytes.

import assert from "node:assert/strict";
import crypto from "node:crypto";
import net from "node:net";
import tls from "node:tls";

import { kPatience, within } from "./wait.mjs";

export const TEXT = 1;
export const BINARY = 2;
export const CLOSE = 8;
export const PING = 9;
export const PONG = 10;
export const CONTINUATION = 0;

/** How many bytes a peer takes before somebody asks for them. */
const readAhead = 4 * 1024 * 1024;

const guid = "258EAFA5-E914-47DA-95CA-C5AB0DC85B11";

/** The bytes of a client's frame. `declare` claims another length, `form` forces 7, 16 or 64 bits. */
export function frame(opcode, payload = "", { fin = true, rsv = 0, mask = true, form = 0, declare = undefined } = {}) {
  const body = Buffer.from(payload);
  const size = declare ?? body.length;
  const bits = form || (size < 126 ? 7 : size < 65536 ? 16 : 64);
  const header = [
    Buffer.from([(fin ? 0x80 : 0) | (rsv << 4) | opcode, (mask ? 0x80 : 0) | (bits === 7 ? Number(size) : bits === 16 ? 126 : 127)]),
  ];
  if (bits === 16) {
    header.push(Buffer.alloc(2));
    header[1].writeUInt16BE(Number(size));
  } else if (bits === 64) {
    header.push(Buffer.alloc(8));
    header[1].writeBigUInt64BE(BigInt(size));
  }
  if (!mask) return Buffer.concat([...header, body]);
  const key = crypto.randomBytes(4);
  const masked = Buffer.from(body);
  for (let i = 0; i < masked.length; i++) masked[i] ^= key[i & 3];
  return Buffer.concat([...header, key, masked]);
}

export function closePayload(code, reason = "") {
  const payload = Buffer.alloc(2);
  payload.writeUInt16BE(code);
  return Buffer.concat([payload, Buffer.from(reason)]);
}

export class Peer {
  /** A bare connection, nothing sent yet; `from` is the address that it comes from. */
  static async dial(server, { from } = {}) {
    const peer = new Peer();
    peer.chunks = [];
    peer.size = 0;
    peer.waiters = [];
    peer.wanted = 0;
    const options = { port: server.port, host: "127.0.0.1", localAddress: from };
    peer.socket = server.tls ? tls.connect({ ...options, rejectUnauthorized: false }) : net.connect(options);
    peer.socket.setNoDelay(true);
    peer.socket.on("data", (chunk) => {
      peer.chunks.push(chunk);
      peer.size += chunk.length;
      if (peer.size > Math.max(readAhead, peer.wanted)) {
        peer.throttled = true;
        peer.socket.pause();
      }
      peer.#wake();
    });
    peer.socket.on("end", () => {
      peer.ended = true;
      peer.#wake();
    });
    peer.socket.on("close", () => {
      peer.ended = true;
      peer.#wake();
    });
    peer.socket.on("error", (error) => {
      peer.error = error;
      peer.ended = true;
      peer.#wake();
    });
    await new Promise((resolve, reject) => {
      peer.socket.once(server.tls ? "secureConnect" : "connect", resolve);
      peer.socket.once("error", reject);
    });
    peer.server = server;
    return peer;
  }

  /** Connects and shakes hands; the answer is in `status` and `headers`. */
  static async ask(server, path, options = {}) {
    const peer = await Peer.dial(server, options);
    peer.send(peer.request(path, options));
    await peer.answer();
    return peer;
  }

  /** The same, and the handshake has to succeed. */
  static async open(server, path, options = {}) {
    const peer = await Peer.ask(server, path, options);
    assert.equal(peer.status, 101, `handshake: ${peer.statusLine}`);
    const accept = crypto
      .createHash("sha1")
      .update(peer.key + guid)
      .digest("base64");
    assert.equal(peer.headers["sec-websocket-accept"], accept);
    return peer;
  }

  /** The text of a request; `headers` replace the usual ones, undefined leaves one out. */
  request(path, { method = "GET", version = "HTTP/1.1", headers = {}, extra = "" } = {}) {
    this.key = crypto.randomBytes(16).toString("base64");
    const all = {
      Host: `127.0.0.1:${this.server.port}`,
      Upgrade: "websocket",
      Connection: "Upgrade",
      "Sec-WebSocket-Key": this.key,
      "Sec-WebSocket-Version": "13",
      ...headers,
    };
    const lines = Object.entries(all)
      .filter(([, value]) => value !== undefined)
      .map(([name, value]) => `${name}: ${value}\r\n`);
    return `${method} ${path} ${version}\r\n${lines.join("")}${extra}\r\n`;
  }

  /** One line of HTTP, without its end; the rest when the connection ends before. */
  async answerLine() {
    let line = "";
    while (!line.endsWith("\r\n")) {
      const byte = await this.#take(1);
      if (byte === null) break;
      line += byte.toString("latin1");
    }
    return line.trimEnd();
  }

  async answer() {
    this.statusLine = await this.answerLine();
    this.headerLines = [];
    for (let line; (line = await this.answerLine()) !== ""; ) this.headerLines.push(line);
    this.status = Number(this.statusLine.split(" ")[1] ?? 0);
    this.headers = Object.fromEntries(
      this.headerLines.map((line) => {
        const colon = line.indexOf(":");
        return [line.slice(0, colon).toLowerCase(), line.slice(colon + 1).trim()];
      }),
    );
  }

  send(bytes) {
    if (!this.socket.destroyed) this.socket.write(bytes);
  }

  text(text) {
    this.send(frame(TEXT, text));
  }

  #wake() {
    for (const waiter of this.waiters.splice(0)) waiter();
  }

  async #take(count, limitMs = kPatience) {
    this.wanted = count;
    if (this.throttled && this.size < Math.max(readAhead, count)) {
      this.throttled = false;
      this.socket.resume();
    }
    if (this.size < count) await within(`${count} bytes of the server`, this.#enough(count), limitMs);
    return this.size < count ? null : this.#cut(count);
  }

  /** Waits until so many bytes are there, or none come any more. */
  async #enough(count) {
    while (this.size < count && !this.ended) await new Promise((resolve) => this.waiters.push(resolve));
  }

  /** The first bytes of what has come, without joining more chunks than they touch. */
  #cut(count) {
    const parts = [];
    let missing = count;
    while (missing > 0) {
      const chunk = this.chunks[0];
      if (chunk.length <= missing) {
        parts.push(chunk);
        missing -= chunk.length;
        this.chunks.shift();
      } else {
        parts.push(chunk.subarray(0, missing));
        this.chunks[0] = chunk.subarray(missing);
        missing = 0;
      }
    }
    this.size -= count;
    return parts.length === 1 ? parts[0] : Buffer.concat(parts);
  }

  /** The next frame, null at the end of the connection. Checks what every server's frame must keep. */
  async next(limitMs = kPatience) {
    const start = await this.#take(2, limitMs);
    if (start === null) return null;
    const opcode = start[0] & 15;
    assert.equal(start[0] & 0x70, 0, "reserved bits");
    assert.equal(start[1] & 0x80, 0, "a server masks nothing");
    assert.equal(start[0] & 0x80, 0x80, "this server does not fragment");
    let size = start[1] & 127;
    if (size === 126) {
      size = (await this.#take(2, limitMs)).readUInt16BE();
      assert.ok(size > 125, "shortest form of the length");
    } else if (size === 127) {
      size = Number((await this.#take(8, limitMs)).readBigUInt64BE());
      assert.ok(size > 65535, "shortest form of the length");
    }
    if (opcode >= 8) assert.ok(size <= 125);
    const payload = size === 0 ? Buffer.alloc(0) : await this.#take(size, limitMs);
    assert.notEqual(payload, null, "the connection ended inside a frame");
    return { opcode, payload };
  }

  async nextText(limitMs) {
    const got = await this.next(limitMs);
    assert.equal(got?.opcode, TEXT);
    return got.payload.toString();
  }

  async expectEcho(opcode, payload, bytes = frame(opcode, payload)) {
    this.send(bytes);
    const got = await this.next();
    assert.equal(got?.opcode, opcode);
    assert.ok(got.payload.equals(Buffer.from(payload)), "the echo differs");
  }

  /** The server has to close with this code, and then end the connection. */
  async expectClose(code, limitMs = kPatience) {
    const got = await this.next(limitMs);
    assert.ok(got, `connection ended without a close frame, ${code} was expected`);
    assert.equal(got.opcode, CLOSE);
    assert.equal(got.payload.length === 0 ? undefined : got.payload.readUInt16BE(), code);
    await this.expectEnd(limitMs);
    return got.payload.subarray(2).toString();
  }

  async expectEnd(limitMs = kPatience) {
    assert.equal(await this.next(limitMs), null, "something came after the close frame");
  }

  /** A closing handshake from this side. */
  async bye(code = 1000) {
    this.send(frame(CLOSE, closePayload(code)));
    await this.expectClose(code);
    this.socket.destroy();
  }

  hangUp() {
    this.socket.destroy();
  }
}
