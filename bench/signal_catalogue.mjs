// Time from "get_signal_names" to the last catalogue answer, with 5 000 and 20 000 signals of four loggers.
//
//   tests/kit/js/isolated node bench/signal_catalogue.mjs [rounds]
import { mkdtempSync, rmSync, writeFileSync } from "node:fs";
import os from "node:os";
import path from "node:path";
import { Network } from "../tests/kit/js/network.mjs";

const kLoggers = 4;
const rounds = Number(process.argv[2] ?? 5);
const dir = mkdtempSync(path.join(os.tmpdir(), "live-view-bench-"));

function logger(number, signals) {
  const names = Array.from({ length: signals }, (_, i) => `Group${i % 50}.Signal_${i} [km/h]`);
  const source = path.join(dir, `signals-${signals}.csv`);
  writeFileSync(source, `time,${names.join(",")}\n0${",0".repeat(signals)}\n`);
  return {
    mac: `02:00:00:00:00:0${number}`,
    name: `Logger ${number}`,
    type: "Stratolog2",
    source,
    args: [["--latency", "0ms"]],
  };
}

// Milliseconds until the complete catalogue is there, once for each round.
async function measure(signals) {
  const loggers = Array.from({ length: kLoggers }, (_, i) => logger(i + 1, signals / kLoggers));
  const network = await Network.start({ loggers });
  network.expectInLog(/./);
  network.expectOfLoggers(/./);
  try {
    const client = await network.connectReady();
    const times = [];
    for (let round = 0; round < rounds; round++) {
      const begin = process.hrtime.bigint();
      client.send({ command: "get_signal_names" });
      let answer;
      do answer = await client.answerTo("get_signal_names", 60_000);
      while (answer.status !== "OK");
      times.push(Number(process.hrtime.bigint() - begin) / 1e6);
      if (answer.Streams.length !== signals) throw new Error(`${answer.Streams.length} signals came`);
    }
    return times.sort((a, b) => a - b);
  } finally {
    await network.stop();
  }
}

try {
  const medians = [];
  for (const signals of [5000, 20_000]) {
    const times = await measure(signals);
    medians.push(times[Math.floor(times.length / 2)]);
    console.log(`${signals} signals: median ${medians.at(-1).toFixed(0)} ms, fastest ${times[0].toFixed(0)} ms`);
  }
  console.log(`four times the signals take ${(medians[1] / medians[0]).toFixed(2)} times as long`);
} finally {
  rmSync(dir, { recursive: true, force: true });
}
