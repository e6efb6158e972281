import assert from "node:assert/strict";
import { describe, test } from "node:test";
import { blocks, drawLanes, laneBoxes } from "../src/charts/lanes";

test("lanes leave their names free where these stand above", () => {
  const area = { left: 5, width: 100, laneHeight: 20 };
  assert.deepEqual(laneBoxes(area, 2), [{ left: 5, top: 0, width: 100, height: 40 }]);
  assert.deepEqual(laneBoxes({ ...area, above: 10 }, 2), [
    { left: 5, top: 10, width: 100, height: 20 },
    { left: 5, top: 40, width: 100, height: 20 },
  ]);
});

describe("states", () => {
  const lane = (x: number[], names: string[], gaps: { from: number; to: number }[] = []) =>
    [...blocks({ x: Float64Array.from(x), text: (index) => names[index]!, gaps }, 10)].map(({ from, to, text }) => `${text} ${from}-${to}`);
  test("that are equal join, and the last one lasts until now", () => {
    assert.deepEqual(lane([1, 2, 3, 5], ["a", "a", "b", "b"]), ["a 1-3", "b 3-10"]);
  });
  test("end where a gap begins", () => {
    assert.deepEqual(lane([1, 6], ["a", "a"], [{ from: 2, to: 6 }]), ["a 1-2", "a 6-10"]);
    assert.deepEqual(lane([1], ["a"], [{ from: 4, to: Infinity }]), ["a 1-4"]);
  });
});

describe("the name of a state", () => {
  // Each character is six pixels wide.
  function drawn(widths: readonly number[], name: string) {
    const texts: string[] = [];
    const pen = {
      measureText: (text: string) => ({ width: text.length * 6 }),
      fillText: (text: string, left: number) => void texts.push(`${text} at ${left}`),
      fillRect: () => {},
    } as unknown as CanvasRenderingContext2D;
    const x = Float64Array.from(widths, (_, index) => widths.slice(0, index).reduce((sum, width) => sum + width, 0));
    const end = widths.reduce((sum, width) => sum + width, 0);
    const data = { x, text: (index: number) => (index % 2 === 0 ? name : ""), gaps: [] };
    const colours = { text: "", muted: "", grid: "", panel: "", accent: "", marker: "" };
    drawLanes(pen, { left: 0, width: end, laneHeight: 20 }, { from: 0, to: end }, end, [{ data, colour: "" }], colours);
    return texts;
  }
  test("stands in full where it has room, behind the beginning of the state", () => {
    assert.deepEqual(drawn([60, 60], "neutral"), ["neutral at 6"]);
  });
  test("is cut where it has less, and left out where it has none", () => {
    assert.deepEqual(drawn([40, 60], "neutral"), ["neu… at 6"]);
    assert.deepEqual(drawn([20, 60], "neutral"), []);
  });
});
