// A real Apache of its own for a test file: on a free loopback port, in a directory of its own, with
// the websocket module and the test plug-ins. Its error log is part of what is tested.

import { spawn, execFileSync } from 'node:child_process';
import assert from 'node:assert/strict';
import fs from 'node:fs';
import net from 'node:net';
import os from 'node:os';
import path from 'node:path';
import { fileURLToPath } from 'node:url';

import { Part } from './part.mjs';

const sourceDir = path.resolve(path.dirname(fileURLToPath(import.meta.url)), '../../..');
const buildDir = process.env.LV_BUILD_DIR ?? path.join(sourceDir, 'build/release');

export const moduleFile = path.join(buildDir, 'host/mod_websocket.so');
export const echoPlugin = path.join(buildDir, 'tests/kit/echo_plugin.so');
export const probePlugin = path.join(buildDir, 'tests/kit/probe_plugin.so');
export const templateFile = path.join(sourceDir, 'host/apache/httpd.conf.in');
export const moduleDir = process.env.LV_APACHE_MODULES ?? '/usr/lib/apache2/modules';
const apacheProgram = process.env.LV_APACHE ?? 'apache2';

/** Whether the module runs under a sanitizer, which takes time and memory of its own. */
export const sanitized = process.env.LV_PRELOAD !== undefined;

/** Waits until `condition` answers something true, and answers that. */
export async function until(condition, what, limitMs = 10_000) {
  const end = Date.now() + limitMs;
  for (;;) {
    const value = await condition();
    if (value) return value;
    assert.ok(Date.now() < end, `gave up waiting for ${what}`);
    await new Promise((resolve) => setTimeout(resolve, 10));
  }
}

export function freePort() {
  return new Promise((resolve, reject) => {
    const probe = net.createServer();
    probe.on('error', reject);
    probe.listen(0, '127.0.0.1', () => {
      const { port } = probe.address();
      probe.close(() => resolve(port));
    });
  });
}

/** What Apache says at every start and stop. */
const usualLines = [/AH00163: /, /AH00094: /, /AH00169: /, /AH00170: /, // prefork
  /AH00292: /, /AH00295: /, /AH00296: /, // worker
  /AH00489: /, /AH00491: /, /AH00492: /]; // event

/** The configuration text of a location that a plug-in serves. */
export const location = (address, plugin, init, extra = '') => `
<Location "${address}">
    SetHandler websocket-handler
    WebSocketHandler "${plugin}" ${init}
    ${extra}
</Location>
`;

export class Apache {
  /**
   * Starts a server. `config` is appended to a small base configuration; `tls` makes it speak TLS with
   * a certificate of its own. With `whole` the text is the whole configuration, a function of the
   * directory and the port.
   */
  static async start({ config = '', tls = false, mpm = 'prefork', whole = null } = {}) {
    const server = new Apache();
    server.dir = fs.mkdtempSync(path.join(os.tmpdir(), 'lv-host-'));
    fs.chmodSync(server.dir, 0o755);
    fs.mkdirSync(path.join(server.dir, 'www'));
    fs.writeFileSync(path.join(server.dir, 'www/index.html'), '<!doctype html><title>t</title>ok\n');
    server.port = await freePort();
    server.tls = tls;
    server.errorLog = path.join(server.dir, 'error.log');
    server.configFile = path.join(server.dir, 'httpd.conf');
    server.expected = [];
    if (tls) server.#makeCertificate();
    fs.writeFileSync(server.configFile,
      whole ? whole(server.dir, server.port) : server.#baseConfig(mpm) + config);
    await server.#run();
    return server;
  }

  #makeCertificate() {
    execFileSync('openssl', ['req', '-x509', '-newkey', 'ec', '-pkeyopt',
      'ec_paramgen_curve:prime256v1', '-nodes', '-subj', '/CN=localhost', '-days', '2',
      '-addext', 'basicConstraints=critical,CA:FALSE',
      '-keyout', path.join(this.dir, 'key.pem'), '-out', path.join(this.dir, 'cert.pem')],
    { stdio: 'ignore' });
  }

