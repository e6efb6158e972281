// What the page costs a browser: 200 signals at 20 values a second each. Prints tasks above 100 ms in the steady state,
// the memory each minute, and the processor time of page and worker.
//
//   tests/kit/js/isolated node bench/page/load.mjs [minutes]     (default 10)
import { setTimeout as sleep } from "node:timers/promises";
import { kLong, longTasks, rendererOf, residentMb, threadSeconds } from "./costs.mjs";
import { kRate, kSignals } from "./loaded_network.mjs";
import { loadedPage } from "./loaded_page.mjs";

const kTraced = 5; // s of each minute
const minutes = Number(process.argv[2] ?? 10);

const { network, browser, page } = await loadedPage();
try {
  const session = await browser.newBrowserCDPSession();
  const metrics = await page.context().newCDPSession(page);
  await metrics.send("Performance.enable");
  const value = async (name) => (await metrics.send("Performance.getMetrics")).metrics.find((one) => one.name === name).value;
  const renderer = await rendererOf(session);
  const started = { at: Date.now(), ...threadSeconds(renderer.id) };
  const long = { clock: [], processor: [] };
  for (let minute = 1; minute <= minutes; minute++) {
    await browser.startTracing(page, { categories: ["disabled-by-default-devtools.timeline"] });
    await sleep(kTraced * 1000);
    const found = longTasks(await browser.stopTracing());
    for (const kind of ["clock", "processor"]) long[kind].push(...found[kind]);
    await sleep(Math.max(0, started.at + minute * 60_000 - Date.now()));
    await metrics.send("HeapProfiler.collectGarbage");
    const heap = (await value("JSHeapUsedSize")) / 1e6;
    console.log(`minute ${minute}: page's heap ${heap.toFixed(1)} MB, process ${residentMb(renderer.id).toFixed(0)} MB`);
  }
  const seconds = (Date.now() - started.at) / 1000;
  const ended = threadSeconds(renderer.id);
  const share = (kind) => `${((100 * (ended[kind] - started[kind])) / seconds).toFixed(1)} %`;
  const counted = await page.evaluate(() => document.querySelectorAll("[data-testid=plot]").length);
  console.log(`${kSignals} signals at ${kRate} values/s for ${seconds.toFixed(0)} s, ${counted} charts`);
  const told = (tasks) => `${tasks.length}${tasks.length > 0 ? ` (longest ${Math.max(...tasks)} ms)` : ""}`;
  console.log(
    `tasks of the page's thread above ${kLong} ms in ${minutes * kTraced} s of tracing: ${told(long.clock)} by the clock, ${told(long.processor)} of processor time`,
  );
  console.log(
    `processor, of one core: page's thread ${share("page")}, worker ${share("worker")}, painting and the rest ${share("others")}`,
  );
} finally {
  await browser.close();
  await network.stop();
}
