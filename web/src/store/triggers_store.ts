/// Events of all loggers, and the markers that this page has set.
import { signal, type ReadonlySignal } from "@preact/signals";
import type { Frame, Marker } from "../protocol/types";
import type { PendingMarker, TriggerEvent, TriggersState } from "./model";

const kUnconfirmed = 3_000; // ms
const kShowConfirmed = 8_000; // ms

export class TriggersStore {
  readonly state: ReadonlySignal<TriggersState>;
  #state = signal<TriggersState>({ events: [], complete: false, missing: [], pending: [] });
  /// By id; the list shows them by moment.
  #known = new Map<string, TriggerEvent>();
  /// Markers that were told one by one: these have been given by somebody, here or at another browser.
  #given = new Set<string>();
  #lastMicros = 0;

  constructor(private readonly clock: () => number) {
    this.state = this.#state;
  }

  take(frame: Frame): void {
    if (frame.response === "get_trigger" && frame.markers) this.#takeList(frame.markers, frame.status === "OK");
    else if (frame.response === "set_trigger") this.#takeEvent(frame);
  }

  /// A marker's id, which no other one has: two equal ones would be one event. `now` in seconds of the network's time.
  makeId(name: string, now: number, timeZone: string): string {
    const micros = Math.max(this.#lastMicros + 1, Math.round(now * 1e6));
    this.#lastMicros = micros;
    return `${name} ${timeText(micros, timeZone)}`.trim();
  }

  sent(marker: string): void {
    const sentAt = this.clock();
    this.#change([{ marker, state: "sending", sentAt }, ...this.#state.value.pending]);
    setTimeout(() => this.#set(marker, "not-confirmed", "sending"), kUnconfirmed);
  }

  reset(): void {
    this.#state.value = { ...this.#state.value, complete: false };
  }

  begin(): void {
    this.#known.clear();
    this.#show(false);
  }

  #takeList(markers: readonly Marker[], complete: boolean): void {
    // A list that is gathered anew begins short: what was known is shown until it is complete.
    if (complete) this.#known.clear();
    for (const marker of markers) this.#know(marker);
    this.#show(complete);
    for (const { marker } of this.#state.value.pending)
      if (markers.some(({ markerId }) => markerId === marker)) this.#set(marker, "confirmed");
  }

  #takeEvent(marker: Marker): void {
    this.#given.add(marker.markerId);
    this.#know(marker);
    this.#show(this.#state.value.complete);
    this.#set(marker.markerId, "confirmed");
  }

  #know(marker: Marker): void {
    const event = eventOf(marker);
    this.#known.set(event.id, event);
  }

  #show(complete: boolean): void {
    this.#state.value = { ...this.#state.value, events: moments(this.#known.values(), this.#given), complete };
  }

  #set(marker: string, state: PendingMarker["state"], from?: PendingMarker["state"]): void {
    const pending = this.#state.value.pending;
    const one = pending.find((entry) => entry.marker === marker);
    if (!one || one.state === state || (from && one.state !== from)) return;
    this.#change(pending.map((entry) => (entry === one ? { ...entry, state } : entry)));
    if (state === "confirmed")
      setTimeout(() => this.#change(this.#state.value.pending.filter((entry) => entry.marker !== marker)), kShowConfirmed);
  }

  #change(pending: readonly PendingMarker[]): void {
    this.#state.value = { ...this.#state.value, pending: pending.slice(0, 20) };
  }
}

function eventOf({ number, timestamp, timeZone, markerId }: Marker): TriggerEvent {
  // Markers are keys: what two loggers tell of one marker is one event.
  return {
    id: markerId === "" ? `#${timestamp}` : markerId,
    marker: markerId,
    number,
    x: timestamp / 1e6,
    stamp: timestamp,
    timeZone,
    also: [],
  };
}

/// One entry for each moment, newest first. A marker is pressed on all loggers at once, but only the one that the browser is
/// connected to learns its name; the others make one up, and the list has them all. The name that was given goes first.
function moments(events: Iterable<TriggerEvent>, given: ReadonlySet<string>): readonly TriggerEvent[] {
  const byStamp = new Map<number, TriggerEvent[]>();
  for (const event of events) byStamp.set(event.stamp, [...(byStamp.get(event.stamp) ?? []), event]);
  const rank = ({ marker }: TriggerEvent) => (given.has(marker) ? 0 : marker.startsWith("Trigger ") ? 2 : 1);
  return [...byStamp.values()]
    .map((same) => {
      const [first, ...others] = same.sort((a, b) => rank(a) - rank(b));
      return { ...first!, also: others.map(({ marker }) => marker) };
    })
    .sort((a, b) => b.stamp - a.stamp);
}

/// "2026-11-21 18:04:05.123456" in that zone; in UTC where the browser does not know it.
export function timeText(micros: number, timeZone: string): string {
  const fraction = String(((micros % 1e6) + 1e6) % 1e6).padStart(6, "0");
  const options = {
    year: "numeric",
    month: "2-digit",
    day: "2-digit",
    hour: "2-digit",
    minute: "2-digit",
    second: "2-digit",
    hourCycle: "h23",
  } as const;
  const parts = format(options, timeZone).formatToParts(Math.floor(micros / 1000));
  const part = (type: string) => parts.find((entry) => entry.type === type)?.value ?? "";
  return `${part("year")}-${part("month")}-${part("day")} ${part("hour")}:${part("minute")}:${part("second")}.${fraction}`;
}

function format(options: Intl.DateTimeFormatOptions, timeZone: string): Intl.DateTimeFormat {
  try {
    return new Intl.DateTimeFormat("en-GB", { ...options, timeZone: timeZone === "" ? "UTC" : timeZone });
  } catch {
    return new Intl.DateTimeFormat("en-GB", { ...options, timeZone: "UTC" });
  }
}
