// What a page costs Chromium: tasks, processor time, memory.
import { execFileSync } from "node:child_process";
import { readFileSync, readdirSync } from "node:fs";

export const kLong = 100; // ms: a task as long as that is felt

// The tasks of the page's thread in a trace that took longer than kLong, in ms: by the clock, and by what the processor
// gave them, since on a busy machine a task also waits.
export function longTasks(trace) {
  const { traceEvents } = JSON.parse(trace.toString("utf8"));
  const main = new Set(
    traceEvents
      .filter(({ name, args }) => name === "thread_name" && args?.name === "CrRendererMain")
      .map(({ pid, tid }) => `${pid} ${tid}`),
  );
  const tasks = traceEvents.filter(({ name, ph, pid, tid }) => ph === "X" && /RunTask$/.test(name) && main.has(`${pid} ${tid}`));
  const above = (member) => tasks.map((task) => Math.round(task[member] / 1000)).filter((ms) => ms > kLong);
  return { clock: above("dur"), processor: above("tdur") };
}

// The process that shows the page, which is the one with a worker, of a browser's own DevTools session.
export async function rendererOf(session) {
  const { processInfo } = await session.send("SystemInfo.getProcessInfo");
  return processInfo.find(({ type, id }) => type === "renderer" && threadsOf(id).some(({ stat }) => stat.includes(kWorker)));
}

// Processor seconds so far of the browser's processes but for that one: the network's, the screen's and so on.
export async function otherProcessesSeconds(session, pid) {
  const { processInfo } = await session.send("SystemInfo.getProcessInfo");
  return processInfo.filter(({ id }) => id !== pid).reduce((sum, { cpuTime }) => sum + cpuTime, 0);
}

const kTicks = Number(execFileSync("getconf", ["CLK_TCK"]));

const kWorker = "(DedicatedWorker";

function threadsOf(pid) {
  return readdirSync(`/proc/${pid}/task`).map((tid) => ({ tid: Number(tid), stat: readFileSync(`/proc/${pid}/task/${tid}/stat`, "utf8") }));
}

// Processor seconds so far of the page's thread, of its worker's, and of all others of the process.
export function threadSeconds(pid) {
  const seconds = { page: 0, worker: 0, others: 0 };
  for (const { tid, stat } of threadsOf(pid)) {
    const fields = stat.replace(/^.*\) /, "").split(" ");
    const kind = tid === pid ? "page" : stat.includes(kWorker) ? "worker" : "others";
    seconds[kind] += (Number(fields[11]) + Number(fields[12])) / kTicks;
  }
  return seconds;
}

export const residentMb = (pid) => Number(/VmRSS:\s+(\d+)/.exec(readFileSync(`/proc/${pid}/status`, "utf8"))[1]) / 1024;
