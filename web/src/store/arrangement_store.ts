/// The panels on the screen, kept in the browser, and which signals their references mean in this network.
import { computed, effect, signal, type ReadonlySignal } from "@preact/signals";
import { arrangementText, firstArrangement, parseArrangement, referenceTo } from "./arrangements";
import {
  signalId,
  signalKey,
  type Arrangement,
  type OpenQuestion,
  type Panel,
  type PanelKind,
  type SignalId,
  type SignalReference,
} from "./model";
import type { NetworkStore } from "./network_store";
import type { SignalsStore } from "./signals_store";

const kKept = "live-view.arrangement";

export class ArrangementStore {
  readonly state: ReadonlySignal<Arrangement>;
  /// Whether the panels are decided, or first ones may still come by themselves.
  readonly settled: ReadonlySignal<boolean>;
  readonly question = signal<OpenQuestion | null>(null);
  #state = signal<Arrangement>({ name: "", panels: [] });
  #extra = signal<ReadonlySet<SignalId>>(new Set());
  #meant = signal<ReadonlyMap<string, string | null>>(new Map()); // MAC addresses that were asked for
  #own = signal(false); // whether a person or a kept set-up has decided

  constructor(
    private readonly network: NetworkStore,
    private readonly signals: SignalsStore,
    private readonly storage: Storage | null,
  ) {
    this.state = this.#state;
    this.settled = computed(() => this.#own.value || this.signals.catalogue.value.complete);
    this.#restore();
    effect(() => this.#makeFirst());
    effect(() => this.#wantSignals());
    effect(() => this.#lookForQuestion());
  }

  set(arrangement: Arrangement): void {
    this.#own.value = true;
    this.#state.value = arrangement;
    this.#keep();
  }

  addPanel(kind: PanelKind, ids: readonly SignalId[]): string {
    const id = `p${Date.now().toString(36)}${Math.floor(Math.random() * 1e6).toString(36)}`;
    this.#changePanels((panels) => [...panels, { id, kind, title: "", signals: this.#references(ids), options: {} }]);
    return id;
  }

  changePanel(id: string, change: Partial<Omit<Panel, "id">>): void {
    this.#changePanels((panels) => panels.map((panel) => (panel.id === id ? { ...panel, ...change } : panel)));
  }

  removePanel(id: string): void {
    this.#changePanels((panels) => panels.filter((panel) => panel.id !== id));
  }

  addToPanel(id: string, ids: readonly SignalId[]): void {
    const panel = this.#state.peek().panels.find((one) => one.id === id);
    if (!panel) return;
    const held = new Set(panel.signals.map((reference) => this.resolve(reference)));
    this.changePanel(id, { signals: [...panel.signals, ...this.#references(ids.filter((one) => !held.has(one)))] });
  }

  removeFromPanel(id: string, removed: SignalId): void {
    const panel = this.#state.peek().panels.find((one) => one.id === id);
    // A signal of which it is not known whose it is goes by what the set-up says of it.
    const meant = (reference: SignalReference) => this.resolve(reference) ?? signalId(reference);
    if (panel) this.changePanel(id, { signals: panel.signals.filter((reference) => meant(reference) !== removed) });
  }

  start(ids: readonly SignalId[]): void {
    this.#extra.value = new Set([...this.#extra.peek(), ...ids]);
  }

  stop(ids: readonly SignalId[]): void {
    const rest = new Set(this.#extra.peek());
    for (const id of ids) rest.delete(id);
    this.#extra.value = rest;
  }

  /// The signal that a reference means here; null while it is not known which logger is meant.
  resolve({ name, mac, logger }: SignalReference): SignalId | null {
    const meant = this.#meant.value.get(mac);
    if (meant !== undefined) return meant === null ? null : signalId({ name, mac: meant });
    const { loggers } = this.network.state.value;
    if (loggers.some((one) => one.mac === mac)) return signalId({ name, mac });
    const named = loggers.filter((one) => one.name === logger || one.label === logger);
    if (named.length === 1 && this.network.state.value.complete) return signalId({ name, mac: named[0]!.mac });
    return named.length > 1 ? null : signalId({ name, mac });
  }

  answer(mac: string | null): void {
    const question = this.question.peek();
    if (!question) return;
    this.#meant.value = new Map([...this.#meant.peek(), [question.mac, mac]]);
  }

  #restore(): void {
    const kept = this.storage?.getItem(kKept);
    if (!kept) return;
    try {
      this.#state.value = parseArrangement(kept);
      this.#own.value = true;
    } catch {
      this.storage?.removeItem(kKept);
    }
  }

  /// Something to see for whoever opens the page for the first time.
  #makeFirst(): void {
    const { entries } = this.signals.catalogue.value;
    const local = this.network.state.value.loggers.find((logger) => logger.local);
    if (this.#own.value || !local) return;
    const first = firstArrangement(entries, local.mac);
    if (first.panels.length === 0) return;
    this.#own.value = true;
    this.#state.value = first;
  }

  #wantSignals(): void {
    const panels = this.#state.value.panels.map(({ signals }) => signals.flatMap((reference) => this.resolve(reference) ?? []));
    for (const ids of panels) this.signals.colours.chooseTogether(ids);
    this.signals.want(new Set([...this.#extra.value, ...panels.flat()]));
  }

  #lookForQuestion(): void {
    const { loggers, complete } = this.network.state.value;
    this.question.value = null;
    if (!complete) return;
    for (const { mac, logger } of this.#state.value.panels.flatMap(({ signals }) => signals)) {
      if (this.#meant.value.has(mac) || loggers.some((one) => one.mac === mac)) continue;
      const candidates = loggers.filter((one) => one.name === logger);
      if (candidates.length < 2) continue;
      this.question.value = { mac, logger, candidates };
      return;
    }
  }

  #references(ids: readonly SignalId[]): SignalReference[] {
    const { byId } = this.signals.catalogue.peek();
    return ids.map((id) => {
      const entry = byId.get(id);
      const key = signalKey(id);
      return entry
        ? { ...referenceTo(entry), logger: this.network.byMac(key.mac)?.name ?? entry.logger }
        : { ...key, logger: this.network.labelOf(key.mac) };
    });
  }

  #changePanels(change: (panels: readonly Panel[]) => readonly Panel[]): void {
    const { name, panels } = this.#state.peek();
    this.set({ name, panels: change(panels) });
  }

  #keep(): void {
    try {
      this.storage?.setItem(kKept, arrangementText(this.#state.peek()));
    } catch {
      // a browser that keeps nothing shows the first arrangement next time
    }
  }
}
