/// Playing a recorded session: which one, and whether it can be played.
import type { FeedLink, FromFeed } from "../worker/messages";

export class Playback {
  #file = "";
  #plays = false; // what the worker says of a session that was stopped may still be on its way
  #playable: ((ok: boolean) => void) | null = null;

  /// `began` is called with the file's name when it turns out that it can be played.
  constructor(
    private readonly link: FeedLink,
    private readonly began: (file: string) => void,
  ) {}

  get file(): string {
    return this.#file;
  }

  /// Whether the session can be played.
  play(file: Blob, name: string): Promise<boolean> {
    this.#file = name;
    this.#plays = true;
    this.#playable?.(false);
    this.link.post({ op: "play", file });
    return new Promise((resolve) => {
      this.#playable = resolve;
    });
  }

  change(change: Extract<Parameters<FeedLink["post"]>[0], { op: "player" }>["change"]): void {
    this.link.post({ op: "player", change });
  }

  stop(): void {
    this.#plays = false;
  }

  /// `use` is given what the worker says, unless it is of a session that was stopped.
  take(message: Extract<FromFeed, { op: "playing" }>, use: (message: Extract<FromFeed, { op: "playing" }>) => void): void {
    if (!this.#plays) return;
    use(message);
    if (!this.#playable) return;
    this.began(this.#file);
    this.#playable(true);
    this.#playable = null;
  }

  unplayable(): void {
    this.#playable?.(false);
    this.#playable = null;
  }
}
