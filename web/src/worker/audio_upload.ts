/// Brings an audio file to the logger over a connection of its own: a frame that is being sent cannot be taken back, and
/// pings, markers and values must not wait behind it.
import { LiveViewClient } from "../protocol/client";
import type { Environment } from "../protocol/environment";
import type { Upload } from "./messages";

export interface UploadEvents {
  progress(sent: number, size: number): void;
  /// `failure` is null when the logger has taken the file.
  ended(failure: string | null): void;
}

const kProgress = 100; // ms between two looks
const kReady = 60_000; // ms until the connection has to be of use
const kAnswer = 60_000; // ms without progress, or until the logger has to have taken the file

export class AudioUpload {
  #client: LiveViewClient;
  #ended = false;
  #sent = false;
  #left = 0;
  #cancelTimer: () => void;

  constructor(
    url: string,
    private readonly environment: Environment,
    private readonly upload: Upload,
    private readonly events: UploadEvents,
  ) {
    this.#client = new LiveViewClient(
      url,
      environment,
      {
        state: (state) => {
          if (state.type === "ready") void this.#announce();
          else if (state.type === "lost" && this.#sent) this.#end("lost");
        },
        frame: (frame) => {
          if (this.#sent && frame.response === "upload_audio_file")
            this.#end(frame.status === "OK" ? null : frame.errorMessage || frame.busError || frame.errorCode);
        },
        text: () => {},
        bad: () => {},
        signals: () => {},
      },
      { catalogue: false },
    );
    this.#cancelTimer = environment.after(kReady, () => this.#end("late"));
    this.#client.connect();
  }

  /// The connection's end takes back what has been announced.
  cancel(): void {
    this.#end("cancelled");
  }

  async #announce(): Promise<void> {
    if (this.#sent) return;
    const { name, extension, marker, from, to, file } = this.upload;
    const answer = await this.#client.commands.uploadAudioFile(name, extension, marker, from, to).catch(() => null);
    if (this.#ended) return;
    if (answer?.status !== "WAITING_FOR_DATA") return this.#end(answer?.errorMessage || answer?.errorCode || "late");
    this.#sent = true;
    this.#client.sendBinary(file);
    this.#left = this.environment.now();
    this.#look(Infinity);
  }

  #look(before: number): void {
    if (this.#ended) return;
    const waiting = this.#client.buffered;
    if (waiting < before) this.#left = this.environment.now();
    this.events.progress(Math.max(0, this.upload.file.size - waiting), this.upload.file.size);
    if (this.environment.now() - this.#left > kAnswer) return this.#end("late");
    this.#cancelTimer();
    this.#cancelTimer = this.environment.after(kProgress, () => this.#look(waiting));
  }

  #end(failure: string | null): void {
    if (this.#ended) return;
    this.#ended = true;
    this.#cancelTimer();
    this.#client.close();
    this.events.ended(failure);
  }
}
