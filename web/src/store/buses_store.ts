/// Loads of buses, MOST's figures and the state of GPS receivers. They come only when they change.
import { signal, type ReadonlySignal } from "@preact/signals";
import type { BusloadFrame, Frame } from "../protocol/types";
import { busName, isMost, unitName, unitRatio } from "./bus_names";
import { kRecentSeconds, type BusesState, type BusState, type GpsState } from "./model";
import type { NetworkStore } from "./network_store";

const kMostRecent = 1_000; // values
const kPublish = 200; // ms
/// Milliseconds after a request within which unknown loads are what was asked for.
const kExpected = 2_500;
const kTogether = 300; // ms

interface Bus {
  readonly id: string;
  readonly loggerName: string;
  readonly offset: number;
  readonly busId: string;
  readonly channel: number;
  name: string;
  load: number | null;
  unit: string;
  peak: number | null;
  recent: number[];
  readonly recentX: number[];
  most: BusState["most"];
  changedAt: number;
}

export class BusesStore {
  readonly state: ReadonlySignal<BusesState>;
  /// All loads have become unknown at once, unasked: since when, or null.
  readonly offSince = signal<number | null>(null);
  #state = signal<BusesState>({ buses: [], gps: [], running: false, complete: false, missing: [] });
  #buses = new Map<string, Bus>();
  #gps = new Map<string, Omit<GpsState, "logger">>();
  #running = false;
  #complete = false;
  #expectedUntil = -Infinity;
  #timer: ReturnType<typeof setTimeout> | null = null;
  #lostAt = -Infinity;

  constructor(private readonly network: NetworkStore) {
    this.state = this.#state;
  }

  take(frame: Frame, at: number): void {
    if (frame.response === "busload_data") this.#takeLoad(frame, at);
    else if (frame.response === "get_bus_names" && frame.buses) {
      this.#complete = frame.status === "OK";
      this.#expectedUntil = Math.max(this.#expectedUntil, at + kTogether);
    } else if (frame.response === "busload_start" || frame.response === "busload_stop") {
      this.#running = frame.response === "busload_start" ? frame.status === "OK" : false;
    } else return;
    this.#publishLater();
  }

  /// Loads are about to be started or stopped: unknown ones mean nothing then.
  expect(at: number): void {
    this.#expectedUntil = at + kExpected;
    this.offSince.value = null;
  }

  started(): void {
    for (const bus of this.#buses.values()) bus.peak = bus.load;
  }

  reset(): void {
    this.#running = false;
    this.#complete = false;
    this.offSince.value = null;
    this.#publishLater();
  }

  begin(): void {
    this.#buses.clear();
    this.#gps.clear();
  }

  #takeLoad(frame: BusloadFrame, at: number): void {
    if (frame.kind === "gps") {
      const fix = frame.gpsStatus === "" ? null : frame.gpsStatus === "A";
      this.#gps.set(`${frame.channel} ${frame.name}`, { name: frame.name, fix, status: frame.gpsStatus, changedAt: at });
      return;
    }
    if (frame.kind === "most") {
      const bus = this.#mostBus(frame.loggerName, at);
      bus.most = { status: frame.statusText, figures: frame.figures };
      bus.changedAt = at;
      return;
    }
    const bus = this.#bus(frame.loggerName, frame.offset, frame.busId, frame.channel, at);
    const load = frame.value < 0 ? null : frame.value;
    if (load === null && bus.load !== null) this.#noteUnknown(at);
    if (load !== null) this.offSince.value = null;
    bus.name = frame.name;
    if (load !== null) changeUnit(bus, unitName(frame.unit));
    bus.load = load;
    bus.peak = load === null ? bus.peak : Math.max(load, bus.peak ?? load);
    bus.changedAt = at;
    if (frame.timestamp === 0) return;
    const mac = this.network.byName(frame.loggerName, frame.offset)?.mac;
    bus.recent.push(load ?? NaN);
    bus.recentX.push((frame.timestamp + (mac === undefined ? 0 : this.network.offsetOf(mac))) / 1e6);
    // The newest one before the stretch holds into it.
    const begin = bus.recentX[bus.recentX.length - 1]! - kRecentSeconds;
    while (bus.recent.length > kMostRecent || bus.recentX[1]! < begin) {
      bus.recent.shift();
      bus.recentX.shift();
    }
  }

