// Where the time axis is divided, and how the divisions are written.
import type { Span } from "./samples.ts";
import type { ZoneClock } from "./zone_clock.ts";

const kSteps = [
  1e-6, 2e-6, 5e-6, 1e-5, 2e-5, 5e-5, 1e-4, 2e-4, 5e-4, 1e-3, 2e-3, 5e-3, 0.01, 0.02, 0.05, 0.1, 0.2, 0.5, 1, 2, 5, 10, 15, 30, 60, 120,
  300, 600, 900, 1800, 3600,
];

/// The smallest round step in seconds that leaves at least `space` pixels between two divisions.
export function tickStep(span: Span, width: number, space: number): number {
  const least = ((span.to - span.from) * space) / Math.max(1, width);
  return kSteps.find((step) => step >= least) ?? 7200;
}

/// The divisions inside the span.
export function ticks(span: Span, step: number): number[] {
  const first = Math.ceil(span.from / step);
  const last = Math.floor(span.to / step);
  const found: number[] = [];
  for (let index = first; index <= last && found.length < 200; ++index) found.push(index * step);
  return found;
}

/// Mean width of a character of a label, in CSS pixels.
const kCharacter = 6;

/// Whether a label in the middle of the time `x` stays within the span, of that width in pixels, and the room beside it.
export function labelFits(
  label: string,
  x: number,
  span: Span,
  width: number,
  room: { readonly left: number; readonly right: number },
): boolean {
  const middle = ((x - span.from) / (span.to - span.from)) * width;
  const half = (label.length * kCharacter) / 2;
  return middle - half >= -room.left && middle + half <= width + room.right;
}

/// The division as a time of day, no finer than the step.
export function tickLabel(clock: ZoneClock, x: number, step: number): string {
  return clock.time(x, step >= 1 ? 0 : Math.min(6, Math.ceil(-Math.log10(step) - 1e-9)));
}
