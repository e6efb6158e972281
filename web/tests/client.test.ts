import assert from "node:assert/strict";
import { describe, test } from "node:test";
import { LiveViewClient } from "../src/protocol/client";
import type { ClientState } from "../src/protocol/client_state";
import { NoAnswer } from "../src/protocol/request_queue";
import type { Frame, Key } from "../src/protocol/types";
import { World, settle } from "./support/world";

const kInfo = { response: "get_logger_info", ksl_name: "Net", configs: [], status: "OK" };
const kRefused = { response: "get_configs", status: "ERROR", error_code: "wait for logger info" };
const key = (name: string): Key => [name, "02"];
const stream = (name: string) => ({
  logger_name: "Front",
  bus_id: "BUSID_CAN",
  channel: 1,
  ksl_offset: 0,
  userDefinedName: name,
  unit: "",
  signal_key: key(name),
});
const catalogue = (names: string[], status: string) => ({ response: "get_signal_names", Streams: names.map(stream), status });
const started = (name: string) => ({ response: "generic_start_sig", signal_key: key(name), interval: -1, status: "OK" });
const many = (count: number) => Array.from({ length: count }, (_, index) => `S${index}`);

function connected() {
  const world = new World();
  const states: ClientState[] = [];
  const frames: Frame[] = [];
  const client = new LiveViewClient("ws://x/live", world, {
    state: (state) => states.push(state),
    frame: (frame) => frames.push(frame),
    text: () => {},
    bad: () => {},
    signals: () => {},
  });
  client.connect();
  world.socket.events.opened();
  return { world, client, states, frames };
}

/// Up to the moment at which every command is served, and the catalogue's first answer.
async function ready(names: string[], status: "OK" | "PROGRESS") {
  const all = connected();
  await settle();
  all.world.socket.say(kInfo);
  await settle();
  all.world.socket.say(catalogue(names, status));
  await settle();
  return all;
}

describe("one request at a time", () => {
  test("goes out, the next one when its answer has ended", async () => {
    const { world, client } = await ready([], "OK");
    const before = world.socket.commands.length;
    void client.commands.getConfigs();
    void client.commands.getAudioList();
    assert.deepEqual(world.socket.commands.slice(before), ["get_configs"]);
    world.socket.say({ response: "busload_start", status: "OK" });
    assert.deepEqual(world.socket.commands.slice(before), ["get_configs"]);
    world.socket.say({ response: "get_configs", configs: [], status: "OK" });
    assert.deepEqual(world.socket.commands.slice(before), ["get_configs", "get_audio_list"]);
  });

  test("a marker overtakes everything that waits, a ping everything but markers", async () => {
    const { world, client } = await ready([], "OK");
    await world.pass(9_900);
    void client.commands.getTrigger();
    void client.commands.getConfigs();
    await world.pass(200); // the ping is due meanwhile
    void client.withPriority(0).setTrigger("m");
    const before = world.socket.sent.length;
    world.socket.say({ response: "get_trigger", markers: [], status: "OK" });
    world.socket.say({ response: "ping", status: "OK" });
    const order = world.socket.sent.slice(before).map((text) => (JSON.parse(text) as { command: string }).command);
    assert.deepEqual(order, ["set_trigger", "ping", "get_configs"]);
  });

  test("an answer that never comes holds the others up only for as long as the logger serves it", async () => {
    const { world, client } = await ready([], "OK");
    const status = client.commands.getLoggerStatus();
    const late = assert.rejects(status, (error: unknown) => error instanceof NoAnswer && error.reason === "late");
    void client.commands.getConfigs().catch(() => {});
    await world.pass(2_200);
    assert.equal(world.socket.commands.at(-1), "get_logger_status");
    await world.pass(200);
    assert.equal(world.socket.commands.at(-1), "get_configs");
    await late;
  });

  test("what waits fails when the connection goes", async () => {
    const { world, client } = await ready([], "OK");
    const waiting = [client.commands.getConfigs(), client.commands.getAudioList()];
    const lost = waiting.map((one) => assert.rejects(one, (error: unknown) => error instanceof NoAnswer && error.reason === "lost"));
    world.socket.events.closed(1006, "");
    await Promise.all(lost);
  });
});

