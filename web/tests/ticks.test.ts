import assert from "node:assert/strict";
import { afterEach, test } from "node:test";
import { startTicks } from "../src/store/ticks";

const real = { setTimeout: globalThis.setTimeout, now: performance.now };

afterEach(() => {
  globalThis.setTimeout = real.setTimeout;
  performance.now = real.now;
});

interface Browser {
  /// ms that it needs for the tick with that number.
  readonly slow?: (tick: number) => number;
  /// ms by which its timers are late.
  readonly late?: number;
  readonly hidden?: boolean;
  readonly running?: boolean;
}

// How often curves and texts are due in two seconds in such a browser.
function inTwoSeconds({ slow = () => 0, late = 0, hidden = false, running = true }: Browser): { curves: number; texts: number } {
  let clock = 0;
  let next: { call: () => void; at: number } | null = null;
  performance.now = () => clock;
  globalThis.setTimeout = ((call: () => void, ms: number) => (next = { call, at: clock + ms })) as unknown as typeof setTimeout;
  Object.assign(globalThis, { document: { hidden, addEventListener() {} } });
  const ticks = startTicks(() => running);
  for (let tick = 0; ; ++tick) {
    const { call, at } = next!;
    clock = Math.max(at + late, clock + slow(tick));
    if (clock > 2000) return { curves: ticks.curves.value, texts: ticks.texts.value };
    call();
  }
}

test("curves are drawn 25 times and texts 5 times a second", () => {
  assert.deepEqual(inTwoSeconds({}), { curves: 50, texts: 10 });
});

test("and so they are where every timer is late", () => {
  assert.deepEqual(inTwoSeconds({ late: 10 }), { curves: 49, texts: 10 });
});

test("curves that were missed are not made up for", () => {
  // But for the one that was due.
  assert.equal(inTwoSeconds({ slow: (tick) => (tick === 10 ? 1000 : 0) }).curves, 27);
});

test("texts stay as new as ever in a browser that is too slow for all curves", () => {
  assert.deepEqual(inTwoSeconds({ slow: () => 200 }), { curves: 10, texts: 10 });
  assert.deepEqual(inTwoSeconds({ slow: () => 500 }), { curves: 4, texts: 4 });
});

test("nothing is drawn while the page is hidden, and only texts while curves stand still", () => {
  assert.deepEqual(inTwoSeconds({ hidden: true }), { curves: 0, texts: 0 });
  assert.deepEqual(inTwoSeconds({ running: false }), { curves: 0, texts: 10 });
});
