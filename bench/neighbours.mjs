// What nine browsers, each with 20 signals at 9.5 values a second, see of a tenth one: of none, of one that has 10 000 values a
// second shown, of one that has stopped reading them, and of one that floods the server with commands. In turn, several times.
//
//   tests/kit/js/isolated node bench/neighbours.mjs [--rounds 3] [--seconds 8]
import { execFile } from "node:child_process";
import { mkdtempSync, rmSync, writeFileSync } from "node:fs";
import os from "node:os";
import path from "node:path";
import { parseArgs, promisify } from "node:util";
import { completeCatalogue } from "../tests/kit/js/network.mjs";
import * as paths from "../tests/kit/js/paths.mjs";
import { sleep } from "../tests/kit/js/wait.mjs";
import { startCrowdNetwork } from "./crowd_network.mjs";

const { values: options } = parseArgs({ options: { rounds: { type: "string", default: "3" }, seconds: { type: "string", default: "8" } } });

const kGood = 9;
const kMany = { mac: "02:00:00:00:00:09", name: "Many", type: "Stratolog2", signals: 200, rate: 50 };

function recording(dir) {
  const names = Array.from({ length: kMany.signals }, (_, i) => `Many.S${i}`);
  const file = path.join(dir, "many.csv");
  writeFileSync(
    file,
    [["time", ...names], ...Array.from({ length: 50 }, (_, row) => [row / 50, ...names.map((_, i) => row * 1000 + i)])].join("\n"),
  );
  return file;
}

async function watchMany(network) {
  const client = await network.connectReady();
  for (const { signal_key } of (await completeCatalogue(client)).filter(({ signal_key: [, mac] }) => mac === kMany.mac))
    client.send({ command: "generic_start_sig", signal_key, interval: 20 });
  await client.answerTo("generic_sig_value");
  return client;
}

// What the tenth browser does; each answers with how to end it.
const kTenth = {
  "no other": async () => async () => {},
  "one that reads 10 000 values/s": async (network) => {
    const client = await watchMany(network);
    return () => client.close();
  },
  "one that has stopped reading them": async (network) => {
    const client = await watchMany(network);
    client.pause();
    return () => client.terminate();
  },
  "one that floods the server with commands": async (network) => {
    const client = await network.connectReady();
    let ended = false;
    const flood = (async () => {
      while (!ended && client.open) {
        for (let i = 0; i < 50; i++) client.send({ command: "ping" });
        await client.answerTo("ping").catch(() => {});
        client.skipAll();
        await sleep(1);
      }
    })();
    return async () => {
      ended = true;
      client.terminate();
      await flood;
    };
  },
};

async function measure(network) {
  const args = ["product", network.bus.port, network.apache.port, kGood, options.seconds, `nats=${network.bus.part.pid}`].map(String);
  const { stdout } = await promisify(execFile)(path.join(paths.buildDir, "bench/crowd"), args, { timeout: 120_000 });
  return JSON.parse(stdout);
}

const median = (list) => list.toSorted((a, b) => a - b)[Math.floor(list.length / 2)];

const dir = mkdtempSync(path.join(os.tmpdir(), "live-view-neighbours-"));
const figures = Object.fromEntries(Object.keys(kTenth).map((name) => [name, []]));
try {
  const network = await startCrowdNetwork(dir, [{ ...kMany, source: recording(dir), args: [["--rate", kMany.rate]] }]);
  try {
    for (let round = 0; round < Number(options.rounds); round++) {
      for (const [name, begin] of Object.entries(kTenth)) {
        const end = await begin(network);
        figures[name].push(await measure(network));
        await end();
      }
    }
  } finally {
    await network.stop();
  }
} finally {
  rmSync(dir, { recursive: true, force: true });
}
console.log(`Nine browsers beside (medians of ${options.rounds} rounds, load of the machine ${os.loadavg()[0].toFixed(1)}):`);
for (const [name, rounds] of Object.entries(figures)) {
  const of = (member) => rounds.map((figure) => figure[member]);
  const rate = median(rounds.map(({ values, seconds }) => values / seconds));
  console.log(
    `  ${name}: ${rate.toFixed(0)} values/s, median ${median(of("median")).toFixed(1)} ms, ` +
      `99th percentile ${median(of("p99")).toFixed(1)} ms (${of("p99")
        .map((ms) => ms.toFixed(1))
        .join(", ")})`,
  );
}
