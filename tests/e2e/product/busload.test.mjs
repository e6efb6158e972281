// Buses, their loads and GPS states, from the loggers to the browser.
import assert from "node:assert/strict";
import { mkdtempSync, rmSync, writeFileSync } from "node:fs";
import { createServer, connect } from "node:net";
import os from "node:os";
import path from "node:path";
import { after, before, describe, test } from "node:test";
import { answerText, okText } from "../../kit/js/answers.mjs";
import { kLoggers, Network } from "../../kit/js/network.mjs";
import { until } from "../../kit/js/wait.mjs";

const [kFront, kRear, kRoof] = kLoggers;

const kDriveBuses = ["CAN1", "CAN2", "LIN1", "FlexRay1", "Ethernet1", "MOST1", "GPS1"];

const isFigure = (answer) => answer.response === "busload_data";
const figuresOf = (client, name, logger) => client.answers.filter((a) => isFigure(a) && a.data.name === name && a.logger_name === logger);

// The complete catalogue, and how many partial ones came before it.
async function catalogueOf(client, members = { active: 1 }) {
  client.send({ command: "get_bus_names", ...members });
  for (let partial = 0; ; partial++) {
    const answer = await client.answerTo("get_bus_names");
    if (answer.status !== "PROGRESS") return { ...answer, partial };
  }
}

async function figuresCome(client, name, logger, count) {
  await until(
    () => `${count} figures of ${name}; so far: ${JSON.stringify(figuresOf(client, name, logger))}`,
    () => figuresOf(client, name, logger).length >= count,
    20_000,
  );
}

let network;

before(async () => {
  network = await Network.start({
    loggers: [
      { ...kFront, source: "host", args: [["--rate", 10]] },
      {
        ...kRear,
        args: [
          ["--rate", 10],
          ["--network-offset", 8],
        ],
      },
      {
        ...kRoof,
        args: [
          ["--rate", 10],
          ["--network-offset", 16],
        ],
      },
    ],
  });
});

after(async () => {
  await network?.stop();
});

describe("bus names", () => {
  test("come from every logger, partly and then completely, and once", async () => {
    const client = await network.connectReady();
    const catalogue = await catalogueOf(client);
    assert.equal(catalogue.status, "OK");
    assert.equal(catalogue.partial, 2);
    const rear = catalogue.busnames.filter(({ ksl_offset }) => ksl_offset === 8);
    assert.deepEqual(
      rear.map(({ bus_name }) => bus_name),
      kDriveBuses,
    );
    assert.deepEqual(rear.slice(0, 2), [
      { bus_id: "BUSID_CAN", channel: 8, ksl_offset: 8, bus_name: "CAN1" },
      { bus_id: "BUSID_CAN", channel: 9, ksl_offset: 8, bus_name: "CAN2" },
    ]);
    const local = catalogue.busnames.filter(({ ksl_offset }) => ksl_offset === 0);
    assert.ok(local.some(({ bus_name }) => bus_name === "lo"));
    assert.ok(local.every(({ bus_id }) => bus_id === "BUSID_ETHERNET"));
    assert.deepEqual(
      local.map(({ channel }) => channel),
      local.map((_, i) => i + 1),
    );

    client.send({ command: "get_bus_names", active: 1 });
    assert.equal(await client.rawAnswer('{"command":"ping"}'), okText("ping"));
    client.terminate();
  });

  test("hold the buses that are not in use where those are wanted", async () => {
    const client = await network.connectReady();
    const catalogue = await catalogueOf(client, { active: 0 });
    assert.equal(catalogue.busnames.filter(({ bus_name }) => bus_name === "CAN3").length, 2);
    client.terminate();
  });
});

