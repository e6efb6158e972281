/// A chart that runs through made-up data, for a test to compare what has been drawn bit by bit with the whole picture.
import type { ChartColours } from "../../charts/palette.ts";
import type { Gap } from "../../charts/samples.ts";
import type { LineStyle } from "../../charts/series_path.ts";
import { TimeChart, type Trace } from "../../charts/time_chart.ts";
import { ZoneClock } from "../../charts/zone_clock.ts";

interface Course {
  readonly style: LineStyle;
  readonly dash: readonly number[];
  /// Seconds between two values.
  readonly interval: number;
  readonly value: (x: number) => number;
  /// Seconds of which nothing is known.
  readonly gaps?: readonly (readonly [number, number])[];
}

interface Run {
  readonly courses: readonly Course[];
  readonly marks?: readonly number[];
  /// Seconds that are seen, and between two frames.
  readonly seconds: number;
  readonly step: number;
  readonly frames: number;
  /// Before that frame the chart gets another width, in CSS pixels.
  readonly resized?: { readonly frame: number; readonly width: number };
}

export interface Outcome {
  /// How often the picture was moved, and how many of its pixels are not those of the whole picture.
  readonly moves: number;
  readonly frames: number;
  /// How often it was moved while a new size had to settle.
  readonly movesWhileSettling: number;
  readonly different: number;
  readonly drawn: number;
  /// Some of those pixels.
  readonly where: readonly string[];
}

/// A new size settles at least so long, in ms.
const kSettling = 400;
const kStart = 1_700_000_000.123;
const kRange = 10;
/// Differences of colours up to which two pixels look the same: short and long lines have their edges smoothed differently.
const kFaint = 64;

const kColours: ChartColours = { text: "#111", muted: "#667", grid: "#dde", panel: "#fff", accent: "#06c", marker: "#a0a" };
const kCurves = ["#0a6fb5", "#b86200", "#007d5c", "#b3307a"];

const wave = (period: number, phase: number) => (x: number) => (kRange / 2) * Math.sin((2 * Math.PI * x) / period + phase);
const jumps = (x: number) => (Math.sin(x * 1234.5) > 0 ? 3 : -4);
const noise = (x: number) => kRange * (((Math.sin(x * 7919.7) * 43758.5453) % 1) - 0.5);

const kRuns: Record<string, Run> = {
  "few values": {
    courses: [
      { style: "slope", dash: [], interval: 0.05, value: wave(6, 0) },
      { style: "slope", dash: [6, 3], interval: 0.05, value: wave(6, 1) },
      { style: "slope", dash: [2, 2], interval: 0.05, value: wave(1.5, 2) },
      { style: "slope", dash: [], interval: 3.3, value: wave(20, 2) },
    ],
    seconds: 30,
    step: 0.13,
    frames: 300,
  },
  "many values a pixel": {
    courses: [
      { style: "slope", dash: [], interval: 0.005, value: noise },
      { style: "slope", dash: [6, 3], interval: 0.005, value: wave(3, 1) },
    ],
    seconds: 30,
    step: 0.13,
    frames: 150,
  },
  states: {
    courses: [
      { style: "step", dash: [], interval: 0.7, value: jumps },
      { style: "step", dash: [2, 2], interval: 1.1, value: (x) => jumps(x) / 2 },
    ],
    seconds: 20,
    step: 0.1,
    frames: 300,
  },
  gaps: {
    courses: [
      {
        style: "slope",
        dash: [],
        interval: 0.05,
        value: wave(6, 0),
        gaps: [
          [33, 36],
          [44, 44.5],
        ],
      },
      { style: "slope", dash: [6, 3], interval: 0.05, value: wave(6, 1), gaps: [[38, 43]] },
      { style: "step", dash: [], interval: 0.4, value: jumps, gaps: [[35, 41]] },
    ],
    seconds: 30,
    step: 0.13,
    frames: 200,
  },
  markers: {
    courses: [{ style: "slope", dash: [], interval: 0.05, value: wave(6, 0) }],
    marks: [10, 31, 38, 47, 48, 56],
    seconds: 30,
    step: 0.13,
    frames: 230,
  },
  "another width": {
    courses: [{ style: "slope", dash: [], interval: 0.05, value: wave(6, 0) }],
    seconds: 30,
    step: 0.13,
    frames: 200,
    resized: { frame: 195, width: 520 },
  },
  "a lone value": {
    courses: [{ style: "slope", dash: [], interval: 1000, value: () => 1 }],
    seconds: 30,
    step: 0.13,
    frames: 100,
  },
};

