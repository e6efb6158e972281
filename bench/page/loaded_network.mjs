// A network with one logger whose signals are as many and as fast as a page should be able to show.
import { writeFileSync } from "node:fs";
import path from "node:path";
import { kLoggers, Network } from "../../tests/kit/js/network.mjs";

export const kSignals = 200;
export const kRate = 20; // values a second and signal

// A recording of curves that all differ.
function recording(dir) {
  const names = Array.from({ length: kSignals }, (_, index) => `Signal.${String(index).padStart(3, "0")}`);
  const rows = [`time,${names.map((name) => `${name} [V]`).join(",")}`];
  for (let row = 0; row < 400; row++)
    rows.push(`${(row / kRate).toFixed(2)},${names.map((_, index) => (Math.sin((row + index) / 20) * (1 + index)).toFixed(3)).join(",")}`);
  const file = path.join(dir, "curves.csv");
  writeFileSync(file, `${rows.join("\n")}\n`);
  return { file, names };
}

// The network, its signals' names and the hardware address of their logger. Whoever asks for it stops it.
export async function loadedNetwork() {
  const network = await Network.start({ loggers: [] });
  network.expectInLog(/./);
  try {
    const { file, names } = recording(network.dir);
    const [logger] = kLoggers;
    await network.addLogger({ ...logger, source: file, args: [["--rate", String(kRate)]] });
    return { network, names, mac: logger.mac };
  } catch (error) {
    await network.stop().catch(() => {});
    throw error;
  }
}
