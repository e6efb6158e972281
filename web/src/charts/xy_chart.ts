// One signal against another: a point for each time at which one of them changed, with the values that held then.
import uPlot from "uplot";
import type { Area, Mark } from "./annotations.ts";
import { numbersOf } from "./axes.ts";
import type { ChartColours } from "./palette.ts";
import { firstGapAfter, inGap, indexAtOrBefore, type Samples, type Span } from "./samples.ts";
import { SteadyScale } from "./steady_scale.ts";
import { allowedDivisions } from "./time_chart.ts";
import { linesThrough, markedPoints, XyMarks, type MarkedPoint } from "./xy_marks.ts";

export interface XyView {
  readonly x: Samples | null;
  readonly y: Samples | null;
  readonly span: Span;
  /// A moment to be pointed out; null for the newest.
  readonly at: number | null;
  readonly marks: readonly Mark[];
  readonly eager: boolean;
}

interface Pairs {
  readonly x: Float64Array;
  readonly y: Float64Array;
  readonly count: number;
}

/// The pairs of values within the span in the order of time; NaN where one of them is not known.
export function pairs(x: Samples, y: Samples, span: Span): Pairs {
  let i = indexAtOrBefore(x.x, span.from);
  let j = indexAtOrBefore(y.x, span.from);
  const most = x.x.length - i + (y.x.length - j) + 2;
  const out = { x: new Float64Array(most), y: new Float64Array(most), count: 0 };
  let xGap = firstGapAfter(x.gaps, span.from);
  let yGap = firstGapAfter(y.gaps, span.from);
  for (;;) {
    const nextX = i + 1 < x.x.length ? x.x[i + 1]! : Infinity;
    const nextY = j + 1 < y.x.length ? y.x[j + 1]! : Infinity;
    const time = Math.min(nextX, nextY);
    if (time > span.to || time === Infinity) break;
    if (nextX === time) ++i;
    if (nextY === time) ++j;
    if (i < 0 || j < 0) continue;
    while (xGap < x.gaps.length && x.gaps[xGap]!.to <= time) ++xGap;
    while (yGap < y.gaps.length && y.gaps[yGap]!.to <= time) ++yGap;
    const broken = (x.gaps[xGap]?.from ?? Infinity) < time || (y.gaps[yGap]?.from ?? Infinity) < time;
    out.x[out.count] = broken ? NaN : x.y[i]!;
    out.y[out.count] = broken ? NaN : y.y[j]!;
    ++out.count;
  }
  return out;
}

const kDivisionSize = 48;
/// Radius of the dot at the end of the curve, and the width of its border; CSS pixels.
const kDot = 5;
const kBorder = 2;

export class XyChart {
  readonly #host: HTMLElement;
  readonly #colours: () => ChartColours;
  readonly #stroke: () => string;
  readonly #x = new SteadyScale();
  readonly #y = new SteadyScale();
  #plot: uPlot | null = null;
  #points: Pairs = { x: new Float64Array(0), y: new Float64Array(0), count: 0 };
  #at: { x: number; y: number } | null = null;
  #marked: readonly MarkedPoint[] = [];
  #marks = new XyMarks();
  /// What the names of the marks were placed in.
  #frame = "";

  constructor(host: HTMLElement, colours: () => ChartColours, stroke: () => string) {
    this.#host = host;
    this.#colours = colours;
    this.#stroke = stroke;
  }

  get canvas(): HTMLCanvasElement | null {
    return this.#plot?.ctx.canvas ?? null;
  }

