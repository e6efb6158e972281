import assert from "node:assert/strict";
import { describe, test } from "node:test";
import { History } from "../src/store/history";
import { rangeOf } from "../src/views/panels/signal_data";

function historyOf(...values: readonly (readonly [number: number, text?: string, description?: string])[]): History {
  const one = new History("02\nSpeed", 0);
  values.forEach(([number, text = "", description = ""], second) =>
    one.append({ stamp: (1_700_000_000 + second) * 1e6, number, text, description, at: second * 1000 }),
  );
  return one;
}

describe("the least and the greatest value of a signal", () => {
  test("are those of its numbers", () => {
    const { min, max } = rangeOf(historyOf([3], [-1.5], [2], [NaN, "NaN"]))!;
    assert.deepEqual([min, max], [-1.5, 3]);
  });
  test("are not told before the first number", () => {
    assert.equal(rangeOf(null), null);
    assert.equal(rangeOf(historyOf()), null);
    assert.equal(rangeOf(historyOf([NaN, "NaN"])), null);
  });
  test("are not told of states, whether they have numbers or not", () => {
    assert.equal(rangeOf(historyOf([NaN, "open"], [NaN, "closed"])), null);
    assert.equal(rangeOf(historyOf([0], [1, "", "first"], [2, "", "second"])), null);
  });
});
