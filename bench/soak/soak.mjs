// Browsers that come, use every command, and go, for a long time; does anything of any process grow for ever?
//
//   tests/kit/js/isolated node bench/soak/soak.mjs [--minutes 30] [--browsers 50] [--events 300]
//
// Ends with 1 when something has not levelled off, or a visit failed for another reason than its own.
import { mkdtempSync, readdirSync, rmSync } from "node:fs";
import os from "node:os";
import path from "node:path";
import { parseArgs } from "node:util";
import { makeConfigurations } from "../../tests/kit/js/configurations.mjs";
import { kLoggers, Network } from "../../tests/kit/js/network.mjs";
import { childrenOf } from "../../tests/kit/js/processes.mjs";
import { sleep } from "../../tests/kit/js/wait.mjs";
import { visit } from "./browser.mjs";
import { course, holdings } from "./samples.mjs";

const kBetweenSamples = 5000; // ms
const { values: options } = parseArgs({
  options: {
    minutes: { type: "string", default: "30" },
    browsers: { type: "string", default: "50" },
    events: { type: "string", default: "300" },
  },
});
const minutes = Number(options.minutes);
const browsers = Number(options.browsers);
// Each quarter of the time needs samples.
if (!(minutes >= 1) || !(browsers >= 1)) {
  console.error("usage: bench/soak/soak.mjs [--minutes M] [--browsers N] [--events E], M and N at least 1");
  process.exit(2);
}

// By how much the last quarter of the time may be above the third one, beside 3 %: what a few browsers more or less make.
const kSlack = { memory: 4, descriptors: 40, threads: 20, processes: 10, files: 3 };

const failures = new Map();
const durations = [];
const deadline = Date.now() + minutes * 60_000;

async function comeAndGo(url, id) {
  await sleep(200 * id); // not all at once
  while (Date.now() < deadline) {
    const begin = Date.now();
    try {
      await visit(url, id);
      durations.push(Date.now() - begin);
    } catch (error) {
      const reason = error.message.replace(/; came so far.*/s, "");
      failures.set(reason, (failures.get(reason) ?? 0) + 1);
    }
    await sleep(1000 * Math.random());
  }
}

const samples = {};

function sample(network, uploadDirectory) {
  const { bus, apache, loggers } = network;
  const parts = {
    "Apache's first process": holdings([apache.part.pid]),
    "Apache's children": holdings(childrenOf(apache.part.pid)),
    "nats-server": holdings([bus.part.pid]),
    ...Object.fromEntries(loggers.map(({ name, part }) => [`desk logger ${name}`, holdings([part.pid])])),
    "uploads in /tmp": { files: readdirSync(uploadDirectory).filter((file) => /^\d+\./.test(file)).length },
  };
  for (const [part, figures] of Object.entries(parts)) {
    for (const [what, amount] of Object.entries(figures)) ((samples[part] ??= {})[what] ??= []).push(amount);
  }
}

function report(home) {
  let growing = 0;
  for (const [part, figures] of Object.entries(samples)) {
    for (const [what, list] of Object.entries(figures)) {
      const { quarters, level } = course(list, kSlack[what]);
      if (!level) growing++;
      const shown = quarters.map((amount) => amount.toFixed(what === "memory" ? 1 : 0).padStart(7)).join("");
      console.log(
        `${part.padEnd(34)} ${what.padEnd(12)} ${shown}  most ${Math.max(...list)
          .toFixed(0)
          .padStart(5)}  ${level ? "level" : "GROWS"}`,
      );
    }
  }
  durations.sort((a, b) => a - b);
  console.log(`${durations.length} visits, half of them within ${(durations[Math.floor(durations.length / 2)] / 1000).toFixed(1)} s`);
  console.log(
    `${readdirSync(path.join(home, "files")).length} files kept by the logger, load of the machine ${os.loadavg()[0].toFixed(1)}`,
  );
  for (const [message, count] of failures) console.log(`failed ${count} times: ${message.slice(0, 300)}`);
  return growing;
}

// What the plug-in logs in this time would be larger than a string can be.
const withoutPluginLog = (text) => text.replace(/^ErrorLog .*$/m, "ErrorLog /dev/null");

const home = mkdtempSync(path.join(os.tmpdir(), "live-view-soak-"));
// Few events are kept, so that their number is reached in the first part of the time.
const loggers = kLoggers.map((logger, i) => ({
  ...logger,
  args: [["--events-cap", options.events], ...(i === 0 ? [["--audio", home]] : [])],
}));
makeConfigurations();
const network = await Network.start({ loggers, apache: { crowd: true, change: withoutPluginLog } });
network.expectInLog(/./);
network.expectOfLoggers(/./);
let growing;
try {
  console.log(`${browsers} browsers for ${minutes} minutes; medians of the four quarters of the time, memory in MB`);
  const visits = Array.from({ length: browsers }, (_, id) => comeAndGo(network.apache.url, id));
  await sleep(Math.min(20_000, minutes * 10_000)); // until all have come
  while (Date.now() < deadline) {
    sample(network, "/tmp");
    await sleep(kBetweenSamples);
  }
  await Promise.all(visits);
  growing = report(home);
  const errors = network.apache.log.text.match(/^\[[^\]]*\] \[\w+:(error|crit|alert|emerg)\].*$/gm) ?? [];
  console.log(`${errors.length} errors of Apache's own${errors.length > 0 ? `, the first one: ${errors[0]}` : ""}`);
} finally {
  await network.stop();
  rmSync(home, { recursive: true });
}
process.exitCode = growing > 0 || failures.size > 0 ? 1 : 0;
