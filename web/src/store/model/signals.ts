/// Signals: how they are named, what is offered, what runs, and what is kept of each.
/// Identifies a signal of a logger: an opaque text, made by `signalId`.
export type SignalId = string;

export interface SignalKey {
  readonly name: string;
  /// MAC address of the signal's logger, spelled as the logger spells it.
  readonly mac: string;
}

export function signalId(key: SignalKey): SignalId {
  return `${key.mac}\n${key.name}`;
}

export function signalKey(id: SignalId): SignalKey {
  const end = id.indexOf("\n");
  return { mac: id.slice(0, end), name: id.slice(end + 1) };
}

export interface CatalogueEntry {
  readonly id: SignalId;
  readonly key: SignalKey;
  /// The logger's label; see LoggerState.
  readonly logger: string;
  /// "CAN 1", "MOST150 2"; "" where the bus is not known.
  readonly bus: string;
  readonly unit: string;
  /// Name, logger, bus and unit in lower case, to search in.
  readonly search: string;
}

export interface CatalogueState {
  /// Ordered by logger (the local one first), bus and name.
  readonly entries: readonly CatalogueEntry[];
  readonly byId: ReadonlyMap<SignalId, CatalogueEntry>;
  readonly complete: boolean;
  /// Labels of the loggers that have not sent theirs; empty when complete.
  readonly missing: readonly string[];
}

export type RunState =
  | "off"
  /// Wanted; the request waits for its turn or for the answer.
  | "starting"
  | "running"
  /// Wanted, but no logger offers it now. It starts when it returns.
  | "absent"
  | "refused";

/// The newest value of a signal.
export interface LatestValue {
  /// null when it is no finite number.
  readonly number: number | null;
  /// As it is to be shown: exact, also beyond 2^53; without unit.
  readonly text: string;
  /// The description that the logger sent with it; "" without one.
  readonly description: string;
  readonly x: number;
  /// The logger's own stamp in microseconds.
  readonly stamp: number;
  readonly arrivedAt: number;
}

export type GapReason = "missing" | "not-a-number" | "connection" | "stopped" | "clock" | "skipped";

/// Between `from` (the last point before it) and `to` (the first one after it) nothing is known.
export interface Gap {
  readonly from: number;
  /// Infinity while it lasts.
  readonly to: number;
  readonly reason: GapReason;
}

/// Views of the same length on the stored points, oldest first. They stay valid and unchanged until the next batch of
/// values is taken: use them within the frame in which they were asked for.
export interface Points {
  /// Never decreasing.
  readonly x: Float64Array;
  /// NaN only in texts of discrete signals without a number.
  readonly y: Float64Array;
  /// The logger's stamps in microseconds.
  readonly stamp: Float64Array;
  /// Indices into `SignalHistory.states`, for a discrete signal; else null.
  readonly state: Uint16Array | null;
}

export interface Statistics {
  readonly count: number;
  readonly min: number;
  readonly max: number;
  readonly mean: number;
  /// Values per second.
  readonly rate: number;
}

/// What is kept of a signal: ten minutes, also while no panel shows it. Plain data, read in a tick (`Store.ticks`).
export interface SignalHistory {
  readonly id: SignalId;
  /// Grows with each change of the points, states or gaps: draw again when it differs.
  readonly revision: number;
  /// Grows when old points changed, and not just new ones came.
  readonly rebuilt: number;
  readonly latest: LatestValue | null;
  /// When it came (`performance.now()`, ms); -Infinity before the first.
  readonly arrivedAt: number;
  /// Whether it has had a description or a text value: drawn in steps or in a lane, never with a slope.
  readonly discrete: boolean;
  /// Index 0 is "no text".
  readonly states: readonly string[];
  /// Since the signal was started.
  readonly min: number;
  readonly max: number;
  readonly count: number;
  /// Oldest first.
  readonly gaps: readonly Gap[];
  /// Typical distance of two values in seconds; 0 when unknown.
  readonly interval: number;
  /// The points with from <= x <= to, and one more on either side where there is one, so that lines reach the edges.
  points(from?: number, to?: number): Points;
  /// The index into `points()` of the last point at or before x, -1 where there is none or x lies in a gap.
  indexAt(x: number): number;
  /// The value at a time: the last one at or before it.
  valueAt(x: number): { x: number; stamp: number; number: number | null; text: string; description: string } | null;
  statistics(from: number, to: number): Statistics | null;
}
