/// What time it is in the network: told by the values, never by the browser's clock, which may be a day off.

interface Anchor {
  /// Seconds of the network's time minus seconds of the page's monotonic clock.
  difference: number;
  at: number;
}

/// Seconds by which a logger's time may differ from the first one's and still be taken for the same time.
const kPlausible = 60;
/// Milliseconds after which a logger that has become silent does not count any more.
const kForgotten = 30_000;

export class NetworkTime {
  #anchors = new Map<string, Anchor>();

  /// The newest corrected stamp of a logger's values that arrived at `at` (ms of the page's clock).
  heard(mac: string, x: number, at: number): void {
    const difference = x - at / 1000;
    const anchor = this.#anchors.get(mac);
    // Values take a while to arrive: the quickest tells the time best, but a clock that was set back is believed.
    if (!anchor || difference > anchor.difference || anchor.difference - difference > 1) this.#anchors.set(mac, { difference, at });
    else {
      anchor.at = at;
      anchor.difference += (difference - anchor.difference) / 500; // clocks drift
    }
  }

  /// A logger's clock has another offset: its next value tells the time.
  forget(mac: string): void {
    this.#anchors.delete(mac);
  }

  clear(): void {
    this.#anchors.clear();
  }

  /// Seconds since 1970 at `at`; NaN before the first value. `localMac` is the logger whose clock is the network's.
  now(at: number, localMac: string | null): number {
    let reference = localMac === null ? undefined : this.#anchors.get(localMac);
    if (!reference) for (const anchor of this.#anchors.values()) reference ??= anchor;
    if (!reference) return NaN;
    let newest = reference.difference;
    for (const { difference, at: heardAt } of this.#anchors.values()) {
      if (at - heardAt < kForgotten && difference > newest && difference - reference.difference < kPlausible) newest = difference;
    }
    return newest + at / 1000;
  }
}
