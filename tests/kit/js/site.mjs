// Four machines that are one logger network, joined as docs/deployment.md tells. Machines 1 and 2 are at one switch, 3
// and 4 at another one; 1 and 3 have web servers.
import { execFileSync } from "node:child_process";
import { mkdtempSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import os from "node:os";
import path from "node:path";
import { Client } from "./client.mjs";
import { Machine } from "./machine.mjs";
import * as paths from "./paths.mjs";
import { sleep, until } from "./wait.mjs";

export const kPassword = "secret7";
const kSoon = 60_000; // ms; connections between servers that break without a word are given up after some 15 s
const guide = readFileSync(path.join(paths.sourceDir, "docs/deployment.md"), "utf8");
// Whether this process has a network of its own, where it may lay cables.
export const kOwnNetwork = process.env.LV_OWN_NETWORK === "yes";

// A block of the guide, with its names filled in.
export function block(kind, names) {
  const [, text] = new RegExp("```" + kind + "\\n([^]*?)```").exec(guide);
  return Object.entries({ PASSWORD: kPassword, ...names }).reduce((filled, [name, value]) => filled.replaceAll(name, value), text);
}

function makeCertificates(dir, addresses, more) {
  const [request, ...each] = block("sh", {}).split(/(?=^openssl req -newkey)/m);
  const run = (script) => execFileSync("sh", ["-e", "-c", script], { cwd: dir, stdio: "pipe" });
  run(request);
  const names = (address) => [address, ...more].map((name) => `IP:${name}`).join(",");
  for (const address of addresses) run(each.join("").replace("IP:ADDRESS", names(address)).replaceAll("ADDRESS", address));
}

export class Site {
  // jointOf: a function of a machine and all of them that answers with what joins its bus server with theirs. addresses:
  // further ones that each certificate is good for. prepare: called when the cables lie, before anything runs.
  static async start(jointOf, { addresses = [], prepare = async () => {} } = {}) {
    const site = new Site();
    site.dir = mkdtempSync(path.join(os.tmpdir(), "live-view-machines-"));
    execFileSync("chmod", ["755", site.dir]);
    writeFileSync(path.join(site.dir, "network.xml"), "<ksl><name>Site</name><enabled>true</enabled><active>true</active></ksl>\n");
    site.machines = [1, 2, 3, 4].map((number) => new Machine(site.dir, number, number < 3 ? 0 : 1));
    makeCertificates(
      site.dir,
      site.machines.map(({ address }) => address),
      addresses,
    );
    site.jointOf = (machine) => jointOf(machine, site.machines).replaceAll("/etc/liveview-bus", site.dir);
    try {
      await site.#startMachines(prepare);
    } catch (error) {
      await site.stop();
      throw error;
    }
    return site;
  }

  async #startMachines(prepare) {
    for (const machine of this.machines) await machine.connect();
    await prepare(this.machines);
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
export async function watching(machine, other) {
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

// The next value of what it has started.
export async function comesValue(client) {
  for (;;) {
    const value = await client.answerTo("generic_sig_value", kSoon);
    if (value.status === "OK") return value;
  }
}
