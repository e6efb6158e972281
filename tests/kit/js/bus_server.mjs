// A real message bus server.
import { readFileSync, writeFileSync } from "node:fs";
import path from "node:path";
import { Part } from "./part.mjs";
import * as paths from "./paths.mjs";
import { freePort, listens } from "./ports.mjs";
import { fillTemplate } from "./template.mjs";
import { until } from "./wait.mjs";

export class BusServer {
  // more: further text of its configuration.
  constructor(runtimeDir, port, more = "") {
    this.port = port;
    this.file = path.join(runtimeDir, `nats-${port}.conf`);
    // Without a password: the tests' own participants have none.
    const template = readFileSync(paths.natsTemplate, "utf8").replace("@AUTHORIZATION@\n", "");
    writeFileSync(this.file, fillTemplate(template, { BUS_PORT: port }) + more);
  }

  // On a port of its own.
  static async start(runtimeDir, more) {
    const server = new BusServer(runtimeDir, await freePort(), more);
    await server.start();
    return server;
  }

  // Also starts again one that was stopped, on the same port.
  async start() {
    this.part = new Part("nats-server", paths.natsServer, ["-c", this.file]);
    await until(
      () => `the bus server listens; it wrote: ${this.part.output}`,
      async () => {
        if (!this.part.running) throw new Error(`the bus server has ended: ${this.part.output}`);
        return listens(this.port);
      },
    );
  }

  // Stands still as long as the process is stopped, without closing a connection.
  pause() {
    this.part.signal("SIGSTOP");
  }

  resume() {
    this.part.signal("SIGCONT");
  }

  async stop() {
    await this.part.stop();
  }
}
