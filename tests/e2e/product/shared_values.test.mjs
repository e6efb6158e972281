// Values of two loggers with several browsers: each logger sends a value once for all of them.
import assert from "node:assert/strict";
import { mkdtempSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import { connect } from "node:net";
import os from "node:os";
import path from "node:path";
import { after, before, test } from "node:test";
import { BusWatch } from "../../kit/js/bus_watch.mjs";
import { completeCatalogue, kLoggers, Network } from "../../kit/js/network.mjs";
import { sourceDir } from "../../kit/js/paths.mjs";
import { until } from "../../kit/js/wait.mjs";

const [kFront, kRear] = kLoggers;
const kRows = 10_000; // more than are played meanwhile: a number comes once
const kSpeeds = [
  ["Speed", kFront.mac],
  ["Speed", kRear.mac],
];

let dir;
let network;
let watch;

before(async () => {
  dir = mkdtempSync(path.join(os.tmpdir(), "live-view-shared-"));
  const source = path.join(dir, "counting.csv");
  const rows = Array.from({ length: kRows }, (_, row) => `${(row * 0.01).toFixed(2)},${row},${row}`);
  writeFileSync(source, ["time,Speed [km/h],Gear", ...rows].join("\n"));
  network = await Network.start({
    loggers: [
      { ...kFront, source },
      { ...kRear, source, args: [["--network-offset", 8]] },
    ],
  });
  watch = await BusWatch.start(network.bus.port, "krp.>");
});

after(async () => {
  watch?.stop();
  await network?.stop();
  rmSync(dir, { recursive: true, force: true });
});

const numbers = (client, [, mac]) =>
  client.answers
    .filter(({ response, status, signal_key }) => response === "generic_sig_value" && status === "OK" && signal_key[1] === mac)
    .map(({ value }) => value);

async function connectWithSpeeds() {
  const client = await network.connectReady();
  await completeCatalogue(client);
  for (const key of kSpeeds) {
    const started = await client.ask("generic_start_sig", { signal_key: key, interval: 100 }, 20_000);
    assert.equal(started.status, "OK");
  }
  return client;
}

async function waitForValues(client, count) {
  for (const key of kSpeeds) {
    const before = numbers(client, key).length;
    await until(
      () => `${count} more values of ${key}`,
      () => numbers(client, key).length >= before + count,
    );
  }
}

function assertComplete(client) {
  for (const key of kSpeeds) {
    const [first, ...others] = numbers(client, key);
    others.forEach((value, index) => assert.equal(value, first + index + 1, `of ${key}`));
  }
}

const kValueClass = Buffer.from([0x80, 0x10]);
const to = (part) => watch.seen.filter(({ subject }) => subject.includes(part));

test("three browsers get every value of both loggers, which send it once", async () => {
  const clients = [];
  for (let i = 0; i < 3; ++i) clients.push(await connectWithSpeeds());
  await Promise.all(clients.map((client) => waitForValues(client, 100)));
  clients.forEach(assertComplete);

  const subjects = [`krp.${kFront.mac}.bus.live.signals.own`, `krp.${kRear.mac}.bus.live.signals.others`];
  for (const subject of subjects) {
    const found = to(subject).length;
    assert.ok(found >= 100, `${found} publications to ${subject}`);
    // Both values of a moment are in one.
    for (const { payload } of to(subject)) assert.ok(payload.includes("Speed") && payload.includes("Gear"));
  }
  assert.deepEqual(new Set(to(".bus.live.").map(({ subject }) => subject)), new Set(subjects), "no loads, which nobody wants");
  const alone = to("_KLV").filter(({ payload }) => payload.includes(kValueClass));
  assert.deepEqual(
    alone.map(({ subject }) => subject),
    [],
  );
  clients.slice(1).forEach((client) => client.close());
});

test("a browser that stops gets none while another one goes on, and all again once it starts anew", async () => {
  const [stopping, other] = [await connectWithSpeeds(), await connectWithSpeeds()];
  await waitForValues(stopping, 10);
  assert.equal((await stopping.ask("signal_forwarding_stop")).status, "OK");
  stopping.skipAll();
  const last = kSpeeds.map((key) => numbers(stopping, key).length);
  await waitForValues(other, 50);
  assert.equal((await stopping.ask("ping")).status, "OK");
  assert.deepEqual(
    kSpeeds.map((key) => numbers(stopping, key).length),
    last,
  );
  assertComplete(other);

  await completeCatalogue(stopping);
  const again = stopping.answers.length;
  for (const key of kSpeeds) await stopping.ask("generic_start_sig", { signal_key: key, interval: 100 }, 20_000);
  await waitForValues(stopping, 50);
  assertComplete({ answers: stopping.answers.slice(again) });
  assertComplete(other);
});

test("loads come once for all, too", async () => {
  const driving = await Network.start({
    loggers: [
      { ...kFront, source: "drive" },
      { ...kRear, source: "drive", args: [["--network-offset", 8]] },
    ],
  });
  const loads = await BusWatch.start(driving.bus.port, "krp.*.bus.live.>");
  try {
    const subjects = [`krp.${kFront.mac}.bus.live.loads.own`, `krp.${kRear.mac}.bus.live.loads.others`];
    for (const client of [await driving.connectReady(), await driving.connectReady()]) {
      assert.equal((await client.ask("busload_start", {}, 20_000)).status, "OK");
      const figures = () => client.answers.filter(({ response, data }) => response === "busload_data" && data.value > 0);
      const come = (offset) => figures().some(({ data }) => data.ksl_offset === offset);
      await until(
        () => `loads of both loggers; so far: ${JSON.stringify(figures())}`,
        () => come(0) && come(8),
      );
    }
    assert.deepEqual(new Set(loads.seen.map(({ subject }) => subject)), new Set(subjects), "no signals, which nobody wants");
  } finally {
    loads.stop();
    await driving.stop();
  }
});

// The users and permissions that docs/bus.md gives as an example, with these passwords.
function documentedUsers(...passwords) {
  const text = readFileSync(path.join(sourceDir, "docs/bus.md"), "utf8");
  return /^ {4}authorization \{\n[^]*?^ {4}\}\n/m.exec(text)[0].replaceAll("\u2026", () => passwords.shift());
}

// What the bus server says to a program of that user which publishes there.
async function refusal(port, user, pass, subject) {
  const socket = connect(port, "127.0.0.1");
  let said = "";
  socket.on("data", (bytes) => (said += bytes));
  try {
    socket.write(`CONNECT ${JSON.stringify({ verbose: false, user, pass })}\r\nPUB ${subject} 0\r\n\r\nPING\r\n`);
    await until(
      () => `the bus server's answer; so far: ${said}`,
      () => said.includes("PONG"),
    );
    return /-ERR .*/.exec(said)?.[0];
  } finally {
    socket.destroy();
  }
}

test("a web server with no more than the documented permissions gets what loggers send once, and cannot send it", async () => {
  const guarded = await Network.start({
    loggers: [
      { ...kFront, source: "drive" },
      { ...kRear, source: "drive", args: [["--network-offset", 8]] },
    ],
    busText: documentedUsers("of-loggers", "of-web"),
    logins: { loggers: "logger:of-loggers", web: "web:of-web" },
  });
  try {
    const client = await guarded.connectReady();
    const streams = await completeCatalogue(client);
    for (const { mac } of [kFront, kRear]) {
      const { signal_key } = streams.find(({ signal_key }) => signal_key[1] === mac);
      assert.equal((await client.ask("generic_start_sig", { signal_key, interval: 100 }, 20_000)).status, "OK");
    }
    assert.equal((await client.ask("busload_start", {}, 20_000)).status, "OK");
    const hasLoad = (offset) =>
      client.answers.some(({ response, data }) => response === "busload_data" && data.value > 0 && data.ksl_offset === offset);
    await until(
      () => `values and loads of both; the bus server wrote: ${guarded.bus.part.output}`,
      () => [kFront, kRear].every(({ mac }) => numbers(client, ["", mac]).length > 1) && hasLoad(0) && hasLoad(8),
    );
    assert.doesNotMatch(guarded.bus.part.output, /Violation/, "what was refused to the web server or a logger");

    const subject = `krp.${kFront.mac}.bus.live.signals.own`;
    assert.equal(await refusal(guarded.bus.port, "web", "of-web", subject), `-ERR 'Permissions Violation for Publish to "${subject}"'`);
    assert.equal(await refusal(guarded.bus.port, "logger", "of-loggers", subject), undefined);
  } finally {
    await guarded.stop();
  }
});
