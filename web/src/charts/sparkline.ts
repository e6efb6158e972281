// A line without axes: the course of a value in the space of a word.
import { preparePen } from "./canvas.ts";
import { firstGapAfter, type Gap, type Samples } from "./samples.ts";

/// A stretch of time with one value. `joined`: the one before ends where it begins.
export interface Stretch {
  readonly from: number;
  readonly to: number;
  readonly value: number;
  readonly joined: boolean;
}

/// Each value holds until the next one, or a gap, and the last until `until`; NaN is no value.
export function* stretches({ x, y, gaps }: Samples, until: number): Generator<Stretch> {
  let gap = x.length > 0 ? firstGapAfter(gaps, x[0]!) : 0;
  let end = NaN;
  for (let index = 0; index < x.length; ++index) {
    const [from, value] = [x[index]!, y[index]!];
    if (Number.isNaN(value)) continue;
    while (gap < gaps.length && gaps[gap]!.to <= from) ++gap;
    const next = index + 1 < x.length ? x[index + 1]! : until;
    const to = Math.max(from, Math.min(next, gaps[gap]?.from ?? Infinity));
    yield { from, to, value, joined: end === from };
    end = to;
  }
}

const kNoGaps: readonly Gap[] = [];

/// Draws the values over the last `seconds` before `now`. `top` is the value at the upper edge. The last value is held until `until`.
export function drawSparkline(
  canvas: HTMLCanvasElement,
  size: { readonly width: number; readonly height: number },
  points: Omit<Samples, "gaps"> & { readonly gaps?: readonly Gap[] },
  range: { readonly now: number; readonly seconds: number; readonly top: number; readonly until?: number },
  colour: string,
): void {
  const pen = preparePen(canvas, size.width, size.height);
  const { x, y, gaps = kNoGaps } = points;
  if (x.length === 0 || !(range.top > 0)) return;
  const left = (time: number) => size.width * (1 + (time - range.now) / range.seconds);
  const top = (value: number) => size.height - 1 - (Math.max(0, Math.min(range.top, value)) / range.top) * (size.height - 2);
  const line = new Path2D();
  const area = new Path2D();
  for (const { from: begin, to, value, joined } of stretches({ x, y, gaps }, range.until ?? range.now)) {
    if (left(to) < 0) continue;
    const from = Math.max(0, left(begin));
    if (joined && from > 0) line.lineTo(from, top(value));
    else line.moveTo(from, top(value));
    line.lineTo(left(to), top(value));
    area.rect(from, top(value), left(to) - from, size.height - top(value));
  }
  pen.fillStyle = colour;
  pen.globalAlpha = 0.16;
  pen.fill(area);
  pen.globalAlpha = 1;
  pen.strokeStyle = colour;
  pen.lineWidth = 1;
  pen.stroke(line);
}