describe("logger info", () => {
  test("that stays incomplete is asked for ever more seldom, and probed each second", async () => {
    const { world, states } = connected();
    await settle();
    const asks: number[] = [];
    let probes = 0;
    let seen = 0;
    const answer = (text: string) => {
      const { command } = JSON.parse(text) as { command: string };
      if (command === "get_logger_info") asks.push(world.now() / 1000);
      if (command === "get_configs") probes++;
      world.socket.say(
        command === "get_logger_info"
          ? { ...kInfo, status: "PROGRESS" }
          : command === "ping"
            ? { response: "ping", status: "OK" }
            : kRefused,
      );
    };
    for (let tenth = 0; tenth < 800; tenth++) {
      while (seen < world.socket.sent.length) answer(world.socket.sent[seen++]!);
      await world.pass(100);
    }
    const pauses = asks.slice(1).map((second, index) => Math.round(second - asks[index]!));
    assert.deepEqual(pauses.slice(0, 5), [3, 6, 12, 24, 30]);
    assert.ok(probes > 50, `${probes} probes`);
    assert.ok(states.every(({ type }) => type !== "ready"));
  });

  test("is complete when a probe is served, and not asked for again", async () => {
    const { world, states } = connected();
    await settle();
    world.socket.say({ ...kInfo, status: "PROGRESS" });
    await world.pass(1_100);
    assert.equal(world.socket.commands.at(-1), "get_configs");
    world.socket.say({ response: "get_configs", configs: [], status: "OK" });
    await settle();
    assert.equal(states.at(-1)?.type, "ready");
    await world.pass(25_000);
    assert.equal(world.socket.commands.filter((command) => command === "get_logger_info").length, 1);
  });
});

describe("the connection", () => {
  test("is opened again after pauses that grow until the logger info was complete", async () => {
    const { world, states } = connected();
    world.chance = 1;
    const pauses: number[] = [];
    for (let attempt = 0; attempt < 8; attempt++) {
      await settle();
      world.socket.events.closed(1006, ""); // it was open: that alone is no success
      const state = states.at(-1)!;
      assert.ok(state.type === "lost");
      pauses.push(state.retryAt - world.now());
      await world.pass(state.retryAt - world.now());
      world.socket.events.opened();
    }
    assert.deepEqual(pauses, [500, 1_000, 2_000, 4_000, 8_000, 16_000, 30_000, 30_000]);
    await settle();
    world.socket.say(kInfo);
    await settle();
    world.socket.events.closed(1001, "");
    const state = states.at(-1)!;
    assert.ok(state.type === "lost");
    assert.equal(state.reason, "closed-by-logger");
    assert.equal(state.retryAt - world.now(), 500);
  });

  test("counts as gone when nothing is heard in spite of pings", async () => {
    const { world, states } = await ready([], "OK");
    await world.pass(45_000);
    const lost = states.find(({ type }) => type === "lost");
    assert.ok(lost?.type === "lost" && lost.reason === "silent");
    assert.ok(world.sockets[0]!.dropped);
  });

  test("that has no message bus is given up and tried again", async () => {
    const { world, states } = connected();
    world.socket.say({ response: "krpbus", status: "ERROR", error_code: "krpbus_error", error_msg: "not connected" });
    const state = states.at(-1)!;
    assert.ok(state.type === "lost" && state.reason === "no-bus");
  });

  test("runs again what ran before", async () => {
    const { world, client } = await ready(["A", "B"], "OK");
    client.wantLoads(true);
    client.wantMonitor(true, 3);
    client.want([{ key: key("A"), visible: true }]);
    world.socket.events.closed(1001, "");
    await world.pass(1_000);
    const socket = world.socket;
    socket.events.opened();
    await settle();
    socket.say(kInfo);
    await settle();
    socket.say(catalogue(["A", "B"], "OK"));
    await settle();
    socket.say({ response: "busload_start", status: "OK" });
    await settle();
    assert.deepEqual(socket.commands, [
      "get_logger_info",
      "get_signal_names",
      "busload_start",
      "request_screen",
      "start_monitor",
      "generic_start_sig",
    ]);
  });
});

