// A store that holds what it is given and talks to nobody: what the page of states shows, the same at every time.
import { signal } from "@preact/signals";
import { History } from "../../store/history.ts";
import {
  signalId,
  type Arrangement,
  type CatalogueEntry,
  type ConnectionState,
  type Panel,
  type RunState,
  type SignalHistory,
  type SignalId,
  type SignalReference,
  type Store,
} from "../../store/model.ts";

/// The moment that all examples show: 2026-11-21 12:00:00 UTC.
export const kNow = Date.UTC(2026, 10, 21, 12) / 1000;

/// An example signal: its value at each time, and how often one comes.
export interface Example {
  readonly name: string;
  readonly mac: string;
  readonly logger: string;
  readonly bus: string;
  readonly unit: string;
  readonly interval?: number;
  /// Values stop that many seconds before now.
  readonly silent?: number;
  /// A stretch without values, in seconds before now.
  readonly gap?: { readonly from: number; readonly to: number };
  readonly value?: (seconds: number) => number;
  readonly text?: (seconds: number) => string;
}

type Parts = {
  -readonly [Member in "network" | "buses" | "triggers" | "audio" | "monitor" | "setups" | "protocol" | "notices"]?: Store[Member] extends {
    readonly value: infer Value;
  }
    ? Value
    : never;
} & {
  connection?: ConnectionState;
  arrangement?: Arrangement;
  catalogue?: { complete: boolean; missing: readonly string[] };
  /// Examples that do not simply run, and why they were refused.
  runs?: readonly (readonly [example: Example, run: RunState, why?: string])[];
};

/// A store with these examples, all of them running, and these parts; everything else is empty.
export function fakeStore(examples: readonly Example[], parts: Parts = {}): Store {
  const entries = examples.map(toEntry);
  const histories = new Map<SignalId, SignalHistory>(examples.map((example) => [idOf(example), historyOf(example)]));
  const byId = new Map(entries.map((entry) => [entry.id, entry]));
  const arrangement = signal<Arrangement>(parts.arrangement ?? { name: "", panels: [] });
  const wanted = new Set(arrangement.value.panels.flatMap(({ signals }) => signals.map(({ name, mac }) => signalId({ name, mac }))));
  const runs = new Map<SignalId, RunState>([...wanted].map((id) => [id, byId.has(id) ? "running" : "absent"]));
  const refusals = new Map<SignalId, string>();
  for (const [example, run, why] of parts.runs ?? []) {
    runs.set(idOf(example), run);
    if (why !== undefined) refusals.set(idOf(example), why);
  }
  const change = (panels: readonly Panel[]) => (arrangement.value = { ...arrangement.value, panels });
  const paused = signal(false);
  const nothing = () => {};
  const never = () => Promise.resolve(false);
  return {
    connection: signal(parts.connection ?? { type: "live" }),
    network: signal(parts.network ?? { name: "", loggers: [], gone: [], complete: false }),
    catalogue: signal({ entries, byId, complete: parts.catalogue?.complete ?? true, missing: parts.catalogue?.missing ?? [] }),
    runs: signal(runs),
    refusals: signal(refusals),
    buses: signal(parts.buses ?? { buses: [], gps: [], running: false, complete: false, missing: [] }),
    triggers: signal(parts.triggers ?? { events: [], complete: false, missing: [], pending: [] }),
    audio: signal(parts.audio ?? { files: null, upload: { type: "idle" } }),
    monitor: signal(parts.monitor ?? { screens: null, running: false, chosen: null, signals: [] }),
    setups: signal(parts.setups ?? { names: null, busy: false, error: "", question: null }),
    arrangement,
    arranged: signal(true),
    protocol: signal(parts.protocol ?? { frames: [], keepValues: false, recording: null, playback: null, queued: 0 }),
    notices: signal(parts.notices ?? []),
    markerPresets: signal(["", "", "", "", "", "", "", "", ""]),
    ticks: { curves: signal(0), texts: signal(0) },
    paused,
    frozenX: signal(kNow),
    now: () => (examples.length > 0 ? kNow : NaN),
    viewX: () => (examples.length > 0 ? kNow : NaN),
    history: (id) => histories.get(id) ?? null,
    age: (id) => kNow - (histories.get(id)?.latest?.x ?? -Infinity),
    stale: (id) => kNow - (histories.get(id)?.latest?.x ?? -Infinity) > 2,
    colour: (id) =>
      Math.max(
        0,
        entries.findIndex((entry) => entry.id === id),
      ),
    start: nothing,
    stop: nothing,
    setVisible: nothing,
    setArrangement: (next) => (arrangement.value = next),
    addPanel: (kind, ids) => {
      const id = `panel ${arrangement.value.panels.length + 1}`;
      change([...arrangement.value.panels, { id, kind, title: "", signals: ids.map((one) => referenceOf(byId.get(one)!)), options: {} }]);
      return id;
    },
    changePanel: (id, changes) => change(arrangement.value.panels.map((panel) => (panel.id === id ? { ...panel, ...changes } : panel))),
    removePanel: (id) => change(arrangement.value.panels.filter((panel) => panel.id !== id)),
    addToPanel: nothing,
    removeFromPanel: nothing,
    resolve: ({ name, mac }) => (mac === "" ? null : signalId({ name, mac })),
    pause: () => (paused.value = true),
    resume: () => (paused.value = false),
    setMarker: nothing,
    setMarkerPreset: nothing,
    startLoads: nothing,
    stopLoads: nothing,
    reconnect: nothing,
    uploadAudio: nothing,
    cancelUpload: nothing,
    assignAudio: nothing,
    listAudio: nothing,
    startMonitor: nothing,
    stopMonitor: nothing,
    chooseScreen: nothing,
    listTriggers: nothing,
    listSetups: nothing,
    saveSetup: never,
    loadSetup: never,
    deleteSetup: never,
    answerQuestion: nothing,
    setupLink: () => "",
    sendRaw: nothing,
    keepValues: nothing,
    clearFrames: nothing,
    startRecording: nothing,
    stopRecording: () => Promise.resolve(null),
    play: never,
    pausePlayback: nothing,
    seekPlayback: nothing,
    setPlaybackSpeed: nothing,
    stopPlayback: nothing,
    dismiss: nothing,
  };
}

function idOf({ name, mac }: Example): SignalId {
  return signalId({ name, mac });
}

function toEntry(example: Example): CatalogueEntry {
  const { name, mac, logger, bus, unit } = example;
  return { id: idOf(example), key: { name, mac }, logger, bus, unit, search: `${name} ${logger} ${bus} ${unit}`.toLowerCase() };
}

function referenceOf({ key, logger }: CatalogueEntry): SignalReference {
  return { ...key, logger };
}

/// How a panel names an example.
export function referTo({ name, mac, logger }: Example): SignalReference {
  return { name, mac, logger };
}

const kSeconds = 120;

function historyOf(example: Example): SignalHistory {
  const history = new History(idOf(example), 0);
  const { interval = 0.05, silent = 0, gap } = example;
  if (example.value === undefined && example.text === undefined) return history;
  for (let step = Math.round(-kSeconds / interval); step * interval <= -silent; ++step) {
    const seconds = step * interval;
    if (gap !== undefined && seconds > -gap.from && seconds < -gap.to) continue;
    const number = example.value === undefined ? NaN : Math.round(example.value(seconds) * 100) / 100;
    const text = example.text?.(seconds) ?? "";
    const named = !Number.isNaN(number);
    history.append({ stamp: Math.round((kNow + seconds) * 1e6), number, text: named ? "" : text, description: named ? text : "", at: 0 });
  }
  return history;
}
