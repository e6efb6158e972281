// What a chart reads of a signal, and the look-ups that every chart needs.

/// A stretch of time in seconds in which nothing is known of a signal. `to` is Infinity while it lasts.
export interface Gap {
  readonly from: number;
  readonly to: number;
}

/// Points of one signal: seconds since 1970, never descending, and values; NaN is a point without a number. Both arrays
/// are views that are only valid within the frame in which they were asked for.
export interface Samples {
  readonly x: Float64Array;
  readonly y: Float64Array;
  readonly gaps: readonly Gap[];
}

/// The part of the time axis that is seen, in seconds since 1970.
export interface Span {
  readonly from: number;
  readonly to: number;
}

/// Index of the last point at or before `time`, or -1.
export function indexAtOrBefore(times: Float64Array, time: number): number {
  let low = 0;
  let high = times.length;
  while (low < high) {
    const middle = (low + high) >>> 1;
    if (times[middle]! <= time) low = middle + 1;
    else high = middle;
  }
  return low - 1;
}

/// Index of the first gap that ends after `time`; the number of gaps where there is none.
export function firstGapAfter(gaps: readonly Gap[], time: number): number {
  let index = gaps.length;
  while (index > 0 && gaps[index - 1]!.to > time) --index;
  return index;
}

/// Whether nothing is known at that time.
export function inGap(gaps: readonly Gap[], time: number): boolean {
  return (gaps[firstGapAfter(gaps, time)]?.from ?? Infinity) < time;
}

/// The value that holds at a time, the last one at or before it; NaN where none is known.
export function valueAt({ x, y, gaps }: Samples, time: number): number {
  return inGap(gaps, time) ? NaN : (y[indexAtOrBefore(x, time)] ?? NaN);
}

/// How many gaps touch the span.
export function gapsWithin(gaps: readonly Gap[], span: Span): number {
  let count = 0;
  for (let index = firstGapAfter(gaps, span.from); index < gaps.length && gaps[index]!.from < span.to; ++index) ++count;
  return count;
}

/// Least and greatest value drawn within the span, the one that holds at its left edge included; null without any.
export function extent(samples: Samples, span: Span): { min: number; max: number } | null {
  const { x, y } = samples;
  let min = Infinity;
  let max = -Infinity;
  for (let index = Math.max(0, indexAtOrBefore(x, span.from)); index < x.length && x[index]! <= span.to; ++index) {
    const value = y[index]!;
    if (value < min) min = value;
    if (value > max) max = value;
  }
  return min <= max ? { min, max } : null;
}
