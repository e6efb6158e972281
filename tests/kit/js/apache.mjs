// A real Apache on the shipped configuration template.
import { cpSync, mkdirSync, readFileSync, writeFileSync } from "node:fs";
import path from "node:path";
import { ErrorLog } from "./error_log.mjs";
import { Part } from "./part.mjs";
import * as paths from "./paths.mjs";
import { freePort, listens } from "./ports.mjs";
import { until } from "./wait.mjs";

// What the error log must not hold without a word from the test is looked at when it is stopped.
export class Apache {
  // options: env; `tls`, {certificate, key} files: then the same page also on `tlsPort`; `extra`: further
  // configuration text; `change`: a function over the finished configuration text.
  static async start(runtimeDir, { env = {}, tls, extra = "", change = (text) => text } = {}) {
    const apache = new Apache();
    apache.dir = path.join(runtimeDir, "httpd");
    mkdirSync(apache.dir, { recursive: true });
    apache.port = await freePort();
    apache.log = new ErrorLog(path.join(apache.dir, "error.log"));
    // A copy: the children need not be able to read the directory that the project is in.
    const page = path.join(apache.dir, "page");
    cpSync(paths.webDir, page, { recursive: true });
    let text = fill(readFileSync(paths.apacheTemplate, "utf8"), {
      PORT: apache.port,
      SERVER_ROOT: apache.dir,
      MODULE_DIR: paths.apacheModules,
      MOD_WEBSOCKET: paths.webSocketModule,
      KRWEBSOCKET: paths.plugin,
      DOCUMENT_ROOT: page,
      USER: process.getuid() === 0 ? "www-data" : `#${process.getuid()}`,
      GROUP: process.getuid() === 0 ? "www-data" : `#${process.getgid()}`,
      ERROR_LOG: path.join(apache.dir, "error.log"),
    });
    if (paths.sanitizers) {
      // Each child is large and slow to end then, and few are enough for the tests.
      text = text.replaceAll(/^(StartServers|MinSpareServers) .*$/gm, "$1 14");
      apache.log.expect(/AH00045: child process \d+ still did not exit, sending a SIGTERM$/);
    }
    if (tls) text += await apache.#tlsHost(tls);
    const file = path.join(apache.dir, "httpd.conf");
    writeFileSync(file, change(text + extra));
    writeFileSync(path.join(apache.dir, "error.log"), "");
    apache.part = new Part("Apache", paths.apache, ["-f", file, "-DFOREGROUND"], {
      env: { ...paths.sanitizerPreload(), ...env },
    });
    await until(
      () => `Apache listens; it wrote: ${apache.part.output}${apache.log.text}`,
      async () => {
        if (!apache.part.running) throw new Error(`Apache has ended: ${apache.part.output}${apache.log.text}`);
        return listens(apache.port);
      },
    );
    return apache;
  }

  get url() {
    return `ws://127.0.0.1:${this.port}/live`;
  }

  get page() {
    return `http://127.0.0.1:${this.port}/`;
  }

  async #tlsHost({ certificate, key }) {
    this.tlsPort = await freePort();
    this.tlsUrl = `wss://127.0.0.1:${this.tlsPort}/live`;
    return `
LoadModule ssl_module "${paths.apacheModules}/mod_ssl.so"
LogLevel ssl:error
Listen 127.0.0.1:${this.tlsPort}
<VirtualHost 127.0.0.1:${this.tlsPort}>
    ServerName localhost
    SSLEngine on
    SSLCertificateFile "${certificate}"
    SSLCertificateKeyFile "${key}"
</VirtualHost>
`;
  }

  // Ends it as Debian's service does, gracefully, and holds its log against what was expected. The hard way lets a
  // child that has only just been forked free its memory in the midst of an allocation, which is Apache's own matter.
  async stop() {
    await this.part.stop({ signal: "SIGWINCH" });
    this.checkLog();
  }

  checkLog() {
    const unexpected = this.log.unexpected();
    if (unexpected.length > 0) {
      throw new Error(`unexpected lines in Apache's error log:\n${unexpected.slice(0, 40).join("\n").slice(0, 8000)}`);
    }
  }
}

// `text` with each @NAME@ replaced.
export function fill(text, values) {
  return text.replaceAll(/^(?!#).*$/gm, (line) =>
    line.replaceAll(/@([A-Z_]+)@/g, (whole, name) => (name in values ? String(values[name]) : whole)),
  );
}
