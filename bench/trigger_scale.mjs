// One trigger with many browsers connected: each of their processes asks all loggers for all events again. How long until
// every browser has the complete list, and what that takes.
//
//   tests/kit/js/isolated node bench/trigger_scale.mjs [browsers] [loggers] [events per logger]
import { execFileSync } from "node:child_process";
import { mkdtempSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import { createRequire } from "node:module";
import os from "node:os";
import path from "node:path";
import { kLoggers, Network } from "../tests/kit/js/network.mjs";
import { until } from "../tests/kit/js/wait.mjs";

const { WebSocket } = createRequire(new URL("../tests/package.json", import.meta.url))("ws");
const [browsers, loggers, events] = [20, 4, 10_000].map((usual, i) => Number(process.argv[2 + i] ?? usual));
const kTicks = Number(execFileSync("getconf", ["CLK_TCK"]));

function seconds(pid) {
  const fields = readFileSync(`/proc/${pid}/stat`, "utf8")
    .replace(/^.*\) /, "")
    .split(" ");
  return (Number(fields[11]) + Number(fields[12])) / kTicks;
}

const childrenOf = (pid) => readFileSync(`/proc/${pid}/task/${pid}/children`, "utf8").trim().split(" ");
const sum = (pids) => pids.reduce((all, pid) => all + seconds(pid), 0);

function eventFile(dir, logger) {
  const file = path.join(dir, `events-${logger}`);
  const line = (i) => `${i + 1} ${1700000000000000 + 1000000 * i + logger} UTC marker%20${logger}-${i}\n`;
  writeFileSync(file, Array.from({ length: events }, (_, i) => line(i)).join(""));
  return file;
}

class Browser {
  lists = 0;
  bytes = 0;
  infos = 0;

  constructor(url) {
    this.socket = new WebSocket(url, ["kr-webapp-v1"]);
    this.socket.on("message", (data) => {
      this.bytes += data.length;
      const start = data.toString("latin1", 0, 60);
      if (start.includes('"get_logger_info"')) this.infos++;
      if (!start.includes('"get_trigger"')) return;
      if (data.toString("latin1", data.length - 30).includes('"OK"')) this.lists++;
    });
    this.opened = new Promise((resolve, reject) => this.socket.on("open", resolve).on("error", reject));
  }
}

const dir = mkdtempSync(path.join(os.tmpdir(), "live-view-triggers-"));
const network = await Network.start({
  loggers: Array.from({ length: loggers }, (_, i) => ({
    ...kLoggers[i % 3],
    mac: `02:00:00:00:00:0${i + 1}`,
    name: `Logger ${i + 1}`,
    timeOffset: 0,
    args: [
      ["--events", eventFile(dir, i)],
      ["--events-cap", 2 * events],
      ["--latency", "0ms"],
    ],
  })),
});
network.expectInLog(/./);
network.expectOfLoggers(/./);
try {
  const all = [];
  for (let i = 0; i < browsers; i++) {
    const browser = new Browser(network.apache.url);
    await browser.opened;
    all.push(browser);
    browser.socket.send('{"command":"get_logger_info"}');
  }
  await until("every browser's logger info", () => all.every(({ infos }) => infos > 0), 60_000);
  await new Promise((resolve) => setTimeout(resolve, 1000));
  const parts = {
    "web server's children": childrenOf(network.apache.part.pid),
    "desk loggers": network.loggers.map(({ part }) => part.pid),
  };
  const before = Object.values(parts).map(sum);
  const start = performance.now();
  all[0].socket.send('{"command":"set_trigger","marker_id":"now"}');
  await until(
    () => `the complete lists; so far ${all.filter(({ lists }) => lists > 0).length}`,
    () => all.every(({ lists }) => lists > 0),
    120_000,
  );
  const taken = performance.now() - start;
  console.log(
    `${browsers} browsers, ${loggers} loggers with ${events} events each: the last complete list after ${(taken / 1000).toFixed(2)} s`,
  );
  Object.entries(parts).forEach(([name, pids], i) => console.log(`processor time of the ${name}: ${(sum(pids) - before[i]).toFixed(2)} s`));
  console.log(`sent to all browsers: ${(all.reduce((bytes, browser) => bytes + browser.bytes, 0) / 1e6).toFixed(0)} MB`);
  for (const { socket } of all) socket.terminate();
} finally {
  await network.stop();
  rmSync(dir, { recursive: true, force: true });
}
