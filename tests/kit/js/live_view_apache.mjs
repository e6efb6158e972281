// Apache on the shipped configuration, with the live-view plug-in and its page.
import { execFileSync } from "node:child_process";
import { cpSync, mkdirSync, readFileSync, writeFileSync } from "node:fs";
import path from "node:path";
import { Apache } from "./apache.mjs";
import { makeCertificate } from "./certificate.mjs";
import * as paths from "./paths.mjs";
import { PluginLog } from "./plugin_log.mjs";
import { freePort } from "./ports.mjs";
import { fillTemplate } from "./template.mjs";

export class LiveViewApache extends Apache {
  // options: env; `tls`: the same page also on `tlsPort`, with a certificate of its own in the file
  // `certificate`; `names`: further names of the server; `access`: {tls, user, password}, who gets in at `port`, in the way of the
  // shipped files about that; `extra`: further configuration text; `change`: a function over
  // the finished configuration text.
  static async start({ env = {}, tls = false, names = "", access = {}, extra = "", change = (text) => text } = {}) {
    const configuration = async (apache) => {
      apache.#letIn(access);
      return change(apache.#configuration(names, env) + (tls ? await apache.#tlsHost() : "") + extra);
    };
    const apache = await super.start(configuration, { Log: PluginLog, env });
    // Sanitized children are slow to end.
    if (paths.sanitizers) apache.log.expect(/AH00045: child process \d+ still did not exit, sending a SIGTERM$/);
    return apache;
  }

  #secure = ""; // "s" where `port` has TLS

  get url() {
    return `ws${this.#secure}://127.0.0.1:${this.port}/live`;
  }

  get tlsUrl() {
    return `wss://127.0.0.1:${this.tlsPort}/live`;
  }

  get page() {
    return `http${this.#secure}://127.0.0.1:${this.port}/`;
  }

  #configuration(names, env) {
    // A copy: the children need not be able to read the directory that the project is in.
    cpSync(paths.webDir, path.join(this.dir, "page"), { recursive: true });
    const text = configurationOf(this, { plugin: paths.plugin, names, env });
    // Sanitized children are large, and few are enough for the tests.
    return paths.sanitizers ? text.replaceAll(/^(StartServers|MinSpareServers) .*$/gm, "$1 14") : text;
  }

  #letIn({ tls = false, user, password }) {
    const directory = path.join(this.dir, "access");
    mkdirSync(directory);
    const write = (name, values) => {
      const text = readFileSync(path.join(path.dirname(paths.apacheTemplate), `access/${name}.conf.in`), "utf8");
      writeFileSync(path.join(directory, `${name}.conf`), fillTemplate(text, { MODULE_DIR: paths.apacheModules, ...values }));
    };
    if (tls) {
      const { certificate, key } = makeCertificate(this.dir);
      this.certificate = certificate;
      write("tls", { CERTIFICATE: certificate, KEY: key });
      this.#secure = "s";
    }
    if (user !== undefined) {
      const users = path.join(this.dir, "users");
      writeFileSync(users, execFileSync("htpasswd", ["-niB", user], { input: password, stdio: ["pipe", "pipe", "ignore"] }));
      write("users", { USERS: users });
    }
  }

  async #tlsHost() {
    this.tlsPort = await freePort();
    const { certificate, key } = makeCertificate(this.dir);
    this.certificate = certificate;
    return `
LoadModule ssl_module "${paths.apacheModules}/mod_ssl.so"
LogLevel ssl:error
Listen 127.0.0.1:${this.tlsPort}
<VirtualHost 127.0.0.1:${this.tlsPort}>
    ServerName localhost
    ServerAlias 127.0.0.1
    SSLEngine on
    SSLCertificateFile "${certificate}"
    SSLCertificateKeyFile "${key}"
</VirtualHost>
`;
  }
}

// The shipped configuration for this server, with this plug-in.
export function configurationOf(apache, { plugin, names = "", env = {} }) {
  return fillTemplate(readFileSync(paths.apacheTemplate, "utf8"), {
    PORT: apache.port,
    SERVER_ROOT: apache.dir,
    MODULE_DIR: paths.apacheModules,
    MOD_WEBSOCKET: paths.webSocketModule,
    KRWEBSOCKET: plugin,
    DOCUMENT_ROOT: path.join(apache.dir, "page"),
    USER: apache.user,
    GROUP: apache.group,
    NAMES: names,
    BUS_PORT: /\d+$/.exec(env.KRPBUS_SERVER ?? "")?.[0] ?? 20010,
    NETWORK_DIR: path.dirname(env.KSL_CONFIG_FILE ?? "/nowhere/network.xml"),
    // In the order in which they were written, which is what most tests look at.
    ERROR_LOG: apache.errorLog,
    PLUGIN_LOG: apache.errorLog,
    ACCESS_DIR: path.join(apache.dir, "access"),
    ACCESS_LOG: path.join(apache.dir, "access.log"),
  });
}
