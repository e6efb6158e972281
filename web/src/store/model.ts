/// What the page knows and can do, as its views see it: signals (of @preact/signals) to read and actions to call.
/// Times called `x` are seconds since 1970 UTC on the network's time base (a logger's stamp plus the offset of its
/// clock); "now" is `Store.now()`. Times that end in `At` are milliseconds of `performance.now()` in the page: ages
/// count from them, never from the browser's calendar clock, which may be wrong.
import type { ReadonlySignal } from "@preact/signals";

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

// ---- the connection

/// The truth about where the page's data comes from.
export type ConnectionState =
  /// Opening the connection for the `attempt`-th time in a row, counted from 1.
  | { readonly type: "connecting"; readonly attempt: number }
  /// Connected; some loggers have not told about themselves yet. `missing` are their names, or MAC addresses where no
  /// name is known; empty while not even the neighbours are known.
  | { readonly type: "waiting"; readonly missing: readonly string[]; readonly sinceAt: number }
  | { readonly type: "live" }
  /// All loads have become unknown at once without being asked: a logger was switched off or stopped.
  | { readonly type: "off"; readonly sinceAt: number }
  /// Connected to the web server, but the logger's message bus is not reachable.
  | { readonly type: "no-bus"; readonly text: string; readonly sinceAt: number }
  /// Lost; tried again at `retryAt`. `detail` is what the other side said, "" for nothing.
  | { readonly type: "lost"; readonly reason: LostReason; readonly detail: string; readonly retryAt: number }
  /// A recorded session is played; there is no logger.
  | { readonly type: "playback"; readonly file: string };

/// refused: nobody there; silent: no answer any more.
export type LostReason = "closed-by-logger" | "broken" | "refused" | "silent" | "no-bus" | "anew";

// ---- the network

export interface LoggerState {
  readonly mac: string;
  /// Empty where the logger has not told it yet.
  readonly name: string;
  /// What to call it: the name, or the MAC address where that is empty; with the MAC where two share a name.
  readonly label: string;
  readonly type: string;
  readonly configName: string;
  readonly softwareVersion: string;
  readonly timeZone: string;
  /// The status number, as it was told; null before that.
  readonly status: string | null;
  readonly local: boolean;
  /// Offset of its clock in microseconds, to be added to its stamps; null before it was told.
  readonly clockOffset: number | null;
  /// Whether it answered when it was asked last. null: not asked yet.
  readonly answers: boolean | null;
  /// When it answered last, or the page began to ask it. Show "silent for ..." when `answers` is false.
  readonly heardAt: number;
}

export interface NetworkState {
  readonly name: string;
  readonly loggers: readonly LoggerState[];
  /// Whether every logger has told about itself.
  readonly complete: boolean;
}

// ---- signals

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

// ---- bus loads and GPS

export interface BusState {
  readonly id: string;
  /// "" where the logger is not known (two share an offset).
  readonly logger: string;
  /// "CAN 1"
  readonly bus: string;
  readonly name: string;
  /// null: unknown.
  readonly load: number | null;
  /// "%", "kB/s", ...; "" for none.
  readonly unit: string;
  /// The largest load since the loads were started.
  readonly peak: number | null;
  /// Newest last; NaN where unknown. For a sparkline.
  readonly recent: Float64Array;
  readonly recentX: Float64Array;
  readonly most: MostFigures | null;
  readonly changedAt: number;
}

export interface MostFigures {
  readonly status: string;
  /// In the order in which they are to be shown: the member's name, and its number.
  readonly figures: readonly (readonly [name: string, value: number])[];
}

export interface GpsState {
  readonly logger: string;
  readonly name: string;
  /// null: unknown.
  readonly fix: boolean | null;
  readonly status: string;
  readonly changedAt: number;
}

export interface BusesState {
  readonly buses: readonly BusState[];
  readonly gps: readonly GpsState[];
  readonly running: boolean;
  readonly complete: boolean;
  readonly missing: readonly string[];
}

// ---- triggers

export interface TriggerEvent {
  readonly id: string;
  readonly marker: string;
  readonly number: number;
  readonly x: number;
  readonly stamp: number;
  readonly timeZone: string;
  /// What other loggers call the same moment.
  readonly also: readonly string[];
}

/// A marker that this page has set.
export interface PendingMarker {
  readonly marker: string;
  readonly state: "sending" | "confirmed" | "not-confirmed";
  readonly sentAt: number;
}

