// Which colour each signal has, wherever it is shown.
import type { SignalId } from "./model";

/// How many numbers look different at once; further ones repeat the colours, dashed.
export const kHues = 8;

export class SignalColours {
  #numbers = new Map<SignalId, number>();

  /// The signal's number, from 0; it keeps it.
  of(id: SignalId): number {
    this.chooseTogether([id]);
    return this.#numbers.get(id)!;
  }

  /// Gives signals that are shown beside each other, and have no colours yet, such as are not there already.
  chooseTogether(ids: readonly SignalId[]): void {
    for (const id of ids) {
      if (this.#numbers.has(id)) continue;
      const beside = ids.flatMap((other) => this.#numbers.get(other) ?? []);
      this.#numbers.set(id, this.#free(beside));
    }
  }

  #free(beside: readonly number[]): number {
    const used = new Set(this.#numbers.values());
    const alike = (number: number) => beside.filter((other) => other % kHues === number % kHues).length;
    let best = -1;
    for (let number = 0; number < used.size + kHues; number++)
      if (!used.has(number) && (best < 0 || alike(number) < alike(best))) best = number;
    return best;
  }
}
