// What the page of states shows: signals, buses and loggers of a test drive, some with names that are too long.
import type { BusesState, BusState, LoggerState, NetworkState, Panel, PanelKind, PanelOption, TriggersState } from "../../store/model.ts";
import { kNow, referTo, type Example } from "./fake_store.ts";

const kFront = { mac: "02:00:00:00:00:01", logger: "Front" };
const kRear = { mac: "02:00:00:00:00:02", logger: "Rear" };
const kLong = "Powertrain.BatteryManagement.CellVoltages.Module07.HighestCellVoltageDuringTheLastDrivingCycle";

const speed = (t: number) => 82 + 34 * Math.sin(t / 17) + 6 * Math.sin(t / 3.1);

export const kSpeed: Example = { ...kFront, name: "Vehicle.Speed", bus: "CAN 1", unit: "km/h", value: speed };
export const kWheel: Example = {
  ...kFront,
  name: "Wheel.FrontLeft",
  bus: "CAN 1",
  unit: "km/h",
  value: (t) => speed(t) + 1.5 * Math.sin(t * 5),
  gap: { from: 19, to: 13 },
};
export const kRpm: Example = {
  ...kFront,
  name: "Engine.Speed",
  bus: "CAN 1",
  unit: "1/min",
  value: (t) => Math.round(1400 + 18 * speed(t) + 320 * Math.abs(Math.sin(t / 6))),
};
export const kTemperature: Example = {
  ...kFront,
  name: "Engine.CoolantTemperature",
  bus: "CAN 1",
  unit: "°C",
  interval: 0.5,
  value: (t) => 88 + t / 40 + 0.4 * Math.sin(t),
};
export const kGear: Example = {
  ...kFront,
  name: "Gear",
  bus: "CAN 1",
  unit: "",
  interval: 0.1,
  value: (t) => gear(t),
  text: (t) => ["neutral", "first", "second", "third", "fourth", "fifth", "sixth"][gear(t)]!,
};
export const kDoor: Example = {
  ...kRear,
  name: "Door.State",
  bus: "LIN 1",
  unit: "",
  interval: 1,
  text: (t) => (Math.floor(t / 23) % 3 === 0 ? "open" : "closed"),
};
export const kVoltage: Example = {
  ...kRear,
  name: kLong,
  bus: "Ethernet 1",
  unit: "mV",
  interval: 0.2,
  value: (t) => 3860 + 12 * Math.sin(t / 9),
};
export const kSilent: Example = {
  ...kRear,
  name: "Brake.Pressure",
  bus: "FlexRay 1",
  unit: "bar",
  value: (t) => 12 + 9 * Math.max(0, Math.sin(t / 7)),
  silent: 14,
};
export const kNoValue: Example = { ...kRear, name: "Yaw.Rate", bus: "FlexRay 1", unit: "°/s" };

export const kSwitch: Example = {
  ...kFront,
  name: "Steering.IndicatorSwitch",
  bus: "CAN 1",
  unit: "",
  interval: 0.5,
  text: (t) => ["off", "left", "off", "right"][Math.floor(t / 7) & 3]!,
};

function gear(t: number): number {
  return Math.min(6, Math.max(1, Math.floor(speed(t) / 20)));
}

/// Is called like another logger's signal.
export const kTwin: Example = { ...kSpeed, ...kRear, value: (x) => speed(x) * 0.9 };

export const kExamples = [kSpeed, kRpm, kGear, kWheel, kTemperature, kDoor, kVoltage, kSilent, kNoValue, kSwitch];

let panelNumber = 0;

/// A panel with examples.
export function panel(kind: PanelKind, examples: readonly Example[], options: Record<string, PanelOption> = {}, title = ""): Panel {
  return { id: `p${++panelNumber}`, kind, title, signals: examples.map(referTo), options };
}

function logger(mac: string, name: string, change: Partial<LoggerState> = {}): LoggerState {
  return {
    mac,
    name,
    label: name,
    type: "Stratolog2",
    configName: "Test drive 4711",
    softwareVersion: "8.2.1",
    timeZone: "Europe/Berlin",
    status: "0",
    local: false,
    clockOffset: 0,
    answers: true,
    heardAt: 0,
    ...change,
  };
}

export const kNetwork: NetworkState = {
  name: "Prototype 23",
  loggers: [
    logger(kFront.mac, "Front", { local: true }),
    logger(kRear.mac, "Rear", { type: "Stratolog Pocket", timeZone: "Mars/Olympus", clockOffset: -3_600_000_000 }),
    logger("02:00:00:00:00:03", "Trunk recorder behind the second row of seats, left side", {
      type: "Stratolog Bus Recorder",
      clockOffset: 1250,
    }),
  ],
  gone: [],
  complete: true,
};

