import assert from "node:assert/strict";
import { describe, test } from "node:test";
import { DashPen } from "../src/charts/dashes";
import { Scrolling, type Scene } from "../src/charts/scrolling";

const kTimes = Float64Array.from({ length: 400 }, (_, index) => index / 10);

// A hundred pixels and ten seconds wide, with a value each tenth of a second up to `now`.
function scene(now: number, change: Partial<Scene> = {}): Scene {
  const x = kTimes.subarray(0, Math.floor(now * 10 + 1e-9) + 1);
  return {
    span: { from: now - 10, to: now },
    now,
    curves: [{ samples: { x, y: x, gaps: [] }, style: "slope", version: 0 }],
    scales: [{ min: 0, max: 100 }],
    box: { left: 0, top: 0, width: 100, height: 50 },
    edge: 10,
    margin: 2,
    look: ["light"],
    whole: false,
    eager: false,
    ...change,
  };
}

// What is drawn at the time 20.3 after the scene at 20.
function next(change: Partial<Scene> = {}, now = 20.3, clock = 300) {
  const scrolling = new Scrolling();
  scrolling.plan(scene(20), 0);
  return scrolling.plan(scene(now, change), clock);
}

describe("of a chart that moves", () => {
  test("the first picture is drawn whole", () => {
    assert.equal(new Scrolling().plan(scene(20), 0)?.strip, null);
  });
  test("only a strip is drawn, behind the last value that had been drawn", () => {
    const plan = next();
    assert.equal(plan?.shift, 3);
    assert.equal(plan?.strip, 90);
    assert.equal(next({ edge: 0, margin: 2.5 })?.strip, 94);
  });
  test("the strip reaches back to where a gap has begun or ended", () => {
    const x = kTimes.subarray(0, 151);
    const known = (to: number) => ({ curves: [{ samples: { x, y: x, gaps: [{ from: 15, to }] }, style: "slope", version: 0 } as const] });
    const scrolling = new Scrolling();
    scrolling.plan(scene(20, known(Infinity)), 0);
    assert.equal(scrolling.plan(scene(20.3, known(Infinity)), 300)?.strip, 90);
    assert.equal(scrolling.plan(scene(20.6, { ...known(20.5), margin: 2.5 }), 600)?.strip, 41);
  });
  test("nothing is drawn while it has not moved by a pixel, but soon what has come", () => {
    const scrolling = new Scrolling();
    assert.notEqual(scrolling.plan(scene(20), 0), null);
    const [x, y] = [kTimes.subarray(0, 202), kTimes.subarray(0, 202)];
    const more = { curves: [{ samples: { x, y, gaps: [] }, style: "slope", version: 0 } as const] };
    assert.equal(scrolling.plan(scene(20, more), 40), null);
    assert.equal(scrolling.plan(scene(20, more), 140)?.shift, 0);
    assert.equal(scrolling.plan(scene(20, more), 280), null, "nothing has come since");
  });
  test("everything is drawn when it has become another picture", () => {
    const cases: Record<string, Partial<Scene>> = {
      "another scale": { scales: [{ min: 0, max: 50 }] },
      "another size": { box: { left: 0, top: 0, width: 101, height: 50 } },
      "another theme": { look: ["dark"] },
      "another length of time": { span: { from: 0, to: 20.3 } },
      "other values": { curves: [{ ...scene(20.3).curves[0]!, version: 1 }] },
      "no values": { curves: [null] },
      "steps instead of slopes": { curves: [{ ...scene(20.3).curves[0]!, style: "step" }] },
      cursors: { whole: true },
      "a wish": { eager: true },
    };
    for (const [name, change] of Object.entries(cases)) assert.equal(next(change)?.strip, null, name);
    assert.equal(next({}, 19)?.strip, null, "time going back");
    assert.equal(next({}, 28)?.strip, null, "a leap");
    assert.equal(next({}, 20.3, 20_000)?.strip, null, "a while");
  });
  test("the picture begins at whole pixels of the time axis", () => {
    const plan = next({ span: { from: 10.234, to: 20.234 } });
    assert.ok(Math.abs(plan!.span.to - 20.3) < 1e-6);
    assert.ok(Math.abs(plan!.span.from - 10.3) < 1e-6);
  });
});

describe("dashes", () => {
  function dashed(points: readonly (readonly [number, number])[], phase = 0) {
    const strokes: string[] = [];
    const note = (name: string) => (x: number, y: number) => strokes.push(`${name}${x},${y}`);
    const pen = new DashPen({ moveTo: note("M"), lineTo: note("L") }, [6, 3], phase);
    points.forEach(([x, y], index) => (index === 0 ? pen.moveTo(x, y) : pen.lineTo(x, y)));
    return { line: strokes.join(" "), phase: pen.phase };
  }
  const ends: [number, number][] = [
    [0, 0],
    [20, 0],
  ];

  test("are drawn by turns", () => {
    assert.deepEqual(dashed(ends), { line: "M0,0 L6,0 M9,0 L15,0 M18,0 L20,0", phase: 2 });
  });
  test("go round corners", () => {
    assert.equal(
      dashed([
        [0, 0],
        [4, 0],
        [4, 7],
      ]).line,
      "M0,0 L4,0 L4,2 M4,5 L4,7",
    );
  });
  test("go on where another part of the line has ended", () => {
    assert.equal(dashed(ends, 2).line, "M0,0 L4,0 M7,0 L13,0 M16,0 L20,0");
    assert.equal(dashed(ends, 7).line, "M2,0 L8,0 M11,0 L17,0 M20,0 L20,0");
    assert.equal(dashed(ends, -2).line, "M2,0 L8,0 M11,0 L17,0 M20,0 L20,0");
  });
  test("are not made of what leads far beyond the scale", () => {
    assert.equal(
      dashed([
        [0, 0],
        [0, 1e300],
        [5, 1e300],
      ]).line,
      "M0,0 M0,0 L0,1e+300 L5,1e+300",
    );
  });
});