export interface TriggersState {
  /// Newest first.
  readonly events: readonly TriggerEvent[];
  readonly complete: boolean;
  readonly missing: readonly string[];
  /// Newest first; confirmed ones leave after some seconds.
  readonly pending: readonly PendingMarker[];
}

// ---- audio

export interface AudioFile {
  readonly name: string;
  readonly marker: string;
  /// Seconds of the logger's clock.
  readonly from: number;
  readonly to: number;
}

export type UploadState =
  | { readonly type: "idle" }
  | { readonly type: "uploading"; readonly name: string; readonly sent: number; readonly size: number }
  | { readonly type: "done"; readonly name: string }
  | { readonly type: "failed"; readonly name: string; readonly reason: string };

export interface AudioState {
  /// null before the list has come.
  readonly files: readonly AudioFile[] | null;
  readonly upload: UploadState;
}

// ---- monitor

export interface MonitorState {
  /// null before the names have come.
  readonly screens: readonly { readonly index: number; readonly name: string }[] | null;
  readonly running: boolean;
  /// The screen that this page has chosen last. All browsers share one, and what it is now cannot be asked.
  readonly chosen: number | null;
  readonly signals: readonly { readonly name: string; readonly value: string; readonly unit: string; readonly arrivedAt: number }[];
}

// ---- arrangements

/// "loads" shows all buses and holds no signals.
export type PanelKind = "chart" | "lanes" | "xy" | "numbers" | "table" | "loads";

/// A signal in a panel. The logger's name tells which one is meant where the MAC address is not known here.
export interface SignalReference {
  readonly name: string;
  readonly mac: string;
  readonly logger: string;
}

export type PanelOption = string | number | boolean | null;

export interface Panel {
  readonly id: string;
  readonly kind: PanelKind;
  readonly title: string;
  readonly signals: readonly SignalReference[];
  /// Whatever the view keeps: limits, ranges, seconds shown.
  readonly options: Readonly<Record<string, PanelOption>>;
}

export interface Arrangement {
  /// "" for one that was never saved.
  readonly name: string;
  readonly panels: readonly Panel[];
}

/// A reference of an arrangement whose logger is not in this network, while several could be meant.
export interface OpenQuestion {
  readonly mac: string;
  readonly logger: string;
  readonly candidates: readonly LoggerState[];
}

export interface SetupsState {
  /// null before the list has come. Only those of this page, by the names that people gave.
  readonly names: readonly string[] | null;
  readonly busy: boolean;
  /// What went wrong last; "" for nothing.
  readonly error: string;
  readonly question: OpenQuestion | null;
}

// ---- protocol

export interface FrameRecord {
  readonly number: number;
  readonly direction: "sent" | "received";
  readonly at: number;
  /// The member "command" or "response"; "" where there is none.
  readonly name: string;
  readonly status: string;
  /// Milliseconds from the request to this answer; null where it answers none.
  readonly took: number | null;
  /// The frame; a long one is cut (`size` tells).
  readonly text: string;
  /// Characters.
  readonly size: number;
}

export interface ProtocolState {
  /// Oldest first, a bounded number. Values, loads and monitor messages are left out unless
  /// `keepValues`.
  readonly frames: readonly FrameRecord[];
  readonly keepValues: boolean;
  readonly recording: null | { readonly frames: number; readonly bytes: number; readonly sinceAt: number };
  readonly playback: null | {
    readonly file: string;
    readonly position: number;
    readonly length: number;
    readonly paused: boolean;
    readonly speed: number;
  };
  /// Requests that wait for their turn.
  readonly queued: number;
}

// ---- notices

/// What a notice says. refused: the logger did not understand what was sent.
export type NoticeText = "refused" | "unplayable" | "setup-not-loaded" | "audio-not-assigned";

/// Something to tell once, in a corner. `detail` is what a logger or server said.
export interface Notice {
  readonly id: number;
  readonly kind: "info" | "error";
  readonly text: NoticeText;
  readonly detail: string;
  readonly at: number;
}

