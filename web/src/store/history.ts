/// What is kept of one signal: its points of the last ten minutes, its gaps and the texts of its values.
import type { Gap, GapReason, LatestValue, Points, SignalHistory, SignalId, Statistics } from "./model";

/// Seconds that are kept.
export const kWindow = 600;
/// Points at most, however fast they come: 200 a second for ten minutes.
const kMostPoints = 120_000;
const kFirstCapacity = 512;
const kMostStates = 65_535;
/// Seconds of silence that are no gap, however often values usually come.
const kShortestGap = 2;
const kUsualIntervals = 5;
const kNotANumber = /^[-+]?(nan|inf|infinity)\b/i;

/// One value as it came. `text` is "" where `number` tells it whole.
export interface IncomingValue {
  readonly stamp: number;
  readonly number: number;
  readonly text: string;
  readonly description: string;
  readonly at: number;
}

export class History implements SignalHistory {
  revision = 0;
  rebuilt = 0;
  arrivedAt = -Infinity;
  discrete = false;
  min = Infinity;
  max = -Infinity;
  count = 0;
  interval = 0;
  readonly states: string[] = [""];
  readonly gaps: Gap[] = [];

  // Arrays of twice what is kept: appended to until they are full, then the newer half is moved to the front, so that
  // the points are always one piece without a copy for each value.
  #x = new Float64Array(kFirstCapacity);
  #y = new Float64Array(kFirstCapacity);
  #stamp = new Float64Array(kFirstCapacity);
  #state: Uint16Array | null = null;
  #start = 0;
  #end = 0;
  #stateOf = new Map<string, number>();
  // Texts of numbers that a double cannot hold, by the point's number since the beginning.
  #exact = new Map<number, string>();
  // The newest value, and what it is as a `LatestValue` once somebody has asked: few of the values are ever read as texts.
  #newest: IncomingValue | null = null;
  #latest: LatestValue | null = null;
  #moved = 0; // the number of the point at index 0

  constructor(
    readonly id: SignalId,
    /// Microseconds to be added to the logger's stamps.
    private offset: number,
  ) {}

