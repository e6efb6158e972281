// Signals from the loggers' recordings to the browser, value for value.
import assert from "node:assert/strict";
import { mkdtempSync, rmSync, writeFileSync } from "node:fs";
import os from "node:os";
import path from "node:path";
import { after, before, describe, test } from "node:test";
import { answerText, errorText, okText } from "../../kit/js/answers.mjs";
import { kLoggers, Network } from "../../kit/js/network.mjs";
import { until } from "../../kit/js/wait.mjs";

const [kFront, kRear, kRoof] = kLoggers;
const kRows = 40;

// Rows of numbers, and of what is hard to carry.
const kNumbers = Array.from({ length: kRows }, (_, row) => (row * 0.25).toFixed(2));
const kTexts = Array.from({ length: kRows }, (_, row) => `row ${row}: "\u00e4" \u{1f697}, \\ end`);
const kOdd = ["1", "NaN", "007", "1e400", "-0.5", "18446744073709551615", "Inf", "1e5"];

const quoted = (text) => `"${text.replaceAll('"', '""')}"`;

function recording(dir, name, titles, columns) {
  const rows = columns[0].map((_, row) => [row * 0.02, ...columns.map((column) => quoted(column[row % column.length]))]);
  const file = path.join(dir, name);
  writeFileSync(file, [["time", ...titles.map(quoted)], ...rows].map((row) => row.join(",")).join("\n"));
  return file;
}

// What the browser is to see of a numeric signal's text.
const shown = (text) => (/^-?(0|[1-9]\d*)(\.\d+)?([eE][+-]?\d+)?$/.test(text) && Number.isFinite(Number(text)) ? Number(text) : text);

let dir;
let network;

before(async () => {
  dir = mkdtempSync(path.join(os.tmpdir(), "live-view-recordings-"));
  const front = recording(dir, "front.csv", ["Speed [km/h]", "Text", "Odd [1/min]"], [kNumbers, kTexts, kOdd]);
  const rear = recording(dir, "rear.csv", ["Speed [m/s]", 'Name "with"\nbreak [\u00b0C]'], [kNumbers, kNumbers]);
  network = await Network.start({
    loggers: [
      { ...kFront, source: front },
      { ...kRear, source: rear, args: [["--network-offset", 8]] },
      { ...kRoof, source: "drive", args: [["--rate", 50]] },
    ],
  });
  network.expectInLog(/^break /); // the rest of a name that is logged
});

after(async () => {
  await network?.stop();
  rmSync(dir, { recursive: true, force: true });
});

const speed = ["Speed", kFront.mac];
const rearSpeed = ["Speed", kRear.mac];
const sameKey = (key) => (answer) => answer.signal_key?.[0] === key[0] && answer.signal_key?.[1] === key[1];

// The complete catalogue.
async function catalogueOf(client) {
  client.send({ command: "get_signal_names" });
  for (;;) {
    const answer = await client.answerTo("get_signal_names");
    if (answer.status !== "PROGRESS") return answer;
  }
}

async function connectWithSignals() {
  const client = await network.connectReady();
  client.catalogue = await catalogueOf(client);
  client.skipAll();
  return client;
}

const start = (client, key) => client.ask("generic_start_sig", { signal_key: key, interval: 100 }, 20_000);
// Values of a signal, without the answer to its start.
const values = (client, key) =>
  client.answers.filter((answer) => answer.response === "generic_sig_value" && answer.status === "OK" && sameKey(key)(answer));

async function waitForValues(client, key, count) {
  await until(
    () => `${count} values of ${key}`,
    () => values(client, key).length >= count,
  );
  return values(client, key).slice(0, count);
}

