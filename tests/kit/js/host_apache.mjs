// Apache with the websocket module and the module's test plug-ins, on as little configuration as it needs.
import { spawnSync } from "node:child_process";
import { mkdtempSync, rmSync, writeFileSync } from "node:fs";
import os from "node:os";
import path from "node:path";
import { Apache } from "./apache.mjs";
import { makeCertificate } from "./certificate.mjs";
import { ErrorLog } from "./error_log.mjs";
import * as paths from "./paths.mjs";

export const echoPlugin = path.join(paths.buildDir, "tests/kit/echo_plugin.so");
export const probePlugin = path.join(paths.buildDir, "tests/kit/probe_plugin.so");

// The configuration text of a location that a plug-in serves.
export const location = (address, plugin, init, extra = "") => `
<Location "${address}">
    SetHandler websocket-handler
    WebSocketHandler "${plugin}" ${init}
    ${extra}
</Location>
`;

export class HostApache extends Apache {
  // `config` is added to a small configuration; `tls` makes it speak TLS with a certificate of its own; `whole`, a
  // function of the server, answers with the whole configuration.
  static async start({ config = "", tls = false, mpm = "prefork", whole } = {}) {
    const configuration = (apache) => {
      apache.tls = tls;
      writeFileSync(path.join(apache.dir, "page/index.html"), "<!doctype html><title>t</title>ok\n");
      return whole ? whole(apache) : apache.#configuration(mpm) + config;
    };
    const apache = await super.start(configuration, { Log: ErrorLog });
    // What the test plug-in says at the end of each session.
    apache.log.expect(/probe: disconnected/, /probe: close frame of 2 bytes/);
    return apache;
  }

  #configuration(mpm) {
    const tls = this.tls ? this.#tlsConfiguration() : "";
    return `${baseConfiguration(this.dir, this.port, mpm)}
PidFile "${this.dir}/httpd.pid"
LogLevel warn
User ${this.user}
Group ${this.group}
${load("reqtimeout")}
${mpm === "prefork" ? "StartServers 24\nMinSpareServers 24\nMaxSpareServers 48" : ""}
${tls}
Timeout 30
KeepAlive On
RequestReadTimeout header=2 body=2
LogFormat "%>s %O %I %U" test
CustomLog "${this.dir}/access.log" test
DocumentRoot "${this.dir}/page"
`;
  }

  #tlsConfiguration() {
    const { certificate, key } = makeCertificate(this.dir);
    return `${load("socache_shmcb")}${load("ssl")}SSLEngine on
SSLSessionCache shmcb:${this.dir}/tls-sessions
SSLCertificateFile "${certificate}"
SSLCertificateKeyFile "${key}"`;
  }
}

const load = (name) => `LoadModule ${name}_module "${paths.apacheModules}/mod_${name}.so"\n`;

const baseConfiguration = (dir, port, mpm) => `ServerName localhost
Listen 127.0.0.1:${port}
ServerRoot "${dir}"
DefaultRuntimeDir "${dir}"
ErrorLog "${dir}/error.log"
${load(`mpm_${mpm}`)}${load("authz_core")}LoadModule websocket_module "${paths.webSocketModule}"
`;

// Has Apache check a configuration; answers with its exit code and what it says about it.
export function checkConfig(config, { mpm = "prefork" } = {}) {
  const dir = mkdtempSync(path.join(os.tmpdir(), "live-view-httpd-"));
  const file = path.join(dir, "httpd.conf");
  writeFileSync(file, baseConfiguration(dir, 1, mpm) + config);
  const check = spawnSync(paths.apache, ["-t", "-f", file], {
    env: { ...process.env, ...paths.sanitizerPreload() },
    encoding: "utf8",
  });
  rmSync(dir, { recursive: true });
  return { code: check.status, output: check.stdout + check.stderr };
}