  #baseConfig(mpm) {
    const load = (name) => `LoadModule ${name}_module "${moduleDir}/mod_${name}.so"\n`;
    return `ServerName localhost
Listen 127.0.0.1:${this.port}
ServerRoot "${this.dir}"
DefaultRuntimeDir "${this.dir}"
PidFile "${this.dir}/httpd.pid"
ErrorLog "${this.errorLog}"
LogLevel warn
User www-data
Group www-data
LoadModule mpm_${mpm}_module "${moduleDir}/mod_mpm_${mpm}.so"
${load('authz_core')}${load('reqtimeout')}${this.tls ? load('socache_shmcb') + load('ssl') : ''}
LoadModule websocket_module "${moduleFile}"
${mpm === 'prefork' ? 'StartServers 24\nMinSpareServers 24\nMaxSpareServers 48\n' : ''}
${this.tls ? `SSLEngine on
SSLSessionCache shmcb:${this.dir}/tls-sessions
SSLCertificateFile "${this.dir}/cert.pem"
SSLCertificateKeyFile "${this.dir}/key.pem"` : ''}
Timeout 30
KeepAlive On
RequestReadTimeout header=2 body=2
LogFormat "%>s %O %I %U" test
CustomLog "${this.dir}/access.log" test
DocumentRoot "${this.dir}/www"
`;
  }

  async #run() {
    const env = process.env.LV_PRELOAD ? { LD_PRELOAD: process.env.LV_PRELOAD } : {};
    this.part = new Part('Apache', apacheProgram, ['-f', this.configFile, '-DFOREGROUND'], { env });
    await until(async () => {
      assert.ok(this.part.running, `Apache did not start: ${this.part.output}${this.log()}`);
      return this.#answers();
    }, 'Apache to listen', 20_000);
  }

  get exited() { return this.part.exited(); }

  #answers() {
    return new Promise((resolve) => {
      const socket = net.connect(this.port, '127.0.0.1');
      socket.on('connect', () => { socket.destroy(); resolve(true); });
      socket.on('error', () => resolve(false));
    });
  }

  get pid() { return this.part.pid; }

  log() { return fs.existsSync(this.errorLog) ? fs.readFileSync(this.errorLog, 'latin1') : ''; }

  accessLog() { return fs.readFileSync(path.join(this.dir, 'access.log'), 'latin1'); }

  /** Waits for a line of the error log that a test provokes, which is thereby expected. */
  async expectLog(pattern, limitMs = 10_000) {
    this.allowLog(pattern);
    return until(() => this.log().match(pattern), `${pattern} in the error log`, limitMs);
  }

  /** A line that may or may not come. */
  allowLog(pattern) { this.expected.push(pattern); }

  /** How often a line has come. */
  countLog(pattern) { return this.log().split('\n').filter((line) => pattern.test(line)).length; }

  /** Ends the server and fails on any line of its error log that no test expected. */
  async stop() {
    // Gracefully, as Debian's service does it: the hard way lets a child that has only just been
    // forked free its memory in the midst of an allocation, which is Apache's own matter.
    await this.part.stop({ signal: 'SIGWINCH' });
    const surprises = this.log().split('\n').filter((line) => line !== '' &&
      ![...usualLines, ...this.expected].some((pattern) => pattern.test(line)));
    fs.rmSync(this.dir, { recursive: true, force: true });
    assert.deepEqual(surprises, [], 'unexpected lines in the error log of Apache');
  }
}

/** Has Apache check a configuration; answers what it says about it. */
export async function checkConfig(config) {
  const dir = fs.mkdtempSync(path.join(os.tmpdir(), 'lv-host-'));
  const file = path.join(dir, 'httpd.conf');
  fs.writeFileSync(file, `ServerName localhost
Listen 127.0.0.1:1
ServerRoot "${dir}"
DefaultRuntimeDir "${dir}"
ErrorLog "${dir}/error.log"
LoadModule mpm_prefork_module "${moduleDir}/mod_mpm_prefork.so"
LoadModule authz_core_module "${moduleDir}/mod_authz_core.so"
LoadModule websocket_module "${moduleFile}"
${config}
`);
  const env = { ...process.env };
  if (process.env.LV_PRELOAD) env.LD_PRELOAD = process.env.LV_PRELOAD;
  const check = spawn(apacheProgram, ['-t', '-f', file], { env });
  let output = '';
  check.stdout.on('data', (text) => { output += text; });
  check.stderr.on('data', (text) => { output += text; });
  const code = await new Promise((resolve) => check.on('close', resolve));
  fs.rmSync(dir, { recursive: true, force: true });
  return { code, output };
}
