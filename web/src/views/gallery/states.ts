// The states of each view.
import type { FrameRecord, Store } from "../../store/model.ts";
import type { Workspace } from "../workspace.ts";
import {
  kBuses,
  kDoor,
  kExamples,
  kGear,
  kNetwork,
  kNoValue,
  kPartialNetwork,
  kRpm,
  kSilent,
  kSpeed,
  kTemperature,
  kTriggers,
  kVoltage,
  kWheel,
  panel,
} from "./examples.ts";
import { fakeStore, kNow, type Example } from "./fake_store.ts";

export interface Cell {
  readonly view: string;
  readonly state: "empty" | "waiting" | "partial" | "broken" | "full";
  /// What tells it apart from another one of the same state.
  readonly note?: string;
  readonly store: () => Store;
  readonly prepare?: (workspace: Workspace) => void;
}

const kUnknown: Example = { name: "Rear.Left.Wheel", mac: "", logger: "Trailer", bus: "", unit: "" };

function panelCell(
  kind: "chart" | "lanes" | "xy" | "numbers" | "table",
  state: Cell["state"],
  examples: readonly Example[],
  note?: string,
  prepare?: Cell["prepare"],
): Cell {
  return {
    view: kind,
    state,
    ...(note === undefined ? {} : { note }),
    store: () =>
      fakeStore(kExamples, { network: kNetwork, triggers: kTriggers, arrangement: { name: "", panels: [panel(kind, examples, kLimits)] } }),
    ...(prepare === undefined ? {} : { prepare }),
  };
}

const kLimits = { [`high:${kSpeed.mac}\n${kSpeed.name}`]: 60, [`low:${kSpeed.mac}\n${kSpeed.name}`]: 0 };

function frame(
  number: number,
  direction: FrameRecord["direction"],
  name: string,
  status: string,
  took: number | null,
  text: string,
  size = text.length,
): FrameRecord {
  return { number, direction, at: number, name, status, took, text, size };
}

const kFrames: FrameRecord[] = [
  frame(1, "sent", "get_logger_info", "", null, '{"command":"get_logger_info"}'),
  frame(2, "received", "get_ksl_network", "OK", null, '{"response":"get_ksl_network"}'),
  frame(3, "received", "get_logger_info", "OK", 214.2, '{"response":"get_logger_info"}', 2048),
  frame(4, "sent", "dance", "", null, '{"command":"dance"}'),
  frame(5, "received", "dance", "ERROR", 2.4, '{"response":"dance","status":"ERROR","error_code":"invalid_command"}'),
];

const idle = { type: "idle" } as const;
const kFile = { name: "1112104387.wav", marker: "lane change", from: kNow - 30, to: kNow - 18 };