  get latest(): LatestValue | null {
    if (this.#latest !== null || this.#newest === null) return this.#latest;
    const { stamp, number, text, description, at } = this.#newest;
    const value = Number.isNaN(number) ? null : number;
    const shown = text !== "" || value === null ? text : String(value);
    this.#latest = { number: value, text: shown, description, x: (stamp + this.offset) / 1e6, stamp, arrivedAt: at };
    return this.#latest;
  }

  /// Adds a value that has come, which is not changed afterwards.
  append(incoming: IncomingValue): void {
    const { stamp, number, text, description, at } = incoming;
    const x = (stamp + this.offset) / 1e6;
    const value = Number.isNaN(number) ? null : number;
    this.#newest = incoming;
    this.#latest = null;
    this.arrivedAt = at;
    this.revision++;
    this.count++;
    if (value === null && kNotANumber.test(text)) {
      this.#openGap("not-a-number");
      return;
    }
    if (this.#end > this.#start && x < this.#x[this.#end - 1]!) this.#beginStretch(x);
    this.#noteInterval(x);
    if (value !== null) {
      this.min = Math.min(this.min, value);
      this.max = Math.max(this.max, value);
    }
    if (value === null || description !== "") this.#becomeDiscrete();
    this.#push(x, number, stamp);
    if (this.#state)
      this.#state[this.#end - 1] = this.#stateIndex(value === null ? text : description, value === null || description !== "");
    if (value !== null && text !== "") this.#exact.set(this.#moved + this.#end - 1, text);
  }

  /// From the last value on nothing is known until the next one.
  breakOff(reason: GapReason): void {
    this.#openGap(reason);
    this.revision++;
  }

  /// The offset of the logger's clock is another one: all points move.
  setOffset(offset: number): void {
    const moved = (offset - this.offset) / 1e6;
    if (moved === 0) return;
    this.offset = offset;
    for (let index = this.#start; index < this.#end; index++) this.#x[index] = (this.#stamp[index]! + offset) / 1e6;
    for (const [index, gap] of this.gaps.entries()) this.gaps[index] = { ...gap, from: gap.from + moved, to: gap.to + moved };
    this.#latest = null;
    this.rebuilt++;
    this.revision++;
  }

  /// Begins minimum, maximum and count anew, when the signal is started.
  restart(): void {
    this.min = Infinity;
    this.max = -Infinity;
    this.count = 0;
    this.revision++;
  }

  points(from = -Infinity, to = Infinity): Points {
    const first = Math.max(this.#start, this.#lastAtOrBefore(from));
    const last = Math.min(this.#end, this.#firstAfter(to) + 1);
    return this.#slice(first, Math.max(first, last));
  }

  indexAt(x: number): number {
    const index = this.#lastAtOrBefore(x);
    if (index < this.#start || this.#inGap(x)) return -1;
    return index - this.#start;
  }

  valueAt(x: number): ReturnType<SignalHistory["valueAt"]> {
    const relative = this.indexAt(x);
    if (relative < 0) return null;
    const index = this.#start + relative;
    const y = this.#y[index]!;
    const state = this.states[this.#state?.[index] ?? 0] ?? "";
    const point = { x: this.#x[index]!, stamp: this.#stamp[index]! };
    if (Number.isNaN(y)) return { ...point, number: null, text: state, description: "" };
    return { ...point, number: y, text: this.#exact.get(this.#moved + index) ?? String(y), description: state };
  }

  statistics(from: number, to: number): Statistics | null {
    let count = 0;
    let min = Infinity;
    let max = -Infinity;
    let sum = 0;
    const first = this.#firstAtOrAfter(from);
    const end = this.#firstAfter(to);
    for (let index = first; index < end; index++) {
      const y = this.#y[index]!;
      if (Number.isNaN(y)) continue;
      count++;
      sum += y;
      if (y < min) min = y;
      if (y > max) max = y;
    }
    if (count === 0) return null;
    const seconds = this.#x[end - 1]! - this.#x[first]!;
    return { count, min, max, mean: sum / count, rate: seconds > 0 ? (end - first - 1) / seconds : 0 };
  }

  /// Seconds without a value that are still usual.
  get patience(): number {
    return Math.max(kShortestGap, kUsualIntervals * this.interval);
  }

  #beginStretch(x: number): void {
    // What lies behind the new beginning would be drawn over: it goes, what lies before it stays.
    this.#end = Math.max(this.#start, this.#firstAtOrAfter(x));
    while (this.gaps.length > 0 && this.gaps[this.gaps.length - 1]!.from >= x) this.gaps.pop();
    const last = this.gaps[this.gaps.length - 1];
    if (last && last.to > x) this.gaps.pop();
    this.rebuilt++;
    if (this.#end > this.#start) this.#openGap("clock");
  }

  /// Learns how often values come, and notices when one has come late.
  #noteInterval(x: number): void {
    if (this.#end === this.#start) {
      this.#closeGap(x);
      return;
    }
    const distance = x - this.#x[this.#end - 1]!;
    const open = this.#closeGap(x);
    if (open) return;
    if (this.interval > 0 && !this.discrete && distance > this.patience) {
      this.gaps.push({ from: this.#x[this.#end - 1]!, to: x, reason: "missing" });
    }
    this.interval = this.interval === 0 ? distance : this.interval + (Math.min(distance, 3 * this.interval + 0.001) - this.interval) / 8;
  }

  #openGap(reason: GapReason): void {
    const last = this.gaps[this.gaps.length - 1];
    if (last?.to === Infinity || this.#end === this.#start) return;
    this.gaps.push({ from: this.#x[this.#end - 1]!, to: Infinity, reason });
  }

  #closeGap(x: number): boolean {
    const last = this.gaps[this.gaps.length - 1];
    if (last?.to !== Infinity) return false;
    this.gaps[this.gaps.length - 1] = { ...last, to: x };
    return true;
  }

  #inGap(x: number): boolean {
    for (let index = this.gaps.length - 1; index >= 0; index--) {
      const { from, to } = this.gaps[index]!;
      if (x > from && x < to) return true;
      if (to <= x) return false;
    }
    return false;
  }

  #becomeDiscrete(): void {
    if (this.#state) return;
    this.discrete = true;
    this.rebuilt++;
    this.#state = new Uint16Array(this.#x.length);
  }

  #stateIndex(text: string, isState: boolean): number {
    if (!isState) return 0;
    const known = this.#stateOf.get(text);
    if (known !== undefined) return known;
    if (this.states.length > kMostStates) return 0;
    this.states.push(text);
    this.#stateOf.set(text, this.states.length - 1);
    return this.states.length - 1;
  }

  #push(x: number, y: number, stamp: number): void {
    this.#forgetBefore(x - kWindow);
    if (this.#end === this.#x.length) this.#makeRoom();
    this.#x[this.#end] = x;
    this.#y[this.#end] = y;
    this.#stamp[this.#end] = stamp;
    this.#end++;
  }

  #forgetBefore(x: number): void {
    while (this.#start < this.#end && this.#x[this.#start]! < x) this.#start++;
    if (this.#end - this.#start >= kMostPoints) this.#start = this.#end - kMostPoints + 1;
    while (this.gaps.length > 0 && this.gaps[0]!.to < x) this.gaps.shift();
  }

  #makeRoom(): void {
    const length = this.#end - this.#start;
    if (2 * length > this.#x.length) {
      this.#x = grown(this.#x);
      this.#y = grown(this.#y);
      this.#stamp = grown(this.#stamp);
      if (this.#state) {
        const larger = new Uint16Array(2 * this.#state.length);
        larger.set(this.#state);
        this.#state = larger;
      }
    }
    if (this.#start === 0) return;
    for (const array of [this.#x, this.#y, this.#stamp, this.#state]) array?.copyWithin(0, this.#start, this.#end);
    this.#moved += this.#start;
    this.#start = 0;
    this.#end = length;
    for (const number of this.#exact.keys()) {
      if (number >= this.#moved) break;
      this.#exact.delete(number);
    }
  }

  #slice(from: number, to: number): Points {
    return {
      x: this.#x.subarray(from, to),
      y: this.#y.subarray(from, to),
      stamp: this.#stamp.subarray(from, to),
      state: this.#state?.subarray(from, to) ?? null,
    };
  }

  /// start - 1 where there is none.
  #lastAtOrBefore(x: number): number {
    return this.#firstAfter(x) - 1;
  }

  #firstAfter(x: number): number {
    return this.#search((at) => at > x);
  }

  #firstAtOrAfter(x: number): number {
    return this.#search((at) => at >= x);
  }

  #search(isBehind: (x: number) => boolean): number {
    let low = this.#start;
    let high = this.#end;
    while (low < high) {
      const middle = (low + high) >> 1;
      if (isBehind(this.#x[middle]!)) high = middle;
      else low = middle + 1;
    }
    return low;
  }
}

function grown(array: Float64Array<ArrayBuffer>): Float64Array<ArrayBuffer> {
  const larger = new Float64Array(2 * array.length);
  larger.set(array);
  return larger;
}
