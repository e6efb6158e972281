/// The screens of the handheld control unit, and what the one that is on shows.
import { signal, type ReadonlySignal } from "@preact/signals";
import type { Frame } from "../protocol/types";
import type { FeedLink } from "../worker/messages";
import type { MonitorState } from "./model";

const kPublish = 200; // ms
/// Milliseconds after a change within which values of before are still on their way.
const kOnTheWay = 500;

export class MonitorStore {
  readonly state: ReadonlySignal<MonitorState>;
  #state = signal<MonitorState>({ screens: null, running: false, chosen: null, signals: [] });
  #signals = new Map<string, MonitorState["signals"][number]>();
  #timer: ReturnType<typeof setTimeout> | null = null;
  #changedAt = -Infinity;
  #before: ReadonlySet<string> = new Set();

  constructor(
    private readonly link: FeedLink,
    private readonly clock: () => number,
  ) {
    this.state = this.#state;
  }

  take(frame: Frame, at: number): void {
    if (frame.response === "get_rcmonitor_names" && frame.monitors) {
      this.#state.value = { ...this.#state.peek(), screens: frame.monitors };
    } else if (frame.response === "signal_message") {
      if (this.clock() - this.#changedAt < kOnTheWay && this.#before.has(frame.name)) return;
      this.#signals.set(frame.name, { name: frame.name, value: frame.value, unit: frame.unit, arrivedAt: at });
      this.#timer ??= setTimeout(() => {
        this.#timer = null;
        this.#state.value = { ...this.#state.peek(), signals: [...this.#signals.values()] };
      }, kPublish);
    }
  }

  run(running: boolean): void {
    this.#change();
    this.#state.value = { ...this.#state.peek(), running };
    this.#tell();
  }

  choose(index: number): void {
    if (index !== this.#state.peek().chosen) this.#change();
    this.#state.value = { ...this.#state.peek(), chosen: index };
    this.#tell();
  }

  begin(): void {
    this.#clearSignals();
    this.#state.value = { ...this.#state.peek(), screens: null };
  }

  /// What is on the screen goes, and stays away although some of it is still on its way.
  #change(): void {
    this.#changedAt = this.clock();
    this.#before = new Set(this.#signals.keys());
    this.#clearSignals();
  }

  #clearSignals(): void {
    this.#signals.clear();
    this.#state.value = { ...this.#state.peek(), signals: [] };
  }

  #tell(): void {
    const { running, chosen } = this.#state.peek();
    this.link.post({ op: "monitor", wanted: running, screen: chosen });
  }
}
