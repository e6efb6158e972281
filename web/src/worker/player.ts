/// Plays a recorded session: hands out its frames at the speed at which they came, or another one.
import type { Environment } from "../protocol/environment";
import type { RecordedFrame } from "./recording";

const kTick = 40; // ms

export interface PlayerEvents {
  /// `at` is the frame's time in the recording.
  frame(text: string, at: number): void;
  /// `cut`: it goes on elsewhere, and what was played before does not count.
  moved(player: Player, cut: boolean): void;
}

export class Player {
  position = 0; // ms in the recording
  paused = false;
  speed = 1;
  readonly length: number;
  #next = 0;
  #playedAt: number;
  #cancel = () => {};

  constructor(
    private readonly environment: Environment,
    private readonly frames: readonly RecordedFrame[],
    private readonly events: PlayerEvents,
  ) {
    this.length = frames.at(-1)?.ms ?? 0;
    this.#playedAt = environment.now();
    this.#tick();
  }

  stop(): void {
    this.#cancel();
  }

  setPaused(paused: boolean): void {
    if (!paused && this.position >= this.length) this.seek(0);
    this.paused = paused;
    this.#playedAt = this.environment.now();
    this.events.moved(this, false);
  }

  setSpeed(speed: number): void {
    this.speed = Math.min(100, Math.max(0.1, speed));
    this.events.moved(this, false);
  }

  seek(position: number): void {
    const target = Math.min(this.length, Math.max(0, position));
    if (target < this.position) {
      // What is known at a moment is what all frames before it have told.
      this.#next = 0;
      this.events.moved(this, true);
    }
    this.position = target;
    this.#playedAt = this.environment.now();
    this.#emit();
    this.events.moved(this, false);
  }

  #tick(): void {
    const now = this.environment.now();
    if (!this.paused) {
      this.position = Math.min(this.length, this.position + (now - this.#playedAt) * this.speed);
      this.#emit();
      if (this.position >= this.length) this.paused = true;
      this.events.moved(this, false);
    }
    this.#playedAt = now;
    this.#cancel = this.environment.after(kTick, () => this.#tick());
  }

  #emit(): void {
    for (; this.#next < this.frames.length; this.#next++) {
      const frame = this.frames[this.#next]!;
      if (frame.ms > this.position) return;
      if (frame.direction === "received") this.events.frame(frame.text, frame.ms);
    }
  }
}
