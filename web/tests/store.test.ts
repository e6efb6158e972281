import assert from "node:assert/strict";
import { after, before, describe, test } from "node:test";
import "./support/browser";
import { signal } from "@preact/signals";
import { signalId } from "../src/store/model";
import { createStore } from "../src/store/store";
import { parseFrame } from "../src/protocol/parse";
import type { FrameOf } from "../src/protocol/types";
import { panelSignals } from "../src/views/panel_signals";
import { columnsOf } from "../src/worker/catalogue_columns";
import type { FromFeed, ToFeed } from "../src/worker/messages";

// The store looks at loggers again and again; that must not keep the test's process.
const realInterval = globalThis.setInterval;
before(() => {
  globalThis.setInterval = ((call: () => void, ms: number) => realInterval(call, ms).unref()) as typeof setInterval;
});
after(() => {
  globalThis.setInterval = realInterval;
});

const kDay = 86_400_000;
const kStart = 1_795_235_530_000_000;
const local = signalId({ name: "Speed", mac: "01" });
const behind = signalId({ name: "Speed", mac: "02" });

function opened({ kept = "" } = {}) {
  const posted: ToFeed[] = [];
  let give: (message: FromFeed) => void = () => {};
  const values = new Map(kept === "" ? [] : [["live-view.arrangement", kept]]);
  const storage = {
    getItem: (key: string) => values.get(key) ?? null,
    setItem: (key: string, value: string) => void values.set(key, value),
    removeItem: (key: string) => void values.delete(key),
  } as unknown as Storage;
  const store = createStore(
    { post: (message) => posted.push(message), listen: (listener) => (give = listener) },
    { url: "ws://x/live", address: "http://x/", storage, ticks: { curves: signal(0), texts: signal(0) } },
  );
  const frame = (json: object) => give({ op: "frame", frame: parseFrame(JSON.stringify(json)), at: performance.now() });
  return { store, posted, give: (message: FromFeed) => give(message), frame };
}

const logger = (mac: string, logger_name: string) => ({
  mac,
  logger_name,
  config_name: "",
  timezone: "UTC",
  logger_type: "",
  softwareVersion: "",
});

function joined(options = {}) {
  const all = opened(options);
  all.give({ op: "state", state: { type: "waiting" } });
  all.frame({ response: "get_ksl_network", ksl_network: ["02"], status: "OK" });
  all.frame({ response: "get_logger_info", ksl_name: "Net", configs: [logger("01", "Front"), logger("02", "Rear")], status: "OK" });
  all.give({ op: "state", state: { type: "ready" } });
  return all;
}

/// One value of each of both signals, at `seconds` of the network's time; the second logger's clock is `late` behind.
function batch(seconds: number, late: number, at: number, first: boolean): FromFeed {
  const stamp = kStart + seconds * 1e6;
  return {
    op: "values",
    added: first
      ? [
          [0, ["Speed", "01"]],
          [1, ["Speed", "02"]],
        ]
      : [],
    signal: Uint32Array.of(0, 1),
    stamp: Float64Array.of(stamp, stamp - late),
    number: Float64Array.of(seconds, seconds),
    at: Float64Array.of(at, at),
    texts: [],
  };
}

describe("time on the page", () => {
  test("is the network's with a browser a day ahead, and values of a logger an hour behind lie beside the others'", () => {
    const realNow = Date.now;
    Date.now = () => realNow() + kDay;
    try {
      const { store, give, frame } = joined();
      store.start([local, behind]);
      const at = performance.now();
      for (let index = 0; index < 5; index++) give(batch(index, 3_600_000_000, at + index * 1_000, index === 0));
      frame({
        response: "get_ksl_time_offset",
        offset: [
          { mac: "01", time_offset: 0 },
          { mac: "02", time_offset: 3_600_000_000 },
        ],
        status: "OK",
      });
      give(batch(5, 3_600_000_000, at + 5_000, false));
      const [one, other] = [store.history(local)!, store.history(behind)!];
      assert.deepEqual([...other.points().x], [...one.points().x]);
      assert.equal(other.latest!.stamp, kStart + 5e6 - 3_600_000_000, "its own stamp is kept");
      assert.deepEqual(other.gaps, []);
      const now = store.now() - (performance.now() - (at + 5_000)) / 1000;
      assert.ok(Math.abs(now - (kStart / 1e6 + 5)) < 0.01, `now is off by ${now - kStart / 1e6 - 5} s`);
    } finally {
      Date.now = realNow;
    }
  });

  test("of a value's age counts from its arrival", () => {
    const { store, give } = joined();
    store.start([local, behind]);
    assert.equal(store.age(local), Infinity);
    const at = performance.now();
    for (let index = 0; index < 6; index++) give(batch(index, 0, at - 9_000 + index * 1_000, index === 0));
    assert.ok(Math.abs(store.age(local) - 4) < 0.5);
    assert.equal(store.stale(local), false, "four seconds are less than five usual intervals");
    assert.equal(store.stale(signalId({ name: "None", mac: "01" })), false);
    give({ op: "state", state: { type: "lost", reason: "broken", detail: "", retryAt: 0 } });
    assert.equal(store.stale(local), true);
    assert.equal(store.history(local)!.gaps.at(-1)!.reason, "connection");
  });
});

