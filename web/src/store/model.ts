/// What the page knows and can do, as its views see it: signals (of @preact/signals) to read and actions to call.
/// Times called `x` are seconds since 1970 UTC on the network's time base (a logger's stamp plus the offset of its
/// clock); "now" is `Store.now()`. Times that end in `At` are milliseconds of `performance.now()` in the page: ages
/// count from them, never from the browser's calendar clock, which may be wrong.
import type { ReadonlySignal } from "@preact/signals";
import type { Arrangement, Panel, PanelKind, SetupsState, SignalReference } from "./model/arrangements";
import type { AudioState } from "./model/audio";
import type { BusesState } from "./model/buses";
import type { CatalogueState, RunState, SignalHistory, SignalId } from "./model/signals";
import type { ConnectionState } from "./model/connection";
import type { MonitorState } from "./model/monitor";
import type { NetworkState } from "./model/network";
import type { Notice } from "./model/notices";
import type { ProtocolState } from "./model/protocol";
import type { TriggersState } from "./model/triggers";

export * from "./model/connection";
export * from "./model/network";
export * from "./model/signals";
export * from "./model/buses";
export * from "./model/triggers";
export * from "./model/audio";
export * from "./model/monitor";
export * from "./model/arrangements";
export * from "./model/protocol";
export * from "./model/notices";

export interface Store {
  readonly connection: ReadonlySignal<ConnectionState>;
  readonly network: ReadonlySignal<NetworkState>;
  readonly catalogue: ReadonlySignal<CatalogueState>;
  /// Which signals are wanted, and how far that has come.
  readonly runs: ReadonlySignal<ReadonlyMap<SignalId, RunState>>;
  /// What was said of the signals that were refused: the logger's words, or "no_answer".
  readonly refusals: ReadonlySignal<ReadonlyMap<SignalId, string>>;
  readonly buses: ReadonlySignal<BusesState>;
  readonly triggers: ReadonlySignal<TriggersState>;
  readonly audio: ReadonlySignal<AudioState>;
  readonly monitor: ReadonlySignal<MonitorState>;
  readonly setups: ReadonlySignal<SetupsState>;
  readonly arrangement: ReadonlySignal<Arrangement>;
  /// Whether the panels are decided; else first ones come by themselves as soon as a logger's signals are known.
  readonly arranged: ReadonlySignal<boolean>;
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
