/// Which signals are wanted, how far that has come, and what is known of each.
import { computed, signal, type ReadonlySignal } from "@preact/signals";
import type { Key } from "../protocol/types";
import type { SignalState, WantedState } from "../protocol/wanted_signals";
import type { CatalogueColumns, FeedLink, ValueBatch } from "../worker/messages";
import { busName } from "./bus_names";
import { History } from "./history";
import { signalId, signalKey, type CatalogueEntry, type CatalogueState, type RunState, type SignalId } from "./model";
import type { NetworkStore } from "./network_store";
import type { NetworkTime } from "./network_time";
import { SignalColours } from "./signal_colours";

const kForget = 600_000; // ms after which the history of a signal that nobody wants any more goes

export class SignalsStore {
  readonly catalogue: ReadonlySignal<CatalogueState>;
  readonly runs: ReadonlySignal<ReadonlyMap<SignalId, RunState>>;
  readonly refusals: ReadonlySignal<ReadonlyMap<SignalId, string>>;
  /// Whether a recorded session is played: what it holds runs, and nothing can be started.
  readonly playing = signal(false);
  readonly colours = new SignalColours();
  #catalogue = signal<CatalogueState>({ entries: [], byId: new Map(), complete: false, missing: [] });
  #states = signal<ReadonlyMap<SignalId, SignalState>>(new Map());
  #refusals = signal<ReadonlyMap<SignalId, string>>(new Map());
  #wanted = signal<ReadonlySet<SignalId>>(new Set());
  #visible = new Map<string, readonly SignalId[]>();
  #histories = new Map<SignalId, History>();
  #byNumber: History[] = [];
  #told = "";
  #connected = false;

