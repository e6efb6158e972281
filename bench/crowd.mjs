// Many browsers on this machine, each with 20 signals at 9.5 values a second from three desk loggers and their bus loads, and
// the bus server's own websocket gateway with as many texts to as many clients, one after the other, several times in turn.
//
//   tests/kit/js/isolated node bench/crowd.mjs [--rounds N] [--seconds N] [--threads] [browsers...]
import { execFile } from "node:child_process";
import { mkdtempSync, rmSync, writeFileSync } from "node:fs";
import os from "node:os";
import path from "node:path";
import { parseArgs, promisify } from "node:util";
import { Part } from "../tests/kit/js/part.mjs";
import * as paths from "../tests/kit/js/paths.mjs";
import { freePort, listens } from "../tests/kit/js/ports.mjs";
import { until } from "../tests/kit/js/wait.mjs";
import { startCrowdNetwork } from "./crowd_network.mjs";

const kProgram = path.join(paths.buildDir, "bench/crowd");

const { values: options, positionals } = parseArgs({
  allowPositionals: true,
  options: {
    rounds: { type: "string", default: "3" },
    seconds: { type: "string", default: "8" },
    threads: { type: "boolean", default: false },
  },
});
const crowds = positionals.length > 0 ? positionals.map(Number) : [50, 100];

async function measure(kind, busPort, webSocketPort, clients, parts) {
  const processes = Object.entries(parts).map(([name, ids]) => `${name}=${ids}`);
  const args = [kind, busPort, webSocketPort, clients, options.seconds, ...processes].map(String);
  const { stdout } = await promisify(execFile)(kProgram, args, { timeout: 180_000 });
  return figuresOf(JSON.parse(stdout));
}

// What the keep-alive takes is left out: it wakes a thousand times a second, as it has to.
const isKeepAlive = (thread) => thread.startsWith("ping_run");

function figuresOf({ seconds, values, parts, slowest, usual, ...figures }) {
  const threads = Object.entries(parts).flatMap(([part, { threads }]) =>
    Object.entries(threads).map(([thread, usage]) => ({ part, thread, ...usage })),
  );
  const counted = threads.filter(({ thread }) => !isKeepAlive(thread));
  const sum = (list, member) => list.reduce((all, entry) => all + entry[member], 0);
  return {
    ...figures,
    values: values / seconds,
    cores: sum(counted, "seconds") / seconds,
    microseconds: (1e6 * sum(counted, "seconds")) / values,
    switches: sum(counted, "switches") / values,
    slowest: slowest / usual,
    memory: sum(Object.values(parts), "memory") / 1e6,
    threads: threads.map((entry) => ({ ...entry, cores: entry.seconds / seconds, switches: entry.switches / values })),
  };
}

async function product(dir, clients) {
  const network = await startCrowdNetwork(dir);
  try {
    const { bus, apache } = network;
    return await measure("product", bus.port, apache.port, clients, {
      apache: `children:${apache.part.pid}`,
      nats: bus.part.pid,
      loggers: network.loggers.map(({ part }) => part.pid),
    });
  } finally {
    await network.stop();
  }
}

async function gateway(dir, clients) {
  const [busPort, webSocketPort] = [await freePort(), await freePort()];
  const file = path.join(dir, "nats.conf");
  writeFileSync(file, `listen: 127.0.0.1:${busPort}\nwebsocket { listen: "127.0.0.1:${webSocketPort}", no_tls: true }\n`);
  const part = new Part("nats-server", paths.natsServer, ["-c", file]);
  try {
    await until(
      () => `nats-server listens; it wrote: ${part.output}`,
      () => listens(webSocketPort),
    );
    return await measure("gateway", busPort, webSocketPort, clients, { nats: part.pid });
  } finally {
    await part.stop();
  }
}

// Some threads carry the number of their process.
function byName(threads) {
  const all = {};
  for (const { part, thread, cores, switches } of threads) {
    const sum = (all[`${part} ${thread.replace(/_\d+$/, "")}`] ??= { cores: 0, switches: 0 });
    sum.cores += cores;
    sum.switches += switches;
  }
  return all;
}

function show(name, clients, figures, withThreads) {
  console.log(
    `${name.padEnd(8)} ${String(clients).padStart(4)} clients: ${figures.values.toFixed(0).padStart(6)} values/s, ` +
      `${figures.cores.toFixed(2)} cores, ${figures.microseconds.toFixed(1)} µs and ${figures.switches.toFixed(2)} switches a value, ` +
      `median ${figures.median.toFixed(1)} ms, 99th percentile ${figures.p99.toFixed(1)} ms, ` +
      `slowest ${figures.slowest.toFixed(2)} of the usual, ${figures.memory.toFixed(0)} MB; ` +
      `beside it: host ${figures.stolen.toFixed(2)}, others ${figures.others.toFixed(2)} cores`,
  );
  if (!withThreads) return;
  for (const [name, { cores, switches }] of Object.entries(byName(figures.threads)).sort(([, a], [, b]) => b.cores - a.cores)) {
    if (cores >= 0.005) console.log(`    ${name.padEnd(24)} ${cores.toFixed(3)} cores, ${switches.toFixed(2)} switches a value`);
  }
}

function medians(list) {
  const median = (member) => list.map((figures) => figures[member]).sort((a, b) => a - b)[Math.floor(list.length / 2)];
  return Object.fromEntries(
    ["values", "cores", "microseconds", "switches", "median", "p99", "slowest", "memory", "stolen", "others"].map((member) => [
      member,
      median(member),
    ]),
  );
}

const dir = mkdtempSync(path.join(os.tmpdir(), "live-view-crowd-"));
try {
  for (const clients of crowds) {
    const results = { product: [], gateway: [] };
    for (let round = 0; round < Number(options.rounds); round++) {
      for (const [name, route] of Object.entries({ product, gateway })) {
        const figures = await route(dir, clients);
        results[name].push(figures);
        show(name, clients, figures, options.threads);
      }
    }
    console.log(`Medians of ${options.rounds} rounds, load of the machine ${os.loadavg()[0].toFixed(1)}:`);
    const [ours, theirs] = [medians(results.product), medians(results.gateway)];
    show("product", clients, ours);
    show("gateway", clients, theirs);
    console.log(`product / gateway: ${(ours.microseconds / theirs.microseconds).toFixed(1)} times its processor time a value\n`);
  }
} finally {
  rmSync(dir, { recursive: true, force: true });
}
console.log("Cores are those of the web server's children without their keep-alive threads, the bus server and the desk loggers.");
console.log("Beside it: what the host of a virtual machine and all else on it took. Times of arrival mean something where both are small.");
