import assert from "node:assert/strict";
import { afterEach, test } from "node:test";
import { startTicks } from "../src/store/ticks";

const real = { setTimeout: globalThis.setTimeout, now: performance.now };

afterEach(() => {
  globalThis.setTimeout = real.setTimeout;
  performance.now = real.now;
});

// How often curves and texts are due in two seconds in a browser that needs `slow` ms for each tick.
function inTwoSeconds(slow: number): { curves: number; texts: number } {
  let clock = 0;
  let next: { call: () => void; at: number } | null = null;
  performance.now = () => clock;
  globalThis.setTimeout = ((call: () => void, ms: number) => (next = { call, at: clock + ms })) as unknown as typeof setTimeout;
  Object.assign(globalThis, { document: { hidden: false, addEventListener() {} } });
  const ticks = startTicks(() => true);
  for (;;) {
    const { call, at } = next!;
    clock = Math.max(at, clock + slow);
    if (clock > 2000) return { curves: ticks.curves.value, texts: ticks.texts.value };
    call();
  }
}

test("curves are drawn 25 times and texts 5 times a second", () => {
  assert.deepEqual(inTwoSeconds(0), { curves: 50, texts: 10 });
});

test("texts stay as new as ever in a browser that is too slow for all curves", () => {
  assert.deepEqual(inTwoSeconds(200), { curves: 10, texts: 10 });
  assert.deepEqual(inTwoSeconds(500), { curves: 4, texts: 4 });
});
