/// Gathers values until it is time to hand them over together.
import type { Key, ValueFrame } from "../protocol/types";
import type { ValueBatch } from "./messages";

const kFirstCapacity = 256;

export class ValueBatcher {
  #numbers = new Map<string, number>();
  /// The same for keys that have been seen themselves, which is how most of them come.
  #numberOfKey = new WeakMap<Key, number>();
  #added: [number, Key][] = [];
  #texts: [number, string, string][] = [];
  #length = 0;
  #signal = new Uint32Array(kFirstCapacity);
  #stamp = new Float64Array(kFirstCapacity);
  #number = new Float64Array(kFirstCapacity);
  #at = new Float64Array(kFirstCapacity);

  get length(): number {
    return this.#length;
  }

  add(frame: ValueFrame, at: number): void {
    if (Number.isNaN(frame.timestamp)) return; // it says that there is no value yet
    if (this.#length === this.#signal.length) this.#grow();
    const index = this.#length++;
    this.#signal[index] = this.#numberOf(frame.key);
    this.#stamp[index] = frame.timestamp;
    this.#number[index] = frame.number ?? NaN;
    this.#at[index] = at;
    if (frame.text !== "" || frame.description !== "" || frame.number === null) this.#texts.push([index, frame.text, frame.description]);
  }

  /// What has been gathered, and the buffers that are to be handed over with it; null for nothing.
  take(): { message: ValueBatch; transfer: ArrayBuffer[] } | null {
    if (this.#length === 0) return null;
    const signal = this.#signal.slice(0, this.#length);
    const stamp = this.#stamp.slice(0, this.#length);
    const number = this.#number.slice(0, this.#length);
    const at = this.#at.slice(0, this.#length);
    const message: ValueBatch = { op: "values", added: this.#added, signal, stamp, number, at, texts: this.#texts };
    this.#length = 0;
    this.#added = [];
    this.#texts = [];
    return { message, transfer: [signal.buffer, stamp.buffer, number.buffer, at.buffer] };
  }

  #numberOf(key: Key): number {
    const seen = this.#numberOfKey.get(key);
    if (seen !== undefined) return seen;
    const id = `${key[1]}\n${key[0]}`;
    const known = this.#numbers.get(id);
    const number = known ?? this.#numbers.size;
    this.#numberOfKey.set(key, number);
    if (known !== undefined) return number;
    this.#numbers.set(id, number);
    this.#added.push([number, key]);
    return number;
  }

  #grow(): void {
    const capacity = 2 * this.#signal.length;
    const signal = new Uint32Array(capacity);
    signal.set(this.#signal);
    this.#signal = signal;
    const larger = (array: Float64Array) => {
      const copy = new Float64Array(capacity);
      copy.set(array);
      return copy;
    };
    this.#stamp = larger(this.#stamp);
    this.#number = larger(this.#number);
    this.#at = larger(this.#at);
  }
}
