// A whole set-up: bus server, desk loggers, Apache with the plug-in, and clients.
import { chmodSync, mkdtempSync, rmSync, writeFileSync } from "node:fs";
import os from "node:os";
import path from "node:path";
import { BusServer } from "./bus_server.mjs";
import { Client } from "./client.mjs";
import { DeskLogger } from "./desk_logger.mjs";
import { LiveViewApache } from "./live_view_apache.mjs";
import { freePort } from "./ports.mjs";
import { limit, sleep, until } from "./wait.mjs";

// Three loggers of three types that differ in everything; the first is the one that Apache runs on.
export const kLoggers = [
  {
    mac: "02:00:00:00:00:01",
    name: "Front",
    type: "Stratolog2",
    config: "Winter test",
    timezone: "Europe/Berlin",
    softwareVersion: "3.14.1",
    status: 4,
    timeOffset: 0,
  },
  {
    mac: "02:00:00:00:00:02",
    name: 'Rear \u00e4\u00f6 "axle"',
    type: "Stratolog Pocket",
    config: "Brakes",
    timezone: "America/New_York",
    softwareVersion: "2.0.7",
    status: 255,
    timeOffset: -1234567890123,
  },
  {
    mac: "02:00:00:00:00:03",
    name: "Roof",
    type: "Stratolog Bus Recorder",
    config: "All buses",
    timezone: "UTC",
    softwareVersion: "10.2",
    status: 3,
    timeOffset: 4503599627370497,
  },
];

function networkConfiguration(name) {
  const escaped = name.replaceAll("&", "&amp;").replaceAll("<", "&lt;");
  return `<?xml version="1.0" encoding="UTF-8"?>
<ksl><name>${escaped}</name><enabled>true</enabled><active>true</active></ksl>
`;
}

// How long a client tries to get what it needs to begin with (ms); a page never gives up.
const kReadyPatience = 60_000;
// The pauses between its attempts (ms): each is twice as long as the one before.
const kFirstPause = 50;
const kLongestPause = 2_000;
const longer = (pause) => Math.min(2 * pause, kLongestPause);

// Complete logger info for a client, as a page gets it: the wait for the loggers' answers ends with the first of
// three collections, so that a first answer may come before the other two are complete.
export async function completeInfo(client) {
  const over = limit(kReadyPatience);
  for (let pause = kFirstPause; ; pause = longer(pause)) {
    const info = await client.ask("get_logger_info");
    client.skipAll();
    if (info.status === "OK") return info;
    if (over()) throw new Error(`the logger info stays incomplete: ${JSON.stringify(info)}`);
    // Not at once: each request begins the collection anew.
    await sleep(pause);
  }
}

// All signals of the network: each logger's answer brings those of all that have answered by then.
export async function completeCatalogue(client, timeout) {
  let catalogue = await client.ask("get_signal_names", {}, timeout);
  while (catalogue.status !== "OK") catalogue = await client.answerTo("get_signal_names", timeout);
  return catalogue.Streams;
}

const kGoingAway = 1001;

export class Network {
  loggers = [];
  #clients = [];

  // options: `loggers`, descriptions as kLoggers, further members as in DeskLogger; `bus: false` leaves the
  // bus server away (its port is chosen all the same); `busText`, more of its configuration; `logins`, { loggers, web },
  // each "user:password", with which they come to it; `networkName`; `apache`, options of LiveViewApache.start.
  static async start({ loggers = kLoggers, bus = true, busText = "", logins = {}, networkName = "Test network", apache = {} } = {}) {
    const network = new Network();
    network.logins = logins;
    network.dir = mkdtempSync(path.join(os.tmpdir(), "live-view-e2e-"));
    chmodSync(network.dir, 0o755); // the web server's children are somebody else
    try {
      await network.#startParts(loggers, bus, busText, networkName, apache);
    } catch (error) {
      await network.#endAll().catch(() => {});
      throw error;
    }
    return network;
  }

