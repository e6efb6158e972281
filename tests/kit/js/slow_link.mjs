// A slow and lossy way to a TCP server, for kernels that cannot make one (`tc netem`): what is sent comes later, in
// either direction, and what is lost holds up all that follows it until it has been sent again, which is what TCP makes
// of lost packets.
import { once } from "node:events";
import net from "node:net";

export class SlowLink {
  #server;
  #sockets = new Set();
  // What has come through, and how often it was held up.
  bytes = 0;
  lost = 0;

  // listen, to: {host, port}. delay: milliseconds each way. loseEach: each so manieth piece is lost, none at 0; it comes
  // `again` milliseconds later.
  constructor({ listen, to, delay, loseEach = 0, again = 0 }) {
    Object.assign(this, { listen, to, delay, loseEach, again });
  }

  async start() {
    this.#server = net.createServer((socket) => this.#connect(socket));
    this.#server.listen(this.listen.port, this.listen.host);
    await once(this.#server, "listening");
    return this;
  }

  async stop() {
    for (const socket of this.#sockets) socket.destroy();
    this.#server.close();
    await once(this.#server, "close");
  }

  #connect(near) {
    const far = net.connect(this.to.port, this.to.host);
    this.#carry(near, far);
    this.#carry(far, near);
    for (const socket of [near, far]) {
      this.#sockets.add(socket);
      socket.setNoDelay(true);
      socket.on("error", () => {}); // "close" follows
      socket.on("close", () => {
        this.#sockets.delete(socket);
        near.destroy();
        far.destroy();
      });
    }
  }

  // What waits, each with the time when it is there, in order.
  #carry(from, to) {
    const waiting = [];
    let pieces = 0;
    const handOn = () => {
      while (waiting.length > 0 && waiting[0].due <= performance.now()) {
        const { data } = waiting.shift();
        this.bytes += data.length;
        if (!to.destroyed) to.write(data);
      }
      if (waiting.length > 0) setTimeout(handOn, Math.ceil(waiting[0].due - performance.now()));
    };
    from.on("data", (data) => {
      const isLost = this.loseEach > 0 && ++pieces % this.loseEach === 0;
      if (isLost) this.lost++;
      const arrival = performance.now() + this.delay + (isLost ? this.again : 0);
      waiting.push({ data, due: Math.max(arrival, waiting.at(-1)?.due ?? 0) });
      if (waiting.length === 1) handOn();
    });
  }
}
