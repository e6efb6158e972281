// What browsers cost that are connected and look at nothing, by thread: processor time and wake-ups, from Linux's own
// figures.
//
//   tests/kit/js/isolated node bench/idle_browsers.mjs [browsers] [seconds]
import { mkdtempSync, readdirSync, readFileSync, rmSync } from "node:fs";
import os from "node:os";
import path from "node:path";
import { Client } from "../tests/kit/js/client.mjs";
import { completeInfo } from "../tests/kit/js/network.mjs";
import { sleep } from "../tests/kit/js/wait.mjs";
import { startQuietNetwork } from "./quiet_network.mjs";

const [browsers = 100, seconds = 10] = process.argv.slice(2).map(Number);
const kAtOnce = 10;
const kSettled = 3000;

function childrenOf(pid) {
  const isChild = (id) => readFileSync(`/proc/${id}/stat`, "utf8").replace(/.*\) /s, "").split(" ")[1] === String(pid);
  return readdirSync("/proc").filter((id) => {
    try {
      return /^\d+$/.test(id) && isChild(id);
    } catch {
      return false; // it has ended
    }
  });
}

const statusOf = (task, name) => Number(readFileSync(`${task}/status`, "utf8").match(new RegExp(`^${name}:\\s*(\\d+)`, "m"))[1]);

// Some threads carry the number of their process.
function usageOf(parts) {
  const all = {};
  for (const [part, pids] of Object.entries(parts)) {
    for (const pid of pids) {
      for (const id of readdirSync(`/proc/${pid}/task`)) {
        const task = `/proc/${pid}/task/${id}`;
        const name = `${part} ${readFileSync(`${task}/comm`, "utf8").trim().replace(/_\d+$/, "")}`;
        const sum = (all[name] ??= { seconds: 0, wakeUps: 0 });
        sum.seconds += Number(readFileSync(`${task}/schedstat`, "utf8").split(" ")[0]) / 1e9;
        sum.wakeUps += statusOf(task, "voluntary_ctxt_switches");
      }
    }
  }
  return all;
}

const dir = mkdtempSync(path.join(os.tmpdir(), "live-view-idle-"));
try {
  const network = await startQuietNetwork(dir);
  const clients = [];
  while (clients.length < browsers) {
    const some = Array.from({ length: Math.min(kAtOnce, browsers - clients.length) }, async () => {
      const client = await Client.connect(network.apache.url);
      await completeInfo(client);
      return client;
    });
    clients.push(...(await Promise.all(some)));
  }
  await sleep(kSettled);
  const { pid } = network.apache.part;
  const parts = {
    apache: [pid],
    children: childrenOf(pid),
    nats: [network.bus.part.pid],
    loggers: network.loggers.map(({ part }) => part.pid),
  };
  const before = usageOf(parts);
  const began = performance.now();
  await sleep(1000 * seconds);
  const after = usageOf(parts);
  const passed = (performance.now() - began) / 1000;
  console.log(`${browsers} browsers that look at nothing, load of the machine ${os.loadavg()[0].toFixed(1)}:`);
  const rows = Object.entries(after).map(([name, { seconds, wakeUps }]) => {
    const had = before[name] ?? { seconds: 0, wakeUps: 0 };
    return { name, cores: (seconds - had.seconds) / passed, wakeUps: (wakeUps - had.wakeUps) / passed };
  });
  for (const { name, cores, wakeUps } of rows.sort((a, b) => b.cores - a.cores))
    if (wakeUps >= 0.5)
      console.log(`    ${name.padEnd(24)} ${cores.toFixed(4)} cores, ${wakeUps.toFixed(0).padStart(7)} wake-ups a second`);
  await Promise.all(clients.map((client) => client.close()));
  await network.stop();
} finally {
  rmSync(dir, { recursive: true, force: true });
}
