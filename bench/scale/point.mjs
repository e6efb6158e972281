// One size of a logger network with its browsers, on this machine: started, measured at rest and in use, ended.
import { mkdtempSync, rmSync, writeFileSync } from "node:fs";
import os from "node:os";
import path from "node:path";
import { Network } from "../../tests/kit/js/network.mjs";
import { freePort } from "../../tests/kit/js/ports.mjs";
import { sleep } from "../../tests/kit/js/wait.mjs";
import { Browser } from "./browser.mjs";
import { childrenOf } from "./usage.mjs";
import { kWindow, Watch } from "./watch.mjs";

// What every browser has started: so many signals, of the loggers in turn, so many values a second each.
export const kStarted = 10;
export const kRate = 2;
// Browsers whose times count: those that came last, when the others were there.
const kLast = 10;
const kSettle = 3000; // ms

// How often a logger shows that it is there, and when it is given up.
const kShipped = { heartbeat: "500ms", neighboursTimeout: "3s" };
export const kRare = { heartbeat: "5s", neighboursTimeout: "30s" };

const macOf = (number) =>
  `02:00:00:00:${[number >> 8, number & 255].map((byte) => byte.toString(16).padStart(2, "0")).join(":")}`.toUpperCase();
const signalOf = (number) => `Group${number % 50}.Signal_${number}`;

// Only the first ones get values: a logger sends whoever listens all that it has, started or not, and each of these is a
// message of its own.
function recording(dir, signals, moving) {
  const names = Array.from({ length: signals }, (_, i) => `${signalOf(i)} [km/h]`);
  const rows = [0, 1, 2, 3].map((row) => `${row / kRate},${names.map((_, i) => (i < moving ? row + i : "")).join(",")}`);
  const file = path.join(dir, "signals.csv");
  writeFileSync(file, [`time,${names.join(",")}`, ...rows].join("\n"));
  return file;
}

export const loggerOf = (number, source, heartbeat = kShipped) => ({
  mac: macOf(number + 1),
  name: `Logger ${number + 1}`,
  type: "Stratolog2",
  source,
  ...heartbeat,
  args: [["--rate", kRate]],
});

const quantile = (values, part) => [...values].sort((a, b) => a - b)[Math.floor(part * (values.length - 1))] ?? null;

// One after the other; who is sent away since the network still changes comes again.
async function arrivals(network, { loggers, browsers }, say) {
  const all = [];
  let sentAway = 0;
  while (all.length < browsers) {
    const signals = Array.from({ length: kStarted }, (_, i) => {
      const number = all.length * kStarted + i;
      return [signalOf(number % kStarted), macOf((number % loggers) + 1)];
    });
    const browser = new Browser();
    try {
      all.push(await browser.arrive(network.apache.url, signals));
    } catch (error) {
      say(`browser ${all.length + 1}: ${error.message}`);
      if (++sentAway > 10) throw error;
      browser.leave();
      await sleep(1000);
    }
  }
  return { all, sentAway };
}

// size: {loggers, signals, values, browsers}, signals and values a second being those of one logger. Without browsers only
// the network at rest is measured.
export async function measurePoint(size, say, heartbeat = kShipped) {
  const dir = mkdtempSync(path.join(os.tmpdir(), "live-view-scale-"));
  const moving = size.values / kRate;
  const source = recording(dir, Math.max(size.signals, moving), moving);
  const monitorPort = await freePort();
  const began = performance.now();
  const network = await Network.start({
    loggers: Array.from({ length: size.loggers }, (_, i) => loggerOf(i, source, heartbeat)),
    busText: `http: "127.0.0.1:${monitorPort}"\n`,
    apache: { crowd: true },
  });
  network.expectInLog(/./);
  network.expectOfLoggers(/./);
  const together = (performance.now() - began) / 1000;
  try {
    const watch = new Watch(monitorPort, () => ({
      children: childrenOf(network.apache.part.pid),
      bus: [network.bus.part.pid],
      loggers: network.loggers.map(({ part }) => part.pid),
    }));
    await sleep(kSettle);
    if (!(await watch.settled(2.5 * size.loggers + 5))) say("the network does not come to rest");
    const rest = { ...(await watch.window()), memory: watch.memory() };
    if (size.browsers === 0) return { ...size, together, rest };
    const { all, sentAway } = await arrivals(network, size, say);
    await sleep(kSettle);
    for (const browser of all) browser.begin();
    const use = { ...(await watch.window()), memory: watch.memory() };
    const latencies = all.flatMap((browser) => browser.latencies);
    const last = all.slice(-kLast);
    const median = (step) =>
      quantile(
        last.map(({ times }) => times[step]),
        0.5,
      );
    const arrival = Object.fromEntries(["connected", "informed", "catalogue", "started"].map((step) => [step, median(step)]));
    return {
      ...size,
      together,
      rest,
      use,
      sentAway,
      lost: all.filter(({ failure }) => failure !== null).length,
      arrival: { ...arrival, catalogueBytes: last[0].catalogueBytes, catalogueTraffic: last[0].catalogueTraffic },
      came: { perSecond: latencies.length / (kWindow / 1000), median: quantile(latencies, 0.5), p99: quantile(latencies, 0.99) },
    };
  } finally {
    await network.stop();
    rmSync(dir, { recursive: true, force: true });
  }
}