describe("the catalogue", () => {
  test("lists the signals of three loggers in the order of their keys", async () => {
    const client = await network.connectReady();
    const catalogue = await catalogueOf(client);
    assert.equal(catalogue.status, "OK");
    const keys = catalogue.Streams.map(({ signal_key: key }) => key);
    const byBytes = (left, right) => Buffer.compare(Buffer.from(left.join("\0")), Buffer.from(right.join("\0")));
    assert.deepEqual(keys, [...keys].sort(byBytes));
    const count = (mac) => keys.filter((key) => key[1] === mac).length;
    assert.deepEqual([count(kFront.mac), count(kRear.mac)], [3, 2]);
    assert.ok(count(kRoof.mac) >= 24);
  });

  test("has every member of an entry, in order", async () => {
    const client = await network.connectReady();
    const catalogue = await catalogueOf(client);
    assert.equal(
      answerText(catalogue.Streams.find(sameKey(rearSpeed))),
      answerText({
        logger_name: kRear.name,
        bus_id: "BUSID_UNKNOWN",
        channel: 8,
        ksl_offset: 8,
        userDefinedName: "Speed",
        unit: "m/s",
        signal_key: rearSpeed,
      }),
    );
    assert.ok(catalogue.Streams.some(({ unit, signal_key: key }) => key[0] === 'Name "with"\nbreak' && unit === "\u00b0C"));
    assert.equal(catalogue.Streams.find(sameKey(["Engine.Speed", kRoof.mac])).bus_id, "BUSID_CAN");
  });

  test("comes after each logger's answer, and is complete after the last one", async () => {
    const client = await network.connectReady();
    client.send({ command: "get_signal_names" });
    const answers = [];
    while (answers.at(-1)?.status !== "OK") answers.push(await client.answerTo("get_signal_names"));
    assert.deepEqual(
      answers.map(({ status }) => status),
      ["PROGRESS", "PROGRESS", "OK"],
    );
  });
});

describe("values", () => {
  test("come value for value, in order, as numbers and as texts", async () => {
    const client = await connectWithSignals();
    assert.equal(
      client.textOf(await start(client, speed)),
      answerText({ response: "generic_start_sig", signal_key: speed, interval: -1, status: "OK" }),
    );
    assert.equal((await start(client, ["Text", kFront.mac])).status, "OK");
    for (const [key, column] of [
      [speed, kNumbers.map(Number)],
      [["Text", kFront.mac], kTexts],
    ]) {
      const came = (await waitForValues(client, key, 2 * kRows)).map(({ value }) => value);
      const offset = column.indexOf(came[0]);
      assert.deepEqual(
        came,
        Array.from(came, (_, i) => column[(offset + i) % kRows]),
      );
    }
  });

  test("are numbers exactly when they can be", async () => {
    const client = await connectWithSignals();
    const key = ["Odd", kFront.mac];
    await start(client, key);
    const came = new Set((await waitForValues(client, key, kRows)).map(({ value }) => value));
    assert.deepEqual(came, new Set(kOdd.map(shown)));
    assert.ok(client.frames.some((frame) => frame.includes('"value": 18446744073709551615,')));
  });

  test("have all members in order", async () => {
    const client = await connectWithSignals();
    await start(client, ["Transmission.Gear", kRoof.mac]);
    const [value] = await waitForValues(client, ["Transmission.Gear", kRoof.mac], 1);
    assert.deepEqual(Object.keys(value), ["response", "signal_key", "ksl_offset", "timestamp", "value_description", "value", "status"]);
    assert.equal(client.textOf(value), answerText(value));
    assert.ok(Math.abs(value.timestamp / 1000 - Date.now()) < 60_000);
  });

  test("come of ten signals of three loggers at the rate asked for, and no more of one that was stopped", async () => {
    const client = await connectWithSignals();
    const keys = client.catalogue.Streams.map(({ signal_key: key }) => key);
    const ten = [...keys.filter((key) => key[1] === kRoof.mac).slice(0, 7), speed, rearSpeed, ["Text", kFront.mac]];
    for (const key of ten) assert.equal((await start(client, key)).status, "OK");
    const stopped = ten[0];
    await waitForValues(client, stopped, 5);
    const stop = await client.ask("generic_stop_sig", { signal_key: stopped });
    assert.equal(stop.status, "OK");
    const countThen = values(client, stopped).length;
    const before = values(client, ten[1]).length;
    await waitForValues(client, ten[1], before + 50);
    assert.equal(values(client, stopped).length, countThen);
    const times = values(client, ten[1])
      .slice(before)
      .map(({ timestamp }) => timestamp);
    const seconds = (times.at(-1) - times[0]) / 1e6;
    assert.ok(seconds > 0.8, `50 values took ${seconds} s`);
    for (const key of ten.slice(1)) assert.ok(values(client, key).length > 0, `${key}`);
    const started = new Set(ten.map(String));
    for (const answer of client.answers.filter(({ response }) => response === "generic_sig_value")) {
      assert.ok(started.has(String(answer.signal_key)));
    }
  });

  test("go on when another browser stops and when one is killed", async () => {
    const clients = await Promise.all([connectWithSignals(), connectWithSignals(), connectWithSignals()]);
    for (const client of clients) await start(client, speed);
    for (const client of clients) await waitForValues(client, speed, 1);
    assert.equal((await clients[0].ask("signal_forwarding_stop")).status, "OK");
    clients[1].terminate();
    const before = values(clients[2], speed).length;
    await waitForValues(clients[2], speed, before + 2 * kRows);
    const count = values(clients[0], speed).length;
    await waitForValues(clients[2], speed, before + 3 * kRows);
    assert.equal(values(clients[0], speed).length, count);
  });
});

