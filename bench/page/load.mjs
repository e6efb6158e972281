// What the page costs a browser: 200 signals at 20 values a second each. Prints tasks above 100 ms in the steady state,
// the memory each minute, and the processor time of page and worker while nothing is traced and nobody is attached to the page.
//
//   tests/kit/js/isolated node bench/page/load.mjs [minutes]     (default 10)
import { setTimeout as sleep } from "node:timers/promises";
import { kLong, longTasks, otherProcessesSeconds, rendererOf, residentMb, threadSeconds } from "./costs.mjs";
import { kRate, kSignals } from "./loaded_network.mjs";
import { loadedPage } from "./loaded_page.mjs";

const kMinute = 60_000; // ms
const kTraced = 5; // s of each minute
const kTraceEnds = 2_000; // ms after which the browser is done with a trace
const minutes = Number(process.argv[2] ?? 10);

const { network, browser, page } = await loadedPage();
try {
  const session = await browser.newBrowserCDPSession();
  const renderer = await rendererOf(session);
  const costs = async () => ({
    seconds: Date.now() / 1000,
    ...threadSeconds(renderer.id),
    elsewhere: await otherProcessesSeconds(session, renderer.id),
  });
  const spent = { seconds: 0, page: 0, worker: 0, others: 0, elsewhere: 0 };
  const long = { clock: [], processor: [] };
  for (let minute = 1; minute <= minutes; minute++) {
    await browser.startTracing(undefined, { categories: ["disabled-by-default-devtools.timeline"] });
    await sleep(kTraced * 1000);
    const found = longTasks(await browser.stopTracing());
    for (const kind of ["clock", "processor"]) long[kind].push(...found[kind]);
    await sleep(kTraceEnds);
    const before = await costs();
    await sleep(kMinute);
    const after = await costs();
    for (const kind of Object.keys(spent)) spent[kind] += after[kind] - before[kind];
    console.log(`minute ${minute}: page's heap ${(await heapMb()).toFixed(1)} MB, process ${residentMb(renderer.id).toFixed(0)} MB`);
  }
  const share = (kind) => `${((100 * spent[kind]) / spent.seconds).toFixed(1)} %`;
  const counted = await page.evaluate("document.querySelectorAll('[data-testid=plot]').length");
  console.log(`${kSignals} signals at ${kRate} values/s for ${minutes} min, ${counted} charts`);
  const told = (tasks) => `${tasks.length}${tasks.length > 0 ? ` (longest ${Math.max(...tasks)} ms)` : ""}`;
  console.log(
    `tasks of the page's thread above ${kLong} ms in ${minutes * kTraced} s of tracing: ${told(long.clock)} by the clock, ${told(long.processor)} of processor time`,
  );
  console.log(
    `processor, of one core, in ${spent.seconds.toFixed(0)} s: page's thread ${share("page")}, worker ${share("worker")}, painting and the rest ${share("others")}, the browser's other processes ${share("elsewhere")}`,
  );
} finally {
  await browser.close();
  await network.stop();
}

function heapMb() {
  return page.attached(async (send) => {
    await send("HeapProfiler.collectGarbage");
    await send("Performance.enable");
    const { metrics } = await send("Performance.getMetrics");
    return metrics.find(({ name }) => name === "JSHeapUsedSize").value / 1e6;
  });
}