describe("bus loads", () => {
  test("come live from start to stop", async () => {
    const client = await network.connectReady();
    client.send({ command: "busload_start" });
    assert.equal((await client.answerTo("busload_start")).status, "OK");
    const live = (logger) => figuresOf(client, "CAN1", logger).filter(({ data }) => data.value !== -4);
    await until("live figures of both", () => live(kRear.name).length >= 4 && live(kRoof.name).length >= 4);
    const first = figuresOf(client, "CAN1", kRear.name)[0];
    const others = live(kRear.name);
    assert.equal(
      client.textOf(first),
      answerText({
        response: "busload_data",
        timestamp: 0,
        logger_name: kRear.name,
        data: { bus_id: "BUSID_CAN", channel: 8, ksl_offset: 8, name: "CAN1", unit: "UNIT_NONE", value: -4 },
        status: "OK",
      }),
    );
    for (const { timestamp, data } of others) {
      assert.equal(data.unit, "UNIT_PERCENT");
      assert.ok(data.value >= 0 && data.value <= 100, `${data.value} %`);
      assert.ok(Math.abs(timestamp / 1000 - Date.now()) < 60_000);
    }
    // Only changes are shown.
    for (let i = 1; i < others.length; i++) {
      if (others[i].timestamp !== others[i - 1].timestamp) assert.notEqual(others[i].data.value, others[i - 1].data.value);
    }

    client.skipAll();
    const busOf = ({ data }) => `${data.bus_id} ${data.ksl_offset} ${data.name}`;
    const loads = () => client.answers.filter((a) => isFigure(a) && a.data.bus_id !== undefined);
    const buses = new Set(loads().map(busOf));
    assert.ok(buses.size > 2 * kDriveBuses.length);
    const before = loads().length;
    client.send({ command: "busload_stop" });
    assert.equal(client.textOf(await client.answerTo("busload_stop")), okText("busload_stop"));
    // A figure that was on its way may still come after it.
    const unknown = loads()
      .slice(before)
      .filter(({ data }) => data.value === -4);
    assert.deepEqual(new Set(unknown.map(busOf)), buses);

    client.send({ command: "busload_start" });
    await client.answerTo("busload_start");
    await figuresCome(client, "CAN1", kRear.name, figuresOf(client, "CAN1", kRear.name).length + 3);
    client.terminate();
  });

  test("start twice, and are shown at once the second time", async () => {
    const client = await network.connectReady();
    await catalogueOf(client);
    await client.ask("busload_start");
    await figuresCome(client, "CAN2", kRoof.name, 2);
    const before = figuresOf(client, "CAN3", kRoof.name).length + figuresOf(client, "GPS1", kRoof.name).length;
    const again = await client.ask("busload_start");
    assert.equal(
      client.textOf(again),
      answerText({ response: "busload_start", status: "OK", error_msg: "busload module is already running" }),
    );
    await until("the values are shown again", () => figuresOf(client, "GPS1", kRoof.name).length > before);
    client.terminate();
  });

  test("hold the figures and locks of MOST", async () => {
    const client = await network.connectReady();
    await client.ask("busload_start");
    const isMost = (answer) => isFigure(answer) && answer.data.bus_status_string !== undefined;
    await until("MOST figures", () => client.answers.some((a) => isMost(a) && a.logger_name === kRoof.name));
    const { data } = client.answers.find(isMost);
    assert.deepEqual(Object.keys(data), [
      "bus_status",
      "bus_status_string",
      "num_control_msg",
      "bytes_control_msg",
      "num_mdp_msg",
      "bytes_mdp_msg",
      "num_mep_msg",
      "bytes_mep_msg",
      "num_streaming_ch",
      "streaming_ch_size",
    ]);
    client.terminate();
  });

  test("tell of a GPS fix once", async () => {
    const client = await network.connectReady();
    await client.ask("busload_start");
    const states = () => client.answers.filter((a) => isFigure(a) && a.data.gps_status !== undefined);
    const of = (channel) => states().filter(({ data }) => data.channel === channel);
    // The two receivers differ by their loggers' offsets.
    await until(
      "a fix of both receivers",
      () => [8, 16].every((channel) => of(channel).some(({ data }) => data.gps_status === "A")),
      20_000,
    );
    // Ten states a second come from each logger.
    await figuresCome(client, "CAN1", kRear.name, figuresOf(client, "CAN1", kRear.name).length + 10);
    for (const { data } of states()) {
      assert.equal(data.name, "GPS");
      assert.equal(data.value, data.gps_status === "A" ? 0 : -4);
    }
    for (const channel of [8, 16]) {
      // What a catalogue repeats has the time of the change.
      const changes = of(channel).filter(({ timestamp }, i, all) => timestamp !== all[i - 1]?.timestamp);
      for (let i = 1; i < changes.length; i++) {
        assert.notEqual(changes[i].data.gps_status, changes[i - 1].data.gps_status);
      }
    }
    client.terminate();
  });

  test("show a real transfer over the loopback interface", async () => {
    const client = await network.connectReady();
    await client.ask("busload_start");
    const server = createServer((socket) => socket.resume());
    await new Promise((resolve) => server.listen(0, "127.0.0.1", resolve));
    const socket = connect(server.address().port, "127.0.0.1");
    const block = Buffer.alloc(1 << 20);
    const pour = () => {
      while (!socket.destroyed && socket.write(block));
    };
    socket.on("drain", pour);
    pour();
    const kBytes = { UNIT_BYTES_SEC: 1, UNIT_KBYTES_SEC: 1e3, UNIT_MBYTES_SEC: 1e6, UNIT_GBYTES_SEC: 1e9 };
    const load = ({ data }) => data.value * kBytes[data.unit];
    await until(
      () => `a load of 10 MB/s; so far: ${figuresOf(client, "lo").map(load)}`,
      () => figuresOf(client, "lo").some((figure) => load(figure) > 1e7),
      20_000,
    );
    socket.destroy();
    server.close();
    client.terminate();
  });

  test("turn unknown when a logger is off, and the connection stays", async () => {
    const client = await network.connectReady();
    await client.ask("busload_start");
    await figuresCome(client, "CAN1", kRear.name, 3);
    const count = client.answers.length;
    await network.loggers[0].tell("8-loggerOff");
    await until("everything is unknown", () =>
      client.answers.slice(count).some((a) => isFigure(a) && a.data.name === "CAN1" && a.data.value === -4),
    );
    assert.equal((await client.ask("ping")).status, "OK");
    client.terminate();
  });
});