  async #startParts(loggers, bus, busText, networkName, apache) {
    this.configFile = path.join(this.dir, "network.xml");
    writeFileSync(this.configFile, networkConfiguration(networkName));
    this.bus = bus ? await BusServer.start(this.dir, busText) : new BusServer(this.dir, await freePort());
    await Promise.all(loggers.map((description) => this.addLogger(description)));
    const localMac = loggers[0]?.mac ?? kLoggers[0].mac;
    this.apache = await LiveViewApache.start({
      ...apache,
      env: { ...this.environment(localMac, this.logins.web), ...apache.env },
    });
    if (bus && loggers.length > 0) await this.neighbours(loggers.length - 1);
  }

  // What every program on the logger with this MAC finds in its environment.
  environment(mac, login = this.logins.loggers) {
    const server = `127.0.0.1:${this.bus.port}`;
    return { KRPBUS_SERVER: login ? `nats://${login}@${server}` : server, KRPBUS_MAC: mac, KSL_CONFIG_FILE: this.configFile };
  }

  async addLogger(description) {
    const logger = new DeskLogger(this, description);
    this.loggers.push(logger);
    await logger.started();
    return logger;
  }

  // A connected client.
  async connect(options = {}) {
    const { url = this.apache.url, ...rest } = options;
    const client = new Client(url, { log: this.apache.log, ...rest });
    this.#clients.push(client);
    await client.opened();
    return client;
  }

  // A client that has complete logger info: whatever it sends next is not refused for the want of it. It comes
  // again when it is sent away before, as a page does: a web server that begins anew may still give it a process
  // of before, and whoever asks while the network changes is told the new one and sent away then.
  async connectReady(options = {}) {
    const over = limit(kReadyPatience);
    for (let pause = kFirstPause; ; pause = longer(pause)) {
      const client = await this.connect(options);
      try {
        client.info = await completeInfo(client);
        return client;
      } catch (error) {
        if (client.closeCode !== kGoingAway || !this.#sendsAway() || over()) throw error;
        await sleep(pause);
      }
    }
  }

  // Whether there has been a reason to send browsers away.
  #sendsAway() {
    return /KLV::handleMessages\(\) (ksl|config) message: |AH00171: Graceful restart requested/.test(this.apache.log.text);
  }

  // Waits until the local logger knows so many others and has told so: a browser that comes before is sent away.
  async neighbours(count) {
    const local = this.loggers.findLast(({ mac }) => mac === this.loggers[0].mac);
    const told = () => local.part.output.match(/(?<=sendNetworkNotice\(\) neighbours: ).*$/gm)?.at(-1) ?? "none";
    await until(
      () => `${count} neighbours, not ${told()}`,
      () => (told() === "none" ? 0 : told().split(", ").length) === count,
    );
  }

  // Lines of this kind in Apache's error log are no surprise from now on.
  expectInLog(...patterns) {
    this.apache.log.expect(...patterns);
  }

  // Complaints of this kind on a desk logger's output are no surprise, either.
  expectOfLoggers(...patterns) {
    for (const logger of this.loggers) logger.expected.push(...patterns);
  }

  // Ends everything, Apache first, and fails on what nobody expected.
  async stop() {
    try {
      await this.#endAll();
    } finally {
      rmSync(this.dir, { recursive: true, force: true });
    }
  }

  async #endAll() {
    const errors = [];
    const attempt = (promise) => promise?.catch((error) => errors.push(error));
    for (const client of this.#clients) client.terminate();
    await attempt(this.apache?.stop());
    for (const logger of this.loggers) await attempt(logger.stop());
    if (this.bus?.part) await attempt(this.bus.stop());
    if (errors.length === 1) throw errors[0];
    if (errors.length > 1) throw new AggregateError(errors, errors.map((error) => error.message).join("\n"));
  }
}