describe("wanted signals", () => {
  test("are started one by one, those on the screen only while loggers have still to answer", async () => {
    const names = many(200);
    const { world, client } = await ready(names, "PROGRESS");
    client.want(names.map((name, index) => ({ key: key(name), visible: index >= 198 })));
    const starts = () =>
      world.socket.sent
        .filter((text) => text.includes("generic_start_sig"))
        .map((text) => (JSON.parse(text) as { signal_key: Key }).signal_key[0]);
    assert.deepEqual(starts(), ["S198"]);
    await world.pass(2_000);
    world.socket.say(started("S198"));
    world.socket.say(started("S199"));
    await settle();
    assert.deepEqual(starts(), ["S198", "S199"]);
    world.socket.say(catalogue(names, "OK"));
    for (let index = 0; index < 198; index++) world.socket.say(started(`S${index}`));
    assert.equal(starts().length, 200);
  });

  test("a marker waits behind one start at most, with 200 signals wanted", async () => {
    const names = many(200);
    const { world, client } = await ready(names, "PROGRESS");
    client.want(names.map((name) => ({ key: key(name), visible: true })));
    await world.pass(500);
    void client.withPriority(0).setTrigger("m");
    assert.equal(world.socket.commands.filter((command) => command === "generic_start_sig").length, 1);
    world.socket.say(started("S0"));
    assert.equal(world.socket.commands.at(-2), "set_trigger");
    assert.equal(world.socket.commands.at(-1), "generic_start_sig");
  });

  test("that no logger offers are started when they return", async () => {
    const { world, client } = await ready(["A"], "OK");
    client.want([{ key: key("Gone"), visible: true }]);
    assert.ok(!world.socket.commands.includes("generic_start_sig"));
    world.socket.say(catalogue(["A", "Gone"], "OK"));
    assert.equal(world.socket.commands.at(-1), "generic_start_sig");
  });

  test("are stopped when they are not wanted any more", async () => {
    const { world, client } = await ready(["A"], "OK");
    client.want([{ key: key("A"), visible: true }]);
    world.socket.say(started("A"));
    client.want([]);
    assert.equal(world.socket.commands.at(-1), "generic_stop_sig");
  });

  test("are started again when the catalogue was gathered anew by hand", async () => {
    const { world, client } = await ready(["A"], "OK");
    client.want([{ key: key("A"), visible: true }]);
    world.socket.say(started("A"));
    client.sendRaw('{"command": "get_signal_names"}');
    world.socket.say(catalogue(["A"], "OK"));
    await settle();
    assert.deepEqual(world.socket.commands.slice(-2), ["get_signal_names", "generic_start_sig"]);
  });
});

test("of large lists that come quickly only the newest is parsed, once a second", async () => {
  const { world, frames } = await ready([], "OK");
  const large = (name: string) => catalogue([...many(1_000), name], "PROGRESS");
  for (let index = 0; index < 50; index++) world.socket.say(large(`N${index}`));
  const parsed = () => frames.filter((frame) => frame.response === "get_signal_names").length - 1;
  assert.equal(parsed(), 1);
  await world.pass(1_000);
  assert.equal(parsed(), 2);
  const last = frames.at(-1)!;
  assert.ok(last.response === "get_signal_names" && last.streams?.at(-1)?.key[0] === "N49");
  await world.pass(5_000);
  assert.equal(parsed(), 2);
});

test("a large list is not left out because a list of another kind comes behind it", async () => {
  const { world, frames } = await ready([], "OK");
  world.socket.say(catalogue(many(1_000), "PROGRESS"));
  world.socket.say(catalogue(many(1_001), "OK"));
  world.socket.say({ response: "get_trigger", markers: [], status: "OK" });
  await world.pass(1_000);
  const last = frames.at(-1)!;
  assert.ok(last.response === "get_signal_names" && last.streams?.length === 1_001);
});
