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

/// Which of the samples are drawn, and whether as one stroke for each pixel column.
export interface Part {
  readonly first: number;
  readonly last: number;
  readonly dense: boolean;
}

/// Whether there are too many samples to draw a line between each two. `was`: the answer for the picture before, so that it
/// does not change to and fro.
export function isDense(samples: Samples, frame: Frame, was = false): boolean {
  const { from, to } = frame.span;
  return indexAtOrBefore(samples.x, to) - Math.max(0, indexAtOrBefore(samples.x, from)) > (was ? 1.5 : 2) * frame.width;
}

/// What has to be drawn of the samples to have all that is seen from the time `from` on; null for nothing.
export function partOf(samples: Samples, frame: Frame, dense = isDense(samples, frame), from = frame.span.from): Part | null {
  const { x: times } = samples;
  const column = (frame.span.to - frame.span.from) / frame.width;
  const start = dense ? frame.span.from + Math.floor((from - frame.span.from) / column) * column : from;
  const first = Math.max(0, indexAtOrBefore(times, start));
  const last = Math.min(times.length - 1, indexAtOrBefore(times, frame.span.to) + 1);
  return last < first ? null : { first, last, dense };
}

/// Writes samples to the pen. Dense ones get one stroke a pixel column, from its least to its greatest value; as long as a
/// moving view moves by whole pixels, that does not shimmer. A step holds its value until `holdUntil` (seconds) unless a
/// gap ends it before.
export function drawSamples(
  pen: Pen,
  samples: Samples,
  frame: Frame,
  style: LineStyle,
  holdUntil: number,
  part: Part | null = partOf(samples, frame),
): void {
  if (part === null) return;
  const strokes = new Strokes(pen, frame, style);
  const gap = writeSamples(strokes, samples, part);
  const open = samples.gaps[gap];
  strokes.finish(Math.min(holdUntil, open !== undefined && part.last === samples.x.length - 1 ? open.from : Infinity));
}

/// Writes the line as far as the part's last sample, for instance to measure it.
export function drawUpTo(pen: Pen, samples: Samples, frame: Frame, style: LineStyle, part: Part): void {
  const strokes = new Strokes(pen, frame, style);
  writeSamples(strokes, samples, part);
  strokes.flush();
}

/// Returns the index of the first gap behind the samples.
function writeSamples(strokes: Strokes, samples: Samples, { first, last, dense }: Part): number {
  const { x: times, y: values, gaps } = samples;
  let gap = firstGapAfter(gaps, times[first]!);
  for (let index = first; index <= last; ++index) {
    const time = times[index]!;
    while (gap < gaps.length && gaps[gap]!.to <= time) {
      strokes.lift(gaps[gap]!.from);
      ++gap;
    }
    const value = values[index]!;
    if (Number.isNaN(value)) strokes.lift(time);
    else if (dense) strokes.gather(time, value);
    else strokes.point(time, value);
  }
  return gap;
}

class Strokes {
  readonly #pen: Pen;
  readonly #frame: Frame;
  readonly #stepped: boolean;
  readonly #scaleX: number;
  readonly #scaleY: number;
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
    const column = Math.floor((time - this.#frame.span.from) * this.#scaleX);
    const y = this.#y(value);
    if (column !== this.#column) {
      this.flush();
      this.#column = column;
      this.#low = this.#high = y;
      this.#to(this.#frame.left + column + 0.5, y);
    } else {
      this.#low = Math.min(this.#low, y);
      this.#high = Math.max(this.#high, y);
      this.#lastY = y;
    }
    this.#lastTime = time;
  }

  /// Ends the stroke of the last column.
  flush(): void {
    if (Number.isNaN(this.#column) || this.#low === this.#high) return;
    const x = this.#frame.left + this.#column + 0.5;
    this.#pen.lineTo(x, this.#low);
    this.#pen.lineTo(x, this.#high);
    this.#pen.lineTo(x, this.#lastY);
  }

  /// Ends the line where a gap begins.
  lift(heldUntil: number): void {
    this.flush();
    this.#column = NaN;
    this.#hold(heldUntil);
    this.#down = false;
  }

  finish(holdUntil: number): void {
    this.flush();
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
