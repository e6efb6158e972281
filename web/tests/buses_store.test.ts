import assert from "node:assert/strict";
import { describe, test } from "node:test";
import { signal } from "@preact/signals";
import { parseFrame } from "../src/protocol/parse";
import { BusesStore } from "../src/store/buses_store";
import { ConnectionStore } from "../src/store/connection_store";
import type { BusState } from "../src/store/model";
import { NetworkStore } from "../src/store/network_store";

const sleep = (ms: number) => new Promise((resolve) => setTimeout(resolve, ms));
const info = (mac: string, logger_name: string) => ({
  mac,
  logger_name,
  config_name: "",
  timezone: "UTC",
  logger_type: "",
  softwareVersion: "",
});

function network(names: readonly string[]) {
  const store = new NetworkStore(() => {});
  const macs = names.map((_, index) => `0${index}`);
  store.take(parseFrame(JSON.stringify({ response: "get_ksl_network", ksl_network: macs.slice(1), status: "OK" })), 0);
  store.take(
    parseFrame(
      JSON.stringify({
        response: "get_logger_info",
        ksl_name: "N",
        configs: macs.map((mac, index) => info(mac, names[index]!)),
        status: "OK",
      }),
    ),
    0,
  );
  return store;
}

const load = (value: number, { channel = 1, logger = "", offset = 0, timestamp = 5_000_000, unit = "UNIT_PERCENT" } = {}) =>
  parseFrame(
    JSON.stringify({
      response: "busload_data",
      timestamp,
      ...(logger === "" ? {} : { logger_name: logger }),
      data: { bus_id: "BUSID_CAN", channel, ksl_offset: offset, name: "CAN", unit, value },
      status: "OK",
    }),
  );

describe("bus loads", () => {
  test("belong to the logger that they name, to the local one without a name, and to nobody where two could be meant", async () => {
    const buses = new BusesStore(network(["Front", "Rear", "Twin", "Twin"]));
    for (const frame of [load(10), load(20, { logger: "Rear", offset: 8 }), load(30, { logger: "Twin", offset: 16 })]) buses.take(frame, 0);
    await sleep(250);
    assert.deepEqual(
      buses.state.value.buses.map(({ logger, bus, load: value, unit }) => ({ logger, bus, value, unit })),
      [
        { logger: "Front", bus: "CAN 1", value: 10, unit: "%" },
        { logger: "Rear", bus: "CAN 1", value: 20, unit: "%" },
        { logger: "", bus: "CAN 1", value: 30, unit: "%" },
      ],
    );
  });

  test("are compared with those before, whatever unit a logger tells them in", async () => {
    const buses = new BusesStore(network(["Front"]));
    for (const frame of [
      load(900_000, { unit: "UNIT_BYTES_SEC", timestamp: 1_000_000 }),
      load(1_045, { unit: "UNIT_KBYTES_SEC", timestamp: 2_000_000 }),
      load(2, { unit: "UNIT_MBYTES_SEC", timestamp: 3_000_000 }),
      load(500_000, { unit: "UNIT_BYTES_SEC", timestamp: 4_000_000 }),
    ])
      buses.take(frame, 0);
    await sleep(250);
    const [{ load: value, unit, peak, recent }] = buses.state.value.buses as [BusState];
    assert.deepEqual(
      [value, unit, peak, [...recent].map(Math.round)],
      [500_000, "B/s", 2_000_000, [900_000, 1_045_000, 2_000_000, 500_000]],
    );
  });

  test("forget the peak of another thing", async () => {
    const buses = new BusesStore(network(["Front"]));
    buses.take(load(900, { unit: "UNIT_FRAMES_SEC" }), 0);
    buses.take(load(30, { timestamp: 6_000_000 }), 0);
    await sleep(250);
    const [{ unit, peak, recent }] = buses.state.value.buses as [BusState];
    assert.deepEqual([unit, peak, [...recent]], ["%", 30, [NaN, 30]]);
  });

  test("go back a minute, however many come in a second", async () => {
    const buses = new BusesStore(network(["Front"]));
    for (let tenth = 0; tenth <= 900; tenth++) buses.take(load(tenth % 100, { timestamp: 1_000_000 + tenth * 100_000 }), 0);
    await sleep(250);
    const [{ recentX }] = buses.state.value.buses as [BusState];
    const newest = recentX[recentX.length - 1]!;
    assert.equal(newest, 91);
    assert.ok(recentX[0]! <= newest - 60 && recentX[1]! >= newest - 60, `${recentX[0]}, ${recentX[1]}`);
  });

  test("are unknown at -4 and -2, and the peak stays", async () => {
    const buses = new BusesStore(network(["Front"]));
    for (const value of [10, 40, 20]) buses.take(load(value), 0);
    buses.take(load(-4, { unit: "UNIT_NONE" }), 0);
    buses.take(load(-2, { channel: 2 }), 0);
    await sleep(250);
    assert.deepEqual(
      buses.state.value.buses.map(({ load: value, peak }) => [value, peak]),
      [
        [null, 40],
        [null, null],
      ],
    );
  });

  test("that all become unknown at once, unasked, tell that a logger is off", async () => {
    const buses = new BusesStore(network(["Front"]));
    buses.expect(0);
    for (const channel of [1, 2]) buses.take(load(-4, { channel, timestamp: 0 }), 100);
    for (const channel of [1, 2]) buses.take(load(10, { channel }), 3_000);
    buses.take(load(-4, { channel: 1 }), 10_000);
    await sleep(400);
    assert.equal(buses.offSince.value, null, "one alone does not");
    buses.take(load(10, { channel: 1 }), 11_000);
    for (const channel of [1, 2]) buses.take(load(-4, { channel }), 20_000);
    await sleep(400);
    assert.equal(buses.offSince.value, 20_000);
    buses.take(load(1), 21_000);
    assert.equal(buses.offSince.value, null);
  });
});

