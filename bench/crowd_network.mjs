// A product whose three desk loggers have what the browsers of bench/crowd.cpp start.
import { writeFileSync } from "node:fs";
import path from "node:path";
import { kLoggers, Network } from "../tests/kit/js/network.mjs";

const kSignals = 20;
const kRate = 9.5;

// The signals of one logger: every third one, and the loads of two buses.
function recording(dir, logger) {
  const names = Array.from({ length: kSignals }, (_, i) => `Powertrain.Signal_${i}`).filter((_, i) => i % kLoggers.length === logger);
  const buses = ["BUSID_CAN 1 Powertrain [UNIT_PERCENT]", "BUSID_CAN 2 Body [UNIT_PERCENT]"];
  const rows = Array.from({ length: 100 }, (_, row) => [row / 10, ...names.map((_, i) => row * 10 + i), row % 90, (row + 45) % 90]);
  const file = path.join(dir, `signals-${logger}.csv`);
  writeFileSync(file, [["time", ...names, ...buses], ...rows].map((row) => row.join(",")).join("\n"));
  return file;
}

// further: descriptions of more loggers.
export async function startCrowdNetwork(dir, further = []) {
  const loggers = kLoggers.map((logger, i) => ({
    ...logger,
    timeOffset: 0,
    source: recording(dir, i),
    args: [["--rate", kRate]],
  }));
  const network = await Network.start({ loggers: [...loggers, ...further], apache: { crowd: true } });
  network.expectInLog(/./);
  network.expectOfLoggers(/./);
  return network;
}
