import assert from "node:assert/strict";
import { describe, test } from "node:test";
import { toCsv } from "../src/charts/export";
import { numbersOf } from "../src/charts/axes";
import { axisNumber, computedNumber, duration, groupedNumber, plainNumber } from "../src/charts/numbers";
import { extent, gapsWithin, indexAtOrBefore, valueAt } from "../src/charts/samples";
import { drawSamples, type Frame, type LineStyle } from "../src/charts/series_path";
import { stretches } from "../src/charts/sparkline";
import { SteadyScale } from "../src/charts/steady_scale";
import { labelFits, tickLabel, ticks, tickStep } from "../src/charts/time_ticks";
import { allowedDivisions } from "../src/charts/time_chart";
import { pairs } from "../src/charts/xy_chart";
import { ZoneClock } from "../src/charts/zone_clock";

const samples = (x: number[], y: number[], gaps: { from: number; to: number }[] = []) => ({
  x: Float64Array.from(x),
  y: Float64Array.from(y),
  gaps,
});

// A frame in which a second and a unit are one pixel, upside down.
const frame = (to: number, height = 10): Frame => ({ span: { from: 0, to }, left: 0, width: to, top: 0, height, min: 0, max: height });

function drawn(data: ReturnType<typeof samples>, style: LineStyle, holdUntil = Infinity, to = 10) {
  const strokes: string[] = [];
  const note = (name: string) => (x: number, y: number) => strokes.push(`${name}${Number(x.toFixed(1))},${Number((10 - y).toFixed(1))}`);
  drawSamples({ moveTo: note("M"), lineTo: note("L") }, data, frame(to), style, holdUntil);
  return strokes.join(" ");
}

describe("a line", () => {
  test("goes straight from value to value", () => {
    assert.equal(drawn(samples([1, 2, 4], [1, 3, 2]), "slope"), "M1,1 L2,3 L4,2");
  });
  test("of states goes in steps and holds the last one", () => {
    assert.equal(drawn(samples([1, 2], [1, 3]), "step", 5), "M1,1 L2,1 L2,3 L5,3");
  });
  test("is not drawn through a gap, and a state ends where the gap begins", () => {
    assert.equal(drawn(samples([1, 2, 6, 7], [1, 1, 5, 5], [{ from: 2, to: 6 }]), "slope"), "M1,1 L2,1 L2,1 M6,5 L7,5");
    assert.equal(drawn(samples([1, 6], [1, 5], [{ from: 3, to: 6 }]), "step", 8), "M1,1 L3,1 M6,5 L8,5");
  });
  test("ends at a gap that still lasts", () => {
    assert.equal(drawn(samples([1, 2], [1, 3], [{ from: 2, to: Infinity }]), "step", 9), "M1,1 L2,1 L2,3 L2,3");
  });
  test("is broken by points without a number", () => {
    assert.equal(drawn(samples([1, 2, 3, 4], [1, NaN, 2, 2]), "slope"), "M1,1 L1,1 M3,2 L4,2");
  });
  test("with many values a pixel keeps the least and the greatest of each", () => {
    const x = Array.from({ length: 1000 }, (_, index) => index / 100);
    const y = x.map((_, index) => (index === 512 ? 9 : index === 733 ? 1 : 5));
    const line = drawn(samples(x, y), "slope");
    assert.match(line, /L5\.5,5 L5\.5,9 L5\.5,5 L5\.5,5 L6\.5,5/);
    assert.match(line, /L7\.5,5 L7\.5,5 L7\.5,1 L7\.5,5 L8\.5,5/);
    assert.ok(line.split(" ").length < 40);
  });
});

describe("the samples", () => {
  test("know the value at or before a time", () => {
    const x = Float64Array.of(1, 2, 2, 5);
    assert.deepEqual(
      [0.5, 1, 1.9, 2, 4.9, 5, 9].map((time) => indexAtOrBefore(x, time)),
      [-1, 0, 0, 2, 2, 3, 3],
    );
  });
  test("know no value before the first one, nor within a gap", () => {
    const data = samples([1, 2, 6], [10, 20, 60], [{ from: 2, to: 6 }, { from: 8, to: Infinity }]);
    assert.deepEqual(
      [0.5, 1, 1.9, 2, 2.1, 5.9, 6, 8, 8.1].map((time) => valueAt(data, time)),
      [NaN, 10, 10, 20, NaN, NaN, 60, 60, NaN],
    );
  });
  test("reach as far as the values seen, the one that holds at the left edge included", () => {
    assert.deepEqual(extent(samples([1, 5, 9], [-4, 2, 40]), { from: 3, to: 8 }), { min: -4, max: 2 });
    assert.equal(extent(samples([1], [NaN]), { from: 0, to: 8 }), null);
  });
  test("count the gaps that are seen", () => {
    assert.equal(
      gapsWithin(
        [
          { from: 1, to: 2 },
          { from: 4, to: 5 },
          { from: 9, to: Infinity },
        ],
        { from: 4.5, to: 10 },
      ),
      2,
    );
  });
});

