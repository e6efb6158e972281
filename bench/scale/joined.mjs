// What bus servers take that are joined as leaf nodes of one, each with one logger, the network being at rest: the
// heartbeats of all loggers go through the one in the middle. Kept beside what bench/scale/scale.mjs measures.
//
//   tests/kit/js/isolated node bench/scale/joined.mjs loggers...
import { mkdtempSync, rmSync } from "node:fs";
import os from "node:os";
import path from "node:path";
import { BusServer } from "../../tests/kit/js/bus_server.mjs";
import { DeskLogger } from "../../tests/kit/js/desk_logger.mjs";
import { freePort } from "../../tests/kit/js/ports.mjs";
import { sleep } from "../../tests/kit/js/wait.mjs";
import { keep } from "./kept.mjs";
import { loggerOf } from "./point.mjs";
import { Watch } from "./watch.mjs";

const kSettle = 5000; // ms

async function measure(dir, count) {
  const [monitorPort, leafPort] = [await freePort(), await freePort()];
  const hub = await BusServer.start(dir, `http: "127.0.0.1:${monitorPort}"\nleafnodes { listen: "127.0.0.1:${leafPort}" }\n`);
  const joint = `leafnodes { remotes: [ { url: "nats-leaf://127.0.0.1:${leafPort}" } ] }\n`;
  const leaves = [];
  const loggers = [];
  try {
    for (let i = 0; i < count; i++) leaves.push(await BusServer.start(dir, joint));
    for (const [i, leaf] of leaves.entries()) {
      const environment = (mac) => ({ KRPBUS_SERVER: `127.0.0.1:${leaf.port}`, KRPBUS_MAC: mac });
      loggers.push(new DeskLogger({ dir, environment }, loggerOf(i, "drive")));
    }
    await Promise.all(loggers.map((logger) => logger.started()));
    await sleep(kSettle);
    const pids = (parts) => parts.map(({ part }) => part.pid);
    const watch = new Watch(monitorPort, () => ({ hub: pids([hub]), leaves: pids(leaves), loggers: pids(loggers) }));
    if (!(await watch.settled(2.5 * count + 5))) console.log("the network does not come to rest");
    return { count, ...(await watch.window()), memory: watch.memory() };
  } finally {
    for (const part of [...loggers, ...leaves, hub]) await part.stop();
  }
}

for (const count of process.argv.slice(2).map(Number)) {
  const dir = mkdtempSync(path.join(os.tmpdir(), "live-view-joined-"));
  try {
    const figures = await measure(dir, count);
    keep("joined", "count", figures);
    const micro = (cores) => ((1e6 * cores) / figures.messagesOut).toFixed(2);
    console.log(
      `${count} joined loggers: ${figures.messagesOut.toFixed(0)} messages/s leave the middle; for each the middle takes ` +
        `${micro(figures.hub)} \u00b5s, the leaves ${micro(figures.leaves)} \u00b5s, the loggers ${micro(figures.loggers)} \u00b5s`,
    );
  } finally {
    rmSync(dir, { recursive: true, force: true });
  }
}
