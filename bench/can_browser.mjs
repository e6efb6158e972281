// What one browser costs that has started one signal of a vehicle with a full CAN bus: its logger sends its session all
// signals, up to 5000 values a second.
//
//   tests/kit/js/isolated node bench/can_browser.mjs [seconds]
import { execFileSync } from "node:child_process";
import { mkdtempSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import os from "node:os";
import path from "node:path";
import { setTimeout as sleep } from "node:timers/promises";
import { kLoggers, Network } from "../tests/kit/js/network.mjs";

const seconds = Number(process.argv[2] ?? 10);
const kTicks = Number(execFileSync("getconf", ["CLK_TCK"]));
const [kMessages, kSignals, kFramesPerSecond] = [625, 8, 4000]; // 5000 signals on a bus of 500 kbit/s

// A second of frames, and the database of their signals: eight of a byte in each message.
function vehicle(dir) {
  const messages = Array.from({ length: kMessages }, (_, m) => {
    const lines = Array.from({ length: kSignals }, (_, s) => ` SG_ S${s} : ${8 * s}|8@1+ (0.5,0) [0|0] "km/h" X`);
    return `BO_ ${m + 256} M${m}: 8 X\n${lines.join("\n")}\n`;
  });
  const frames = Array.from({ length: 10 * kFramesPerSecond }, (_, f) => {
    const bytes = Array.from({ length: 8 }, (_, b) => ((f * 31 + b * 17) % 256).toString(16).padStart(2, "0")).join("");
    return `(${(1000 + f / kFramesPerSecond).toFixed(6)}) can0 ${((f % kMessages) + 256).toString(16)}#${bytes}`;
  });
  const [database, log] = [path.join(dir, "full.dbc"), path.join(dir, "full.log")];
  writeFileSync(database, `VERSION ""\nBU_: X\n${messages.join("")}`);
  writeFileSync(log, `${frames.join("\n")}\n`);
  return { source: `can:${log}`, args: [["--dbc", database]] };
}

// Processor seconds of the processes so far.
function processorSeconds(pids) {
  return pids.reduce((sum, pid) => {
    const fields = readFileSync(`/proc/${pid}/stat`, "utf8")
      .replace(/^.*\) /, "")
      .split(" ");
    return sum + (Number(fields[11]) + Number(fields[12])) / kTicks;
  }, 0);
}

const childrenOf = (pid) => readFileSync(`/proc/${pid}/task/${pid}/children`, "utf8").trim().split(" ");

const dir = mkdtempSync(path.join(os.tmpdir(), "live-view-bench-"));
const network = await Network.start({ loggers: [{ ...kLoggers[0], ...vehicle(dir) }] });
network.expectInLog(/./);
network.expectOfLoggers(/./);
try {
  const client = await network.connectReady();
  let catalogue = await client.ask("get_signal_names");
  while (catalogue.status !== "OK") catalogue = await client.answerTo("get_signal_names");
  const share = async (pids) => {
    const before = processorSeconds(pids());
    await sleep(1000 * seconds);
    return (100 * (processorSeconds(pids()) - before)) / seconds;
  };
  const children = () => childrenOf(network.apache.part.pid);
  const idle = await share(children);
  await client.ask("generic_start_sig", { signal_key: [catalogue.Streams[0].signal_key[0], kLoggers[0].mac], interval: 100 });
  await sleep(2000);
  const busy = await share(children);
  console.log(`${catalogue.Streams.length} signals, ${kFramesPerSecond} frames a second, one signal started:`);
  console.log(`the web server's children take ${busy.toFixed(1)} % of a processor, before the start ${idle.toFixed(1)} %`);
} finally {
  await network.stop();
  rmSync(dir, { recursive: true, force: true });
}
