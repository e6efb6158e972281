// What the page's thread and its worker do with their time under the load of load.mjs: processor time in one second by
// what Chromium calls the work, without what it contains, and by function of the page's scripts.
//
//   tests/kit/js/isolated node bench/page/breakdown.mjs [seconds]     (default 10)
import { setTimeout as sleep } from "node:timers/promises";
import { loadedPage } from "./loaded_page.mjs";

const kCategories = [
  "toplevel",
  "blink",
  "cc",
  "v8",
  "devtools.timeline",
  "disabled-by-default-devtools.timeline",
  "disabled-by-default-v8.cpu_profiler",
];
const kShown = 24;
const seconds = Number(process.argv[2] ?? 10);

// The threads by what they are called here.
function threadsOf(events) {
  const names = new Map();
  for (const { name, args, pid, tid } of events) {
    if (name !== "thread_name") continue;
    if (args.name === "CrRendererMain") names.set(`${pid} ${tid}`, "page");
    else if (/DedicatedWorker/.test(args.name)) names.set(`${pid} ${tid}`, "worker");
  }
  return names;
}

// Microseconds of processor time by name of the work, without the work within it, and how often it was done.
function ownTimes(events) {
  const times = new Map();
  const counts = new Map();
  const open = [];
  for (const event of events.sort((a, b) => a.ts - b.ts || b.dur - a.dur)) {
    while (open.length > 0 && open.at(-1).end <= event.ts) open.pop();
    const own = event.tdur ?? 0;
    counts.set(event.name, (counts.get(event.name) ?? 0) + 1);
    times.set(event.name, (times.get(event.name) ?? 0) + own);
    const parent = open.at(-1);
    if (parent) times.set(parent.name, times.get(parent.name) - own);
    open.push({ name: event.name, end: event.ts + event.dur });
  }
  return new Map([...times].map(([name, us]) => [`${name} (${Math.round(counts.get(name) / seconds)} times)`, us]));
}

// Microseconds by function, as the sampling profiler saw them.
function functionTimes(chunks) {
  const nodes = new Map();
  const times = new Map();
  for (const { args } of chunks) {
    const { cpuProfile = {}, timeDeltas = [] } = args.data;
    for (const { id, callFrame } of cpuProfile.nodes ?? []) {
      const place = callFrame.url ? ` ${callFrame.url.replace(/.*\//, "")}:${callFrame.lineNumber + 1}:${callFrame.columnNumber + 1}` : "";
      nodes.set(id, `${callFrame.functionName || "(nameless)"}${place}`);
    }
    (cpuProfile.samples ?? []).forEach((id, index) => {
      const name = nodes.get(id) ?? "?";
      times.set(name, (times.get(name) ?? 0) + (timeDeltas[index] ?? 0));
    });
  }
  return times;
}

function print(title, times) {
  console.log(`\n${title}`);
  const sorted = [...times].sort((a, b) => b[1] - a[1]).slice(0, kShown);
  for (const [name, us] of sorted) if (us > 0) console.log(`${(us / 1e3 / seconds).toFixed(1).padStart(8)} ms  ${name}`);
}

const { network, browser } = await loadedPage();
try {
  await browser.startTracing(undefined, { categories: kCategories });
  await sleep(seconds * 1000);
  const { traceEvents } = JSON.parse((await browser.stopTracing()).toString("utf8"));
  const threads = threadsOf(traceEvents);
  const starts = new Map(traceEvents.filter(({ name }) => name === "Profile").map(({ pid, id, tid }) => [`${pid} ${id}`, `${pid} ${tid}`]));
  for (const kind of ["page", "worker"]) {
    const mine = ({ pid, tid }) => threads.get(`${pid} ${tid}`) === kind;
    const work = traceEvents.filter((event) => event.ph === "X" && mine(event));
    if (work.length === 0) continue;
    print(`${kind}'s thread, processor time a second by work`, ownTimes(work));
    const chunks = traceEvents.filter(({ name, pid, id }) => name === "ProfileChunk" && threads.get(starts.get(`${pid} ${id}`)) === kind);
    print(`${kind}'s thread, time a second by function`, functionTimes(chunks));
  }
} finally {
  await browser.close();
  await network.stop();
}