describe("a scale", () => {
  const fit = (scale: SteadyScale, min: number, max: number, clock: number, eager = false) => {
    scale.fit({ min, max }, [5, 4, 3], clock, eager);
    return [scale.min, scale.max, scale.step];
  };
  test("has round borders around the values", () => {
    assert.deepEqual(fit(new SteadyScale(), 3, 97, 0), [0, 100, 20]);
    assert.deepEqual(fit(new SteadyScale(), 7.9, 93.8, 0), [0, 100, 20]);
    assert.deepEqual(fit(new SteadyScale(), -12, 12, 0), [-20, 20, 10]);
  });
  test("gives a constant room instead of its own noise", () => {
    const [min, max] = fit(new SteadyScale(), 42, 42, 0) as [number, number];
    assert.ok(min < 42 && max > 42 && max - min >= 8);
  });
  test("grows at once and shrinks only after a while", () => {
    const scale = new SteadyScale();
    fit(scale, 0, 10, 0);
    assert.deepEqual(fit(scale, 0, 90, 1).slice(0, 2), [0, 100]);
    assert.deepEqual(fit(scale, 0, 10, 2).slice(0, 2), [0, 100]);
    assert.deepEqual(fit(scale, 0, 10, 5.9).slice(0, 2), [0, 100]);
    assert.deepEqual(fit(scale, 0, 10, 6.1).slice(0, 2), [0, 10]);
  });
  test("shrinks at once when the user has zoomed", () => {
    const scale = new SteadyScale();
    fit(scale, 0, 90, 0);
    assert.deepEqual(fit(scale, 0, 10, 0.1, true).slice(0, 2), [0, 10]);
  });
  test("holds every value that it was fitted to", () => {
    let seed = 7;
    const random = () => (seed = (seed * 16807) % 2147483647) / 2147483647;
    for (let round = 0; round < 2000; ++round) {
      const scale = new SteadyScale();
      const min = (random() - 0.5) * 10 ** (random() * 12 - 4);
      const max = min + random() * 10 ** (random() * 12 - 6);
      scale.fit({ min, max }, allowedDivisions(2 + random() * 9), 0, false);
      const slack = (scale.max - scale.min) * 1e-6;
      assert.ok(scale.min <= min + slack && scale.max >= max - slack, `${min}..${max} in ${scale.min}..${scale.max}`);
    }
  });
});

test("a scale is written only when it has seen values", () => {
  const scale = new SteadyScale();
  scale.fit(null, [4], 0, false);
  assert.deepEqual(numbersOf(scale, scale.splits), ["", "", "", "", ""]);
  scale.fit({ min: 0, max: 4 }, [4], 0, false);
  assert.deepEqual(numbersOf(scale, scale.splits), ["0", "1", "2", "3", "4"]);
});

describe("numbers", () => {
  test("on axes have as many digits as their divisions need", () => {
    assert.deepEqual(
      [0, 0.25, 0.5].map((value) => axisNumber(value, 0.25, 1)),
      ["0.00", "0.25", "0.50"],
    );
    assert.deepEqual(
      [-20, 0, 20].map((value) => axisNumber(value, 20, 20)),
      ["-20", "0", "20"],
    );
    assert.deepEqual(
      [20e6, 22.5e6].map((value) => axisNumber(value, 2.5e6, 25e6)),
      ["20.0M", "22.5M"],
    );
  });
  test("that were computed keep about five digits", () => {
    assert.deepEqual([null, 0, 8.4, 12.34567, 1234.56, 123456.7, 1e12].map(computedNumber), [
      "–",
      "0",
      "8.4",
      "12.346",
      "1234.6",
      "123457",
      "1.000e+12",
    ]);
    assert.deepEqual([12, 119.55, Infinity].map(plainNumber), ["12", "119.55", "–"]);
  });
  test("with many digits are read in groups of three", () => {
    assert.deepEqual([0, 9999, 10000, -467666, 12345678.25, 1e21].map(groupedNumber), [
      "0",
      "9999",
      "10\u202f000",
      "-467\u202f666",
      "12\u202f345\u202f678.25",
      "1e+21",
    ]);
  });
  test("of seconds have a unit that fits", () => {
    assert.deepEqual([0.0000042, 0.0123, 0.85, 12.4, 187, -3600].map(duration), [
      "4 µs",
      "12.30 ms",
      "850 ms",
      "12.40 s",
      "3:07 min",
      "−1:00 h",
    ]);
  });
});

