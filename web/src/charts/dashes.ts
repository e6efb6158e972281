// Dashes that keep their places on a line when only a part of it is drawn again: the canvas begins its own with each path.
import { indexAtOrBefore, type Samples, type Span } from "./samples.ts";
import { drawUpTo, partOf, type Frame, type LineStyle, type Part, type Pen } from "./series_path.ts";

/// A stretch longer than that many pixels is drawn solid: a value far beyond the scale would be millions of dashes.
const kLongest = 20_000;

/// Writes a line in dashes to another pen; null only measures. `pattern` holds the lengths of line and space by turns.
/// `phase` is how far into the pattern the first line begins; further ones begin with the pattern.
export class DashPen implements Pen {
  /// How many lines have been begun.
  lines = 0;
  readonly #pen: Pen | null;
  readonly #pattern: readonly number[];
  readonly #length: number;
  readonly #firstPhase: number;
  #piece = 0;
  #left = 0;
  #x = 0;
  #y = 0;

  constructor(pen: Pen | null, pattern: readonly number[], phase = 0) {
    this.#pen = pen;
    this.#pattern = pattern;
    this.#length = pattern.reduce((sum, piece) => sum + piece, 0);
    this.#firstPhase = phase;
  }

  /// Pixels from the beginning of the pattern to where the pen is.
  get phase(): number {
    let phase = this.#pattern[this.#piece]! - this.#left;
    for (let piece = 0; piece < this.#piece; ++piece) phase += this.#pattern[piece]!;
    return phase;
  }

  moveTo(x: number, y: number): void {
    this.#begin(this.lines === 0 ? this.#firstPhase : 0);
    ++this.lines;
    this.#x = x;
    this.#y = y;
    if (this.#drawn) this.#pen?.moveTo(x, y);
  }

  lineTo(x: number, y: number): void {
    const [fromX, fromY] = [this.#x, this.#y];
    const length = Math.hypot(x - fromX, y - fromY);
    this.#x = x;
    this.#y = y;
    if (!(length <= kLongest)) {
      this.#pen?.moveTo(fromX, fromY);
      this.#pen?.lineTo(x, y);
      return;
    }
    let done = 0;
    while (length - done >= this.#left) {
      done += this.#left;
      const part = length > 0 ? done / length : 1;
      const [atX, atY] = [fromX + (x - fromX) * part, fromY + (y - fromY) * part];
      if (this.#drawn) this.#pen?.lineTo(atX, atY);
      this.#piece = (this.#piece + 1) % this.#pattern.length;
      this.#left = this.#pattern[this.#piece]!;
      if (this.#drawn) this.#pen?.moveTo(atX, atY);
    }
    this.#left -= length - done;
    if (this.#drawn) this.#pen?.lineTo(x, y);
  }

  get #drawn(): boolean {
    return this.#piece % 2 === 0;
  }

  #begin(phase: number): void {
    let left = ((phase % this.#length) + this.#length) % this.#length;
    this.#piece = 0;
    while (left >= this.#pattern[this.#piece]! && this.#piece < this.#pattern.length - 1) left -= this.#pattern[this.#piece++]!;
    this.#left = this.#pattern[this.#piece]! - left;
  }
}

interface Place {
  readonly time: number;
  readonly phase: number;
}

/// Knows where in their patterns dashed curves are, so that the next part of each goes on with its dashes.
export class DashPhases {
  /// Places on each curve, oldest first.
  readonly #known = new Map<string, Place[]>();

  /// Lines run otherwise from now on.
  forget(): void {
    this.#known.clear();
  }

  /// What writes that part of a curve in dashes to the pen.
  pen(pen: Pen, id: string, pattern: readonly number[], samples: Samples, frame: Frame, style: LineStyle, part: Part): Pen {
    let known = (this.#known.get(id) ?? []).filter(({ time }) => time >= samples.x[0]!);
    const phaseIn = (part: Part) => phaseAt(known, pattern, samples, frame, style, part);
    const phase = phaseIn(part);
    known = withPlace(known, { time: samples.x[part.first]!, phase }, frame.span);
    if (known.length === 1) {
      // The beginning of the curve is soon out of sight.
      for (let place = 1; place < kPlaces; ++place) {
        const from = frame.span.from + ((frame.span.to - frame.span.from) * place) / kPlaces;
        const rest = partOf(samples, frame, part.dense, from);
        if (rest !== null) known = withPlace(known, { time: samples.x[rest.first]!, phase: phaseIn(rest) }, frame.span);
      }
    }
    this.#known.set(id, known);
    return new DashPen(pen, pattern, phase);
  }
}

/// How many places on a curve are remembered, about: behind each gap the pattern begins anew.
const kPlaces = 16;

/// With a place more, but for those that would be closer together than needed.
function withPlace(known: readonly Place[], place: Place, { from, to }: Span): Place[] {
  const older = known.filter(({ time }) => time < place.time);
  const [last, before] = [older.at(-1), older.at(-2)];
  if (last && before && last.time - before.time < (to - from) / kPlaces) older.pop();
  return [...older, place, ...known.filter(({ time }) => time > place.time)];
}

/// The phase at the part's first sample.
function phaseAt(
  known: readonly Place[],
  pattern: readonly number[],
  samples: Samples,
  frame: Frame,
  style: LineStyle,
  { first, dense }: Part,
): number {
  const { x, y } = samples;
  if (Number.isNaN(y[first]!)) return 0;
  const near = known.filter(({ time }) => time <= x[first]!).at(-1) ?? known[0];
  const at = near === undefined ? -1 : indexAtOrBefore(x, near.time);
  if (near === undefined || at < 0 || x[at] !== near.time) return 0;
  const measured = new DashPen(null, pattern, at <= first ? near.phase : 0);
  drawUpTo(measured, samples, frame, style, { first: Math.min(at, first), last: Math.max(at, first), dense });
  if (at <= first) return measured.phase;
  return measured.lines === 1 ? near.phase - measured.phase : 0;
}
