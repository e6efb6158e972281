// Several signals on one time axis, each unit on a scale of its own. Draws what it is given; keeps no samples.
import uPlot from "uplot";
import { drawUnits, kBeside, kTimeAxis, roomAbove, timeAxis, valueAxis, type ValueAxis } from "./axes.ts";
import { drawAnnotations, kNameRoom, type Annotations } from "./annotations.ts";
import type { ChartColours } from "./palette.ts";
import { DashPhases } from "./dashes.ts";
import { extent, type Span } from "./samples.ts";
import { drawStrip, frameOf, Scrolling, type Curve, type Plan, type Scene } from "./scrolling.ts";
import { drawSamples, partOf } from "./series_path.ts";
import { SteadyScale } from "./steady_scale.ts";
import { ZoneClock } from "./zone_clock.ts";

/// A curve. Those with equal `scale` share a value axis, and have one unit.
export interface Trace {
  readonly id: string;
  readonly scale: string;
  readonly unit: string;
  readonly colour: () => string;
  readonly dash: readonly number[];
}

/// One frame.
export interface View extends Annotations {
  readonly span: Span;
  /// How far a step's last value is known to hold, in seconds since 1970.
  readonly now: number;
  readonly zone: ZoneClock;
  /// In the order of the traces; null for those without samples.
  readonly data: readonly (Curve | null)[];
  /// Take scales that fit best at once: the user changed what is seen.
  readonly eager: boolean;
}

const kDivisionHeight = 44;
const kMostAxes = 4;

/// Into how many parts a length may be divided on which `most` have room.
export function allowedDivisions(most: number): number[] {
  const greatest = Math.max(2, Math.min(10, Math.floor(most)));
  const least = Math.max(2, Math.ceil(greatest * 0.6));
  return Array.from({ length: greatest - least + 1 }, (_, index) => greatest - index);
}

const kUtc = new ZoneClock("UTC");
/// CSS pixels at the right edge that are drawn anew while the name of a marker that has come grows with its room.
const kEdge = 48;
const kSettling = 500; // ms
const kMargin = 4;

export class TimeChart {
  readonly #host: HTMLElement;
  readonly #colours: () => ChartColours;
  #plot: uPlot | null = null;
  #traces: readonly Trace[] = [];
  #scales = new Map<string, SteadyScale>();
  /// Until then (ms) everything is drawn: uPlot takes a new size over by and by, axes after the area.
  #settledAt = 0;
  #view: View | null = null;
  #scrolling = new Scrolling();
  #dashes = new DashPhases();
  /// What is being drawn.
  #plan: Plan | null = null;
  /// CSS pixels above the plotting area.
  #above = 0;
  #width = 0;
  #height = 0;

  constructor(host: HTMLElement, colours: () => ChartColours) {
    this.#host = host;
    this.#colours = colours;
  }

  /// The element that lies over the plotting area, for gestures; null before the first `resize`.
  get over(): HTMLElement | null {
    return this.#plot?.over ?? null;
  }

  /// Left edge and width of the plotting area in CSS pixels within the host.
  get area(): { left: number; width: number; top: number; height: number } {
    const plot = this.#plot;
    if (plot === null) return { left: 0, width: 0, top: 0, height: 0 };
    const { left, width, top, height } = plot.bbox;
    const ratio = uPlot.pxRatio;
    return { left: left / ratio, width: width / ratio, top: top / ratio, height: height / ratio };
  }

  get canvas(): HTMLCanvasElement | null {
    return this.#plot?.ctx.canvas ?? null;
  }

  /// The border values and divisions of a trace's axis.
  scaleOf(key: string): SteadyScale | undefined {
    return this.#scales.get(key);
  }

  /// The next view is of these; until then nothing is seen.
  setTraces(traces: readonly Trace[]): void {
    this.#traces = traces;
    this.#view = null;
    const kept = this.#scales;
    this.#scales = new Map(traces.map(({ scale }) => [scale, kept.get(scale) ?? new SteadyScale()]));
    this.#rebuild();
  }