export interface Store {
  readonly connection: ReadonlySignal<ConnectionState>;
  readonly network: ReadonlySignal<NetworkState>;
  readonly catalogue: ReadonlySignal<CatalogueState>;
  /// Which signals are wanted, and how far that has come.
  readonly runs: ReadonlySignal<ReadonlyMap<SignalId, RunState>>;
  readonly buses: ReadonlySignal<BusesState>;
  readonly triggers: ReadonlySignal<TriggersState>;
  readonly audio: ReadonlySignal<AudioState>;
  readonly monitor: ReadonlySignal<MonitorState>;
  readonly setups: ReadonlySignal<SetupsState>;
  readonly arrangement: ReadonlySignal<Arrangement>;
  readonly protocol: ReadonlySignal<ProtocolState>;
  readonly notices: ReadonlySignal<readonly Notice[]>;
  /// Marker names for the keys 1 to 9, kept in the browser; "" for a key without one.
  readonly markerPresets: ReadonlySignal<readonly string[]>;
  /// Counters that a view reads to be called again: 25 a second for curves, 5 a second for texts. They stand still while
  /// the page is hidden.
  readonly ticks: { readonly curves: ReadonlySignal<number>; readonly texts: ReadonlySignal<number> };
  /// While true the views show the time `frozenX`; data is collected all the same.
  readonly paused: ReadonlySignal<boolean>;
  readonly frozenX: ReadonlySignal<number>;

  /// The network's time now: the newest corrected stamp plus the time since it arrived; NaN before the first value.
  now(): number;
  /// What the right edge of a running chart shows: `now()`, or `frozenX` while paused.
  viewX(): number;
  /// The history of a signal that is or was wanted; null for others.
  history(id: SignalId): SignalHistory | null;
  /// Seconds since the newest value arrived; Infinity without one.
  age(id: SignalId): number;
  /// Whether the newest value is too old to be trusted.
  stale(id: SignalId): boolean;
  /// A number from 0 that a signal keeps everywhere: which colour it has.
  colour(id: SignalId): number;

  /// Wants signals, or no longer. What a panel of the arrangement holds is wanted anyway.
  start(ids: readonly SignalId[]): void;
  stop(ids: readonly SignalId[]): void;
  /// Says which signals are on the screen: while the catalogue is incomplete only those are started.
  setVisible(owner: string, ids: readonly SignalId[]): void;

  setArrangement(arrangement: Arrangement): void;
  addPanel(kind: PanelKind, ids: readonly SignalId[]): string;
  changePanel(id: string, change: Partial<Omit<Panel, "id">>): void;
  removePanel(id: string): void;
  addToPanel(id: string, ids: readonly SignalId[]): void;
  removeFromPanel(id: string, signal: SignalId): void;
  /// The signal that a reference means here, null while its logger is not known.
  resolve(reference: SignalReference): SignalId | null;

  pause(): void;
  resume(): void;

  /// Sets a marker. Its id is the name with date and time, since two equal ones would be one event.
  setMarker(name: string): void;
  /// `index` from 0 to 8.
  setMarkerPreset(index: number, name: string): void;
  /// Asks for the events of all loggers. The page does it by itself only while every logger answers, since the logger
  /// serves nobody for seconds otherwise.
  listTriggers(): void;
  startLoads(): void;
  stopLoads(): void;
  /// Closes the connection and opens a new one at once: also the only way to ask again for what some logger left out.
  reconnect(): void;

  /// `from` and `to` are seconds of the logger's clock.
  uploadAudio(file: Blob, name: string, marker: string, from: number, to: number): void;
  cancelUpload(): void;
  assignAudio(name: string, marker: string, from: number, to: number): void;
  listAudio(): void;

  startMonitor(): void;
  stopMonitor(): void;
  chooseScreen(index: number): void;

  listSetups(): void;
  saveSetup(name: string): Promise<boolean>;
  loadSetup(name: string): Promise<boolean>;
  deleteSetup(name: string): Promise<boolean>;
  /// Answers the open question: that logger is meant. null: none of them.
  answerQuestion(mac: string | null): void;
  /// The address of the page with the named set-up.
  setupLink(name: string): string;

  /// Sends a frame by hand, as it is.
  sendRaw(text: string): void;
  keepValues(keep: boolean): void;
  clearFrames(): void;
  startRecording(): void;
  /// The recorded session as a file; null when nothing was recorded.
  stopRecording(): Promise<Blob | null>;
  play(file: Blob, name: string): Promise<boolean>;
  pausePlayback(paused: boolean): void;
  seekPlayback(seconds: number): void;
  setPlaybackSpeed(speed: number): void;
  /// Ends the playback and connects to the logger again.
  stopPlayback(): void;

  dismiss(notice: number): void;
}
