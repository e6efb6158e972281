/// Arrangements that are kept on the logger under a name.
import { signal, type ReadonlySignal } from "@preact/signals";
import type { Frame } from "../protocol/types";
import { arrangementText, fileName, nameOfFile, parseArrangement } from "./arrangements";
import type { ArrangementStore } from "./arrangement_store";
import type { FeedRequests } from "./feed_requests";
import type { SetupsState } from "./model";

type State = Omit<SetupsState, "question">;

export class SetupsStore {
  readonly state: ReadonlySignal<State>;
  #state = signal<State>({ names: null, busy: false, error: "" });

  constructor(
    private readonly requests: FeedRequests,
    private readonly arrangement: ArrangementStore,
  ) {
    this.state = this.#state;
  }

  take(frame: Frame): void {
    if (frame.response !== "get_configs" || !frame.names) return;
    const names = frame.names.map(nameOfFile).filter((name) => name !== null);
    names.sort((a, b) => a.localeCompare(b, undefined, { numeric: true }));
    this.#state.value = { ...this.#state.peek(), names };
  }

  list(): void {
    void this.requests.person.getConfigs().catch(() => {});
  }

  save(name: string): Promise<boolean> {
    return this.#attempt(name, async (file) => {
      const saved = { name, panels: this.arrangement.state.peek().panels };
      const answer = await this.requests.person.saveConfig(file, arrangementText(saved));
      if (answer.status !== "OK") throw new Error(answer.errorMessage || answer.errorCode);
      this.arrangement.set(saved);
    });
  }

  load(name: string): Promise<boolean> {
    return this.#attempt(name, async (file) => {
      const answer = await this.requests.person.loadConfig(file);
      if (answer.status !== "OK") throw new Error(answer.errorMessage || answer.errorCode);
      this.arrangement.set({ ...parseArrangement(answer.config), name });
    });
  }

  delete(name: string): Promise<boolean> {
    return this.#attempt(name, async (file) => {
      const answer = await this.requests.person.deleteConfig(file);
      if (answer.status !== "OK") throw new Error(answer.errorMessage || answer.errorCode);
    });
  }

  begin(): void {
    this.#state.value = { ...this.#state.peek(), names: null };
  }

  async #attempt(name: string, attempt: (file: string) => Promise<void>): Promise<boolean> {
    const file = fileName(name);
    this.#state.value = { ...this.#state.peek(), busy: true, error: "" };
    let error = "";
    try {
      if (file === null) throw new Error("the name is empty or too long");
      await attempt(file);
    } catch (problem) {
      error = problem instanceof Error ? problem.message : String(problem);
    }
    this.#state.value = { ...this.#state.peek(), busy: false, error };
    this.list();
    return error === "";
  }
}
