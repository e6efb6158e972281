/// Large lists come once for each logger that answers, each with all that is known by then: only the newest is worth
/// parsing, and that once a second.
import type { Environment } from "./environment";

const kPause = 1_000; // ms
/// Characters from which a list counts as large.
const kLarge = 100_000;

export class ListThrottle {
  #waiting: string | null = null;
  #cancel: (() => void) | null = null;

  constructor(
    private readonly environment: Environment,
    private readonly parse: (text: string) => void,
  ) {}

  /// Whether it took the text, to be parsed now or later, the last one in any case.
  take(text: string): boolean {
    if (text.length < kLarge) {
      this.#waiting = null; // the newer one is complete by itself
      return false;
    }
    if (this.#cancel) {
      this.#waiting = text;
    } else {
      this.#run(text);
    }
    return true;
  }

  drop(): void {
    this.#waiting = null;
    this.#cancel?.();
    this.#cancel = null;
  }

  #run(text: string): void {
    this.#cancel = this.environment.after(kPause, () => {
      this.#cancel = null;
      const next = this.#waiting;
      this.#waiting = null;
      if (next !== null) this.#run(next);
    });
    this.parse(text);
  }
}