  #noteUnknown(at: number): void {
    if (at < this.#expectedUntil) return;
    if (at - this.#lostAt < kTogether) return;
    this.#lostAt = at;
    setTimeout(() => {
      const all = [...this.#buses.values()].filter(({ busId }) => !isMost(busId));
      if (this.#expectedUntil < at && all.length > 0 && all.every(({ load }) => load === null)) this.offSince.value = at;
    }, kTogether);
  }

  #bus(loggerName: string, offset: number, busId: string, channel: number, at: number): Bus {
    const id = JSON.stringify([offset, loggerName, busId, channel]);
    const known = this.#buses.get(id);
    if (known) return known;
    const bus: Bus = {
      id,
      loggerName,
      offset,
      busId,
      channel,
      name: "",
      load: null,
      unit: "",
      peak: null,
      recent: [],
      recentX: [],
      most: null,
      changedAt: at,
    };
    this.#buses.set(id, bus);
    return bus;
  }

  /// Its figures name the logger alone: the first MOST bus of that logger.
  #mostBus(loggerName: string, at: number): Bus {
    for (const bus of this.#buses.values()) if (isMost(bus.busId) && bus.loggerName === loggerName) return bus;
    return this.#bus(loggerName, 0, "BUSID_MOST150", 1, at);
  }

  #publishLater(): void {
    this.#timer ??= setTimeout(() => {
      this.#timer = null;
      this.#publish();
    }, kPublish);
  }

  #publish(): void {
    const order = this.network.state.value.loggers.map(({ label }) => label);
    const place = (label: string) => (order.includes(label) ? order.indexOf(label) : order.length);
    const buses = [...this.#buses.values()].map((bus) => this.#busState(bus));
    buses.sort((a, b) => place(a.logger) - place(b.logger) || a.bus.localeCompare(b.bus, undefined, { numeric: true }));
    const loggers = this.network.state.value.loggers;
    // The messages do not tell whose receiver it is.
    const only = loggers.length === 1 ? loggers[0]!.label : "";
    const gps = [...this.#gps.values()].map((receiver) => ({ ...receiver, logger: only }));
    this.#state.value = { buses, gps, running: this.#running, complete: this.#complete, missing: this.#complete ? [] : this.#missing() };
  }

  #missing(): string[] {
    const heard = new Set([...this.#buses.values()].map(({ loggerName, offset }) => this.network.byName(loggerName, offset)?.mac));
    return this.network.state.value.loggers.filter(({ mac }) => !heard.has(mac)).map(({ label }) => label);
  }

  #busState(bus: Bus): BusState {
    const { id, name, load, unit, peak, most, changedAt } = bus;
    return {
      id,
      logger: this.network.byName(bus.loggerName, bus.offset)?.label ?? "",
      bus: busName(bus.busId, bus.channel),
      name,
      load,
      unit,
      peak,
      recent: Float64Array.from(bus.recent),
      recentX: Float64Array.from(bus.recentX),
      most,
      changedAt,
    };
  }
}

/// Loggers tell a load in the unit in which it is short: what is known from before is to be compared with it.
function changeUnit(bus: Bus, unit: string): void {
  const ratio = unitRatio(bus.unit, unit);
  bus.unit = unit;
  if (ratio === 1) return;
  bus.peak = bus.peak === null || ratio === null ? null : bus.peak * ratio;
  bus.recent = bus.recent.map((load) => (ratio === null ? NaN : load * ratio));
}
