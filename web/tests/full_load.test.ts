import assert from "node:assert/strict";
import { test } from "node:test";
import type { BusState } from "../src/store/model";
import { fullLoad } from "../src/views/panels/full_load";

test("a bar is full at 100 %, and where a bus has no limit above its peak: never does a peak look like one", () => {
  const full = (unit: string, load: number | null, peak: number | null) => fullLoad({ unit, load, peak } as BusState);
  assert.equal(full("%", 20, 30), 100);
  assert.deepEqual(
    [1, 2, 4.9, 5, 9.99, 10, 1000, 2157].map((peak) => full("kB/s", 0, peak)),
    [2, 5, 5, 10, 10, 20, 2000, 5000],
  );
  assert.equal(full("kB/s", 3, null), 5);
  assert.ok(full("B/s", 0, 0) > 0);
});
