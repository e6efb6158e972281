// A vehicle's CAN buses and its GPS receiver, from frames to the browser.
import assert from "node:assert/strict";
import { execFileSync, spawn } from "node:child_process";
import dgram from "node:dgram";
import {
  closeSync,
  constants,
  existsSync,
  mkdirSync,
  mkdtempSync,
  openSync,
  readFileSync,
  rmSync,
  writeFileSync,
  writeSync,
} from "node:fs";
import os from "node:os";
import path from "node:path";
import { after, before, describe, test } from "node:test";
import { Dbc } from "candied";
import { kLoggers, Network } from "../../kit/js/network.mjs";
import { sourceDir } from "../../kit/js/paths.mjs";
import { freePort } from "../../kit/js/ports.mjs";
import { until } from "../../kit/js/wait.mjs";

const [kFront, kRear] = kLoggers;
let dir;

before(() => {
  dir = mkdtempSync(path.join(os.tmpdir(), "live-view-can-"));
});
after(() => rmSync(dir, { recursive: true, force: true }));

function write(name, text) {
  const file = path.join(dir, name);
  writeFileSync(file, text);
  return file;
}

// One signal of every kind; `start`, `length` and so on are what the database says of it.
const kSignals = [
  ["Intel.Unsigned", "0|12@1+", 0.1, -40],
  ["Intel.Signed", "12|13@1-", 1, 0],
  ["Intel.Long", "25|39@1+", 1, 0],
  ["Motorola.Unsigned", "3|12@0+", 0.25, 0],
  ["Motorola.Signed", "23|17@0-", -0.5, 3],
  ["Motorola.Odd", "36|21@0+", 1, 0],
  ["Whole.All", "0|64@1+", 1, 0],
  ["WholeSigned.All", "7|64@0-", 1, 0],
  ["Single.Value", "0|32@1-", 1, 0, "float"],
  ["Double.Value", "7|64@0-", 1, 0, "double"],
  ["Fd.Last", "500|12@1+", 1, 0],
  ["Fd.First", "7|8@0+", 0.5, 0],
];

const names = [...new Set(kSignals.map(([name]) => name.split(".")[0]))];
const sizes = { Fd: 64 };
const idOf = (message) => (message === "Fd" ? 0x80000000 + 0x1abcdef : 0x100) + names.indexOf(message);

function database() {
  let text = 'VERSION ""\nBU_: X\n';
  for (const message of names) {
    text += `BO_ ${idOf(message)} ${message}: ${sizes[message] ?? 8} X\n`;
    for (const [name, place, factor, offset] of kSignals.filter(([signal]) => signal.startsWith(`${message}.`)))
      text += ` SG_ ${name.split(".")[1]} : ${place} (${factor},${offset}) [0|0] "\u00b0" X\n`;
  }
  text += 'BO_ 800 Mux: 8 X\n SG_ Root M : 0|8@1+ (1,0) [0|0] "" X\n SG_ One m1M : 8|8@1+ (1,0) [0|0] "" X\n';
  text += ' SG_ Two m2 : 8|8@1+ (1,0) [0|0] "" X\n SG_ Deep m4 : 16|8@1+ (1,0) [0|0] "" X\nSG_MUL_VAL_ 800 Deep One 4-5, 7-7;\n';
  text += `SIG_VALTYPE_ ${idOf("Single")} Value : 1;\nSIG_VALTYPE_ ${idOf("Double")} Value : 2;\n`;
  text += 'VAL_ 800 Root 1 "first; \\"one\\"" 2 "second" ;\n';
  return text;
}

// The value of a signal by a walk over its bits, as the browser is to see it.
function expected([, place, factor, offset, kind], bytes) {
  const [start, length, order, sign] = /(\d+)\|(\d+)@([01])([+-])/.exec(place).slice(1);
  let bit = Number(start);
  let raw = 0n;
  for (let i = 0n; i < BigInt(length); i++) {
    const isSet = BigInt((bytes[bit >> 3] >> (bit & 7)) & 1);
    if (order === "1") {
      raw |= isSet << i;
      bit++;
    } else {
      raw = (raw << 1n) | isSet;
      bit = bit % 8 === 0 ? bit + 15 : bit - 1;
    }
  }
  const view = new DataView(new ArrayBuffer(8));
  view.setBigUint64(0, raw);
  if (kind === "double") return view.getFloat64(0);
  if (kind === "float") return Number(view.getFloat32(4).toPrecision(9));
  if (sign === "-" && raw >> BigInt(Number(length) - 1)) raw -= 1n << BigInt(length);
  return Number(raw) * factor + offset;
}

