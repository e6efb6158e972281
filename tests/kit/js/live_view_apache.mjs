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

// Sanitized children are slow to end.
const kOfSlowChildren = /AH00045: child process \d+ still did not exit, sending a SIGTERM$/;
// A login to the bus has two seconds, which a machine that is busy with something else may not have served it in.
const kOfSlowLogins = [
  /^\[ERROR\] KLV::BusConnection\(\) the bus server refuses: Timeout$/,
  /^\[ERROR\] KLV::setupKrpClient\(\) Connection to KRPBus server failed, retrying\.\.\.$/,
];

export class LiveViewApache extends Apache {
  // options: env; `tls`: the same page also on `tlsPort`, with a certificate of its own in the file
  // `certificate`; `names`: further names of the server; `access`: {tls, user, password}, who gets in at `port`, in the way of the
  // shipped files about that; `crowd`: as many idle children as shipped, where others have few; `extra`: further
  // configuration text; `change`: a function over the finished configuration text.
  static async start({ env = {}, tls = false, names = "", access = {}, crowd = false, extra = "", change = (text) => text } = {}) {
    const configuration = async (apache) => {
      apache.#letIn(access);
      const text = apache.#configuration(names, env);
      return change((crowd ? text : withFewChildren(text)) + (tls ? await apache.#tlsHost() : "") + extra);
    };
    const apache = await super.start(configuration, { Log: PluginLog, env });
    apache.log.expect(...kOfSlowLogins);
    if (paths.sanitizers) apache.log.expect(kOfSlowChildren);
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
    return configurationOf(this, { plugin: paths.plugin, names, env });
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

// A configuration for a few browsers: hundreds of children that begin or end at once take the processors away from all
// other tests for seconds. Sanitized ones are large, too.
export function withFewChildren(text) {
  const idle = paths.sanitizers ? 14 : 24;
  return text
    .replaceAll(/^(StartServers|MinSpareServers) .*$/gm, `$1 ${idle}`)
    .replace(/^MaxSpareServers .*$/m, `MaxSpareServers ${2 * idle}`);
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
