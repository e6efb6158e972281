/// The audio files of the logger, and the one that is being brought there.
import { signal, type ReadonlySignal } from "@preact/signals";
import type { Commands } from "../protocol/commands";
import type { Frame } from "../protocol/types";
import type { FeedLink } from "../worker/messages";
import type { AudioState } from "./model";

export class AudioStore {
  readonly state: ReadonlySignal<AudioState>;
  #state = signal<AudioState>({ files: null, upload: { type: "idle" } });
  #name = "";

  constructor(private readonly link: FeedLink) {
    this.state = this.#state;
  }

  take(frame: Frame): void {
    if (frame.response !== "get_audio_list" || !frame.files) return;
    const files = frame.files.map(({ name, markerId, startTime, endTime }) => ({ name, marker: markerId, from: startTime, to: endTime }));
    this.#state.value = { ...this.#state.peek(), files };
  }

  upload(file: Blob, name: string, marker: string, from: number, to: number): void {
    const dot = name.lastIndexOf(".");
    const [stem, extension] = dot > 0 ? [name.slice(0, dot), name.slice(dot + 1)] : [name, ""];
    this.#name = name;
    this.progress(0, file.size);
    this.link.post({ op: "upload", upload: { file, name: stem, extension, marker, from: seconds(from), to: seconds(to) } });
  }

  /// `failed` is told what the logger said, "" when it said nothing.
  assign(commands: Commands, name: string, marker: string, from: number, to: number, failed: (detail: string) => void): void {
    void commands.setAudioFile(name, marker, from, to).then(
      ({ status, busError, errorMessage, errorCode }) => {
        if (status !== "OK") failed(busError || errorMessage || errorCode);
      },
      () => failed(""),
    );
  }

  progress(sent: number, size: number): void {
    this.#state.value = { ...this.#state.peek(), upload: { type: "uploading", name: this.#name, sent, size } };
  }

  /// `failure` is null when the logger has it.
  ended(failure: string | null): void {
    const upload =
      failure === null ? ({ type: "done", name: this.#name } as const) : ({ type: "failed", name: this.#name, reason: failure } as const);
    this.#state.value = { ...this.#state.peek(), upload: failure === "cancelled" ? { type: "idle" } : upload };
  }

  begin(): void {
    this.#state.value = { ...this.#state.peek(), files: null };
  }
}

/// What the protocol takes: whole seconds of 32 bits.
export function seconds(value: number): number {
  return Math.min(0xffff_ffff, Math.max(0, Math.floor(value) || 0));
}
