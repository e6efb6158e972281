import assert from "node:assert/strict";
import { describe, test } from "node:test";
import { linesThrough, markedPoints, placeNames } from "../src/charts/xy_marks";

const samples = (x: number[], y: number[], gaps: { from: number; to: number }[] = []) => ({
  x: Float64Array.from(x),
  y: Float64Array.from(y),
  gaps,
});
const mark = (x: number) => ({ x, label: `at ${x}` });

describe("markers of two signals against each other", () => {
  const found = (marks: number[], gaps: { from: number; to: number }[] = [], from = 1) =>
    markedPoints(samples([1, 3, 5], [10, 30, 50]), samples([2, 4], [2, 4], gaps), marks.map(mark), { from, to: 8 }).map(
      ({ mark: { label }, x, y }) => `${label}: ${x}, ${y}`,
    );
  test("stand where both signals stood: at the last value at or before their time", () => {
    assert.deepEqual(found([6, 4.9, 3]), ["at 6: 50, 4", "at 4.9: 30, 4", "at 3: 30, 2"]);
  });
  test("stand only within the seconds that are seen", () => {
    assert.deepEqual(found([8.1, 8, 3, 2.9], [], 3), ["at 8: 50, 4", "at 3: 30, 2"]);
  });
  test("stand nowhere while one of the signals is not known", () => {
    assert.deepEqual(found([1.5, 2.5, 4.5], [{ from: 2, to: 4 }]), ["at 4.5: 30, 4"]);
  });
});

describe("names of marks", () => {
  const area = { left: 0, top: 0, width: 200, height: 100 };
  const sides = (
    marks: { left: number; top: number; width: number }[],
    taken: { left: number; top: number; width: number; height: number }[] = [],
    before: ("right" | "left" | "above" | "below" | null)[] = [],
    hidden: (box: { left: number }) => number = () => 0,
  ) => placeNames(marks, area, taken, 1, before, hidden).map((place) => place?.side ?? null);
  test("stand at the right, and where there is no room, at another side within the area", () => {
    assert.deepEqual(placeNames([{ left: 50, top: 50, width: 40 }], area, [], 1, [], () => 0), [
      { side: "right", box: { left: 58, top: 43, width: 40, height: 14 } },
    ]);
    assert.deepEqual(sides([{ left: 180, top: 50, width: 40 }]), ["left"]);
    assert.deepEqual(sides([{ left: 100, top: 50, width: 120 }]), ["above"]);
    assert.deepEqual(sides([{ left: 100, top: 10, width: 120 }]), ["below"]);
    assert.deepEqual(sides([{ left: 100, top: 50, width: 220 }]), [null]);
  });
  test("cover neither the end of the curve, nor another mark or its name", () => {
    const end = { left: 60, top: 45, width: 10, height: 10 };
    assert.deepEqual(sides([{ left: 50, top: 50, width: 40 }], [end]), ["left"]);
    const twins = [50, 52].map((left) => ({ left, top: 50, width: 40 }));
    assert.deepEqual(sides(twins), ["right", "left"]);
    assert.deepEqual(sides([...twins, { left: 51, top: 51, width: 40 }]), ["right", "left", "above"]);
  });
  test("hide as little of the curve as can be", () => {
    assert.deepEqual(
      sides([{ left: 50, top: 50, width: 40 }], [], [], ({ left }) => (left > 50 ? 2 : 1)),
      ["left"],
    );
    const line = [Float64Array.of(0, 10, NaN, 20, 30), Float64Array.of(0, 10, NaN, 10, 10)] as const;
    const box = (left: number, top: number) => ({ left, top, width: 4, height: 4 });
    assert.deepEqual(
      [box(2, 2), box(22, 8), box(12, 2), box(22, 2), box(13, 8)].map((one) => linesThrough(...line, 5, one)),
      [1, 1, 0, 0, 0],
    );
  });
  test("keep the side on which they stood", () => {
    assert.deepEqual(sides([{ left: 50, top: 50, width: 30 }], [], ["left"], ({ left }) => (left < 50 ? 9 : 0)), ["left"]);
    assert.deepEqual(sides([{ left: 5, top: 50, width: 30 }], [], ["left"]), ["right"]);
  });
});