export const kStates: readonly Cell[] = [
  { view: "header", state: "waiting", note: "Connecting", store: () => fakeStore([], { connection: { type: "connecting", attempt: 1 } }) },
  {
    view: "header",
    state: "partial",
    store: () =>
      fakeStore(kExamples, {
        connection: { type: "waiting", missing: ["Rear", "02:00:00:00:00:03"], sinceAt: 0 },
        network: kPartialNetwork,
      }),
  },
  {
    view: "header",
    state: "broken",
    store: () =>
      fakeStore(kExamples, { connection: { type: "lost", reason: "closed-by-logger", detail: "", retryAt: 0 }, network: kNetwork }),
  },
  {
    view: "header",
    state: "broken",
    note: "Off",
    store: () => fakeStore(kExamples, { connection: { type: "off", sinceAt: 0 }, network: kNetwork }),
  },
  {
    view: "header",
    state: "full",
    store: () =>
      fakeStore(kExamples, {
        network: { ...kNetwork, name: "Prototype 23 of the winter test in Arjeplog, second week" },
        triggers: kTriggers,
      }),
  },
  { view: "signals", state: "waiting", store: () => fakeStore([], { catalogue: { complete: false, missing: ["Front", "Rear"] } }) },
  { view: "signals", state: "empty", store: () => fakeStore([]) },
  {
    view: "signals",
    state: "partial",
    store: () => fakeStore(kExamples.slice(0, 5), { catalogue: { complete: false, missing: ["Rear"] } }),
  },
  {
    view: "signals",
    state: "full",
    store: () => fakeStore(kExamples, { arrangement: { name: "", panels: [panel("chart", [kSpeed, kGear, kSilent])] } }),
  },
  panelCell("chart", "empty", []),
  panelCell("chart", "waiting", [kNoValue]),
  panelCell("chart", "broken", [kSilent, kUnknown]),
  panelCell("chart", "partial", [kWheel, kTemperature]),
  panelCell("chart", "full", [kSpeed, kWheel, kRpm, kTemperature, kVoltage, kGear]),
  panelCell("chart", "full", [kSpeed, kRpm, kGear], "Cursors", (workspace) => {
    workspace.cursors.value = { a: kNow - 22, b: kNow - 9 };
    workspace.hover.value = 0.6;
  }),
  panelCell("lanes", "waiting", [kNoValue]),
  panelCell("lanes", "full", [kGear, kDoor, kSpeed]),
  panelCell("xy", "empty", [kSpeed]),
  panelCell("xy", "waiting", [kSpeed, kNoValue]),
  panelCell("xy", "full", [kSpeed, kRpm]),
  panelCell("numbers", "waiting", [kNoValue]),
  panelCell("numbers", "broken", [kSilent, kUnknown]),
  panelCell("numbers", "full", [kSpeed, kRpm, kGear, kVoltage]),
  panelCell("table", "broken", [kSilent, kUnknown]),
  panelCell("table", "full", [kSpeed, kRpm, kGear, kDoor, kVoltage, kTemperature]),
  {
    view: "loads",
    state: "waiting",
    store: () => fakeStore([], { buses: { ...kBuses, buses: [], gps: [], complete: false, missing: ["Front"] } }),
  },
  { view: "loads", state: "empty", store: () => fakeStore([], { buses: { ...kBuses, buses: [], gps: [] } }) },
  {
    view: "loads",
    state: "partial",
    store: () => fakeStore(kExamples, { buses: { ...kBuses, buses: kBuses.buses.slice(0, 3), complete: false, missing: ["Rear"] } }),
  },
  {
    view: "loads",
    state: "broken",
    store: () => fakeStore(kExamples, { buses: { ...kBuses, running: false, buses: kBuses.buses.map((bus) => ({ ...bus, load: null })) } }),
  },
  { view: "loads", state: "full", store: () => fakeStore(kExamples, { buses: kBuses }) },
  { view: "network", state: "waiting", store: () => fakeStore([]) },
  {
    view: "network",
    state: "partial",
    store: () => fakeStore([], { network: kPartialNetwork, connection: { type: "waiting", missing: ["Rear"], sinceAt: 0 } }),
  },
  { view: "network", state: "full", store: () => fakeStore([], { network: kNetwork }) },
  { view: "triggers", state: "waiting", store: () => fakeStore([]) },
  { view: "triggers", state: "empty", store: () => fakeStore([], { triggers: { ...kTriggers, events: [] } }) },
  {
    view: "triggers",
    state: "partial",
    store: () => fakeStore([], { network: kNetwork, triggers: { ...kTriggers, complete: false, missing: ["Rear"] } }),
  },
  { view: "triggers", state: "full", store: () => fakeStore([], { network: kNetwork, triggers: kTriggers }) },
  { view: "audio", state: "waiting", store: () => fakeStore([], { triggers: kTriggers }) },
  { view: "audio", state: "empty", store: () => fakeStore([], { audio: { files: [], upload: idle } }) },
  {
    view: "audio",
    state: "partial",
    store: () =>
      fakeStore(kExamples, {
        network: kNetwork,
        audio: { files: [kFile], upload: { type: "uploading", name: "comment.webm", sent: 48_000, size: 120_000 } },
      }),
  },
  {
    view: "audio",
    state: "broken",
    store: () =>
      fakeStore(kExamples, {
        network: kNetwork,
        audio: { files: [kFile], upload: { type: "failed", name: "comment.webm", reason: "Unable to open file" } },
      }),
  },
  {
    view: "audio",
    state: "full",
    store: () =>
      fakeStore(kExamples, {
        network: kNetwork,
        audio: { files: [kFile, { ...kFile, name: "1112104399.wav", marker: "" }], upload: { type: "done", name: "1112104399.wav" } },
      }),
  },
  { view: "monitor", state: "waiting", store: () => fakeStore([]) },
  { view: "monitor", state: "empty", store: () => fakeStore([], { monitor: { screens: [], running: false, chosen: null, signals: [] } }) },
  {
    view: "monitor",
    state: "full",
    store: () =>
      fakeStore([], {
        monitor: {
          screens: ["Host.Processor", "Host.Memory", "Host.Network interfaces of this machine"].map((name, index) => ({ index, name })),
          running: true,
          chosen: 1,
          signals: [
            { name: "Host.Memory.Used", value: "2.8", unit: "%", arrivedAt: 0 },
            { name: "Host.Memory.Available", value: "24002604", unit: "KiB", arrivedAt: 0 },
          ],
        },
      }),
  },
  { view: "setups", state: "waiting", store: () => fakeStore([]) },
  { view: "setups", state: "empty", store: () => fakeStore([], { setups: { names: [], busy: false, error: "", question: null } }) },
  {
    view: "setups",
    state: "broken",
    store: () =>
      fakeStore([], {
        setups: {
          names: ["Brakes"],
          busy: false,
          error: "illegal_config",
          question: { mac: "02:00:00:00:00:99", logger: "Trailer", candidates: kNetwork.loggers.slice(0, 2) },
        },
      }),
  },
  {
    view: "setups",
    state: "full",
    store: () =>
      fakeStore([], {
        arrangement: { name: "Brakes", panels: [] },
        setups: {
          names: ["Brakes", "Cold start, all temperatures of the engine compartment and of the battery", "Wheels"],
          busy: false,
          error: "",
          question: null,
        },
      }),
  },
  { view: "protocol", state: "empty", store: () => fakeStore([]) },
  {
    view: "protocol",
    state: "full",
    store: () =>
      fakeStore([], {
        protocol: {
          frames: kFrames,
          keepValues: false,
          recording: { frames: 1204, bytes: 482_000, sinceAt: 0 },
          playback: null,
          queued: 3,
        },
      }),
  },
  {
    view: "protocol",
    state: "full",
    note: "Playback",
    store: () =>
      fakeStore([], {
        protocol: {
          frames: kFrames,
          keepValues: true,
          recording: null,
          playback: { file: "session of the morning.jsonl", position: 34, length: 210, paused: false, speed: 2 },
          queued: 0,
        },
      }),
  },
];
