// The line of one signal: least and greatest value for each pixel, steps where asked, nothing drawn through gaps.
import { firstGapAfter, indexAtOrBefore, type Samples, type Span } from "./samples.ts";

/// Where times and values lie on the canvas, in its own pixels.
export interface Frame {
  readonly span: Span;
  readonly left: number;
  readonly width: number;
  readonly top: number;
  readonly height: number;
  readonly min: number;
  readonly max: number;
}

/// What a path is written to; `Path2D` is one.
export interface Pen {
  moveTo(x: number, y: number): void;
  lineTo(x: number, y: number): void;
}

/// How a line is drawn between two samples.
export type LineStyle = "slope" | "step";

/// Writes the samples that are seen to the pen. Where there are more than two samples a pixel, each pixel column gets one
/// stroke from its least to its greatest value; columns are anchored in time, so that a moving view does not shimmer.
/// A step holds its value until `holdUntil` (seconds) unless a gap ends it before.
export function drawSamples(pen: Pen, samples: Samples, frame: Frame, style: LineStyle, holdUntil: number): void {
  const { x: times, y: values } = samples;
  const first = Math.max(0, indexAtOrBefore(times, frame.span.from));
  const last = Math.min(times.length - 1, indexAtOrBefore(times, frame.span.to) + 1);
  if (last < first) return;
  const strokes = new Strokes(pen, frame, style);
  const dense = last - first > 2 * frame.width;
  let gap = firstGapAfter(samples.gaps, times[first]!);
  for (let index = first; index <= last; ++index) {
    const time = times[index]!;
    while (gap < samples.gaps.length && samples.gaps[gap]!.to <= time) {
      strokes.lift(samples.gaps[gap]!.from);
      ++gap;
    }
    const value = values[index]!;
    if (Number.isNaN(value)) strokes.lift(time);
    else if (dense) strokes.gather(time, value);
    else strokes.point(time, value);
  }
  const open = samples.gaps[gap];
  strokes.finish(Math.min(holdUntil, open !== undefined && last === times.length - 1 ? open.from : Infinity));
}

class Strokes {
  readonly #pen: Pen;
  readonly #frame: Frame;
  readonly #stepped: boolean;
  readonly #scaleX: number;
  readonly #scaleY: number;
  readonly #columnSeconds: number;
  #down = false;
  #lastY = 0;
  #lastTime = 0;
  #column = NaN;
  #low = 0;
  #high = 0;

  constructor(pen: Pen, frame: Frame, style: LineStyle) {
    this.#pen = pen;
    this.#frame = frame;
    this.#stepped = style === "step";
    this.#scaleX = frame.width / (frame.span.to - frame.span.from);
    this.#scaleY = frame.height / (frame.max - frame.min);
    this.#columnSeconds = 1 / this.#scaleX;
  }

  #x(time: number): number {
    return this.#frame.left + (time - this.#frame.span.from) * this.#scaleX;
  }

  #y(value: number): number {
    return this.#frame.top + this.#frame.height - (value - this.#frame.min) * this.#scaleY;
  }

  #to(x: number, y: number): void {
    if (!this.#down) this.#pen.moveTo(x, y);
    else if (this.#stepped) {
      this.#pen.lineTo(x, this.#lastY);
      this.#pen.lineTo(x, y);
    } else this.#pen.lineTo(x, y);
    this.#down = true;
    this.#lastY = y;
  }

  point(time: number, value: number): void {
    this.#to(this.#x(time), this.#y(value));
    this.#lastTime = time;
  }

  gather(time: number, value: number): void {
    const column = Math.floor(time / this.#columnSeconds);
    const y = this.#y(value);
    if (column !== this.#column) {
      this.#flush();
      this.#column = column;
      this.#low = this.#high = y;
      this.#to(this.#x((column + 0.5) * this.#columnSeconds), y);
    } else {
      this.#low = Math.min(this.#low, y);
      this.#high = Math.max(this.#high, y);
      this.#lastY = y;
    }
    this.#lastTime = time;
  }

  #flush(): void {
    if (Number.isNaN(this.#column) || this.#low === this.#high) return;
    const x = this.#x((this.#column + 0.5) * this.#columnSeconds);
    this.#pen.lineTo(x, this.#low);
    this.#pen.lineTo(x, this.#high);
    this.#pen.lineTo(x, this.#lastY);
  }

  /// Ends the line where a gap begins.
  lift(heldUntil: number): void {
    this.#flush();
    this.#column = NaN;
    this.#hold(heldUntil);
    this.#down = false;
  }

  finish(holdUntil: number): void {
    this.#flush();
    this.#hold(holdUntil);
  }

  #hold(until: number): void {
    if (!this.#down || !Number.isFinite(until)) return;
    const x = this.#x(Math.max(this.#lastTime, until));
    if (this.#stepped) this.#pen.lineTo(x, this.#lastY);
    // A lone sample is a dot, which a line as long as it is wide is.
    else this.#pen.lineTo(this.#x(this.#lastTime) + 0.01, this.#lastY);
  }
}
