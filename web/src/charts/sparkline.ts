// A line without axes: the course of a value in the space of a word.
import { preparePen } from "./canvas.ts";

/// Draws `y` over `x` for the last `seconds` before `now`; NaN breaks the line. `top` is the value at the upper edge.
/// The values are steps: each holds until the next one.
export function drawSparkline(
  canvas: HTMLCanvasElement,
  size: { readonly width: number; readonly height: number },
  points: { readonly x: Float64Array; readonly y: Float64Array },
  range: { readonly now: number; readonly seconds: number; readonly top: number },
  colour: string,
): void {
  const pen = preparePen(canvas, size.width, size.height);
  const { x, y } = points;
  if (x.length === 0 || !(range.top > 0)) return;
  const left = (time: number) => size.width * (1 + (time - range.now) / range.seconds);
  const top = (value: number) => size.height - 1 - (Math.max(0, Math.min(range.top, value)) / range.top) * (size.height - 2);
  const line = new Path2D();
  const area = new Path2D();
  for (let index = 0; index < x.length; ++index) {
    const value = y[index]!;
    const end = index + 1 < x.length ? x[index + 1]! : range.now;
    if (Number.isNaN(value) || left(end) < 0) continue;
    const from = Math.max(0, left(x[index]!));
    const joined = index > 0 && !Number.isNaN(y[index - 1]!) && from > 0;
    if (joined) line.lineTo(from, top(value));
    else line.moveTo(from, top(value));
    line.lineTo(left(end), top(value));
    area.rect(from, top(value), left(end) - from, size.height - top(value));
  }
  pen.fillStyle = colour;
  pen.globalAlpha = 0.16;
  pen.fill(area);
  pen.globalAlpha = 1;
  pen.strokeStyle = colour;
  pen.lineWidth = 1;
  pen.stroke(line);
}
