/// Who is in the network, and who answers.
import { computed, signal, type ReadonlySignal } from "@preact/signals";
import type { Frame, LoggerInfo } from "../protocol/types";
import type { CatalogueColumns } from "../worker/messages";
import type { GoneLogger, LoggerState, NetworkState } from "./model";

interface Known {
  info: LoggerInfo | null;
  /// From the catalogue, for a logger that has not told about itself.
  name: string;
  channelOffset: number | null;
  status: string | null;
  clockOffset: number | null;
  answers: boolean | null;
  heardAt: number;
}

/// Milliseconds within which a logger has to have been heard when another one is found silent.
const kFresh = 5_000;

/// Milliseconds for which a logger that has left is told of, as long as its curves are kept.
const kRemembered = 600_000;

export class NetworkStore {
  readonly state: ReadonlySignal<NetworkState>;
  #state = signal<NetworkState>({ name: "", loggers: [], gone: [], complete: false });
  /// Labels of the loggers that did not answer when they were asked last.
  readonly silent = computed(() => this.#state.value.loggers.filter(({ answers }) => answers === false).map(({ label }) => label));
  #known = new Map<string, Known>();
  #neighbours: readonly string[] | null = null;
  #name = "";
  #complete = false;
  // Of earlier connections too, by MAC address: curves that are on the screen stay where they are.
  #names = new Map<string, string>();
  #clockOffsets = new Map<string, number>();
  #before = new Map<string, GoneLogger>();

  constructor(
    /// A logger's clock has another offset.
    private readonly offsetChanged: (mac: string, offset: number) => void,
  ) {
    this.state = this.#state;
  }

  get localMac(): string | null {
    return this.#state.value.loggers.find(({ local }) => local)?.mac ?? null;
  }

  offsetOf(mac: string): number {
    return this.#clockOffsets.get(mac) ?? 0;
  }

  byMac(mac: string): LoggerState | null {
    return this.#state.value.loggers.find((logger) => logger.mac === mac) ?? null;
  }

  labelOf(mac: string): string {
    return this.byMac(mac)?.label ?? mac;
  }

  /// The logger that a load's name and channel offset tell; null where several could be meant.
  byName(name: string, channelOffset: number): LoggerState | null {
    const loggers = this.#state.value.loggers;
    if (name === "") return channelOffset === 0 ? (loggers.find(({ local }) => local) ?? null) : null;
    const named = loggers.filter((logger) => logger.name === name);
    if (named.length === 1) return named[0]!;
    const placed = named.filter(({ mac }) => this.#known.get(mac)?.channelOffset === channelOffset);
    return placed.length === 1 ? placed[0]! : null;
  }

  /// Labels of those that have not told about themselves.
  missing(): string[] {
    const expected = new Set([...(this.#neighbours ?? []), ...this.#known.keys()]);
    return [...expected].filter((mac) => !this.#known.get(mac)?.info).map((mac) => this.#names.get(mac) ?? mac);
  }

  take(frame: Frame, at: number): void {
    switch (frame.response) {
      case "get_ksl_network":
        if (frame.neighbours) this.#neighbours = frame.neighbours;
        break;
      case "get_logger_info":
        this.#name = frame.networkName;
        for (const info of frame.configs) this.#takeInfo(info, at);
        break;
      case "get_logger_status":
        for (const { mac, status } of frame.states ?? []) Object.assign(this.#of(mac, at), { status, answers: true, heardAt: at });
        break;
      case "get_ksl_time_offset":
        for (const { mac, offset } of frame.offsets ?? []) this.#takeOffset(mac, offset, at);
        break;
      default:
        return;
    }
    this.#publish();
  }

  takeCatalogue(columns: CatalogueColumns, at: number): void {
    for (const { mac, name, offset } of columns.loggers) {
      const known = this.#of(mac, at);
      known.name = name;
      known.channelOffset = offset;
      if (name !== "") this.#names.set(mac, name);
    }
    this.#publish();
  }

  /// Values of that logger have come. Told to views with the next change.
  heard(mac: string, at: number): void {
    const known = this.#known.get(mac);
    if (!known) return;
    known.heardAt = at;
    if (known.answers === true) return;
    known.answers = true;
    this.#publish();
  }

  /// Somebody did not answer in time: those that nothing else has been heard of.
  someoneSilent(now: number): void {
    for (const known of this.#known.values()) known.answers = now - known.heardAt < kFresh;
    this.#publish();
  }

  setComplete(): void {
    this.#complete = true;
    this.#publish();
  }

  /// The connection has gone. What was known stays to be seen until the next one tells better.
  reset(): void {
    this.#complete = false;
    this.#publish();
  }

  /// A new connection: loggers that are not there any more are shown as gone, those of the last ten minutes.
  begin(): void {
    for (const [mac, { info, heardAt }] of this.#known)
      if (info !== null) this.#before.set(mac, { mac, label: this.labelOf(mac), heardAt });
    const newest = Math.max(...[...this.#before.values()].map(({ heardAt }) => heardAt));
    for (const [mac, { heardAt }] of this.#before) if (newest - heardAt > kRemembered) this.#before.delete(mac);
    this.#known.clear();
    this.#neighbours = null;
  }

  /// Another session is shown from now on.
  forgetAll(): void {
    this.#clockOffsets.clear();
    this.#before.clear();
  }

  #takeInfo(info: LoggerInfo, at: number): void {
    const known = this.#of(info.mac, at);
    known.info = info;
    known.answers = true;
    known.heardAt = at;
    if (info.name !== "") this.#names.set(info.mac, info.name);
  }

  #takeOffset(mac: string, offset: number, at: number): void {
    const known = this.#of(mac, at);
    known.answers = true;
    known.heardAt = at;
    known.clockOffset = offset;
    if (this.offsetOf(mac) === offset) return;
    this.#clockOffsets.set(mac, offset);
    this.offsetChanged(mac, offset);
  }

  #of(mac: string, at: number): Known {
    const known = this.#known.get(mac) ?? {
      info: null,
      name: "",
      channelOffset: null,
      status: null,
      clockOffset: null,
      answers: null,
      heardAt: at,
    };
    this.#known.set(mac, known);
    return known;
  }

  #publish(): void {
    const macs = new Set([...this.#known.keys(), ...(this.#neighbours ?? [])]);
    const names = [...macs].map((mac) => this.#nameOf(mac));
    const loggers = [...macs].map((mac) => this.#loggerState(mac, names));
    loggers.sort((a, b) => Number(b.local) - Number(a.local) || a.label.localeCompare(b.label, undefined, { numeric: true }));
    const gone = this.#complete ? [...this.#before.values()].filter(({ mac }) => !macs.has(mac)) : [];
    this.#state.value = { name: this.#name, loggers, gone, complete: this.#complete };
  }

  #nameOf(mac: string): string {
    const known = this.#known.get(mac);
    return known?.info?.name || known?.name || this.#names.get(mac) || "";
  }

  #loggerState(mac: string, names: readonly string[]): LoggerState {
    const known = this.#known.get(mac);
    const name = this.#nameOf(mac);
    const shared = names.filter((other) => other === name).length > 1;
    return {
      mac,
      name,
      label: name === "" ? mac : shared ? `${name} (${mac})` : name,
      type: known?.info?.type ?? "",
      configName: known?.info?.configName ?? "",
      softwareVersion: known?.info?.softwareVersion ?? "",
      timeZone: known?.info?.timeZone ?? "",
      status: known?.status ?? null,
      local: known?.info !== undefined && this.#neighbours !== null && !this.#neighbours.includes(mac),
      clockOffset: known?.clockOffset ?? null,
      answers: known?.answers ?? null,
      heardAt: known?.heardAt ?? 0,
    };
  }
}
