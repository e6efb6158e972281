import assert from "node:assert/strict";
import { describe, test } from "node:test";
import { History, kWindow } from "../src/store/history";

const kStart = 1_795_235_530_000_000; // microseconds
const x = (seconds: number) => (kStart + seconds * 1e6) / 1e6;

function history(offset = 0) {
  const one = new History("02\nSpeed", offset);
  const add = (seconds: number, number: number, text = "", description = "") =>
    one.append({ stamp: kStart + Math.round(seconds * 1e6), number, text, description, at: seconds * 1000 });
  return { one, add };
}

describe("a signal's history", () => {
  test("answers with the last value at or before a time, not with the nearest", () => {
    const { one, add } = history();
    add(0, 1);
    add(1, 2);
    add(2, 3);
    assert.equal(one.valueAt(x(1.9))?.number, 2);
    assert.equal(one.valueAt(x(2))?.number, 3);
    assert.equal(one.valueAt(x(7))?.number, 3);
    assert.equal(one.valueAt(x(-0.001)), null);
    assert.equal(one.indexAt(x(1.5)), 1);
  });

  test("keeps every microsecond of a stamp, and moves when the clock's offset is told", () => {
    const { one } = history();
    one.append({ stamp: kStart + 123_457, number: 1, text: "", description: "", at: 0 });
    one.setOffset(3_600_000_000);
    assert.equal(one.points().stamp[0], kStart + 123_457);
    assert.equal(one.points().x[0], (kStart + 123_457 + 3_600_000_000) / 1e6);
    assert.equal(one.latest?.x, one.points().x[0]);
    assert.equal(Math.round(one.points().x[0]! * 1e6), kStart + 123_457 + 3_600_000_000);
  });

  test("knows its newest value, also after it has been asked before", () => {
    const { one, add } = history();
    assert.deepEqual([one.latest, one.arrivedAt], [null, -Infinity]);
    add(1, 2.5);
    const first = { number: 2.5, text: "2.5", description: "", x: x(1), stamp: kStart + 1e6, arrivedAt: 1000 };
    assert.deepEqual(one.latest, first);
    one.setOffset(1e6);
    assert.deepEqual(one.latest, { ...first, x: x(2) });
    add(2, 3, "3.0000", "third");
    assert.deepEqual(one.latest, { number: 3, text: "3.0000", description: "third", x: x(3), stamp: kStart + 2e6, arrivedAt: 2000 });
    assert.equal(one.arrivedAt, 2000);
    add(3, NaN, "open");
    assert.deepEqual([one.latest?.number, one.latest?.text], [null, "open"]);
  });

  test("is ten minutes long, in one piece, however much comes", () => {
    const { one, add } = history();
    for (let index = 0; index < 40_000; index++) add(index / 20, index);
    const { x: xs, y } = one.points();
    assert.equal(xs.length, 20 * kWindow + 1);
    assert.equal(y[y.length - 1], 39_999);
    for (let index = 1; index < y.length; index++) assert.equal(y[index], y[index - 1]! + 1);
    assert.equal(one.count, 40_000);
    assert.equal(one.min, 0);
  });

  test("shows one point more on either side of what is asked for", () => {
    const { one, add } = history();
    for (let second = 0; second < 10; second++) add(second, second);
    assert.deepEqual([...one.points(x(2.5), x(4.5)).y], [2, 3, 4, 5]);
    assert.deepEqual([...one.points(x(20), x(30)).y], [9]);
    assert.deepEqual([...one.points(x(-5), x(-1)).y], [0]);
  });

  test("has a gap where values were late for more than five usual intervals and two seconds", () => {
    const { one, add } = history();
    for (let index = 0; index < 20; index++) add(index, index);
    add(23.5, 1);
    assert.deepEqual(one.gaps, []);
    add(24.5, 1);
    add(40, 2);
    assert.deepEqual(one.gaps, [{ from: x(24.5), to: x(40), reason: "missing" }]);
    assert.equal(one.valueAt(x(30)), null);
    assert.equal(one.valueAt(x(24.5))?.number, 1);
    assert.equal(one.valueAt(x(40))?.number, 2);
  });

  test("learns that a signal has become slower, instead of gaps for ever", () => {
    const { one, add } = history();
    for (let index = 0; index < 20; index++) add(index / 10, index);
    for (let index = 1; index < 60; index++) add(2 + 5 * index, index);
    assert.ok(one.gaps.length < 30, `${one.gaps.length} gaps`);
    assert.ok(one.interval > 4);
  });

  test("takes NaN for a gap, and does not draw it", () => {
    const { one, add } = history();
    add(0, 1);
    add(0.1, NaN, "NaN");
    assert.equal(one.latest?.text, "NaN");
    assert.equal(one.gaps.at(-1)?.to, Infinity);
    add(0.3, 2);
    assert.deepEqual(one.gaps, [{ from: x(0), to: x(0.3), reason: "not-a-number" }]);
    assert.equal(one.points().x.length, 2);
    assert.equal(one.discrete, false);
  });

  test("has a gap from the end of a connection to the next value", () => {
    const { one, add } = history();
    add(0, 1);
    one.breakOff("connection");
    one.breakOff("stopped");
    add(0.1, 2);
    assert.deepEqual(one.gaps, [{ from: x(0), to: x(0.1), reason: "connection" }]);
  });

  test("begins a new stretch when stamps go back", () => {
    const { one, add } = history();
    for (let second = 0; second < 10; second++) add(second, second);
    add(4.5, 50);
    assert.deepEqual([...one.points().y], [0, 1, 2, 3, 4, 50]);
    assert.deepEqual(one.gaps, [{ from: x(4), to: x(4.5), reason: "clock" }]);
    add(5.5, 51);
    const { x: xs } = one.points();
    for (let index = 1; index < xs.length; index++) assert.ok(xs[index]! >= xs[index - 1]!);
    const before = one.rebuilt;
    add(-3600, 1);
    assert.deepEqual([...one.points().y], [1]);
    assert.equal(one.rebuilt, before + 1);
  });

  test("is discrete from the first description on, and remembers its states", () => {
    const { one, add } = history();
    add(0, 0);
    assert.equal(one.discrete, false);
    add(1, 1, "", "first");
    add(2, 2, "", "second");
    add(3, 1, "", "first");
    assert.equal(one.discrete, true);
    const { state } = one.points();
    assert.deepEqual(
      [...state!].map((index) => one.states[index]),
      ["", "first", "second", "first"],
    );
    assert.deepEqual(one.valueAt(x(2)), { x: x(2), stamp: kStart + 2e6, number: 2, text: "2", description: "second" });
  });

  test("keeps texts of a signal that has no numbers", () => {
    const { one, add } = history();
    add(0, NaN, "open");
    add(60, NaN, "closed");
    assert.equal(one.valueAt(x(30))?.text, "open");
    assert.equal(one.latest?.number, null);
    assert.deepEqual(one.gaps, []);
  });

  test("shows numbers beyond 2^53 as they were sent, also earlier ones, and only while they are kept", () => {
    const { one, add } = history();
    add(0, 2 ** 63, "9223372036854775807");
    add(1, 5);
    assert.equal(one.valueAt(x(0.5))?.text, "9223372036854775807");
    assert.equal(one.valueAt(x(1))?.text, "5");
    for (let index = 2; index < 3_000; index++) add(index, index);
    assert.equal(one.valueAt(x(2_500))?.text, "2500");
  });

  test("tells minimum, maximum, mean and rate between two times", () => {
    const { one, add } = history();
    for (let index = 0; index <= 100; index++) add(index / 10, index % 10);
    const statistics = one.statistics(x(2), x(4));
    assert.equal(statistics?.count, 21);
    assert.equal(statistics?.min, 0);
    assert.equal(statistics?.max, 9);
    assert.ok(Math.abs(statistics!.mean - 90 / 21) < 1e-9);
    assert.ok(Math.abs(statistics!.rate - 10) < 1e-3);
    assert.equal(one.statistics(x(20), x(30)), null);
  });
});
