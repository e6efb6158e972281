// The states of each view: header, list and panels here, tools beside.
import type { PanelKind } from "../../store/model.ts";
import type { Cell } from "./cell.ts";
import {
  kBuses,
  kCloseTriggers,
  kDoor,
  kExamples,
  kGear,
  kNetwork,
  kNoValue,
  kPartialNetwork,
  kRpm,
  kSilent,
  kSpeed,
  kSwitch,
  kTemperature,
  kTriggers,
  kTwin,
  kVoltage,
  kWheel,
  panel,
} from "./examples.ts";
import { fakeStore, kNow, type Example } from "./fake_store.ts";
import { kToolStates } from "./tool_states.ts";

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
      fakeStore([...kExamples, ...examples.filter((one) => one === kTwin)], {
        network: kNetwork,
        triggers: kTriggers,
        arrangement: { name: "", panels: [panel(kind, examples, kLimits)] },
      }),
    ...(prepare === undefined ? {} : { prepare }),
  };
}

const kLimits = { [`high:${kSpeed.mac}\n${kSpeed.name}`]: 60, [`low:${kSpeed.mac}\n${kSpeed.name}`]: 0 };

/// One of the panel's signals was refused.
function refusedCell(kind: PanelKind): Cell {
  return {
    view: kind,
    state: "partial",
    note: "Refused",
    store: () =>
      fakeStore(kExamples, {
        network: kNetwork,
        arrangement: { name: "", panels: [panel(kind, [kSpeed, kNoValue])] },
        runs: [[kNoValue, "refused", "illegal_key"]],
      }),
  };
}

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
    note: "Silent",
    store: () =>
      fakeStore(kExamples, {
        connection: { type: "silent", sinceAt: -7_205_000 },
        network: { ...kNetwork, loggers: kNetwork.loggers.map((logger) => ({ ...logger, answers: false })) },
      }),
  },
  {
    view: "header",
    state: "broken",
    note: "Off",
    store: () => fakeStore(kExamples, { connection: { type: "off", sinceAt: 0 }, network: kNetwork }),
  },
  {
    view: "header",
    state: "broken",
    note: "No bus",
    store: () => fakeStore(kExamples, { connection: { type: "no-bus", text: "Bus connection error", sinceAt: 0 }, network: kNetwork }),
  },
  {
    view: "header",
    state: "full",
    note: "Playback",
    store: () => fakeStore(kExamples, { connection: { type: "playback", file: "session of the morning.jsonl" }, network: kNetwork }),
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
    state: "broken",
    store: () =>
      fakeStore(kExamples, {
        arrangement: { name: "", panels: [panel("chart", [kSpeed, kGear, kSilent])] },
        runs: [
          [kSpeed, "refused", "illegal_key"],
          [kRpm, "starting"],
        ],
      }),
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
  panelCell("chart", "full", [kSpeed, kSwitch, kGear], "States"),
  panelCell("chart", "full", [kSpeed, kTwin, kRpm], "Namesakes", (workspace) => {
    workspace.cursors.value = { a: kNow - 22, b: null };
  }),
  panelCell("chart", "full", [kSpeed, kRpm, kTemperature, kGear, kSwitch], "Cursors", (workspace) => {
    workspace.cursors.value = { a: kNow - 22, b: kNow - 9 };
    workspace.hover.value = 0.6;
  }),
  refusedCell("chart"),
  panelCell("lanes", "empty", []),
  panelCell("lanes", "waiting", [kNoValue]),
  panelCell("lanes", "partial", [kSwitch, kWheel, kNoValue]),
  panelCell("lanes", "broken", [kSilent, kUnknown]),
  panelCell("lanes", "full", [kGear, kDoor, kSpeed]),
  panelCell("lanes", "full", [kGear, kSwitch, kSpeed], "Moments", (workspace) => {
    workspace.cursors.value = { a: kNow - 22, b: kNow - 9 };
    workspace.hover.value = 0.6;
  }),
  panelCell("lanes", "full", [kSpeed, kTwin], "Namesakes"),
  refusedCell("lanes"),
  panelCell("xy", "empty", [kSpeed]),
  panelCell("xy", "waiting", [kSpeed, kNoValue]),
  panelCell("xy", "partial", [kTemperature, kWheel]),
  panelCell("xy", "broken", [kSilent, kUnknown]),
  panelCell("xy", "full", [kSpeed, kRpm]),
  panelCell("xy", "full", [kSpeed, kTwin], "Namesakes"),
  {
    view: "xy",
    state: "full",
    note: "Markers",
    store: () =>
      fakeStore(kExamples, {
        network: kNetwork,
        triggers: kCloseTriggers,
        arrangement: { name: "", panels: [panel("xy", [kSpeed, kWheel])] },
      }),
  },
  refusedCell("xy"),
  panelCell("numbers", "empty", []),
  panelCell("numbers", "waiting", [kNoValue]),
  panelCell("numbers", "partial", [kSpeed, kNoValue, kSwitch]),
  panelCell("numbers", "broken", [kSilent, kUnknown]),
  panelCell("numbers", "full", [kSpeed, kRpm, kGear, kVoltage]),
  panelCell("numbers", "full", [kSpeed, kTwin], "Namesakes"),
  refusedCell("numbers"),
  panelCell("table", "empty", []),
  panelCell("table", "waiting", [kNoValue]),
  panelCell("table", "partial", [kSpeed, kNoValue, kSwitch]),
  panelCell("table", "broken", [kSilent, kUnknown]),
  panelCell("table", "full", [kSpeed, kRpm, kGear, kDoor, kVoltage, kTemperature]),
  panelCell("table", "full", [kSpeed, kTwin], "Namesakes"),
  refusedCell("table"),
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
  {
    view: "loads",
    state: "full",
    note: "Panel",
    store: () => fakeStore(kExamples, { buses: kBuses, arrangement: { name: "", panels: [panel("loads", [])] } }),
  },
  ...kToolStates,
];
