// A value axis that does not jump: its borders are round, it grows at once and shrinks only after a while.

/// How long the values have to fit into a finer scale before it is taken, in seconds.
const kPatience = 4;

/// The smallest of 1, 2, 2.5, 5 times a power of ten that is at least `least`.
function roundStep(least: number): number {
  const power = 10 ** Math.floor(Math.log10(least));
  for (const factor of [1, 2, 2.5, 5]) {
    if (factor * power >= least * (1 - 1e-9)) return factor * power;
  }
  return 10 * power;
}

interface Borders {
  readonly base: number;
  readonly step: number;
}

/// Round borders with `divisions` equal steps around the values.
function bordersFor(min: number, max: number, divisions: number): Borders {
  const size = Math.max(Math.abs(min), Math.abs(max));
  let spread = max - min;
  // A constant signal gets room around it instead of its own noise.
  if (spread < size * 1e-9 || spread === 0) spread = size > 0 ? size * 0.2 : 1;
  let step = roundStep((spread * 1.02) / divisions);
  for (;;) {
    // What fits is moved into the middle, but a scale that can begin at 0 does.
    const slack = divisions * step - (max - min);
    let base = Math.floor((min - slack / 2) / step + 1e-9) * step;
    if (min >= 0 && base < 0) base = 0;
    if (min >= 0 && max <= divisions * step && min < divisions * step * 0.5) base = 0;
    if (base > min) base = Math.floor(min / step) * step;
    if (base + divisions * step >= max) return { base, step };
    base = Math.floor(min / step) * step;
    if (base + divisions * step >= max) return { base, step };
    step = roundStep(step * 1.01);
  }
}

/// One value axis.
export class SteadyScale {
  #borders: Borders = { base: 0, step: 1 };
  #divisions = 0;
  #fitsSince = NaN;

  /// The lower border.
  get min(): number {
    return this.#borders.base;
  }

  /// The upper border.
  get max(): number {
    return this.#borders.base + this.#borders.step * this.#divisions;
  }

  /// The values of the grid lines from the lower to the upper border.
  get splits(): number[] {
    const { base, step } = this.#borders;
    return Array.from({ length: this.#divisions + 1 }, (_, index) => base + index * step);
  }

  /// The distance of two grid lines.
  get step(): number {
    return this.#borders.step;
  }

  /// The greatest distance from 0 on the scale.
  get size(): number {
    return Math.max(Math.abs(this.min), Math.abs(this.max));
  }

  /// Takes the values that are seen now. `clock` is a steady clock in seconds; `eager` takes what fits best at once,
  /// for instance after the user zoomed. Returns whether the borders changed.
  fit(seen: { min: number; max: number } | null, divisions: number, clock: number, eager: boolean): boolean {
    if (divisions !== this.#divisions) {
      this.#divisions = divisions;
      eager = true;
    }
    if (seen === null) return false;
    const best = bordersFor(seen.min, seen.max, divisions);
    const { base, step } = this.#borders;
    if (!eager && seen.min >= this.min && seen.max <= this.max) {
      if (best.step >= step) {
        this.#fitsSince = NaN;
        return false;
      }
      if (Number.isNaN(this.#fitsSince)) this.#fitsSince = clock;
      if (clock - this.#fitsSince < kPatience) return false;
    }
    this.#fitsSince = NaN;
    if (best.base === base && best.step === step) return false;
    this.#borders = best;
    return true;
  }
}