describe("a browser that reads nothing", () => {
  test("does not stop the others' values and commands", async () => {
    const huge = recording(dir, "huge.csv", ["Speed", "Huge"], [kNumbers, kNumbers.map((text) => text + "x".repeat(200_000))]);
    const slow = await Network.start({ loggers: [{ ...kFront, source: huge }] });
    try {
      const [stuck, well] = [await slow.connectReady(), await slow.connectReady()];
      for (const client of [stuck, well]) await catalogueOf(client);
      await start(stuck, ["Huge", kFront.mac]);
      await start(well, speed);
      stuck.pause();
      // More than all buffers on the way hold: 10 MB a second for 5 s.
      for (const count of [100, 200, 250]) {
        await waitForValues(well, speed, count);
        assert.equal((await start(well, speed)).status, "OK");
      }
      const came = values(well, speed).map(({ value }) => value);
      const offset = kNumbers.map(Number).indexOf(came[0]);
      assert.deepEqual(
        came,
        Array.from(came, (_, i) => Number(kNumbers[(offset + i) % kRows])),
      );
      slow.expectInLog(/./); // of the one that hangs
    } finally {
      await slow.stop();
    }
  });
});

describe("what goes wrong", () => {
  const generic = (response, key, status, code) =>
    answerText({ response, signal_key: key, interval: -1, status, ...(code && { error_code: code }) });

  test("is answered with its own code", async () => {
    const client = await connectWithSignals();
    const unknown = ["Unknown", kFront.mac];
    const raw = (command, key) => client.rawAnswer(JSON.stringify({ command, signal_key: key, interval: 1 }));
    assert.equal(await raw("generic_start_sig", unknown), generic("generic_start_sig", unknown, "ERROR", "illegal_key"));
    assert.equal(
      await raw("generic_start_sig", ["Speed", kFront.mac.replaceAll("0", "a")]),
      generic("generic_start_sig", ["Speed", kFront.mac.replaceAll("0", "a")], "ERROR", "illegal_key"),
    );
    assert.equal(await raw("generic_stop_sig", "Speed"), generic("generic_stop_sig", speed, "ERROR", "not_running"));
    assert.equal(await raw("generic_odd", ["Speed", ""]), errorText("generic_odd", "invalid_command"));
    assert.equal(
      await client.rawAnswer('{"command":"generic_odd"}'),
      errorText("generic_odd", "invalid_command", "no entry for signal_key"),
    );
    network.expectInLog(/does not exist$/, /signal is not configured or not active$/, /parsing error: no entry for signal_key$/);
  });

  test("a start is refused after the forwarding was stopped, until the signals are asked for", async () => {
    const client = await connectWithSignals();
    await start(client, speed);
    await client.ask("signal_forwarding_stop");
    client.skipAll();
    const refused = await start(client, speed);
    assert.equal(client.textOf(refused), generic("generic_start_sig", speed, "ERROR", "illegal_key"));
    await catalogueOf(client);
    assert.equal((await start(client, speed)).status, "OK");
    assert.equal(client.textOf(await client.answerTo("signal_forwarding_start")), okText("signal_forwarding_start"));
    await waitForValues(client, speed, 1);
  });
});