/// One logger is silent, one has told nothing but its address.
export const kPartialNetwork: NetworkState = {
  ...kNetwork,
  loggers: [
    kNetwork.loggers[0]!,
    { ...kNetwork.loggers[1]!, answers: false, heardAt: -40_000 },
    logger("02:00:00:00:00:03", "", {
      label: "02:00:00:00:00:03",
      type: "",
      configName: "",
      softwareVersion: "",
      timeZone: "",
      status: null,
      clockOffset: null,
      answers: null,
    }),
  ],
  complete: false,
};

function bus(
  loggerName: string,
  kind: string,
  name: string,
  load: (t: number) => number,
  unit = "%",
  most: BusState["most"] = null,
): BusState {
  const recentX = Float64Array.from({ length: 120 }, (_, index) => kNow - 120 + index);
  const recent = Float64Array.from({ length: 120 }, (_, index) => Math.round(load(index - 120)));
  return {
    id: `${loggerName} ${kind} ${name}`,
    logger: loggerName,
    bus: kind,
    name,
    load: recent[119]!,
    unit,
    peak: Math.max(...recent),
    recent,
    recentX,
    most,
    changedAt: 0,
  };
}

const kMost: BusState = {
  ...bus("Front", "MOST150 1", "Infotainment", () => NaN),
  load: null,
  peak: null,
  most: {
    status: "MOST_LOCK - MASTER_LOCK",
    figures: [
      ["num_control_msg", 137],
      ["bytes_control_msg", 2329],
      ["num_mdp_msg", 34],
      ["bytes_mdp_msg", 34250],
      ["num_mep_msg", 68],
      ["bytes_mep_msg", 82200],
      ["num_streaming_ch", 4],
      ["streaming_ch_size", 48],
    ],
  },
};

export const kBuses: BusesState = {
  buses: [
    bus("Front", "CAN 1", "Powertrain", (t) => 42 + 12 * Math.sin(t / 9)),
    bus("Front", "CAN 2", "Chassis CAN of the prototype with a very long name", (t) => 86 + 6 * Math.sin(t / 5)),
    bus("Front", "FlexRay 1", "ADAS", (t) => 61 + 3 * Math.sin(t / 3)),
    kMost,
    bus("Rear", "LIN 1", "Doors", (t) => 9 + 4 * Math.sin(t / 4)),
    bus("Rear", "Ethernet 1", "Cameras", (t) => 8400 + 2200 * Math.sin(t / 11), "kB/s"),
    { ...bus("Rear", "CAN 1", "Body", () => NaN), load: null, peak: 38 },
  ],
  gps: [
    { logger: "Front", name: "GPS", fix: true, status: "A", changedAt: 0 },
    { logger: "Rear", name: "GPS", fix: false, status: "V", changedAt: 0 },
  ],
  running: true,
  complete: true,
  missing: [],
};

export const kTriggers: TriggersState = {
  events: [
    { id: "3", marker: "lane change", number: 3, x: kNow - 6.2, stamp: (kNow - 6.2) * 1e6, timeZone: "Europe/Berlin", also: [] },
    {
      id: "2",
      marker: "door slammed while the engine was running, second try of the afternoon",
      number: 2,
      x: kNow - 21,
      stamp: (kNow - 21) * 1e6,
      timeZone: "America/New_York",
      also: ["Trigger 2026-11-21 12:59:39.000000"],
    },
    {
      id: "1",
      marker: "Marker 2026-11-21 12:58:00.000001",
      number: 1,
      x: kNow - 120,
      stamp: (kNow - 120) * 1e6,
      timeZone: "Mars/Olympus",
      also: [],
    },
  ],
  complete: true,
  missing: [],
  pending: [],
};

/// More of them within a few seconds, one where a signal has a gap and one just now.
export const kCloseTriggers: TriggersState = {
  ...kTriggers,
  events: [
    { marker: "brakes of the trailer pulled", ago: 0.4 },
    { marker: "lane change", ago: 6.2 },
    { marker: "second car", ago: 6.3 },
    { marker: "tunnel", ago: 16 },
    { marker: "door slammed while the engine was running, second try of the afternoon", ago: 21 },
  ].map(({ marker, ago }, index) => ({
    id: `close ${index}`,
    marker,
    number: 5 - index,
    x: kNow - ago,
    stamp: (kNow - ago) * 1e6,
    timeZone: "Europe/Berlin",
    also: [],
  })),
};
