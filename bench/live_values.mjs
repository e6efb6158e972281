// Signal values all the way to one websocket client on this machine, and the same texts through the bus server's own
// websocket gateway and through an MQTT broker's, one after the other, several times in turn.
//
//   tests/kit/js/isolated node bench/live_values.mjs [rounds]
import { execFile } from "node:child_process";
import { existsSync, mkdtempSync, rmSync, writeFileSync } from "node:fs";
import os from "node:os";
import path from "node:path";
import { promisify } from "node:util";
import { Part } from "../tests/kit/js/part.mjs";
import * as paths from "../tests/kit/js/paths.mjs";
import { freePort, listens } from "../tests/kit/js/ports.mjs";
import { until } from "../tests/kit/js/wait.mjs";
import { kMac, startQuietNetwork } from "./quiet_network.mjs";

const kProgram = path.join(paths.buildDir, "bench/live_values");
const rounds = Number(process.argv[2] ?? 3);

async function measure(kind, busPort, webSocketPort, processes) {
  const args = [kind, busPort, webSocketPort, kMac, ...processes].map(String);
  const { stdout } = await promisify(execFile)(kProgram, args, { timeout: 180_000 });
  return JSON.parse(stdout);
}

async function product(dir) {
  const network = await startQuietNetwork(dir);
  try {
    const { bus, apache } = network;
    return await measure("product", bus.port, apache.port, [bus.part.pid, `children:${apache.part.pid}`]);
  } finally {
    await network.stop();
  }
}

async function withServer(name, command, args, port, body) {
  const part = new Part(name, command, args);
  try {
    await until(
      () => `${name} listens; it wrote: ${part.output}`,
      () => listens(port),
    );
    return await body(part.pid);
  } finally {
    await part.stop();
  }
}

async function gateway(dir) {
  const [busPort, webSocketPort] = [await freePort(), await freePort()];
  const file = path.join(dir, "nats.conf");
  writeFileSync(file, `listen: 127.0.0.1:${busPort}\nwebsocket { listen: "127.0.0.1:${webSocketPort}", no_tls: true }\n`);
  return withServer("nats-server", paths.natsServer, ["-c", file], webSocketPort, (pid) =>
    measure("gateway", busPort, webSocketPort, [pid]),
  );
}

async function mqtt(dir) {
  const [busPort, webSocketPort] = [await freePort(), await freePort()];
  const file = path.join(dir, "mosquitto.conf");
  writeFileSync(
    file,
    `allow_anonymous true\nmax_queued_messages 0\nlistener ${busPort} 127.0.0.1\n` +
      `listener ${webSocketPort} 127.0.0.1\nprotocol websockets\n`,
  );
  return withServer("mosquitto", "/usr/sbin/mosquitto", ["-c", file], webSocketPort, (pid) =>
    measure("mqtt", busPort, webSocketPort, [pid]),
  );
}

function show(name, figures) {
  const ok = figures.complete && figures.inOrder && figures.lost === 0;
  console.log(
    `${name.padEnd(8)} ${String(figures.valuesPerSecond).padStart(8)} values/s flat out;` +
      ` at 10 000/s: median ${figures.median} µs, 99th percentile ${figures.p99} µs, lost ${figures.lost}` +
      ` (beside it: host ${figures.stolen.toFixed(2)}, others ${figures.others.toFixed(2)} cores);` +
      ` processor s per million values: ${figures.processorPerMillion.map((s) => s.toFixed(2)).join(" + ")}` +
      (ok ? "" : "  INCOMPLETE"),
  );
}

const median = (figures, member) => figures.map((f) => f[member]).sort((a, b) => a - b)[Math.floor(figures.length / 2)];

const dir = mkdtempSync(path.join(os.tmpdir(), "live-view-bench-"));
const results = { product: [], gateway: [], mqtt: [] };
try {
  for (let round = 0; round < rounds; round++) {
    for (const [name, route] of Object.entries({ product, gateway, mqtt })) {
      if (name === "mqtt" && !existsSync("/usr/sbin/mosquitto")) continue;
      const figures = await route(dir);
      results[name].push(figures);
      show(name, figures);
    }
  }
} finally {
  rmSync(dir, { recursive: true, force: true });
}
const rate = (name) => median(results[name], "valuesPerSecond");
console.log(
  `product / gateway: ${(rate("product") / rate("gateway")).toFixed(2)} of the values per second, ` +
    `${(median(results.product, "p99") / median(results.gateway, "p99")).toFixed(2)} times its 99th percentile`,
);
if (results.mqtt.length > 0)
  console.log(`product / MQTT broker: ${(rate("product") / rate("mqtt")).toFixed(2)} times the values per second`);
console.log("Beside it: what the host of a virtual machine and all else on it took. Times of arrival mean something where both are small.");
console.log("The product's processor times are those of the bus server and of the web server's processes.");
