// A product with one logger that offers signals and otherwise keeps quiet, for values that a benchmark sends itself.
import { writeFileSync } from "node:fs";
import path from "node:path";
import { Network } from "../tests/kit/js/network.mjs";

export const kMac = "02:00:00:00:00:01";
const kSignals = 100;

export async function startQuietNetwork(dir) {
  const names = Array.from({ length: kSignals }, (_, i) => `Powertrain.Signal_${i}`);
  const recording = path.join(dir, "signals.csv");
  writeFileSync(recording, `time,${names.join(",")}\n0${",0".repeat(kSignals)}\n`);
  const network = await Network.start({
    loggers: [{ mac: kMac, name: "Desk", type: "Stratolog2", source: recording, args: [["--rate", 0.01]] }],
  });
  network.expectInLog(/./);
  network.expectOfLoggers(/./);
  return network;
}