describe("what is wanted", () => {
  const kept = (mac: string, name: string) =>
    JSON.stringify({
      format: "live-view-setup",
      version: 1,
      name: "",
      panels: [{ id: "1", kind: "chart", title: "", signals: [{ name: "Speed", mac, logger: name }], options: {} }],
    });
  const wanted = (posted: readonly ToFeed[]) =>
    posted.flatMap((message) => (message.op === "want" ? [message.signals.map(({ key }) => key)] : [])).at(-1);

  test("is what the kept panels hold, asked for only when there is somebody to ask", () => {
    const { posted } = joined({ kept: kept("02", "Rear") });
    assert.equal(posted[0]!.op, "connect");
    assert.deepEqual(wanted(posted), [["Speed", "02"]]);
  });

  test("of a logger with another MAC address is told by the logger's name", () => {
    const { posted } = joined({ kept: kept("77", "Rear") });
    assert.deepEqual(wanted(posted), [["Speed", "02"]]);
  });

  test("of a logger that is away is wanted all the same", () => {
    const { posted } = joined({ kept: kept("77", "Gone") });
    assert.deepEqual(wanted(posted), [["Speed", "77"]]);
  });

  const twins = () => {
    const all = opened({ kept: kept("77", "Twin") });
    all.give({ op: "state", state: { type: "waiting" } });
    all.frame({ response: "get_ksl_network", ksl_network: ["02"], status: "OK" });
    all.frame({ response: "get_logger_info", ksl_name: "Net", configs: [logger("01", "Twin"), logger("02", "Twin")], status: "OK" });
    all.give({ op: "state", state: { type: "ready" } });
    return all;
  };

  test("is asked for where two loggers of that name could be meant", () => {
    const { store, posted } = twins();
    assert.deepEqual(
      store.setups.value.question?.candidates.map(({ mac }) => mac),
      ["01", "02"],
    );
    assert.deepEqual(wanted(posted), []);
    store.answerQuestion("02");
    assert.equal(store.setups.value.question, null);
    assert.deepEqual(wanted(posted), [["Speed", "02"]]);
  });

  test("is not decided before signals are known, unless panels were kept", () => {
    const { store, give } = joined();
    assert.equal(store.arranged.value, false);
    const parsed = parseFrame(JSON.stringify({ response: "get_signal_names", Streams: [], status: "OK" }));
    give(columnsOf(parsed as FrameOf<"get_signal_names">).message);
    assert.equal(store.arranged.value, true);
    assert.equal(joined({ kept: kept("02", "Rear") }).store.arranged.value, true);
  });

  test("is no longer what a person takes out, also where it is not known whose it is", () => {
    const { store } = twins();
    const [panel] = store.arrangement.value.panels;
    const [signal] = panelSignals(store, panel!);
    assert.equal(signal!.id, null);
    store.removeFromPanel(panel!.id, signal!.key);
    assert.deepEqual(store.arrangement.value.panels[0]!.signals, []);
  });
});

test("the truth about the connection names who is missing, and that the bus is away", () => {
  const { store, give, frame } = opened();
  give({ op: "state", state: { type: "connecting", attempt: 1 } });
  const type = (): string => store.connection.value.type;
  assert.equal(type(), "connecting");
  give({ op: "state", state: { type: "waiting" } });
  frame({ response: "get_ksl_network", ksl_network: ["02"], status: "OK" });
  frame({ response: "get_logger_info", ksl_name: "Net", configs: [logger("01", "Front")], status: "PROGRESS" });
  const waiting: unknown = store.connection.value;
  assert.deepEqual((waiting as { missing?: unknown }).missing, ["02"]);
  frame({ response: "krpbus", status: "ERROR", error_code: "krpbus_error", error_msg: "oops, krpbus server is gone" });
  assert.equal(type(), "no-bus");
  give({ op: "state", state: { type: "lost", reason: "closed-by-logger", detail: "", retryAt: 5 } });
  assert.deepEqual(store.connection.value, { type: "lost", reason: "closed-by-logger", detail: "", retryAt: 5 });
});