// A stream of bytes that is the same each time.
function* bytesFrom(seed) {
  for (let state = seed; ; ) {
    state = (Math.imul(state, 1664525) + 1013904223) >>> 0;
    yield state >>> 24;
  }
}

const hex = (bytes) =>
  [...bytes]
    .map((byte) => byte.toString(16).padStart(2, "0"))
    .join("")
    .toUpperCase();

const kRounds = 8;
const kStep = 0.25;

// A recording of several rounds, and the values in it by signal.
function recording() {
  const random = bytesFrom(42);
  const lines = [];
  const values = new Map(kSignals.map(([name]) => [name, []]));
  for (let round = 0; round < kRounds; round++) {
    const time = (1000 + round * kStep).toFixed(6);
    for (const message of names) {
      const bytes = Uint8Array.from({ length: sizes[message] ?? 8 }, () => random.next().value);
      if (message === "Single") bytes[3] = 0x40 | (bytes[3] & 1);
      if (message === "Double") bytes[0] = 0x40;
      const id = idOf(message);
      const text = id > 0x7fffffff ? (id - 0x80000000).toString(16).padStart(8, "0") : id.toString(16);
      lines.push(`(${time}) can0 ${text}${sizes[message] ? "##1" : "#"}${hex(bytes)}`);
      for (const signal of kSignals.filter(([name]) => name.startsWith(`${message}.`))) values.get(signal[0]).push(expected(signal, bytes));
    }
    lines.push(`(${time}) can0 320#${["010407", "020500", "010809", "0107FF"][round % 4]}`);
  }
  return { text: `${lines.join("\n")}\n`, values };
}

async function catalogueOf(client) {
  client.send({ command: "get_signal_names" });
  for (;;) {
    const answer = await client.answerTo("get_signal_names");
    if (answer.status !== "PROGRESS") return answer.Streams.map(({ signal_key: key }) => key[0]);
  }
}

async function connect(network) {
  const client = await network.connectReady();
  client.catalogue = await catalogueOf(client);
  client.skipAll();
  return client;
}

const start = (client, name, mac = kFront.mac) => client.ask("generic_start_sig", { signal_key: [name, mac], interval: 100 }, 20_000);
const values = (client, name) =>
  client.answers.filter((answer) => answer.response === "generic_sig_value" && answer.status === "OK" && answer.signal_key[0] === name);
const close = (left, right) => left === right || Math.abs(left - right) <= 1e-6 * Math.max(Math.abs(left), Math.abs(right));

describe("a recording of frames", () => {
  let network;
  let record;
  before(async () => {
    record = recording();
    const log = write("every.log", record.text);
    const dbc = write("every.dbc", database());
    network = await Network.start({ loggers: [{ ...kFront, source: `can:${log}`, args: [["--dbc", dbc]] }] });
  });
  after(() => network?.stop());

  test("has a signal for each one of its database", async () => {
    const client = await connect(network);
    const mux = ["Mux.Root", "Mux.One", "Mux.Two", "Mux.Deep"];
    assert.deepEqual(client.catalogue, [...kSignals.map(([name]) => name), ...mux].sort());
  });

  test("brings every kind of signal value by value", async () => {
    const client = await connect(network);
    for (const [name] of kSignals) assert.equal((await start(client, name)).status, "OK");
    for (const [name] of kSignals) {
      await until(
        () => `${kRounds} values of ${name}`,
        () => values(client, name).length >= kRounds + 2,
        60_000,
      );
      for (const { value } of values(client, name))
        assert.ok(
          record.values.get(name).some((one) => close(one, value)),
          `${name}: ${value} is none of ${record.values.get(name)}`,
        );
      const different = new Set(values(client, name).map(({ value }) => value));
      assert.ok(different.size >= kRounds / 2, `${name}: ${[...different]}`);
    }
  });

  test("brings multiplexed signals as their switches select them, with the texts of values", async () => {
    const client = await connect(network);
    for (const name of ["Mux.Root", "Mux.One", "Mux.Two", "Mux.Deep"]) await start(client, name);
    await until("values of each", () => ["Mux.Root", "Mux.Two", "Mux.Deep"].every((name) => values(client, name).length >= 4), 60_000);
    const came = (name) => new Set(values(client, name).map(({ value }) => value));
    const within = (name, all) => [...came(name)].every((value) => all.includes(value));
    assert.ok(within("Mux.Root", [1, 2]) && within("Mux.One", [4, 8, 7]) && within("Mux.Two", [5]) && within("Mux.Deep", [7, 255]));
    for (const { value, value_description: text } of values(client, "Mux.Root"))
      assert.equal(text, value === 1 ? 'first; "one"' : "second");
  });
});