  constructor(
    private readonly link: FeedLink,
    private readonly network: NetworkStore,
    private readonly time: NetworkTime,
  ) {
    this.catalogue = this.#catalogue;
    this.refusals = this.#refusals;
    this.runs = computed(() => {
      const runs = new Map<SignalId, RunState>();
      const offered = this.playing.value ? this.#catalogue.value.byId : null;
      for (const id of this.#wanted.value)
        runs.set(id, offered ? (offered.has(id) ? "running" : "absent") : (this.#states.value.get(id) ?? "starting"));
      return runs;
    });
  }

  history(id: SignalId): History | null {
    return this.#histories.get(id) ?? null;
  }

  stale(id: SignalId, now: number): boolean {
    const history = this.#histories.get(id);
    if (!history || history.arrivedAt === -Infinity) return false;
    if (!this.#connected) return true;
    return !history.discrete && (now - history.arrivedAt) / 1000 > history.patience;
  }

  /// Replaces what is wanted.
  want(ids: ReadonlySet<SignalId>): void {
    const before = this.#wanted.peek();
    if (before.size === ids.size && [...ids].every((id) => before.has(id))) return;
    for (const id of ids) {
      if (!this.#histories.has(id)) this.#histories.set(id, new History(id, this.network.offsetOf(signalKey(id).mac)));
      else if (!before.has(id)) this.#histories.get(id)!.restart();
    }
    for (const id of before) if (!ids.has(id)) this.#histories.get(id)?.breakOff("stopped");
    this.#wanted.value = ids;
    this.#tell();
  }

  setVisible(owner: string, ids: readonly SignalId[]): void {
    if (ids.length === 0) this.#visible.delete(owner);
    else this.#visible.set(owner, ids);
    this.#tell();
  }

  takeStates(states: readonly WantedState[]): void {
    this.#states.value = new Map(states.map(([[name, mac], state]) => [signalId({ name, mac }), state]));
    const refused = states.filter(([, state]) => state === "refused");
    if (refused.length === 0 && this.#refusals.peek().size === 0) return;
    this.#refusals.value = new Map(refused.map(([[name, mac], , why]) => [signalId({ name, mac }), why]));
  }

  takeCatalogue(columns: CatalogueColumns): void {
    const labels = columns.loggers.map(({ mac }) => this.network.labelOf(mac));
    const buses = columns.buses.map(({ busId, channel }) => busName(busId, channel));
    const byId = new Map<SignalId, CatalogueEntry>();
    const entries = columns.names.map((name, index) => {
      const at = columns.logger[index]!;
      const key = { name, mac: columns.loggers[at]!.mac };
      const logger = labels[at]!;
      const bus = buses[columns.bus[index]!]!;
      const unit = columns.units[columns.unit[index]!]!;
      const entry: CatalogueEntry = { id: signalId(key), key, logger, bus, unit, search: `${name} ${logger} ${bus} ${unit}`.toLowerCase() };
      byId.set(entry.id, entry);
      return entry;
    });
    const heard = new Set(columns.loggers.map(({ mac }) => mac));
    const missing = this.network.state.value.loggers.filter(({ mac }) => !heard.has(mac)).map(({ label }) => label);
    this.#catalogue.value = { entries, byId, complete: columns.complete, missing: columns.complete ? [] : missing };
  }

  takeValues(batch: ValueBatch): void {
    for (const [number, [name, mac]] of batch.added) this.#byNumber[number] = this.#historyFor(signalId({ name, mac }));
    const { signal: numbers, stamp, number, at, texts } = batch;
    let text = 0;
    for (let index = 0; index < numbers.length; index++) {
      const own = texts[text]?.[0] === index ? texts[text++]! : null;
      const history = this.#byNumber[numbers[index]!]!;
      history.append({ stamp: stamp[index]!, number: number[index]!, text: own?.[1] ?? "", description: own?.[2] ?? "", at: at[index]! });
    }
    this.#noteTimes(batch);
  }

  /// A logger's clock is off by another amount: its values lie elsewhere.
  offsetChanged(mac: string, offset: number): void {
    for (const [id, history] of this.#histories) if (signalKey(id).mac === mac) history.setOffset(offset);
    this.time.forget(mac);
  }

  connected(): void {
    this.#connected = true;
  }

  /// The connection has gone.
  reset(): void {
    this.#connected = false;
    for (const history of this.#histories.values()) history.breakOff("connection");
    this.#catalogue.value = { ...this.#catalogue.value, complete: false };
  }

  /// Everything is forgotten: another session is shown from now on.
  clear(): void {
    for (const history of [...this.#histories.values()]) this.#replace(history);
    this.#catalogue.value = { entries: [], byId: new Map(), complete: false, missing: [] };
    this.#states.value = new Map();
    this.#refusals.value = new Map();
  }

  forgetOld(now: number): void {
    for (const [id, history] of [...this.#histories]) {
      if (this.#wanted.peek().has(id) || history.count === 0 || now - history.arrivedAt < kForget) continue;
      this.#replace(history);
    }
  }

  /// An empty history in the place of this one.
  #replace(history: History): void {
    const { id } = history;
    const empty = new History(id, this.network.offsetOf(signalKey(id).mac));
    this.#histories.set(id, empty);
    const number = this.#byNumber.indexOf(history);
    if (number >= 0) this.#byNumber[number] = empty;
  }

  #historyFor(id: SignalId): History {
    const known = this.#histories.get(id);
    if (known) return known;
    const history = new History(id, this.network.offsetOf(signalKey(id).mac));
    this.#histories.set(id, history);
    return history;
  }

  /// The newest value of each logger in the batch tells its time.
  #noteTimes({ signal: numbers }: ValueBatch): void {
    const seen = new Set<string>();
    for (let index = numbers.length - 1; index >= 0; index--) {
      const { id, latest } = this.#byNumber[numbers[index]!]!;
      const end = id.indexOf("\n");
      const mac = id.slice(0, end);
      if (seen.has(mac) || !latest) continue;
      seen.add(mac);
      this.time.heard(mac, latest.x, latest.arrivedAt);
      this.network.heard(mac, latest.arrivedAt);
    }
  }

  /// Tells the feed what is wanted, when that is something else.
  #tell(): void {
    const visible = new Set([...this.#visible.values()].flat());
    const signals = [...this.#wanted.peek()].map((id) => ({ key: keyOf(id), visible: visible.has(id) }));
    const told = JSON.stringify(signals);
    if (told === this.#told) return;
    this.#told = told;
    this.link.post({ op: "want", signals });
  }
}

function keyOf(id: SignalId): Key {
  const { name, mac } = signalKey(id);
  return [name, mac];
}
