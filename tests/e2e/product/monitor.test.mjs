// The remote-control monitor: the screens of the local logger's handheld unit.
import assert from "node:assert/strict";
import { after, before, beforeEach, describe, test } from "node:test";
import { answerText, errorText, requestText } from "../../kit/js/answers.mjs";
import { kLoggers, Network } from "../../kit/js/network.mjs";

const kMonitors = ["CAN1", "CAN2", "FlexRay1", "LIN1", "Ethernet1"];
const kWrongIndex = "value of 'index' must be a string between '0' and '9'";
const isValue = ({ response }) => response === "signal_message";

let network;

// All values that have come so far count as seen, and those that were still on their way: the logger answers and
// shows in order.
async function settle(client) {
  await client.ask("get_rcmonitor_names");
  client.skipAll();
}

async function values(client, count) {
  const all = [];
  while (all.length < count) all.push(await client.answerTo("signal_message"));
  return all;
}

// For ten answers of the logger, longer than it takes a screen to show a value.
async function assertShowsNothing(client) {
  const before = client.answers.length;
  for (let i = 0; i < 10; i++) await client.ask("get_rcmonitor_names");
  assert.equal(client.answers.length, before + 10);
  assert.equal(client.answers.slice(before).some(isValue), false);
}

async function screen(client, index) {
  client.send({ command: "request_screen", index });
  await settle(client);
}

describe("the remote-control monitor", () => {
  before(async () => {
    network = await Network.start({ loggers: kLoggers.slice(0, 2) });
    network.expectInLog(
      /^\[ERROR\] KLV::addStatus\(\) \{$/,
      /^\[ERROR\] KLV::(parseString|createAndSendJSON_parsingError)\(\) /,
      /^\}: no entry for index$/,
    );
  });
  after(() => network?.stop());

  let client;
  beforeEach(async () => {
    client?.terminate();
    client = await network.connectReady();
    await screen(client, "0");
  });

  test("is that of the local logger, whose monitors are listed in its order", async () => {
    const text = client.textOf(await client.ask("get_rcmonitor_names"));
    const monitors = kMonitors.map((name, index) => ({ index, name }));
    assert.equal(text, answerText({ response: "get_rcmonitor_names", rc_monitors: monitors, status: "OK" }));
  });

  test("shows nothing before its start, and then the values of the first screen", async () => {
    await settle(client);
    assert.deepEqual(client.answers.filter(isValue), []);
    client.send({ command: "start_monitor" });
    const shown = await values(client, 30);
    for (const value of shown) assert.match(value.name, /^CAN1\./);
    const speed = shown.find(({ name }) => name === "CAN1.Vehicle.Speed");
    assert.match(speed.value, /^\d+\.\d\d$/);
    assert.equal(
      client.textOf(speed),
      answerText({ response: "signal_message", name: "CAN1.Vehicle.Speed", value: speed.value, unit: "km/h" }),
    );
  });

  test("shows the screen that is selected, and nothing on one without a monitor", async () => {
    client.send({ command: "start_monitor" });
    await values(client, 1);
    for (const index of ["4", "1", "2"]) {
      await screen(client, index);
      for (const { name } of await values(client, 15)) assert.ok(name.startsWith(`${kMonitors[index]}.`), name);
    }
    await screen(client, "9");
    await assertShowsNothing(client);
    await screen(client, "3");
    for (const { name } of await values(client, 5)) assert.match(name, /^LIN1\./);
  });

  test("takes the screen's number as one character in a string only", async () => {
    for (const index of ["07", "10", "", "a", " 1", "-1"]) {
      const text = client.textOf(await client.ask("request_screen", { index }));
      assert.equal(text, errorText("request_screen", "invalid_command", kWrongIndex));
    }
    const request = { command: "request_screen" };
    assert.equal(
      client.textOf(await client.ask("request_screen")),
      errorText("request_screen", "invalid_command", `no entry for 'index'. (${requestText(request)})`),
    );
    const kNoString = "value of 'index' must be a string .  You send a Number. IsUint32: 1. IsDouble: 0 .";
    assert.equal(
      client.textOf(await client.ask("request_screen", { index: 7 })),
      errorText("request_screen", "invalid_command", `${kNoString} (${requestText({ ...request, index: 7 })})`),
    );
    // Each of the ten is taken without a word.
    const before = client.answers.length;
    for (const index of "0123456789") client.send({ command: "request_screen", index });
    await client.ask("get_rcmonitor_names");
    assert.equal(client.answers.length, before + 1);
  });

  test("is started twice without showing anything twice, and ends with one stop", async () => {
    client.send({ command: "start_monitor" });
    client.send({ command: "start_monitor" });
    await values(client, 5);
    client.send({ command: "stop_monitor" });
    await settle(client);
    await assertShowsNothing(client);
    client.send({ command: "start_monitor" });
    await values(client, 5);
  });

  test("is one for all browsers, each of which starts and stops for itself", async () => {
    const other = await network.connectReady();
    client.send({ command: "start_monitor" });
    other.send({ command: "start_monitor" });
    await values(other, 1);
    await screen(client, "2");
    await settle(other);
    for (const { name } of await values(other, 5)) assert.match(name, /^FlexRay1\./);
    other.send({ command: "stop_monitor" });
    await settle(other);
    client.skipAll();
    await Promise.all([values(client, 20), assertShowsNothing(other)]);
    other.terminate();
  });

  test("runs beside the signals, and each value has its own kind of message", async () => {
    client.send({ command: "start_monitor" });
    let catalogue = await client.ask("get_signal_names");
    while (catalogue.status !== "OK") catalogue = await client.answerTo("get_signal_names");
    const gear = catalogue.Streams.find(({ userDefinedName: name, signal_key: [, mac] }) => name === "Gear" && mac === kLoggers[0].mac);
    assert.equal((await client.ask("generic_start_sig", { signal_key: gear.signal_key, interval: 0 })).status, "OK");
    const value = await client.answerTo("generic_sig_value");
    assert.deepEqual(value.signal_key, gear.signal_key);
    assert.ok(client.answers.filter(isValue).every(({ name }) => name.startsWith("CAN1.")));
    await client.ask("generic_stop_sig", { signal_key: gear.signal_key });
    client.skipAll();
    await values(client, 5);
  });
});