describe("the drive that comes with the project", () => {
  test("has as many messages and signals as another reader of its database finds, and values of all of them", async () => {
    const file = (name) => path.join(sourceDir, "packaging/demo", name);
    const other = new Dbc().load(readFileSync(file("drive.dbc"), "utf8"));
    const keys = [...other.messages.values()].flatMap(({ name, signals }) => [...signals.keys()].map((signal) => `${name}.${signal}`));
    const network = await Network.start({
      loggers: [{ ...kFront, source: `can:${file("drive.log")}`, args: [["--dbc", file("drive.dbc")]] }],
    });
    try {
      const client = await connect(network);
      assert.deepEqual(client.catalogue, keys.sort());
      for (const name of keys) await start(client, name);
      await until("a value of each signal", () => keys.every((name) => values(client, name).length > 0), 60_000);
      const gear = values(client, "Gearbox.Gear")[0];
      assert.equal(gear.value_description, ["neutral", "first", "second", "third", "fourth", "fifth", "sixth"][gear.value]);
    } finally {
      await network.stop();
    }
  });
});

describe("the load of a bus", () => {
  test("is what its frames' bits make of a second", async () => {
    const lines = Array.from({ length: 2000 }, (_, i) => `(${(i / 1000).toFixed(6)}) can3 000#0000000000000000`);
    const log = write("load.log", `${lines.join("\n")}\n`);
    const network = await Network.start({ loggers: [{ ...kFront, source: `can:${log}`, args: [["--bitrate", "can3:250k"]] }] });
    try {
      const client = await network.connectReady();
      client.send({ command: "busload_start" });
      const loads = () => client.answers.filter((answer) => answer.response === "busload_data" && answer.data.value > 0);
      // 1000 frames a second of 127 bits, on 250 kbit/s.
      await until("the load", () => loads().some(({ data }) => Math.abs(data.value - 51) <= 2), 60_000);
      const { data } = loads()[0];
      assert.deepEqual([data.bus_id, data.channel, data.name, data.unit], ["BUSID_CAN", 1, "can3", "UNIT_PERCENT"]);
    } finally {
      await network.stop();
    }
  });
});

describe("a condition", () => {
  test("sets markers with ids of their own", async () => {
    const log = write("trigger.log", "(1.0) can0 0A0#00\n(1.2) can0 0A0#64\n(1.4) can0 0A0#00\n(1.5) can0 0A0#64\n(2.7) can0 0A0#00\n");
    const dbc = write("trigger.dbc", 'BO_ 160 A: 1 X\n SG_ s : 0|8@1+ (1,0) [0|0] "" X\n');
    const network = await Network.start({
      loggers: [
        {
          ...kFront,
          source: `can:${log}`,
          args: [
            ["--dbc", dbc],
            ["--trigger", "A.s > 80"],
          ],
        },
      ],
    });
    try {
      const client = await network.connectReady();
      const markers = async () => {
        client.send({ command: "get_trigger" });
        const answer = await client.answerTo("get_trigger", 20_000);
        return [...JSON.stringify(answer).matchAll(/A\.s > 80 at [\d :.-]+/g)].map(([text]) => text);
      };
      await until("two markers", async () => (await markers()).length >= 2, 60_000);
      const all = await markers();
      assert.equal(new Set(all).size, all.length);
    } finally {
      await network.stop();
    }
  });
});

