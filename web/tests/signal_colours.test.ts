import assert from "node:assert/strict";
import { describe, test } from "node:test";
import { curveColour, curveDash } from "../src/charts/palette";
import { kHues, SignalColours } from "../src/store/signal_colours";

const ids = (count: number, from = 0) => Array.from({ length: count }, (_, index) => `id ${from + index}`);

describe("the colour of a signal", () => {
  test("stays what it is, and is told apart from all others", () => {
    const colours = new SignalColours();
    colours.chooseTogether(ids(30));
    const numbers = ids(30).map((id) => colours.of(id));
    assert.equal(new Set(numbers).size, 30);
    assert.deepEqual(numbers.slice(0, kHues), [0, 1, 2, 3, 4, 5, 6, 7]);
    assert.equal(colours.of("another"), 30);
    colours.chooseTogether(["new", "id 7", "id 3"]);
    assert.deepEqual([colours.of("id 7"), colours.of("id 3")], [7, 3]);
  });

  test("is none of those beside it as long as there is another", () => {
    const colours = new SignalColours();
    colours.chooseTogether(ids(4)); // in one panel
    colours.chooseTogether(ids(4, 4)); // in another
    const panel = [...ids(4), ...ids(4, 8)];
    colours.chooseTogether(panel);
    assert.equal(new Set(panel.map((id) => colours.of(id) % kHues)).size, kHues);
    colours.chooseTogether([...panel, "ninth"]);
    assert.equal(colours.of("ninth"), kHues, "one that is dashed");
  });

  test("has as many numbers as there are colours before they repeat", () => {
    for (const theme of ["light", "dark"] as const) {
      const first = Array.from({ length: kHues }, (_, number) => curveColour(theme, number));
      assert.equal(new Set(first).size, kHues);
      assert.equal(curveColour(theme, kHues), first[0]);
    }
    assert.deepEqual(curveDash(kHues - 1), []);
    assert.notDeepEqual(curveDash(kHues), []);
  });
});