  resize(width: number, height: number): void {
    if (width < 1 || height < 1) return;
    if (this.#plot !== null) this.#plot.setSize({ width, height });
    else this.#plot = new uPlot(this.#options(width, height), [Float64Array.of(0, 1), Float64Array.of(0, 1)], this.#host);
  }

  /// Tells whether there is a pair of values to be seen.
  draw(view: XyView): boolean {
    const plot = this.#plot;
    if (plot === null) return false;
    this.#points = view.x !== null && view.y !== null ? pairs(view.x, view.y, view.span) : { ...this.#points, count: 0 };
    this.#at = this.#pointAt(view);
    this.#marked = view.x !== null && view.y !== null ? markedPoints(view.x, view.y, view.marks, view.span) : [];
    const clock = performance.now() / 1000;
    const columns = allowedDivisions(plot.over.clientWidth / 64);
    const rows = allowedDivisions(plot.over.clientHeight / kDivisionSize);
    this.#x.fit(this.#extent(this.#points.x), columns, clock, view.eager);
    this.#y.fit(this.#extent(this.#points.y), rows, clock, view.eager);
    plot.batch(() => {
      plot.setScale("y", { min: this.#y.min, max: this.#y.max });
      plot.setScale("x", { min: this.#x.min, max: this.#x.max });
    });
    return this.#at !== null || this.#points.count > 0;
  }

  destroy(): void {
    this.#plot?.destroy();
    this.#plot = null;
  }

  #pointAt(view: XyView): { x: number; y: number } | null {
    if (view.x === null || view.y === null) return null;
    const time = view.at ?? view.span.to;
    const [i, j] = [indexAtOrBefore(view.x.x, time), indexAtOrBefore(view.y.x, time)];
    // What was last seen stays the end of the curve; at another moment nothing was known.
    const known = view.at === null || !(inGap(view.x.gaps, time) || inGap(view.y.gaps, time));
    if (i < 0 || j < 0 || !known) return null;
    const point = { x: view.x.y[i]!, y: view.y.y[j]! };
    return Number.isFinite(point.x) && Number.isFinite(point.y) ? point : null;
  }

  #extent(values: Float64Array): { min: number; max: number } | null {
    let min = Infinity;
    let max = -Infinity;
    for (let index = 0; index < this.#points.count; ++index) {
      if (values[index]! < min) min = values[index]!;
      if (values[index]! > max) max = values[index]!;
    }
    return min <= max ? { min, max } : null;
  }

  #options(width: number, height: number): uPlot.Options {
    const font = '11px "Inter Variable", system-ui, sans-serif';
    const axis = (scale: string, steady: SteadyScale, size: number, gap: number): uPlot.Axis => ({
      scale,
      size,
      gap,
      font,
      stroke: () => this.#colours().muted,
      grid: { stroke: () => this.#colours().grid, width: 1 },
      ticks: { show: false },
      splits: () => steady.splits,
      values: (_u, splits) => numbersOf(steady, splits),
    });
    return {
      width,
      height,
      legend: { show: false },
      cursor: { show: false },
      padding: [10, 16, 0, 0],
      scales: { x: { time: false, auto: false }, y: { auto: false } },
      axes: [axis("x", this.#x, 26, 8), axis("y", this.#y, 56, 6)],
      series: [{}, { stroke: () => this.#stroke(), width: 1.25, points: { show: false }, paths: (u) => this.#path(u) }],
      hooks: { draw: [(u) => this.#pointsOver(u)] },
    };
  }

  #path(plot: uPlot): uPlot.Series.Paths {
    const stroke = new Path2D();
    const { x, y, count } = this.#points;
    let down = false;
    for (let index = 0; index < count; ++index) {
      if (Number.isNaN(x[index]!) || Number.isNaN(y[index]!)) {
        down = false;
        continue;
      }
      const left = plot.valToPos(x[index]!, "x", true);
      const top = plot.valToPos(y[index]!, "y", true);
      if (down) stroke.lineTo(left, top);
      else stroke.moveTo(left, top);
      down = true;
    }
    return { stroke, flags: 1 };
  }

  #pointsOver(plot: uPlot): void {
    const ratio = uPlot.pxRatio;
    const place = (point: { readonly x: number; readonly y: number }) => ({
      left: plot.valToPos(point.x, "x", true),
      top: plot.valToPos(point.y, "y", true),
    });
    const at = this.#at;
    const frame = [plot.bbox.width, plot.bbox.height, this.#x.min, this.#x.max, this.#y.min, this.#y.max].join();
    // Where everything has another place, names do not have to keep theirs.
    if (frame !== this.#frame) this.#marks = new XyMarks();
    this.#frame = frame;
    const end = at === null ? null : { ...at, half: (kDot + kBorder) * ratio };
    this.#marks.draw(plot.ctx, this.#marked, place, end, plot.bbox, ratio, this.#colours(), (box) => this.#linesThrough(plot, box));
    if (at !== null) this.#dot(plot.ctx, place(at), ratio);
  }

  // In values, since a box is looked at once and a point would have to be placed.
  #linesThrough(plot: uPlot, box: Area): number {
    const [left, right] = [box.left, box.left + box.width].map((at) => plot.posToVal(at, "x", true)) as [number, number];
    const [low, high] = [box.top + box.height, box.top].map((at) => plot.posToVal(at, "y", true)) as [number, number];
    const { x, y, count } = this.#points;
    return linesThrough(x, y, count, { left, top: low, width: right - left, height: high - low });
  }

  #dot(pen: CanvasRenderingContext2D, { left, top }: { left: number; top: number }, ratio: number): void {
    pen.save();
    pen.fillStyle = this.#stroke();
    pen.strokeStyle = this.#colours().panel;
    pen.lineWidth = kBorder * ratio;
    pen.beginPath();
    pen.arc(left, top, kDot * ratio, 0, 2 * Math.PI);
    pen.stroke();
    pen.fill();
    pen.restore();
  }
}
