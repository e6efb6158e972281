// Outages that take their time: the bus stands still or takes nobody, a clock goes back, a browser stops reading. They wait
// side by side.
import assert from "node:assert/strict";
import { appendFileSync, mkdtempSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import os from "node:os";
import path from "node:path";
import { describe, test } from "node:test";
import { completeCatalogue, kLoggers, Network } from "../../kit/js/network.mjs";
import { memoryOf, sessionsOf } from "../../kit/js/processes.mjs";
import * as paths from "../../kit/js/paths.mjs";
import { patience, sleep, until } from "../../kit/js/wait.mjs";

const kErrors = [/^\[(ERROR|WARNING)\] KLV::/];

async function withNetwork(options, body) {
  const network = await Network.start(options);
  network.expectInLog(...kErrors);
  network.expectOfLoggers(/./);
  try {
    await body(network);
  } finally {
    await network.stop();
  }
}

// A client that is sent values of some signal of the local logger.
async function watching(network) {
  const client = await network.connectReady();
  const { signal_key } = (await completeCatalogue(client)).find(({ signal_key: [, mac] }) => mac === kLoggers[0].mac);
  client.send({ command: "generic_start_sig", signal_key, interval: 100 });
  await client.answerTo("generic_sig_value");
  return client;
}

// Waits for values that come from now on.
async function valuesCome(client, timeout) {
  client.skipAll();
  await client.answerTo("generic_sig_value", timeout);
}

// The bus server's configuration with another password.
function setPassword(network, password) {
  const text = readFileSync(network.bus.file, "utf8").replace(/^authorization .*\n/m, "");
  writeFileSync(network.bus.file, password ? `${text}authorization { user: live-view, password: "${password}" }\n` : text);
}

describe("an outage", { concurrency: 4 }, () => {
  test("of 20 s of the bus server, which stands still: the same sessions go on", async () => {
    await withNetwork({}, async (network) => {
      const client = await watching(network);
      network.bus.pause();
      await sleep(20_000);
      assert.equal((await client.ask("ping")).status, "OK");
      network.bus.resume();
      const resumed = Date.now();
      await valuesCome(client, 20_000);
      console.log(`values again after ${Date.now() - resumed} ms`);
      assert.ok(client.open);
    });
  });

  test("of the bus server, killed: sessions and loggers go on by themselves", async () => {
    await withNetwork({}, async (network) => {
      const client = await watching(network);
      await network.bus.part.kill();
      assert.equal((await client.answerTo("krpbus", 12_000)).error_code, "krpbus_error");
      await network.bus.start();
      const started = Date.now();
      await valuesCome(client, 30_000);
      console.log(`values again after ${Date.now() - started} ms`);
    });
  });

  test("of the bus server, from which a session comes back long after its loggers: they serve it again", async () => {
    await withNetwork({}, async (network) => {
      const client = await watching(network);
      client.send({ command: "busload_start" });
      await client.answerTo("busload_data");
      const [session] = sessionsOf(network.apache);
      await network.bus.part.kill();
      process.kill(session, "SIGSTOP");
      await network.bus.start();
      // What they have switched on for a client that is not there they switch off again.
      for (const logger of network.loggers) {
        await until("the logger to give the session up", () => logger.part.output.match(/has gone and is served no more/g)?.length === 2);
      }
      process.kill(session, "SIGCONT");
      await valuesCome(client, 30_000);
      client.skipAll();
      await client.answerTo("busload_data", 30_000);
    });
  });

  test("of the bus server, back with another password and then with the right one", async () => {
    await withNetwork({}, async (network) => {
      const client = await watching(network);
      await network.bus.stop();
      setPassword(network, "another");
      await network.bus.start();
      // Nobody gets in, and everybody goes on trying.
      assert.equal((await client.answerTo("krpbus", 12_000)).error_code, "krpbus_error");
      assert.equal((await client.ask("ping")).status, "OK");
      await network.bus.stop();
      setPassword(network, undefined);
      await network.bus.start();
      const started = Date.now();
      await valuesCome(client, 40_000);
      console.log(`values again after ${Date.now() - started} ms`);
    });
  });

  const noClock = paths.sanitizers.length > 0 && "the sanitizer and libfaketime both have to be loaded first";
  test("of the clock, which goes back by an hour: values and answers go on", { skip: noClock }, async () => {
    const dir = mkdtempSync(path.join(os.tmpdir(), "live-view-clock-"));
    const clock = path.join(dir, "offset");
    writeFileSync(clock, "+0s\n");
    const { FAKETIME, ...faketime } = paths.wrongClock(-1);
    const env = { ...faketime, FAKETIME_TIMESTAMP_FILE: clock, FAKETIME_NO_CACHE: "1" };
    // Its processes may read little; the clock is to be part of it.
    const change = (text) => text.replace(/^ *WebSocketReadPath /m, `    WebSocketReadPath "${dir}"\n$&`);
    try {
      await withNetwork({ apache: { env, change } }, async (network) => {
        const client = await watching(network);
        writeFileSync(clock, "-3600s\n");
        await valuesCome(client, 10_000);
        assert.equal((await client.ask("ping")).status, "OK");
        assert.equal((await client.ask("get_logger_status")).logger_status.length, 3);
        assert.equal((await network.connectReady()).info.configs.length, 3);
      });
    } finally {
      rmSync(dir, { recursive: true });
    }
  });

  test("of a browser that reads nothing while 10 000 values/s flow: it is let go after 30 s, the others see nothing of it", async () => {
    const dir = mkdtempSync(path.join(os.tmpdir(), "live-view-values-"));
    const kSignals = 200;
    const names = Array.from({ length: kSignals }, (_, i) => `Flood.S${i}`);
    const recording = path.join(dir, "flood.csv");
    writeFileSync(recording, `time,${names}\n`);
    for (let row = 0; row < 50; row++) appendFileSync(recording, `${row / 50},${names.map((_, i) => row * 1000 + i)}\n`);
    try {
      await withNetwork({ loggers: [{ ...kLoggers[0], source: recording, args: [["--rate", 50]] }] }, async (network) => {
        const other = await watching(network);
        const [others] = sessionsOf(network.apache);
        const stuck = await network.connectReady();
        const stuckPid = sessionsOf(network.apache).find((pid) => pid !== others);
        for (const { signal_key } of await completeCatalogue(stuck)) stuck.send({ command: "generic_start_sig", signal_key, interval: 20 });
        await stuck.answerTo("generic_sig_value");
        const parts = [network.bus.part.pid, network.loggers[0].part.pid, others, stuckPid];
        const before = parts.map(memoryOf);
        stuck.pause();
        const paused = Date.now();
        const most = [...before];
        await until(
          "the end of its session",
          async () => {
            parts.forEach((pid, i) => (most[i] = Math.max(most[i], memoryOf(pid))));
            await sleep(200);
            return !sessionsOf(network.apache).includes(stuckPid);
          },
          90_000,
        );
        const taken = Date.now() - paused;
        console.log(`let go after ${taken} ms; memory grew by ${most.map((mb, i) => (mb - before[i]).toFixed(0))} MB`);
        assert.ok(taken > 29_000 && taken < patience(50_000), `let go after ${taken} ms`);
        most.forEach((mb, i) =>
          assert.ok(mb - before[i] < (paths.sanitizers ? 400 : 120), `process ${i} went from ${before[i]} to ${mb} MB`),
        );
        await valuesCome(other, 5_000);
      });
    } finally {
      rmSync(dir, { recursive: true });
    }
  });
});