describe("time", () => {
  const x = Date.UTC(2026, 10, 21, 12, 0, 5) / 1000 + 0.123456;
  test("is shown in the logger's zone, and as UTC where the zone is not known", () => {
    assert.equal(new ZoneClock("Europe/Berlin").time(x), "13:00:05");
    assert.equal(new ZoneClock("America/New_York").time(x, 3), "07:00:05.123");
    assert.equal(new ZoneClock("Mars/Olympus").zone, "UTC");
    assert.equal(new ZoneClock("Mars/Olympus").time(x, 6), "12:00:05.123456");
    assert.equal(new ZoneClock("UTC").date(x), "2026-11-21");
  });
  test("knows when the clocks are changed", () => {
    const clock = new ZoneClock("Europe/Berlin");
    const change = Date.UTC(2026, 9, 25, 1) / 1000;
    assert.deepEqual([clock.time(change - 1), clock.time(change)], ["02:59:59", "02:00:00"]);
  });
  test("is divided into round parts that have room", () => {
    const span = { from: x, to: x + 30 };
    const step = tickStep(span, 600, 88);
    assert.equal(step, 5);
    assert.deepEqual(
      ticks(span, step).map((time) => tickLabel(new ZoneClock("UTC"), time, step)),
      ["12:00:10", "12:00:15", "12:00:20", "12:00:25", "12:00:30", "12:00:35"],
    );
    assert.equal(tickLabel(new ZoneClock("UTC"), x, 0.05), "12:00:05.12");
    assert.equal(tickStep({ from: x, to: x + 3 }, 600, 88), 0.5);
    assert.equal(tickStep({ from: x, to: x + 1e6 }, 600, 88), 7200);
    assert.equal(ticks({ from: 0, to: 1e9 }, 7200).length, 200, "never so many that a browser stands still");
  });
  test("is written only where its label has room", () => {
    const span = { from: x, to: x + 600 };
    const fits = (label: string, room: { left: number; right: number }) =>
      Array.from({ length: 601 }, (_, pixel) => pixel).filter((pixel) => labelFits(label, x + pixel, span, 600, room));
    const ends = (pixels: number[]) => [pixels[0], pixels[pixels.length - 1]];
    assert.deepEqual(ends(fits("12:00:05", { left: 0, right: 0 })), [24, 576], "beside a value axis");
    assert.deepEqual(ends(fits("12:00:05", { left: 12, right: 0 })), [12, 576], "and where none stands");
    assert.deepEqual(ends(fits("12:00:05", { left: 0, right: 12 })), [24, 588]);
    assert.deepEqual(ends(fits("12:00:05.120", { left: 0, right: 0 })), [36, 564], "a longer one");
  });
});

describe("a small curve", () => {
  const held = (data: ReturnType<typeof samples>, until: number) =>
    [...stretches(data, until)].map(({ from, to, value, joined }) => `${joined ? "- " : ""}${value} ${from}-${to}`);
  test("holds each value until the next one, and the last as long as it is told", () => {
    assert.deepEqual(held(samples([1, 3], [5, 6]), 8), ["5 1-3", "- 6 3-8"]);
    assert.deepEqual(held(samples([1, 3], [5, 6]), 3), ["5 1-3", "- 6 3-3"]);
  });
  test("ends at a gap, and begins anew behind it", () => {
    const gap = [{ from: 1, to: 3 }];
    assert.deepEqual(held(samples([0, 1, 3, 4], [5, 6, 7, 8], gap), 5), ["5 0-1", "- 6 1-1", "7 3-4", "- 8 4-5"]);
    assert.deepEqual(held(samples([1, 3], [5, 6], [{ from: 3.5, to: Infinity }]), 8), ["5 1-3", "- 6 3-3.5"]);
  });
  test("has no value where that is no number", () => {
    assert.deepEqual(held(samples([1, 2, 3], [5, NaN, 6]), 4), ["5 1-2", "6 3-4"]);
  });
});

describe("two signals against each other", () => {
  test("are paired with the values that held then", () => {
    const { x, y, count } = pairs(samples([1, 3, 5], [10, 30, 50]), samples([2, 3, 6], [2, 3, 6]), { from: 0, to: 10 });
    assert.deepEqual(
      [[...x.subarray(0, count)], [...y.subarray(0, count)]],
      [
        [10, 30, 50, 50],
        [2, 3, 3, 6],
      ],
    );
  });
  test("are not paired within a gap", () => {
    const { y, count } = pairs(samples([1, 3], [1, 3]), samples([1, 9], [1, 9], [{ from: 1, to: 9 }]), { from: 0, to: 10 });
    assert.deepEqual([...y.subarray(0, count)], [1, NaN, 9]);
  });
});

describe("a file of values", () => {
  test("has a row for each time, an empty cell where a signal had no value, and nothing that a spreadsheet would run", () => {
    const column = (title: string, x: number[], texts: string[]) => ({
      title,
      x: Float64Array.from(x),
      stamp: Float64Array.from(x, (value) => value * 1e6),
      text: (index: number) => texts[index]!,
    });
    const text = toCsv([column("Speed [km/h]", [1, 2], ["12.5", "-3"]), column('Door, "left"', [2, 3], ["=open()", "closed"])]);
    assert.equal(
      text,
      [
        'time (UTC),time [s],logger stamp [us],Speed [km/h],"Door, ""left"""',
        "1970-01-01T00:00:01.000000Z,1.000000,1000000,12.5,",
        "1970-01-01T00:00:02.000000Z,2.000000,2000000,-3,'=open()",
        "1970-01-01T00:00:03.000000Z,3.000000,3000000,,closed",
        "",
      ].join("\r\n"),
    );
  });
});