describe("the network", () => {
  test("has the local logger first, and tells two of one name apart", () => {
    const { loggers } = network(["Twin", "Rear", "Twin"]).state.value;
    assert.deepEqual(
      loggers.map(({ label, local }) => [label, local]),
      [
        ["Twin (00)", true],
        ["Rear", false],
        ["Twin (02)", false],
      ],
    );
  });

  test("names those that have not told about themselves, by an earlier name where there is one", () => {
    const store = network(["Front", "Rear"]);
    store.begin();
    store.take(parseFrame('{"response":"get_ksl_network","ksl_network":["01","07"],"status":"OK"}'), 0);
    store.take(
      parseFrame(JSON.stringify({ response: "get_logger_info", ksl_name: "N", configs: [info("00", "Front")], status: "PROGRESS" })),
      0,
    );
    assert.deepEqual(store.missing(), ["Rear", "07"]);
  });

  test("is in the order in which people count, the local logger first", () => {
    const store = network(["Rear", "Desk 10", "Desk 9"]);
    assert.deepEqual(
      store.state.value.loggers.map(({ label }) => label),
      ["Rear", "Desk 9", "Desk 10"],
    );
  });

  test("tells who has left when the next connection's network is complete, until it is back", () => {
    const store = network(["Front", "Rear"]);
    store.heard("01", 5_000);
    const join = (...macs: string[]) => {
      store.begin();
      const configs = macs.map((mac) => info(mac, mac === "00" ? "Front" : "Rear"));
      store.take(parseFrame(JSON.stringify({ response: "get_ksl_network", ksl_network: macs.slice(1), status: "OK" })), 6_000);
      store.take(parseFrame(JSON.stringify({ response: "get_logger_info", ksl_name: "N", configs, status: "OK" })), 6_000);
    };
    join("00");
    assert.deepEqual(store.state.value.gone, [], "who has not told about itself yet has not left");
    store.setComplete();
    assert.deepEqual(store.state.value.gone, [{ mac: "01", label: "Rear", heardAt: 5_000 }]);
    join("00", "01");
    store.setComplete();
    assert.deepEqual(store.state.value.gone, []);
    join("00");
    store.heard("00", 700_000);
    join("00");
    store.setComplete();
    assert.deepEqual(store.state.value.gone, [], "ten minutes later it is not told of any more");
    join("01");
    store.forgetAll();
    store.setComplete();
    assert.deepEqual(store.state.value.gone, [], "another session has nothing to do with it");
  });

  test("makes the connection silent when nobody answers, since the last one was heard", () => {
    const store = network(["Front", "Rear"]);
    const connection = new ConnectionStore(store, { offSince: signal(null) } as unknown as BusesStore);
    connection.takeState({ type: "ready" }, 0);
    store.heard("00", 5_000);
    store.heard("01", 7_000);
    store.someoneSilent(11_000);
    assert.deepEqual(connection.state.value, { type: "live" });
    store.someoneSilent(15_000);
    assert.deepEqual(connection.state.value, { type: "silent", sinceAt: 7_000 });
    store.heard("00", 16_000);
    assert.deepEqual(connection.state.value, { type: "live" });
  });

  test("tells who is silent when somebody has not answered", () => {
    const store = network(["Front", "Rear"]);
    store.heard("00", 20_000);
    store.someoneSilent(21_000);
    assert.deepEqual(
      store.state.value.loggers.map(({ answers }) => answers),
      [true, false],
    );
    store.heard("01", 22_000);
    assert.deepEqual(
      store.state.value.loggers.map(({ answers }) => answers),
      [true, true],
    );
  });
});
