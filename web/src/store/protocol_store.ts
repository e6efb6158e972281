/// The frames that go by, a recording of them, and the playing of one.
import { signal, type ReadonlySignal } from "@preact/signals";
import type { FeedLink, FromFeed, LogRecord } from "../worker/messages";
import type { FrameRecord, ProtocolState } from "./model";

const kMostFrames = 1_000;

export class ProtocolStore {
  readonly state: ReadonlySignal<ProtocolState>;
  #state = signal<ProtocolState>({ frames: [], keepValues: false, recording: null, playback: null, queued: 0 });
  #number = 0;
  #recorded: ((file: Blob) => void) | null = null;
  #playedAt = 0;

  constructor(
    private readonly link: FeedLink,
    private readonly clock: () => number,
  ) {
    this.state = this.#state;
  }

  takeLog(records: readonly LogRecord[], queued: number): void {
    const added = records.map((record): FrameRecord => ({ number: ++this.#number, ...record }));
    this.#state.value = { ...this.#state.peek(), frames: [...this.#state.peek().frames, ...added].slice(-kMostFrames), queued };
  }

  takeRecording({ frames, bytes, sinceAt }: Extract<FromFeed, { op: "recording" }>): void {
    this.#state.value = { ...this.#state.peek(), recording: { frames, bytes, sinceAt } };
  }

  takeRecorded(file: Blob): void {
    this.#state.value = { ...this.#state.peek(), recording: null };
    this.#recorded?.(file);
    this.#recorded = null;
  }

  takePlaying(message: Extract<FromFeed, { op: "playing" }>, file: string): void {
    this.#playedAt = this.clock();
    const { position, length, paused, speed } = message;
    this.#state.value = { ...this.#state.peek(), playback: { file, position: position / 1000, length: length / 1000, paused, speed } };
  }

  /// Milliseconds of the played session now; null when none is played.
  playedMs(): number | null {
    const playback = this.#state.peek().playback;
    if (!playback) return null;
    const since = playback.paused ? 0 : (this.clock() - this.#playedAt) * playback.speed;
    return Math.min(playback.length * 1000, playback.position * 1000 + since);
  }

  endPlayback(): void {
    this.#state.value = { ...this.#state.peek(), playback: null };
  }

  keepValues(keep: boolean): void {
    this.#state.value = { ...this.#state.peek(), keepValues: keep };
    this.link.post({ op: "keep-values", keep });
  }

  clear(): void {
    this.#state.value = { ...this.#state.peek(), frames: [] };
  }

  record(): void {
    this.link.post({ op: "record", on: true });
  }

  /// null when nothing is being recorded.
  stopRecording(): Promise<Blob | null> {
    if (!this.#state.peek().recording) return Promise.resolve(null);
    return new Promise((resolve) => {
      this.#recorded = resolve;
      this.link.post({ op: "record", on: false });
    });
  }
}
