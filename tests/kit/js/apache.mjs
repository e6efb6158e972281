// A real Apache httpd, with whatever configuration: its directory, its port, its log and its end.
import { chmodSync, mkdirSync, mkdtempSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import os from "node:os";
import path from "node:path";
import { Part } from "./part.mjs";
import * as paths from "./paths.mjs";
import { freePort, listens } from "./ports.mjs";
import { until } from "./wait.mjs";

// What the error log must not hold without a word from the test is looked at when it is stopped.
export class Apache {
  // configuration: a function of the server (its `dir`, `port`, `user`, `group`, `errorLog`) that answers with the
  // configuration's whole text; it is to keep the access log in `dir`/access.log, if it keeps one. Log: the kind of
  // its error log. env: more variables.
  static async start(configuration, { Log, env = {} }) {
    const apache = new this();
    apache.dir = mkdtempSync(path.join(os.tmpdir(), "live-view-httpd-"));
    chmodSync(apache.dir, 0o755); // its children are somebody else
    mkdirSync(path.join(apache.dir, "page"));
    apache.errorLog = path.join(apache.dir, "error.log");
    writeFileSync(apache.errorLog, "");
    apache.log = new Log(apache.errorLog);
    apache.port = await freePort();
    apache.configurationFile = path.join(apache.dir, "httpd.conf");
    writeFileSync(apache.configurationFile, await configuration(apache));
    try {
      await apache.#run(env);
    } catch (error) {
      await apache.part.killGroup();
      rmSync(apache.dir, { recursive: true });
      throw error;
    }
    return apache;
  }

  // Who its children are. Apache looks at it only when root starts it.
  user = process.getuid() === 0 ? "www-data" : `#${process.getuid()}`;
  group = process.getuid() === 0 ? "www-data" : `#${process.getgid()}`;

  async #run(env) {
    this.part = new Part("Apache", paths.apache, ["-f", this.configurationFile, "-DFOREGROUND"], {
      env: { ...paths.sanitizerPreload(), ...env },
    });
    await until(
      () => `Apache listens; it wrote: ${this.part.output}${this.log.text}`,
      async () => {
        if (!this.part.running) throw new Error(`Apache has ended: ${this.part.output}${this.log.text}`);
        return listens(this.port);
      },
    );
  }

  get accessLog() {
    return readFileSync(path.join(this.dir, "access.log"), "latin1");
  }

  // Ends it as Debian's service does, gracefully, and holds its log against what was expected. The hard way lets a
  // child that has only just been forked free its memory in the midst of an allocation, which is Apache's own matter.
  async stop() {
    try {
      await this.part.stop({ signal: "SIGWINCH", timeout: 60_000 });
      this.log.check();
    } finally {
      rmSync(this.dir, { recursive: true });
    }
  }
}
