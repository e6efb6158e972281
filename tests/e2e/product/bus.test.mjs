// The message bus is away: from the beginning, or from some moment on.
import assert from "node:assert/strict";
import { after, before, describe, test } from "node:test";
import { errorText, okText } from "../../kit/js/answers.mjs";
import { kLoggers, Network } from "../../kit/js/network.mjs";
import { until } from "../../kit/js/wait.mjs";

describe("a bus server that is away at the start", () => {
  let network;
  before(async () => {
    network = await Network.start({ bus: false, loggers: [] });
    network.expectInLog(/^\[ERROR\] KLV::/);
  });
  after(() => network?.stop());

  test("three retries, one error, and the session stays without a bus", async () => {
    const started = Date.now();
    const client = await network.connect();
    const error = await client.next();
    assert.ok(Date.now() - started >= 2_900, "three retries a second apart");
    assert.equal(client.textOf(error), errorText("krpbus", "krpbus_error", "not connected"));
    const count = (text) => network.apache.log.text.split(text).length - 1;
    assert.equal(count("Connection to KRPBus server failed, retrying...\n"), 3);
    assert.equal(count("Not connected to server!\n"), 1);
    assert.equal(count(`no bus server can be reached at nats://127.0.0.1:${network.bus.port}\n`), 1);

    await network.bus.start();
    await network.addLogger(kLoggers[0]);
    assert.equal((await network.connectReady()).info.configs.length, 1);
    // Another session has its bus by now; this one has none for good.
    const info = await client.ask("get_logger_info");
    assert.equal(info.status, "PROGRESS");
    assert.deepEqual(info.configs, []);
    assert.equal(await client.rawAnswer('{"command":"ping"}'), okText("ping"));
    assert.equal(client.answers.filter(({ response }) => response === "krpbus").length, 1);
  });
});

describe("a bus server that goes away during a session", () => {
  let network;
  before(async () => {
    network = await Network.start();
    network.expectInLog(/^\[ERROR\] KLV::/);
    network.expectOfLoggers(/the bus server has gone/, /dropped: no connection to the bus server/);
  });
  after(() => network?.stop());

  test("the error comes about every 5 s, and live again is the same session when the server is back", async () => {
    const client = await network.connectReady();
    await network.bus.stop();
    const gone = Date.now();
    const kError = errorText("krpbus", "krpbus_error", "oops, krpbus server is gone");
    assert.equal(client.textOf(await client.next(12_000)), kError);
    const first = Date.now();
    assert.equal(client.textOf(await client.next(12_000)), kError);
    const second = Date.now();
    assert.ok(first - gone > 4_500 && first - gone < 8_000, `the first error came after ${first - gone} ms`);
    assert.ok(second - first > 4_500 && second - first < 8_000, `the second error came after ${second - first} ms`);
    // Commands are served all the while.
    assert.equal((await client.ask("ping")).status, "OK");

    await network.bus.start();
    // The loggers, too, need a moment to come back.
    let info;
    await until(
      "three loggers",
      async () => {
        info = await client.ask("get_logger_info", {}, 20_000);
        return info.status === "OK" && info.configs.length === 3;
      },
      60_000,
    );
    assert.deepEqual(
      info.configs.map(({ mac }) => mac),
      network.loggers.map(({ mac }) => mac),
    );
    assert.equal((await client.ask("get_logger_status")).logger_status.length, 3);
    assert.ok(client.open);
  });
});
