// A browser's conversation from its first command to its last, answers compared whole.
import assert from "node:assert/strict";
import { after, before, describe, test } from "node:test";
import { answerText, errorText, okText } from "../../kit/js/answers.mjs";
import { completeInfo, Network } from "../../kit/js/network.mjs";

let network;

before(async () => {
  network = await Network.start({ networkName: "Fleet 7 \u00fc <&>" });
});

after(() => network?.stop());

// What a command that needs logger info is told without it.
const kWait = "wait for logger info";

describe("before the logger info is complete", () => {
  test("a ping is answered", async () => {
    const client = await network.connect();
    assert.equal(await client.rawAnswer('{"command":"ping"}'), okText("ping"));
  });

  for (const command of ["get_bus_names", "get_signal_names", "get_configs", "close_webapp"]) {
    test(`${command} is refused`, async () => {
      const client = await network.connect();
      assert.equal(await client.rawAnswer(`{"command":"${command}"}`), errorText(command, kWait));
      assert.ok(client.open);
    });
  }

  test("the other commands about the network are answered", async () => {
    const client = await network.connect();
    for (const command of ["get_logger_status", "get_ksl_network", "get_ksl_time_offset"]) {
      assert.equal((await client.ask(command)).status, "OK");
    }
    client.skipAll();
    assert.equal(await client.rawAnswer('{"command":"get_bus_names"}'), errorText("get_bus_names", kWait));
  });
});

describe("with complete logger info", () => {
  test("get_logger_info lists three loggers with all members", async () => {
    const client = await network.connect();
    const answer = await completeInfo(client);
    const expected = {
      response: "get_logger_info",
      ksl_name: "Fleet 7 \u00fc <&>",
      configs: network.loggers.map((logger) => ({
        mac: logger.mac,
        logger_name: logger.name,
        config_name: logger.config,
        timezone: logger.timezone,
        logger_type: logger.type,
        softwareVersion: logger.softwareVersion,
      })),
      status: "OK",
    };
    assert.equal(client.textOf(answer), answerText(expected));
    for (const entry of answer.configs) for (const value of Object.values(entry)) assert.notEqual(value, "");
  });

  test("get_logger_status lists each logger's state", async () => {
    const client = await network.connectReady();
    assert.equal(
      await client.rawAnswer('{"command":"get_logger_status"}'),
      answerText({
        response: "get_logger_status",
        logger_status: network.loggers.map(({ mac, status }) => ({ mac, status: String(status) })),
        status: "OK",
      }),
    );
  });

  test("get_ksl_network lists the other loggers", async () => {
    const client = await network.connectReady();
    assert.equal(
      await client.rawAnswer('{"command":"get_ksl_network"}'),
      answerText({
        response: "get_ksl_network",
        ksl_network: network.loggers.slice(1).map(({ mac }) => mac),
        status: "OK",
      }),
    );
  });

  test("get_ksl_time_offset lists each logger's offset", async () => {
    const client = await network.connectReady();
    assert.equal(
      await client.rawAnswer('{"command":"get_ksl_time_offset"}'),
      answerText({
        response: "get_ksl_time_offset",
        offset: network.loggers.map(({ mac, timeOffset }) => ({ mac, time_offset: timeOffset })),
        status: "OK",
      }),
    );
  });

  test("a command of nobody is invalid", async () => {
    const client = await network.connectReady();
    assert.equal(await client.rawAnswer('{"command":"get_everything"}'), errorText("get_everything", "invalid_command"));
  });

  test("members that a command does not know are ignored", async () => {
    const client = await network.connectReady();
    assert.equal(await client.rawAnswer('{"x":[{}],"command":"ping","command":"other"}'), okText("ping"));
  });

  test("every command can be asked again and again", async () => {
    const client = await network.connectReady();
    for (let round = 0; round < 5; round++) {
      assert.deepEqual(await completeInfo(client), client.info);
      assert.equal((await client.ask("get_logger_status")).logger_status.length, 3);
      assert.equal((await client.ask("get_ksl_network")).ksl_network.length, 2);
      assert.equal((await client.ask("get_ksl_time_offset")).offset.length, 3);
    }
  });

  test("commands sent in one go are all answered, in order", async () => {
    const client = await network.connectReady();
    const count = 300;
    for (let index = 0; index < count; index++) client.send({ command: index % 3 === 0 ? "ping" : `command ${index}` });
    for (let index = 0; index < count; index++) {
      assert.equal((await client.next()).response, index % 3 === 0 ? "ping" : `command ${index}`);
    }
  });

  test("close_webapp closes with 1001", async () => {
    const client = await network.connectReady();
    const before = client.frames.length;
    client.send({ command: "close_webapp" });
    assert.deepEqual(await client.closed(), { code: 1001, reason: "" });
    assert.equal(client.frames.length, before, "no answer but the close frame");
  });
});
