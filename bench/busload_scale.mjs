// The loads of many buses on four loggers, all the way to one websocket client on this machine: whether any is lost, and
// what the browser's process of the web server takes for them.
//
//   tests/kit/js/isolated node bench/busload_scale.mjs [buses] [loads per second and bus] [seconds]
import { execFileSync } from "node:child_process";
import { readFileSync } from "node:fs";
import { createRequire } from "node:module";
import path from "node:path";
import { Network } from "../tests/kit/js/network.mjs";
import { Part } from "../tests/kit/js/part.mjs";
import * as paths from "../tests/kit/js/paths.mjs";
import { until } from "../tests/kit/js/wait.mjs";

const { WebSocket } = createRequire(new URL("../tests/package.json", import.meta.url))("ws");
const [buses = "64", rate = "50", seconds = "10"] = process.argv.slice(2);
const kTicks = Number(execFileSync("getconf", ["CLK_TCK"]));

// Processor seconds of the web server's children so far.
function childSeconds(parent) {
  let ticks = 0;
  for (const pid of readFileSync(`/proc/${parent}/task/${parent}/children`, "utf8").trim().split(" ")) {
    const fields = readFileSync(`/proc/${pid}/stat`, "utf8")
      .replace(/^.*\) /, "")
      .split(" ");
    ticks += Number(fields[11]) + Number(fields[12]);
  }
  return ticks / kTicks;
}

const network = await Network.start({ loggers: [] });
network.expectInLog(/./);
const loggers = new Part(
  "four loggers",
  path.join(paths.buildDir, "bench/busload_loggers"),
  [network.bus.port, buses, rate, seconds].map(String),
);
try {
  await until("the loggers are ready", () => loggers.output.includes("ready"));
  const socket = new WebSocket(network.apache.url, ["kr-webapp-v1"]);
  let infos = 0;
  let started = false;
  let loads = 0;
  let first = 0;
  let last = 0;
  socket.on("message", (data) => {
    const text = data.toString("latin1", 0, 120);
    if (text.includes('"busload_data"')) {
      if (text.includes('"timestamp": 0,')) return;
      loads++;
      last = performance.now();
      first ||= last;
    } else if (text.includes('"get_logger_info"')) infos++;
    else if (text.includes('"busload_start"')) started = true;
  });
  await new Promise((resolve, reject) => socket.on("open", resolve).on("error", reject));
  for (let asked = 0; asked < 5 && !started; asked++) {
    socket.send('{"command":"get_logger_info"}');
    await until("the logger info", () => infos > asked, 20_000);
    socket.send('{"command":"busload_start"}');
    await new Promise((resolve) => setTimeout(resolve, 500));
  }
  const wanted = Number(buses) * 4 * Number(rate) * Number(seconds);
  await until("the first load", () => loads > 0, 30_000);
  const before = childSeconds(network.apache.part.pid);
  await until(
    () => `all loads; so far ${loads} of ${wanted}; ${loggers.output}`,
    () => loads >= wanted,
    120_000,
  ).catch((error) => console.log(String(error)));
  const taken = (last - first) / 1000;
  const share = (childSeconds(network.apache.part.pid) - before) / taken;
  console.log(loggers.output.trim().split("\n").at(-1));
  console.log(`received ${loads} of ${wanted} in ${taken.toFixed(2)} s: ${Math.round(loads / taken)} a second`);
  console.log(
    `the web server's children took ${(100 * share).toFixed(1)} % of a processor, ${((1e6 * share * taken) / loads).toFixed(1)} \u00b5s a load`,
  );
  socket.terminate();
} finally {
  await loggers.stop();
  await network.stop();
}
