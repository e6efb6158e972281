// Triggers: set in one browser, seen in all of them, listed on one time base.
import assert from "node:assert/strict";
import { mkdtempSync, rmSync } from "node:fs";
import os from "node:os";
import path from "node:path";
import { describe, test } from "node:test";
import { answerText } from "../../kit/js/answers.mjs";
import { kLoggers, Network } from "../../kit/js/network.mjs";
import { until } from "../../kit/js/wait.mjs";

const [kFront, kRear, kRoof] = kLoggers;
const kOffsets = { [kFront.mac]: 0, [kRear.mac]: -3_600_000_000, [kRoof.mac]: 7_200_000_000 };

async function withNetwork(body, change = (logger) => logger) {
  const network = await Network.start({
    loggers: kLoggers.map((logger) => change({ ...logger, timeOffset: kOffsets[logger.mac] })),
  });
  try {
    await body(network);
  } finally {
    await network.stop();
  }
}

// The list that has the events of all loggers.
async function completeList(client, timeout = 10_000) {
  for (;;) {
    const answer = await client.answerTo("get_trigger", timeout);
    if (answer.status === "OK") return answer;
  }
}

async function listOf(client) {
  client.skipAll();
  client.send({ command: "get_trigger" });
  return completeList(client);
}

const markers = (list) => list.markers.map(({ marker_id }) => marker_id);

describe("a trigger", () => {
  test("set in one browser is told to all and listed once for each clock", async () => {
    await withNetwork(async (network) => {
      const setter = await network.connectReady();
      const other = await network.connectReady();
      const before = Date.now() * 1000;
      setter.send({ command: "set_trigger", marker_id: "Schl\u00fcssel \u{1f511}" });
      for (const client of [setter, other]) {
        const told = await client.answerTo("set_trigger");
        assert.ok(told.timestamp >= before && told.timestamp <= Date.now() * 1000);
        assert.equal(
          client.textOf(told),
          answerText({
            response: "set_trigger",
            number: 1,
            timestamp: told.timestamp,
            time_zone: kFront.timezone,
            marker_id: "Schl\u00fcssel \u{1f511}",
            status: "OK",
          }),
        );
      }
      // The list comes to all without being asked for.
      for (const client of [setter, other]) {
        assert.ok(markers(await completeList(client)).includes("Schl\u00fcssel \u{1f511}"));
      }
      await until("every logger has kept it", async () => (await listOf(other)).markers.length === 2);
      // The other loggers know the key press only; both gave it the same marker, so one of them is left.
      const list = await listOf(other);
      const [first, second] = list.markers;
      assert.equal(first.timestamp, second.timestamp);
      assert.deepEqual(Object.keys(first), ["number", "timestamp", "time_zone", "marker_id"]);
      assert.ok(markers(list).includes("Schl\u00fcssel \u{1f511}"));
      assert.equal((await setter.ask("get_trigger_count")).index, 1);
    });
  });

  test("without a marker gets the same one on every logger", async () => {
    await withNetwork(async (network) => {
      const client = await network.connectReady();
      for (let number = 1; number <= 3; number++) {
        client.skipAll();
        client.send({ command: "set_trigger" });
        assert.equal((await client.answerTo("set_trigger")).number, number);
      }
      await until("three events", async () => (await listOf(client)).markers.length === 3);
      const times = (await listOf(client)).markers.map(({ timestamp }) => timestamp);
      assert.deepEqual(
        times,
        [...times].sort((a, b) => a - b),
      );
      assert.ok(
        times.every((time) => Math.abs(time / 1000 - Date.now()) < 60_000),
        "on the local clock",
      );
    });
  });

  test("survives a restart of its logger", async () => {
    const dir = mkdtempSync(path.join(os.tmpdir(), "live-view-events-"));
    const events = ({ mac }) => [["--events", path.join(dir, mac.replaceAll(":", ""))]];
    try {
      await withNetwork(
        async (network) => {
          const client = await network.connectReady();
          client.send({ command: "set_trigger", marker_id: "before" });
          await client.answerTo("set_trigger");
          await network.loggers[0].stop();
          await network.addLogger({ ...kFront, args: events(kFront) });
          await network.neighbours(2);
          const again = await network.connectReady();
          assert.ok(markers(await listOf(again)).includes("before"));
          again.send({ command: "set_trigger", marker_id: "after" });
          assert.equal((await again.answerTo("set_trigger")).number, 2);
        },
        (logger) => ({ ...logger, args: events(logger) }),
      );
    } finally {
      rmSync(dir, { recursive: true, force: true });
    }
  });
});

describe("a slow logger", () => {
  test("leaves the list partial, then the error comes, then the late list", async () => {
    await withNetwork(
      async (network) => {
        const client = await network.connectReady();
        const answers = [];
        client.send({ command: "get_trigger" });
        while (answers.at(-1)?.status !== "OK") answers.push(await client.answerTo("get_trigger", 20_000));
        assert.deepEqual(
          answers.map(({ status }) => status),
          ["PROGRESS", "PROGRESS", "ERROR", "OK"],
        );
        assert.equal(
          client.textOf(answers[2]),
          answerText({
            response: "get_trigger",
            status: "ERROR",
            error_code: "cannot_start",
            error_msg: "not all triggers received",
          }),
        );
      },
      (logger) => (logger.mac === kRoof.mac ? { ...logger, scenario: { requests: { 50: { delay: "3s" } } } } : logger),
    );
  });

  test("that is busy at first is asked again", async () => {
    await withNetwork(
      async (network) => {
        const client = await network.connectReady();
        assert.equal((await listOf(client)).status, "OK");
      },
      (logger) => (logger.mac === kRear.mac ? { ...logger, scenario: { requests: { 50: { busy: 2 } } } } : logger),
    );
  });
});
