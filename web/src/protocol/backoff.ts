/// Pauses between attempts to connect: growing, and different for each browser, so that not all come back at once.

const kShortest = 500; // ms
const kLongest = 30_000;

export class Backoff {
  #attempts = 0;

  constructor(private readonly random: () => number) {}

  /// How many pauses were taken since the last success.
  get attempts(): number {
    return this.#attempts;
  }

  /// Milliseconds to wait now.
  next(): number {
    const pause = Math.min(kLongest, kShortest * 2 ** this.#attempts++);
    return pause * (0.5 + this.random() / 2);
  }

  /// Only what is really of use counts as success: a server that accepts and hangs up is asked ever more seldom.
  succeeded(): void {
    this.#attempts = 0;
  }
}
