// How long it takes after a fault until a browser has live values again, several times each.
//
//   tests/kit/js/isolated node bench/faults.mjs [--rounds 3] [fault...]
//
// A browser that is sent away or cut off comes again as the page does: at once, then after pauses that double up to 2 s.
import { readFileSync, writeFileSync } from "node:fs";
import { parseArgs } from "node:util";
import { completeCatalogue, kLoggers, Network } from "../tests/kit/js/network.mjs";
import { sessionsOf } from "../tests/kit/js/processes.mjs";
import { sleep } from "../tests/kit/js/wait.mjs";

const { values: options, positionals } = parseArgs({ allowPositionals: true, options: { rounds: { type: "string", default: "3" } } });

const kPatience = 60_000; // ms

// A client with values of a signal of the local logger.
async function watching(network) {
  const client = await network.connectReady();
  const signals = await completeCatalogue(client, kPatience);
  const { signal_key } = signals.find(({ signal_key: [, mac] }) => mac === kLoggers[0].mac);
  client.send({ command: "generic_start_sig", signal_key, interval: 50 });
  await client.answerTo("generic_sig_value", kPatience);
  return client;
}

async function valuesGoOn(client) {
  client.skipAll();
  await client.answerTo("generic_sig_value", kPatience);
}

async function comeAgain(network, client) {
  await client.closed(kPatience);
  await watching(network);
}

async function restartBus(network, down) {
  await down();
  await sleep(1000);
  return () => network.bus.start();
}

const withPassword = (network, line) => {
  const text = readFileSync(network.bus.file, "utf8").replace(/^authorization .*\n/m, "");
  writeFileSync(network.bus.file, text + line);
};

// What breaks it, and answers with what mends it (or nothing), and how the browser is live again after that.
const kFaults = {
  "bus server killed, back after 1 s": {
    fault: (network) => restartBus(network, () => network.bus.part.kill()),
    again: (network, client) => valuesGoOn(client),
  },
  "bus server paused for 20 s": {
    fault: async (network) => {
      network.bus.pause();
      await sleep(20_000);
      return () => network.bus.resume();
    },
    again: (network, client) => valuesGoOn(client),
  },
  "bus server back with another password, then with the right one": {
    fault: async (network) => {
      await network.bus.stop();
      withPassword(network, 'authorization { user: live-view, password: "another" }\n');
      await network.bus.start();
      await sleep(5000);
      await network.bus.stop();
      withPassword(network, "");
      return () => network.bus.start();
    },
    again: (network, client) => valuesGoOn(client),
  },
  "browser's process killed": {
    fault: async (network) => {
      for (const pid of sessionsOf(network.apache)) process.kill(pid, "SIGKILL");
    },
    again: comeAgain,
  },
  "graceful restart of the web server": {
    fault: async (network) => network.apache.part.signal("SIGUSR1"),
    again: comeAgain,
  },
  "another logger killed": {
    fault: (network) => network.loggers.at(-1).kill(),
    again: comeAgain,
  },
};

async function measure({ fault, again }) {
  const loggers = kLoggers.map((logger) => ({ ...logger, neighboursTimeout: "3s" }));
  const network = await Network.start({ loggers, apache: { crowd: true } });
  network.expectInLog(/./);
  network.expectOfLoggers(/./);
  try {
    const client = await watching(network);
    const mend = await fault(network);
    const begin = Date.now();
    if (typeof mend === "function") await mend();
    await again(network, client);
    return Date.now() - begin;
  } finally {
    await network.stop();
  }
}

for (const [name, description] of Object.entries(kFaults)) {
  if (positionals.length > 0 && !positionals.some((word) => name.includes(word))) continue;
  const times = [];
  for (let round = 0; round < Number(options.rounds); round++) times.push(await measure(description));
  console.log(`${name}: live again after ${times.map((ms) => (ms / 1000).toFixed(1)).join(", ")} s`);
}