/// What is known of a course at the time `now`.
function samplesAt({ interval, value, gaps = [] }: Course, from: number, now: number) {
  const x: number[] = [];
  const known: Gap[] = [];
  for (let index = Math.max(0, Math.floor(from / interval) - 1); index * interval <= now; ++index) {
    const time = index * interval;
    if (gaps.some(([begin, end]) => time > begin && time < end)) continue;
    x.push(time);
  }
  for (const [begin, end] of gaps) {
    if (begin > now) continue;
    const last = Math.floor(begin / interval) * interval;
    const next = Math.ceil(end / interval) * interval;
    known.push({ from: kStart + last, to: next <= now ? kStart + next : Infinity });
  }
  return { x: Float64Array.from(x, (time) => kStart + time), y: Float64Array.from(x, (time) => value(time)), gaps: known };
}

async function run({ courses, marks = [], seconds, step, frames, resized }: Run): Promise<Outcome> {
  const host = document.createElement("div");
  document.body.append(host);
  let moves = 0;
  let movesWhileSettling = 0;
  let resizedAt = NaN;
  const pens = CanvasRenderingContext2D.prototype;
  const drawImage = pens.drawImage;
  pens.drawImage = function (this: CanvasRenderingContext2D, ...all: unknown[]) {
    if (all[0] === this.canvas) ++moves;
    if (performance.now() - resizedAt < kSettling) ++movesWhileSettling;
    (drawImage as (...all: unknown[]) => void).apply(this, all);
  };
  const chart = new TimeChart(host, () => kColours);
  chart.setTraces(courses.map(({ dash }, index): Trace => ({ id: String(index), scale: "one", unit: "V", colour: () => kCurves[index]!, dash })));
  chart.resize(700, 160);
  const zone = new ZoneClock("UTC");
  const cursors = { a: null, b: null };
  const shownMarks = marks.map((x) => ({ x: kStart + x, label: `Marker at ${x} seconds` }));
  for (let frame = 0; frame < frames; ++frame) {
    const now = seconds + frame * step;
    const settling = resized !== undefined && frame >= resized.frame;
    if (settling) chart.resize(resized.width, 160);
    if (settling && frame === resized.frame) resizedAt = performance.now();
    const span = { from: kStart + now - seconds, to: kStart + now };
    const data = courses.map((course) => ({ samples: samplesAt(course, now - seconds, now), style: course.style, version: 0 }));
    chart.draw({ span, now: span.to, zone, data, marks: shownMarks, cursors, eager: frame === 0 });
    // A new size is taken over by and by, between one frame and the next.
    if (settling) await new Promise((resolve) => requestAnimationFrame(resolve));
  }
  pens.drawImage = drawImage;
  const bit = pixels(chart.canvas!);
  chart.redraw();
  const whole = pixels(chart.canvas!);
  let different = 0;
  let drawn = 0;
  const where: string[] = [];
  const { left } = chart.area;
  for (let at = 0; at < whole.length; at += 4) {
    if (whole[at + 3] === 0 && bit[at + 3] === 0) continue;
    ++drawn;
    // A line at the left edge reaches half out of the picture.
    const column = (at / 4) % chart.canvas!.width;
    const inside = Math.abs(column - left * devicePixelRatio) > 1;
    if (inside && [0, 1, 2].some((channel) => Math.abs(whole[at + channel]! - bit[at + channel]!) > kFaint)) {
      ++different;
      if (where.length < 10)
        where.push(`${column},${Math.floor(at / 4 / chart.canvas!.width)}: ${bit.slice(at, at + 4)} / ${whole.slice(at, at + 4)}`);
    }
  }
  return { moves, movesWhileSettling, frames, different, drawn, where };
}

function pixels(canvas: HTMLCanvasElement): Uint8ClampedArray {
  const { data } = canvas.getContext("2d")!.getImageData(0, 0, canvas.width, canvas.height);
  // On white: of what is almost transparent the colour tells nothing.
  for (let at = 0; at < data.length; at += 4) {
    const alpha = data[at + 3]! / 255;
    for (const channel of [0, 1, 2]) data[at + channel] = 255 - alpha * (255 - data[at + channel]!);
  }
  return data;
}

Object.assign(window, { movingRuns: Object.keys(kRuns), runMoving: (name: string) => run(kRuns[name]!) });
