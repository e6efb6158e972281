// What processes take of the machine, as the kernel tells it.
import { readdirSync, readFileSync } from "node:fs";

// What has ended while it is looked at counts as nothing.
function read(file) {
  try {
    return readFileSync(file, "utf8");
  } catch {
    return "";
  }
}

function list(dir) {
  try {
    return readdirSync(dir);
  } catch {
    return [];
  }
}

export const childrenOf = (pid) => read(`/proc/${pid}/task/${pid}/children`).trim().split(" ").filter(Boolean);

// Processor seconds so far of processes: of their keep-alive threads, which wake a thousand times a second however
// little there is to do, and of all others.
export function processorTime(pids) {
  const seconds = { keepAlive: 0, others: 0 };
  for (const pid of pids) {
    for (const thread of list(`/proc/${pid}/task`)) {
      const dir = `/proc/${pid}/task/${thread}`;
      const kind = read(`${dir}/comm`).startsWith("ping_run") ? "keepAlive" : "others";
      seconds[kind] += Number(read(`${dir}/schedstat`).split(" ")[0]) / 1e9;
    }
  }
  return seconds;
}

// Bytes of memory, each shared page counted in parts.
export function proportionalMemory(pids) {
  const of = (pid) => 1024 * Number(/^Pss:\s+(\d+)/m.exec(read(`/proc/${pid}/smaps_rollup`))?.[1] ?? 0);
  return pids.reduce((sum, pid) => sum + of(pid), 0);
}

// Processor seconds that the whole machine has spent so far, in all its processors.
export function machineTime() {
  const [user, nice, system, , , irq, softirq] = read("/proc/stat").split("\n")[0].trim().split(/\s+/).slice(1).map(Number);
  return (user + nice + system + irq + softirq) / 100;
}
