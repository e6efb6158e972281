// A bare program on the message bus that sees what is published.
import { connect } from "node:net";
import { until } from "./wait.mjs";

export class BusWatch {
  // Publications so far: subject, payload as a Buffer.
  seen = [];
  #rest = Buffer.alloc(0);
  #ready = false;

  // Sees what is published to the subject, wildcards allowed, from now on.
  static async start(port, subject) {
    const watch = new BusWatch();
    watch.socket = connect(port, "127.0.0.1");
    watch.socket.on("error", () => {}); // the server ends before the watch does
    watch.socket.on("data", (bytes) => watch.#take(bytes));
    watch.socket.write(`CONNECT {"verbose":false,"headers":true}\r\nSUB ${subject} 1\r\nPING\r\n`);
    await until(
      () => "the bus server to know the watch",
      () => watch.#ready,
    );
    return watch;
  }

  stop() {
    this.socket.destroy();
  }

  #take(bytes) {
    this.#rest = Buffer.concat([this.#rest, bytes]);
    while (this.#takeOne());
  }

  // Whether something complete was there.
  #takeOne() {
    const end = this.#rest.indexOf("\r\n");
    if (end < 0) return false;
    const words = this.#rest.toString("latin1", 0, end).split(" ");
    let size = end + 2;
    if (words[0] === "MSG" || words[0] === "HMSG") {
      const total = Number(words.at(-1));
      if (this.#rest.length < size + total + 2) return false;
      const header = words[0] === "HMSG" ? Number(words.at(-2)) : 0;
      this.seen.push({ subject: words[1], payload: this.#rest.subarray(size + header, size + total) });
      size += total + 2;
    } else if (words[0] === "PING") {
      this.socket.write("PONG\r\n");
    } else if (words[0] === "PONG") {
      this.#ready = true;
    }
    this.#rest = this.#rest.subarray(size);
    return true;
  }
}