describe("a pipe of frames", () => {
  test("keeps its own times, may step back, and may be cut", async () => {
    const fifo = path.join(dir, "frames");
    execFileSync("mkfifo", [fifo]);
    const dbc = write("pipe.dbc", 'BO_ 291 A: 2 X\n SG_ s : 0|16@1+ (1,0) [0|0] "" X\n');
    const starting = Network.start({ loggers: [{ ...kFront, source: `can:${fifo}`, args: [["--dbc", dbc]] }] });
    const network = await starting;
    const writer = openSync(fifo, constants.O_WRONLY);
    try {
      const client = await connect(network);
      assert.deepEqual(client.catalogue, ["A.s"]);
      await start(client, "A.s");
      let frames = 0;
      const feed = (seconds, value) => {
        frames++;
        writeSync(writer, `(${seconds.toFixed(6)}) can0 123#${hex([value, 0])}\n`);
      };
      const latest = () => values(client, "A.s").at(-1);
      const stamp = Math.floor(Date.now() / 1000) - 20 + 0.125;
      // The logger begins to send a moment after the start was answered, and says nothing of earlier frames.
      const stamps = [];
      await until("the first value", () => {
        if (latest()?.value === 1) return true;
        const next = stamp + stamps.length / 1000;
        stamps.push(Math.round(next * 1e6));
        feed(next, 1);
        return false;
      });
      assert.ok(stamps.includes(latest().timestamp), `${latest().timestamp} is none of ${stamps}`);
      feed(stamp - 3000, 2);
      await until("the value behind the step", () => latest()?.value === 2);
      assert.ok(Math.abs(latest().timestamp / 1000 - Date.now()) < 30_000);
      feed(stamp - 2999.5, 3);
      await until("the one after it", () => latest()?.value === 3);
      const [before, behind] = values(client, "A.s").slice(-2);
      assert.ok(behind.timestamp > before.timestamp || behind.value === before.value);
      writeSync(writer, "(1.0) can0 123#0");
      closeSync(writer);
      const logger = network.loggers[0].part;
      await until("the end in the log", () => logger.output.includes(`has ended after ${frames} frames`));
      assert.equal((await client.ask("get_logger_status", {}, 20_000)).status, "OK");
      network.expectOfLoggers(/no frame \(1 such lines so far\)/);
    } finally {
      await network.stop();
    }
  });
});

// Is there a gpsd to be found?
const gpsd = ["/usr/sbin/gpsd", "/usr/local/sbin/gpsd"].find((file) => existsSync(file));

describe("a GPS receiver", { skip: gpsd === undefined && "gpsd is not installed" }, () => {
  const sentence = (status, minute) => {
    const body = `GPRMC,1200${String(minute % 60).padStart(2, "0")}.00,${status},4842.0000,N,00906.0000,E,10.0,090.0,210326,,,${status === "A" ? "A" : "N"}`;
    const sum = [...body].reduce((checksum, c) => checksum ^ c.charCodeAt(0), 0);
    return `$${body}*${sum.toString(16).toUpperCase().padStart(2, "0")}\r\n`;
  };

  test("is there once gpsd is, tells its fix, and that gpsd has gone and come back", async () => {
    const port = await freePort();
    // The number is free on every address of this machine; on the first one, what keeps it for us is bound.
    const receiver = { port: await freePort(), address: "127.0.0.2" };
    const run = path.join(dir, "gpsd");
    mkdirSync(run);
    const network = await Network.start({
      loggers: [
        { ...kFront, source: "drive", args: [["--gps", `127.0.0.1:${port}`]] },
        { ...kRear, source: "drive" },
      ],
    });
    network.expectOfLoggers(/gpsd at .*; trying again/);
    const socket = dgram.createSocket("udp4");
    const startGpsd = () =>
      spawn(gpsd, ["-N", "-n", "-S", String(port), "-F", path.join(run, "sock"), `udp://${receiver.address}:${receiver.port}`], {
        stdio: "ignore",
        env: { ...process.env, GPSD_SHM_KEY: `0x${port.toString(16)}` },
      });
    let daemon;
    let timer;
    try {
      daemon = startGpsd();
      let status = "A";
      let second = 0;
      timer = setInterval(() => socket.send(sentence(status, second++), receiver.port, receiver.address), 200);
      const client = await connect(network);
      for (const name of ["GPS.Latitude", "GPS.Speed", "GPS.Course"]) assert.equal((await start(client, name)).status, "OK");
      await until("a position", () => values(client, "GPS.Latitude").length > 0, 60_000);
      assert.equal(values(client, "GPS.Latitude")[0].value, 48.7);
      await until("speed and course", () => values(client, "GPS.Speed").length > 0 && values(client, "GPS.Course").length > 0, 60_000);
      assert.ok(Math.abs(values(client, "GPS.Speed").at(-1).value - 18.52) < 0.02);
      client.send({ command: "busload_start" });
      const gps = () =>
        client.answers
          .filter((answer) => answer.response === "busload_data" && answer.data.gps_status !== undefined)
          .map(({ data }) => data.gps_status);
      await until("a fix", () => gps().includes("A"), 60_000);
      daemon.kill();
      await until("no fix", () => gps().at(-1) === "V", 60_000);
      await new Promise((resolve) => ((daemon.exitCode ?? daemon.signalCode) === null ? daemon.once("exit", resolve) : resolve()));
      daemon = startGpsd();
      await until("a fix again", () => gps().at(-1) === "A", 60_000);
    } finally {
      clearInterval(timer);
      socket.close();
      daemon?.kill();
      await network.stop();
    }
  });
});