describe("a handheld unit", () => {
  test("that does not answer with its monitors is an error", async () => {
    const scenario = { requests: { 83: { status: 2, error_code: 3, description: "no unit" } } };
    const network = await Network.start({ loggers: [{ ...kLoggers[0], scenario }] });
    network.expectInLog(/^\[ERROR\] KLV::(addKrpStatus|addKrpErrorCode)\(\) KRP (message|status): /);
    try {
      const client = await network.connectReady();
      assert.equal(
        client.textOf(await client.ask("get_rcmonitor_names")),
        answerText({
          response: "get_rcmonitor_names",
          rc_monitors: [],
          status: "ERROR",
          krp_status: "ERROR",
          error_code: "krpbus_error",
          krp_error_code: "KRPERROR_NOT_ALLOWED",
          krp_error_description: "no unit",
        }),
      );
    } finally {
      await network.stop();
    }
  });

  test("of a logger that stands for this machine shows its processors, memory and load", async () => {
    const network = await Network.start({ loggers: [{ ...kLoggers[0], source: "host", args: [["--rate", 20]] }] });
    try {
      const client = await network.connectReady();
      const { rc_monitors: monitors } = await client.ask("get_rcmonitor_names");
      const memory = monitors.find(({ name }) => name === "Host.Memory");
      client.send({ command: "start_monitor" });
      await screen(client, String(memory.index));
      const shown = await values(client, 2);
      assert.ok(shown.some(({ name, unit }) => name === "Host.Memory.Used" && unit === "%"));
    } finally {
      await network.stop();
    }
  });
});