describe("a recording", () => {
  test("may hold loads of buses", async () => {
    const dir = mkdtempSync(path.join(os.tmpdir(), "live-view-loads-"));
    const file = path.join(dir, "lap.csv");
    writeFileSync(
      file,
      "time,Speed [km/h],BUSID_CAN 1 Powertrain [UNIT_PERCENT],BUSID_FLEXRAY 2 Chassis [UNIT_KBYTES_SEC]\n0,1,31,\n0.3,2,34,700\n",
    );
    let recorded;
    try {
      recorded = await Network.start({ loggers: [{ ...kFront, source: file, args: [["--rate", 20]] }] });
      const client = await recorded.connectReady();
      assert.deepEqual((await catalogueOf(client)).busnames, [
        { bus_id: "BUSID_CAN", channel: 1, ksl_offset: 0, bus_name: "Powertrain" },
        { bus_id: "BUSID_FLEXRAY", channel: 2, ksl_offset: 0, bus_name: "Chassis" },
      ]);
      await client.ask("busload_start");
      await figuresCome(client, "Powertrain", undefined, 5);
      await figuresCome(client, "Chassis", undefined, 2);
      const loads = (name) => figuresOf(client, name).map(({ data }) => `${data.value} ${data.unit}`);
      const [first, ...powertrain] = loads("Powertrain");
      assert.equal(first, "-4 UNIT_NONE");
      assert.deepEqual(new Set(powertrain), new Set(["31 UNIT_PERCENT", "34 UNIT_PERCENT"]));
      assert.ok(
        powertrain.every((load, i) => load !== powertrain[i - 1]),
        `${powertrain}`,
      );
      assert.deepEqual(loads("Chassis"), ["-4 UNIT_NONE", "700 UNIT_KBYTES_SEC"]);
    } finally {
      await recorded?.stop();
      rmSync(dir, { recursive: true, force: true });
    }
  });
});
