import assert from "node:assert/strict";
import { test } from "node:test";
import { Feed } from "../src/worker/feed";
import type { FromFeed } from "../src/worker/messages";
import { World } from "./support/world";

const kValue = {
  response: "generic_sig_value",
  signal_key: ["Speed", "02"],
  ksl_offset: 0,
  timestamp: 1_700_000_000_000_000,
  value: 12.5,
  status: "OK",
};

// A connected feed, and what it has posted of one kind.
function connected() {
  const world = new World();
  const posted: FromFeed[] = [];
  const feed = new Feed(world, (message) => posted.push(message));
  feed.take({ op: "connect", url: "ws://logger/live", origin: 0 });
  world.socket.events.opened();
  const of = <Op extends FromFeed["op"]>(op: Op) => posted.filter((message): message is Extract<FromFeed, { op: Op }> => message.op === op);
  const logged = () =>
    of("log").flatMap(({ records }) => records.filter(({ direction }) => direction === "received").map(({ name }) => name));
  return { world, feed, of, logged };
}

for (const [how, say] of [
  ["as the logger writes it", (frame: object) => JSON.stringify(frame, null, 4)],
  ["written otherwise", (frame: object) => JSON.stringify(frame)],
] as const) {
  test(`a value ${how} is handed over, recorded, and shown among the frames only where that is wished`, async () => {
    const { world, feed, of, logged } = connected();
    const received = (frame: object) => world.socket.events.received(say(frame));
    received(kValue);
    received({ response: "busload_start", status: "OK" });
    await world.pass(1_000);
    assert.deepEqual(logged(), ["busload_start"]);
    feed.take({ op: "record", on: true });
    received(kValue);
    feed.take({ op: "record", on: false });
    feed.take({ op: "keep-values", keep: true });
    received(kValue);
    await world.pass(1_000);
    assert.deepEqual(logged(), ["busload_start", "generic_sig_value"]);
    assert.deepEqual(
      of("values").map(({ number }) => [...number]),
      [[12.5], [12.5, 12.5]],
    );
    const lines = (await of("recorded")[0]!.file.text()).trim().split("\n");
    assert.equal(lines.length, 2, "a header and one frame");
    assert.equal((JSON.parse(lines[1]!) as unknown[])[2], say(kValue));
  });
}
