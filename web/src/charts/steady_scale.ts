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
  readonly divisions: number;
}

/// Round borders with `divisions` equal steps around the values.
function bordersFor(min: number, max: number, divisions: number): Borders {
  const size = Math.max(Math.abs(min), Math.abs(max));
  let spread = max - min;
  // A constant signal gets room around it instead of its own noise.
  if (spread < size * 1e-9 || spread === 0) spread = size > 0 ? size * 0.2 : 1;
  let step = roundStep(spread / divisions);
  for (;;) {
    const base = baseFor(min, max, step, divisions);
    if (base <= min + step * 1e-9 && base + divisions * step >= max - step * 1e-9) return { base, step, divisions };
    step = roundStep(step * 1.01);
  }
}

// What fits is moved into the middle, but a scale that can begin at 0 does.
function baseFor(min: number, max: number, step: number, divisions: number): number {
  const whole = divisions * step;
  if (min >= 0 && max <= whole && min < whole * 0.5) return 0;
  const slack = whole - (max - min);
  const base = Math.floor((min - slack / 2) / step + 1e-9) * step;
  return base + whole >= max ? base : Math.floor(min / step + 1e-9) * step;
}

/// The tightest of the borders with the allowed numbers of divisions; the finest of those that are equally tight.
function tightest(min: number, max: number, divisions: readonly number[]): Borders {
  let best: Borders | null = null;
  for (const count of divisions) {
    const found = bordersFor(min, max, count);
    const better = best === null ? -1 : found.step * found.divisions - best.step * best.divisions;
    if (best === null || better < -found.step * 1e-9 || (better < found.step * 1e-9 && found.divisions > best.divisions)) best = found;
  }
  return best!;
}

/// One value axis.
export class SteadyScale {
  #borders: Borders = { base: 0, step: 1, divisions: 5 };
  #fitted = false;
  #fitsSince = NaN;

  /// Whether it has been fitted to values; before that its borders mean nothing.
  get fitted(): boolean {
    return this.#fitted;
  }

  /// The lower border.
  get min(): number {
    return this.#borders.base;
  }

  /// The upper border.
  get max(): number {
    return this.#borders.base + this.#borders.step * this.#borders.divisions;
  }

  /// The values of the grid lines from the lower to the upper border.
  get splits(): number[] {
    const { base, step, divisions } = this.#borders;
    return Array.from({ length: divisions + 1 }, (_, index) => base + index * step);
  }

  /// The distance of two grid lines.
  get step(): number {
    return this.#borders.step;
  }

  get divisions(): number {
    return this.#borders.divisions;
  }

  /// The greatest distance from 0 on the scale.
  get size(): number {
    return Math.max(Math.abs(this.min), Math.abs(this.max));
  }

  /// Takes the values that are seen now, with one of the numbers of divisions. `clock` is a steady clock in seconds;
  /// `eager` takes what fits best at once, for instance after the user zoomed.
  fit(seen: { readonly min: number; readonly max: number } | null, divisions: readonly number[], clock: number, eager: boolean): void {
    const fits = divisions.includes(this.#borders.divisions);
    if (seen === null) {
      if (!fits) this.#borders = { ...this.#borders, divisions: divisions[0]! };
      return;
    }
    const best = tightest(seen.min, seen.max, divisions);
    if (this.#fitted && fits && !eager && seen.min >= this.min && seen.max <= this.max) {
      if (best.step * best.divisions >= (this.max - this.min) * 0.999) {
        this.#fitsSince = NaN;
        return;
      }
      if (Number.isNaN(this.#fitsSince)) this.#fitsSince = clock;
      if (clock - this.#fitsSince < kPatience) return;
    }
    this.#fitsSince = NaN;
    this.#fitted = true;
    this.#borders = best;
  }
}
