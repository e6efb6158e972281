// A logger network on four machines, joined as docs/deployment.md tells.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { mkdtempSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import os from "node:os";
import path from "node:path";
import { after, before, describe, test } from "node:test";
import { Client } from "../../kit/js/client.mjs";
import { joinHalves, layCables, Machine } from "../../kit/js/machine.mjs";
import * as paths from "../../kit/js/paths.mjs";
import { sleep, until } from "../../kit/js/wait.mjs";

const kPassword = "secret7";
const kSoon = 60_000; // ms; connections between servers that break without a word are given up after some 15 s
const guide = readFileSync(path.join(paths.sourceDir, "docs/deployment.md"), "utf8");
const kOwnNetwork = process.env.LV_OWN_NETWORK === "yes";

// A block of the guide, with its names filled in.
function block(kind, names) {
  const [, text] = new RegExp("```" + kind + "\\n([^]*?)```").exec(guide);
  return Object.entries({ PASSWORD: kPassword, ...names }).reduce((filled, [name, value]) => filled.replaceAll(name, value), text);
}

function makeCertificates(dir, addresses) {
  const [request, ...each] = block("sh", {}).split(/(?=^openssl req -newkey)/m);
  const run = (script) => execFileSync("sh", ["-e", "-c", script], { cwd: dir, stdio: "pipe" });
  run(request);
  for (const address of addresses) run(each.join("").replaceAll("ADDRESS", address));
}

class Site {
  static async start(jointOf) {
    const site = new Site();
    site.dir = mkdtempSync(path.join(os.tmpdir(), "live-view-machines-"));
    execFileSync("chmod", ["755", site.dir]);
    writeFileSync(path.join(site.dir, "network.xml"), "<ksl><name>Site</name><enabled>true</enabled><active>true</active></ksl>\n");
    site.machines = [1, 2, 3, 4].map((number) => new Machine(site.dir, number, number < 3 ? 0 : 1));
    makeCertificates(
      site.dir,
      site.machines.map(({ address }) => address),
    );
    site.jointOf = (machine) => jointOf(machine, site.machines).replaceAll("/etc/liveview-bus", site.dir);
    try {
      await site.#startMachines();
    } catch (error) {
      await site.stop();
      throw error;
    }
    return site;
  }

  async #startMachines() {
    for (const machine of this.machines) await machine.connect();
    await Promise.all(this.machines.map((machine) => machine.startBus(this.jointOf(machine))));
    await Promise.all(this.machines.map((machine) => machine.startLogger()));
    await Promise.all([this.machines[0], this.machines[2]].map((machine) => machine.startWeb()));
  }

  // Which machines a browser sees at this one, looking anew until they are these.
  async seen(machine, numbers) {
    let names = [];
    const wanted = numbers.map((number) => this.machines[number - 1].mac);
    await until(
      () => `${machine.name} shows ${wanted}, not ${names}`,
      async () => {
        const client = new Client(machine.url);
        try {
          await client.opened();
          const info = await client.ask("get_logger_info", {}, 10_000);
          names = info.configs.map(({ mac }) => mac);
          if (info.status === "OK" && String(names) === String(wanted)) return true;
        } catch (error) {
          names = [error.message.slice(0, 200)];
        } finally {
          client.terminate();
        }
        await sleep(300);
        return false;
      },
      kSoon,
    );
  }

  async stop() {
    await Promise.all(this.machines.map((machine) => machine.stop()));
    rmSync(this.dir, { recursive: true });
  }
}

// A client with complete logger info that has started the first signal of a machine.
async function watching(machine, other) {
  const client = await Client.connect(machine.url);
  while ((await client.ask("get_logger_info")).status !== "OK") await sleep(500);
  client.send({ command: "get_signal_names" });
  let names = [];
  do names = await client.answerTo("get_signal_names");
  while (names.status !== "OK");
  const { signal_key: key } = names.Streams.find(({ signal_key: [, mac] }) => mac === other.mac);
  client.send({ command: "generic_start_sig", signal_key: key, interval: 100 });
  return client;
}

async function comesValue(client) {
  for (;;) if ((await client.answerTo("generic_sig_value", kSoon)).status === "OK") return;
}

describe("four machines", { skip: !kOwnNetwork && "needs a network of its own" }, () => {
  before(layCables);

  describe("whose bus servers are joined by routes", () => {
    let site, first, third;
    before(async () => {
      const others = (machine, all) => all.filter((other) => other !== machine);
      const route = ({ address }) => `"nats-route://network:${kPassword}@${address}:6222"`;
      site = await Site.start((machine, all) =>
        block("routes", { ADDRESS: machine.address, OTHERS: others(machine, all).map(route).join(", ") }),
      );
      [first, , third] = site.machines;
    });
    after(() => site?.stop());

    test("are one network at every web server, each logger under its interface's address", async () => {
      await site.seen(first, [1, 2, 3, 4]);
      await site.seen(third, [1, 2, 3, 4]);
    });

    test("lose the one whose cable is pulled, and have it back", async () => {
      site.machines[3].plug(false);
      await site.seen(first, [1, 2, 3]);
      site.machines[3].plug(true);
      await site.seen(first, [1, 2, 3, 4]);
    });

    test("go on as two networks when they are cut into halves, and become one again", async () => {
      joinHalves(false);
      await site.seen(first, [1, 2]);
      joinHalves(true);
      await site.seen(first, [1, 2, 3, 4]);
      await site.seen(third, [1, 2, 3, 4]);
    });

    test("go on with a signal when a bus server is replaced", async () => {
      const client = await watching(first, third);
      await comesValue(client);
      await third.replaceBus(site.jointOf(third));
      client.skipAll();
      await comesValue(client);
      client.terminate();
      await site.seen(first, [1, 2, 3, 4]);
    });
  });

  describe("whose bus servers are leaf nodes of one, with TLS and a password", () => {
    let site, first, third;
    before(async () => {
      site = await Site.start((machine, [hub]) => {
        const names = { ADDRESS: machine.address, HUB: hub.address };
        return block(machine === hub ? "hub" : "leaf", names);
      });
      [first, , third] = site.machines;
    });
    after(() => site?.stop());

    test("are one network at every web server", async () => {
      await site.seen(first, [1, 2, 3, 4]);
      await site.seen(third, [1, 2, 3, 4]);
    });

    test("lose the one whose cable is pulled, and have it back", async () => {
      site.machines[1].plug(false);
      await site.seen(third, [1, 3, 4]);
      site.machines[1].plug(true);
      await site.seen(third, [1, 2, 3, 4]);
    });
  });
});
