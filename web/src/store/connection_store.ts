/// The truth about the connection: what the client, the loggers and the message bus say, as one state.
import { computed, signal, type ReadonlySignal } from "@preact/signals";
import type { ClientState } from "../protocol/client_state";
import type { Frame } from "../protocol/types";
import type { BusesStore } from "./buses_store";
import type { ConnectionState } from "./model";
import type { NetworkStore } from "./network_store";

/// Milliseconds without a word that the bus is away, after which it is back: the word comes about every 5 s.
const kBusBack = 8_000;

export class ConnectionStore {
  readonly state: ReadonlySignal<ConnectionState>;
  #client = signal<ClientState>({ type: "connecting", attempt: 1 });
  #since = signal(0);
  #busAway = signal<{ text: string; sinceAt: number } | null>(null);
  #played = signal<string | null>(null);
  #busTimer: ReturnType<typeof setTimeout> | undefined;

  constructor(
    private readonly network: NetworkStore,
    private readonly buses: BusesStore,
  ) {
    this.state = computed(() => this.#truth());
  }

  get clientState(): ClientState["type"] {
    return this.#client.peek().type;
  }

  takeState(state: ClientState, at: number): void {
    this.#played.value = null;
    this.#since.value = at;
    this.#client.value = state;
    if (state.type !== "ready" && state.type !== "waiting") this.#setBusAway(null);
  }

  takeFrame(frame: Frame, at: number): void {
    if (frame.response !== "krpbus" || frame.errorCode !== "krpbus_error") return;
    this.#setBusAway({ text: frame.errorMessage, sinceAt: this.#busAway.peek()?.sinceAt ?? at });
  }

  play(file: string): void {
    this.#played.value = file;
  }

  #setBusAway(away: { text: string; sinceAt: number } | null): void {
    clearTimeout(this.#busTimer);
    this.#busAway.value = away;
    if (!away) return;
    this.#busTimer = setTimeout(() => {
      this.#busAway.value = null;
    }, kBusBack);
  }

  #truth(): ConnectionState {
    const file = this.#played.value;
    if (file !== null) return { type: "playback", file };
    const client = this.#client.value;
    const away = this.#busAway.value;
    switch (client.type) {
      case "connecting":
        return client;
      case "lost":
        return client.reason === "no-bus" ? { type: "no-bus", text: client.detail, sinceAt: this.#since.value } : client;
      case "closed":
        return { type: "connecting", attempt: 1 };
      case "waiting": {
        if (away) return { type: "no-bus", ...away };
        this.network.state.value; // who is missing changes with it
        return { type: "waiting", missing: this.network.missing(), sinceAt: this.#since.value };
      }
      case "ready": {
        const offSince = this.buses.offSince.value;
        if (away) return { type: "no-bus", ...away };
        if (offSince !== null) return { type: "off", sinceAt: offSince };
        const { loggers } = this.network.state.value;
        const silent = loggers.length > 0 && loggers.every(({ answers }) => answers === false);
        return silent ? { type: "silent", sinceAt: Math.max(...loggers.map(({ heardAt }) => heardAt)) } : { type: "live" };
      }
    }
  }
}