  resize(width: number, height: number): void {
    if (width === this.#width && height === this.#height) return;
    const fewer = this.#axisCount(width) !== this.#axisCount(this.#width);
    this.#width = width;
    this.#height = height;
    this.#scrolling.forget();
    if (this.#plot !== null) this.#settledAt = performance.now() + kSettling;
    if (this.#plot === null || fewer) this.#rebuild();
    else this.#plot.setSize({ width, height });
  }

  /// Draws what has changed since the last time.
  draw(view: View): void {
    this.#draw(view, view.eager);
  }

  /// Draws all of the view that was drawn last once more.
  redraw(): void {
    if (this.#view !== null) this.#draw(this.#view, true);
  }

  #draw(view: View, eager: boolean): void {
    this.#view = view;
    const plot = this.#plot;
    if (plot === null) return;
    if (performance.now() < this.#settledAt) this.#scrolling.forget();
    this.#fitScales(view);
    const plan = this.#scrolling.plan({ ...this.#scene(plot, view), eager }, performance.now());
    if (plan === null) return;
    this.#plan = plan;
    if (!plan.same) this.#dashes.forget();
    const draw = () =>
      plot.batch(() => {
        for (const [key, scale] of this.#scales) plot.setScale(key, { min: scale.min, max: scale.max });
        // Setting the time scale draws everything anew, whether it changed or not.
        plot.setScale("x", { min: plan.span.from, max: plan.span.to });
      });
    const { shift, strip } = plan;
    if (strip === null) draw();
    else drawStrip(plot.ctx, plot.bbox, { shift, strip, reach: Math.ceil(uPlot.pxRatio) + 1 }, draw);
    // Whatever uPlot draws by itself from now on is everything.
    this.#plan = { ...plan, strip: null };
  }

  /// Moves the hair line to a time, or hides it.
  setHair(x: number | null): void {
    const plot = this.#plot;
    if (plot === null) return;
    const { from, to } = this.#view?.span ?? { from: NaN, to: NaN };
    const left = x === null ? -10 : ((x - from) / (to - from)) * plot.over.clientWidth;
    const seen = left >= 0 && left <= plot.over.clientWidth;
    plot.setCursor({ left: seen ? left : -10, top: seen ? 0 : -10 }, false);
  }

  destroy(): void {
    this.#plot?.destroy();
    this.#plot = null;
  }

  #axisCount(width: number): number {
    const room = width < 480 ? 1 : width < 720 ? 2 : kMostAxes;
    return Math.min(room, new Set(this.#traces.map(({ scale }) => scale)).size);
  }

  #axes(): ValueAxis[] {
    const count = this.#axisCount(this.#width);
    return [...this.#scales].slice(0, count).map(([key, scale], index) => {
      const users = this.#traces.filter((trace) => trace.scale === key);
      const colour = users.length === 1 ? users[0]!.colour : () => this.#colours().muted;
      return { key, scale, colour, unit: users[0]?.unit ?? "", side: index % 2 === 0 ? "left" : "right", grid: index === 0 };
    });
  }

  #rebuild(): void {
    this.destroy();
    if (this.#width === 0 || this.#height === 0) return;
    const axes = this.#axes();
    this.#above = roomAbove(axes);
    const sides = axes.map(({ side }) => side);
    const time = timeAxis(this.#colours, () => this.#view?.zone ?? kUtc, sides);
    const options: uPlot.Options = {
      width: this.#width,
      height: this.#height,
      legend: { show: false },
      padding: [this.#above, axes.length < 2 ? kBeside : 0, 0, axes.length === 0 ? kBeside : 0],
      cursor: { y: false, points: { show: false }, drag: { x: false, y: false }, bind: kNoBindings },
      scales: { x: { time: false, auto: false } },
      axes: [time, ...axes.map((axis) => valueAxis(axis, this.#colours))],
      series: [{}, ...this.#traces.map((trace) => this.#series(trace))],
      hooks: { drawAxes: [(u) => drawUnits(u.ctx, u.bbox, uPlot.pxRatio, axes)], draw: [(u) => this.#annotate(u)] },
    };
    for (const key of this.#scales.keys()) options.scales![key] = { auto: false };
    // uPlot draws a series only where it has data; the real samples are drawn by each series' own path.
    const stub = Float64Array.of(0, 1);
    this.#scrolling.forget();
    this.#plot = new uPlot(options, [stub, ...this.#traces.map(() => stub)], this.#host);
    this.redraw();
  }

  #series(trace: Trace): uPlot.Series {
    return {
      scale: trace.scale,
      stroke: trace.colour,
      width: 1.5,
      points: { show: false },
      paths: (u, index) => this.#path(u, index - 1),
    };
  }

  #path(plot: uPlot, index: number): uPlot.Series.Paths | null {
    const plan = this.#plan;
    const view = this.#view;
    const curve = view?.data[index];
    const trace = this.#traces[index];
    if (!plan || !view || !curve || !trace) return null;
    const { samples, style } = curve;
    const frame = frameOf({ box: plot.bbox, scales: this.#borders() }, index, plan.span);
    const pixel = (plan.span.to - plan.span.from) / frame.width;
    const from = plan.strip === null ? plan.span.from : plan.span.from + (plan.strip - kMargin * uPlot.pxRatio) * pixel;
    const part = partOf(samples, frame, plan.dense[index], from);
    const stroke = new Path2D();
    const pattern = trace.dash.map((length) => length * uPlot.pxRatio);
    const pen = pattern.length > 0 && part !== null ? this.#dashes.pen(stroke, trace.id, pattern, samples, frame, style, part) : stroke;
    drawSamples(pen, samples, frame, style, view.now, part);
    return { stroke, flags: 1 };
  }

  #borders(): Scene["scales"] {
    return this.#traces.map(({ scale }) => this.#scales.get(scale)!);
  }

  #scene(plot: uPlot, view: View): Omit<Scene, "eager"> {
    const { span, now, marks, cursors, zone } = view;
    const ratio = uPlot.pxRatio;
    const seen = (x: number | null) => x !== null && x >= span.from && x <= span.to;
    const naming = span.to - ((kNameRoom * ratio) / plot.bbox.width) * (span.to - span.from);
    const measured = seen(cursors.a) || seen(cursors.b) || between(span, cursors);
    return {
      span,
      now,
      curves: view.data,
      scales: this.#borders(),
      box: { ...plot.bbox },
      edge: marks.some(({ x }) => x > naming && x <= span.to) ? kEdge * ratio : 0,
      margin: kMargin * ratio,
      look: [zone.zone, this.#colours(), marks, marks.find(({ x }) => seen(x)), cursors, ...this.#traces.map(({ colour }) => colour())],
      whole: measured,
    };
  }

  #fitScales(view: View): void {
    let divisions = allowedDivisions((this.#height - kTimeAxis - this.#above) / kDivisionHeight);
    const clock = performance.now() / 1000;
    for (const [key, scale] of this.#scales) {
      let seen: { min: number; max: number } | null = null;
      this.#traces.forEach((trace, index) => {
        const data = view.data[index];
        if (trace.scale !== key || !data) return;
        const found = extent(data.samples, view.span);
        if (found !== null) {
          seen = seen === null ? found : { min: Math.min(seen.min, found.min), max: Math.max(seen.max, found.max) };
        }
      });
      scale.fit(seen, divisions, clock, view.eager);
      // The first scale chooses into how many parts the height is divided; the others take the same.
      divisions = [scale.divisions];
    }
  }

  #annotate(plot: uPlot): void {
    if (this.#view === null) return;
    drawAnnotations(plot.ctx, plot.bbox, uPlot.pxRatio, { ...this.#view, span: this.#plan?.span ?? this.#view.span }, this.#colours());
  }
}

/// Whether the span lies between the two cursors.
function between({ from, to }: Span, { a, b }: Annotations["cursors"]): boolean {
  return a !== null && b !== null && Math.min(a, b) < to && Math.max(a, b) > from;
}

// Gestures are handled by `Gestures`, the same for all kinds of charts.
const none = () => null;
const kNoBindings: uPlot.Cursor.Bind = {
  mousedown: none,
  mouseup: none,
  click: none,
  dblclick: none,
  mousemove: none,
  mouseleave: none,
  mouseenter: none,
};
