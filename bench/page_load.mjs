// What the page costs a browser: 200 signals at 20 values a second each. Prints tasks above 100 ms in the steady state,
// the memory each minute, and the processor time of page and worker.
//
//   tests/e2e/support/isolated node bench/page_load.mjs [minutes]     (default 10)
import { readFileSync, writeFileSync } from "node:fs";
import path from "node:path";
import { setTimeout as sleep } from "node:timers/promises";
import { launchBrowser } from "../tests/e2e/support/browser.mjs";
import { state } from "../tests/e2e/support/live_page.mjs";
import { kLoggers, Network } from "../tests/e2e/support/network.mjs";

const kSignals = 200;
const kRate = 20; // values a second and signal
const kPerChart = 10;
const kLong = 100; // ms
const kTraced = 10; // s of each minute
const minutes = Number(process.argv[2] ?? 10);

// A recording of curves that all differ.
function recording(dir) {
  const names = Array.from({ length: kSignals }, (_, index) => `Signal.${String(index).padStart(3, "0")}`);
  const rows = [`time,${names.map((name) => `${name} [V]`).join(",")}`];
  for (let row = 0; row < 400; row++) rows.push(`${(row / kRate).toFixed(2)},${names.map((_, index) => (Math.sin((row + index) / 20) * (1 + index)).toFixed(3)).join(",")}`);
  const file = path.join(dir, "curves.csv");
  writeFileSync(file, `${rows.join("\n")}\n`);
  return { file, names };
}

function arrangement(names, mac) {
  const panels = [];
  for (let first = 0; first < names.length; first += kPerChart) {
    const signals = names.slice(first, first + kPerChart).map((name) => ({ name, mac, logger: "Front" }));
    panels.push({ id: `chart-${first}`, kind: "chart", title: "", signals, options: {} });
  }
  return JSON.stringify({ format: "live-view-setup", version: 1, name: "", panels });
}

// The page's main thread's tasks above kLong in a trace, in ms.
function longTasks(trace) {
  const { traceEvents } = JSON.parse(trace.toString("utf8"));
  const main = new Set(traceEvents.filter(({ name, args }) => name === "thread_name" && args?.name === "CrRendererMain").map(({ pid, tid }) => `${pid} ${tid}`));
  return traceEvents
    .filter(({ name, ph, dur, pid, tid }) => ph === "X" && /RunTask$/.test(name) && dur > kLong * 1000 && main.has(`${pid} ${tid}`))
    .map(({ dur }) => Math.round(dur / 1000));
}

async function rendererOf(session) {
  const { processInfo } = await session.send("SystemInfo.getProcessInfo");
  return processInfo.filter(({ type }) => type === "renderer").reduce((most, one) => (one.cpuTime > most.cpuTime ? one : most));
}

const residentMb = (pid) => Number(/VmRSS:\s+(\d+)/.exec(readFileSync(`/proc/${pid}/status`, "utf8"))[1]) / 1024;

const network = await Network.start({ loggers: [] });
let browser;
try {
  network.expectInLog(/./);
  const { file, names } = recording(network.dir);
  await network.addLogger({ ...kLoggers[0], source: file, args: [["--rate", String(kRate)]] });
  browser = await launchBrowser();
  const page = await browser.newPage({ viewport: { width: 1440, height: 900 } });
  await page.addInitScript((text) => localStorage.setItem("live-view.arrangement", text), arrangement(names, kLoggers[0].mac));
  await page.goto(network.apache.page);
  await state(page, "live", 120_000);
  await sleep(20_000); // until everything runs
  const session = await browser.newBrowserCDPSession();
  const metrics = await page.context().newCDPSession(page);
  await metrics.send("Performance.enable");
  const value = async (name) => (await metrics.send("Performance.getMetrics")).metrics.find((one) => one.name === name).value;
  const renderer = await rendererOf(session);
  const started = { at: Date.now(), cpu: renderer.cpuTime, main: await value("TaskDuration") };
  const long = [];
  for (let minute = 1; minute <= minutes; minute++) {
    await browser.startTracing(page, { categories: ["toplevel", "disabled-by-default-devtools.timeline", "devtools.timeline"] });
    await sleep(kTraced * 1000);
    long.push(...longTasks(await browser.stopTracing()));
    await sleep(Math.max(0, started.at + minute * 60_000 - Date.now()));
    await metrics.send("HeapProfiler.collectGarbage");
    const heap = (await value("JSHeapUsedSize")) / 1e6;
    console.log(`minute ${minute}: page's heap ${heap.toFixed(1)} MB, process ${residentMb(renderer.id).toFixed(0)} MB`);
  }
  const seconds = (Date.now() - started.at) / 1000;
  const { cpuTime } = (await session.send("SystemInfo.getProcessInfo")).processInfo.find(({ id }) => id === renderer.id);
  const counted = await page.evaluate(() => document.querySelectorAll("[data-testid=plot]").length);
  console.log(`${kSignals} signals at ${kRate} values/s for ${seconds.toFixed(0)} s, ${counted} charts`);
  console.log(`tasks above ${kLong} ms of the page's thread in ${minutes * kTraced} s of tracing: ${long.length}${long.length > 0 ? ` (longest ${Math.max(...long)} ms)` : ""}`);
  console.log(`processor: ${(100 * (cpuTime - started.cpu) / seconds).toFixed(1)} % of a core for page and worker, of it the page's thread ${(100 * ((await value("TaskDuration")) - started.main) / seconds).toFixed(1)} %`);
} finally {
  await browser?.close();
  await network.stop();
}