describe("a logger that is busy for ever", () => {
  test("keeps the catalogue incomplete and does not stop the others' values", async () => {
    const busy = await Network.start({
      loggers: [
        { ...kFront, args: [["--rate", 50]] },
        { ...kRear, scenario: { requests: { 137: { busy: 1000000 } } } },
      ],
    });
    try {
      const client = await busy.connectReady();
      client.send({ command: "get_signal_names" });
      assert.equal((await client.answerTo("get_signal_names")).status, "PROGRESS");
      client.skipAll();
      const key = ["Vehicle.Speed", kFront.mac];
      client.send({ command: "generic_start_sig", signal_key: key, interval: 1 });
      const refused = await client.answerTo("generic_start");
      assert.equal(client.textOf(refused), errorText("generic_start", "cannot_start", "not all signal configs received"));
      assert.equal((await client.answerTo("generic_start_sig")).status, "OK");
      await waitForValues(client, key, 100);
      const came = values(client, key).map(({ timestamp }) => timestamp);
      assert.deepEqual(
        came,
        [...came].sort((left, right) => left - right),
      );
      busy.expectInLog(/not all signal configs received$/);
    } finally {
      await busy.stop();
    }
  });
});

describe("a logger that leaves while its signals run", () => {
  test("ends the session, and the next one goes without it", async () => {
    const leaving = await Network.start({
      loggers: [kFront, kRear].map((logger) => ({ ...logger, source: "drive", args: [["--rate", 20]] })),
    });
    try {
      const client = await leaving.connectReady();
      await catalogueOf(client);
      for (const { mac } of [kFront, kRear]) {
        await start(client, ["Vehicle.Speed", mac]);
        await waitForValues(client, ["Vehicle.Speed", mac], 3);
      }
      await leaving.loggers[1].stop();
      assert.equal((await client.closed()).code, 1001);

      const next = await leaving.connectReady();
      const { Streams: streams } = await catalogueOf(next);
      assert.deepEqual(new Set(streams.map(({ signal_key: key }) => key[1])), new Set([kFront.mac]));
      await start(next, ["Vehicle.Speed", kFront.mac]);
      await waitForValues(next, ["Vehicle.Speed", kFront.mac], 3);
    } finally {
      await leaving.stop();
    }
  });
});

describe("the bus server", () => {
  test("may go and come back: values go on in the same session", async () => {
    const away = await Network.start({ loggers: [{ ...kFront, args: [["--rate", 20]] }] });
    try {
      const client = await away.connectReady();
      await catalogueOf(client);
      const key = ["Vehicle.Speed", kFront.mac];
      await start(client, key);
      await waitForValues(client, key, 5);
      away.expectInLog(/krpbus/i, /bus server/i, /not connected/i, /sendTo/);
      away.expectOfLoggers(/the bus server has gone/, /dropped: no connection to the bus server/);
      await away.bus.stop();
      await away.bus.start();
      const before = values(client, key).length;
      await until("values after the pause", () => values(client, key).length > before + 20, 30_000);
    } finally {
      await away.stop();
    }
  });
});
