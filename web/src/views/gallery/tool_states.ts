// The states of the tools at the side.
import type { FrameRecord } from "../../store/model.ts";
import type { Cell } from "./cell.ts";
import { kExamples, kNetwork, kPartialNetwork, kTriggers } from "./examples.ts";
import { fakeStore, kNow } from "./fake_store.ts";

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

const kScreens = ["Host.Processor", "Host.Memory", "Host.Network interfaces of this machine"].map((name, index) => ({ index, name }));

export const kToolStates: readonly Cell[] = [
  { view: "network", state: "waiting", store: () => fakeStore([]) },
  {
    view: "network",
    state: "broken",
    store: () => fakeStore([], { connection: { type: "waiting", missing: [], sinceAt: -Infinity } }),
  },
  {
    view: "network",
    state: "empty",
    note: "Alone",
    store: () => fakeStore([], { network: { ...kNetwork, name: "", loggers: kNetwork.loggers.slice(0, 1) } }),
  },
  {
    view: "network",
    state: "partial",
    store: () => fakeStore([], { network: kPartialNetwork, connection: { type: "waiting", missing: ["Rear"], sinceAt: 0 } }),
  },
  {
    view: "network",
    state: "partial",
    note: "One gone",
    store: () =>
      fakeStore([], {
        network: {
          ...kNetwork,
          loggers: kNetwork.loggers.slice(0, 1),
          gone: [{ mac: "02:00:00:00:00:03", label: kNetwork.loggers[2]!.label, heardAt: -40_000 }],
        },
      }),
  },
  { view: "network", state: "full", store: () => fakeStore([], { network: kNetwork }) },
  { view: "triggers", state: "waiting", store: () => fakeStore([]) },
  { view: "triggers", state: "empty", store: () => fakeStore([], { triggers: { ...kTriggers, events: [] } }) },
  {
    view: "triggers",
    state: "partial",
    store: () => fakeStore([], { network: kNetwork, triggers: { ...kTriggers, complete: false, missing: ["Rear"] } }),
  },
  {
    view: "triggers",
    state: "broken",
    store: () => fakeStore([], { triggers: { ...kTriggers, events: [], complete: false, missing: ["Front", "Rear"] } }),
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
    state: "partial",
    store: () => fakeStore([], { monitor: { screens: kScreens, running: true, chosen: null, signals: [] } }),
  },
  {
    view: "monitor",
    state: "broken",
    note: "Stopped",
    store: () => fakeStore([], { monitor: { screens: kScreens, running: false, chosen: null, signals: [] } }),
  },
  {
    view: "monitor",
    state: "full",
    store: () =>
      fakeStore([], {
        monitor: {
          screens: kScreens,
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
    state: "partial",
    note: "Loading",
    store: () => fakeStore([], { setups: { names: ["Brakes", "Wheels"], busy: true, error: "", question: null } }),
  },
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
