// What processes hold: memory, descriptors, threads; and whether that levels off.
import { readdirSync, readFileSync } from "node:fs";

const read = (file) => readFileSync(file, "latin1");

function ofProcess(pid) {
  const megabytes = (text, name) => Number(new RegExp(`^${name}:\\s+(\\d+)`, "m").exec(text)?.[1] ?? 0) / 1024;
  const status = read(`/proc/${pid}/status`);
  return {
    memory: megabytes(read(`/proc/${pid}/smaps_rollup`), "Pss"),
    descriptors: readdirSync(`/proc/${pid}/fd`).length,
    threads: Number(/^Threads:\s+(\d+)/m.exec(status)[1]),
  };
}

// The sum over some processes: MB, and numbers. Who ends meanwhile does not count.
export function holdings(pids) {
  const sum = { memory: 0, descriptors: 0, threads: 0, processes: 0 };
  for (const one of pids) {
    try {
      for (const [what, amount] of Object.entries(ofProcess(one))) sum[what] += amount;
      sum.processes++;
    } catch (error) {
      if (error.code !== "ENOENT" && error.code !== "ESRCH") throw error;
    }
  }
  return sum;
}

const median = (list) => [...list].sort((a, b) => a - b)[Math.floor(list.length / 2)];

// How a figure went over the time: the medians of its four quarters. It has levelled off when the last one is no more than
// 3 % and `slack` above the one before.
export function course(list, slack) {
  const size = Math.floor(list.length / 4);
  const quarters = [0, 1, 2, 3].map((i) => median(list.slice(i * size, i === 3 ? undefined : (i + 1) * size)));
  return { quarters, level: quarters[3] <= quarters[2] * 1.03 + slack };
}
