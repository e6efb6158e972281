// Browsers that arrive within one second: how long each waits for the first value of a signal that it starts, from the
// moment it begins to connect. All from this machine, which has to do their share of the work as well.
//
//   tests/kit/js/isolated node bench/arrivals.mjs [browsers]...
import { Client } from "../tests/kit/js/client.mjs";
import { completeInfo, kLoggers, Network } from "../tests/kit/js/network.mjs";
import { sleep } from "../tests/kit/js/wait.mjs";

const crowds = process.argv.slice(2).map(Number);
const kWithin = 1000;

async function arrive(url) {
  const began = performance.now();
  const client = await Client.connect(url);
  const connected = performance.now();
  await completeInfo(client);
  const informed = performance.now();
  client.send({ command: "get_signal_names" });
  let catalogue;
  do catalogue = await client.answerTo("get_signal_names", 60_000);
  while (catalogue.status === "PROGRESS");
  client.send({ command: "generic_start_sig", signal_key: catalogue.Streams[0].signal_key, interval: 100 });
  await client.answerTo("generic_sig_value", 60_000);
  return { client, times: [connected - began, informed - began, performance.now() - began] };
}

const seconds = (milliseconds) => (milliseconds / 1000).toFixed(2);

for (const count of crowds.length > 0 ? crowds : [100, 200]) {
  const network = await Network.start({ loggers: kLoggers, apache: { crowd: true } });
  network.expectInLog(/./);
  network.expectOfLoggers(/./);
  const arrivals = await Promise.all(
    Array.from({ length: count }, async (_, index) => {
      await sleep((index * kWithin) / count);
      return arrive(network.apache.url);
    }),
  );
  const columns = ["connected", "logger info", "first value"].map((name, column) => {
    const sorted = arrivals.map(({ times }) => times[column]).sort((a, b) => a - b);
    return `${name} ${seconds(sorted[Math.floor(count / 2)])} s, the last ${seconds(sorted.at(-1))} s`;
  });
  console.log(`${count} browsers: ${columns.join("; ")}`);
  await Promise.all(arrivals.map(({ client }) => client.close()));
  await network.stop();
}
