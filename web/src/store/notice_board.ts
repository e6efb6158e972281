/// What is told once, in a corner: the newest few.
import { signal } from "@preact/signals";
import type { Notice } from "./model";

const kMost = 5;

export class NoticeBoard {
  readonly state = signal<readonly Notice[]>([]);
  #count = 0;

  constructor(private readonly monotonic: () => number) {}

  add(kind: Notice["kind"], text: Notice["text"], detail = ""): void {
    const notice = { id: ++this.#count, kind, text, detail, at: this.monotonic() };
    this.state.value = [...this.state.peek(), notice].slice(-kMost);
  }

  dismiss(id: number): void {
    this.state.value = this.state.peek().filter((one) => one.id !== id);
  }
}
