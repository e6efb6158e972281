/// Names of markers for the keys 1 to 9, kept in the browser.
import { signal, type ReadonlySignal } from "@preact/signals";

const kKept = "live-view.markers";
const kCount = 9;

export class Presets {
  readonly state: ReadonlySignal<readonly string[]>;
  #state = signal<readonly string[]>([]);

  constructor(private readonly storage: Storage | null) {
    this.state = this.#state;
    this.#state.value = read(storage?.getItem(kKept) ?? null);
  }

  set(index: number, name: string): void {
    this.#state.value = this.#state.peek().map((old, at) => (at === index ? name : old));
    try {
      this.storage?.setItem(kKept, JSON.stringify(this.#state.peek()));
    } catch {
      // a browser that keeps nothing knows them until the page goes
    }
  }
}

function read(kept: string | null): string[] {
  let names: unknown = [];
  try {
    names = JSON.parse(kept ?? "[]");
  } catch {
    // none then
  }
  const list = Array.isArray(names) ? names : [];
  return Array.from({ length: kCount }, (_, index) => (typeof list[index] === "string" ? list[index] : ""));
}
