/// All that happens off the page: the connection, parsing, batches of values, the record of frames, recorded sessions.
/// Runs in the worker, and in tests without one.
import { LiveViewClient, NoAnswer } from "../protocol/client";
import type { Environment } from "../protocol/environment";
import { parseFrame, BadFrame } from "../protocol/parse";
import type { Frame } from "../protocol/types";
import { AudioUpload } from "./audio_upload";
import { columnsOf } from "./catalogue_columns";
import { FrameLog } from "./frame_log";
import type { FromFeed, PlayerChange, ToFeed, Upload } from "./messages";
import { Player } from "./player";
import { Recorder, readRecording } from "./recording";
import { ValueBatcher } from "./value_batcher";

const kBatch = 40; // ms that values wait at most
const kRecordingPause = 500; // ms between two words on how long the recording is
/// The logger names files by the second: two within one would be one.
const kUploadPause = 1_100; // ms

export class Feed {
  #url = "";
  #client: LiveViewClient | null = null;
  #batcher = new ValueBatcher();
  #batchTimer: (() => void) | null = null;
  #log: FrameLog;
  #recorder: Recorder | null = null;
  #recordingToldAt = 0;
  #player: Player | null = null;
  #upload: AudioUpload | null = null;
  #uploadedAt = -Infinity;
  #cancelUploadStart = () => {};

  constructor(
    /// Its clock tells the page's milliseconds.
    private readonly environment: Environment,
    private readonly post: (message: FromFeed, transfer?: ArrayBuffer[]) => void,
  ) {
    this.#log = new FrameLog(environment, (records) => this.post({ op: "log", records, queued: this.#client?.queued ?? 0 }));
  }

  take(message: ToFeed): void {
    const client = this.#client;
    switch (message.op) {
      case "connect":
        this.#url = message.url;
        this.#client = this.#makeClient();
        this.#client.connect();
        break;
      case "reconnect":
        if (!this.#player) client?.connect();
        break;
      case "want":
        client?.want(message.signals);
        break;
      case "loads":
        client?.wantLoads(message.wanted);
        break;
      case "monitor":
        client?.wantMonitor(message.wanted, message.screen);
        break;
      case "ask":
        this.#ask(message);
        break;
      case "raw":
        client?.sendRaw(message.text);
        break;
      case "upload":
        this.#startUpload(message.upload);
        break;
      case "cancel-upload":
        this.#cancelUploadStart();
        this.#upload?.cancel();
        break;
      case "keep-values":
        this.#log.keepValues = message.keep;
        break;
      case "record":
        this.#record(message.on);
        break;
      case "play":
        void this.#play(message.file);
        break;
      case "player":
        this.#changePlayer(message.change);
        break;
      case "stop-playing":
        if (!this.#player) break;
        this.#player.stop();
        this.#player = null;
        client?.connect();
        break;
    }
  }

  #makeClient(): LiveViewClient {
    return new LiveViewClient(this.#url, this.environment, {
      state: (state) => {
        this.#flush();
        this.post({ op: "state", state });
      },
      frame: (frame, at) => this.#frame(frame, at),
      text: (direction, text, response) => this.#text(direction, text, response),
      bad: () => {}, // it is in the log of frames
      signals: (states) => this.post({ op: "signals", states }),
    });
  }

  #frame(frame: Frame, at: number): void {
    if (frame.response === "generic_sig_value") {
      this.#batcher.add(frame, at);
      this.#batchTimer ??= this.environment.after(kBatch, () => this.#flush());
      return;
    }
    // What came before it has to be there before it.
    this.#flush();
    if (frame.response === "get_signal_names" && frame.streams) {
      const { message, transfer } = columnsOf(frame);
      this.post(message, transfer);
      return;
    }
    this.post({ op: "frame", frame, at });
  }

  #flush(): void {
    this.#batchTimer?.();
    this.#batchTimer = null;
    const batch = this.#batcher.take();
    if (batch) this.post(batch.message, batch.transfer);
  }

  #text(direction: "sent" | "received", text: string, response?: string): void {
    const recorder = this.#recorder;
    if (!recorder && response !== undefined && this.#log.skips(response)) return;
    const at = this.environment.now();
    this.#log.add(direction, text, at, response);
    if (!recorder) return;
    recorder.add(direction, text, at);
    if (at - this.#recordingToldAt > kRecordingPause) this.#tellRecording(recorder, at);
  }

  #ask({ id, request, priority }: Extract<ToFeed, { op: "ask" }>): void {
    const client = this.#client;
    if (!client || this.#player) {
      this.post({ op: "no-answer", id, reason: "lost" });
      return;
    }
    (client.ask(request, priority) as Promise<Frame | null>).then(
      (frame) => this.post({ op: "answer", id, frame }),
      (error: unknown) => this.post({ op: "no-answer", id, reason: error instanceof NoAnswer ? error.reason : "lost" }),
    );
  }

  #startUpload(upload: Upload): void {
    this.#cancelUploadStart();
    this.#upload?.cancel();
    const pause = Math.max(0, this.#uploadedAt + kUploadPause - this.environment.now());
    const cancelTimer = this.environment.after(pause, () => {
      this.#cancelUploadStart = () => {};
      this.#uploadedAt = this.environment.now();
      this.#upload = new AudioUpload(this.#url, this.environment, upload, {
        progress: (sent, size) => this.post({ op: "upload", sent, size }),
        ended: (failure) => {
          this.#upload = null;
          this.#uploadedAt = this.environment.now();
          this.post({ op: "uploaded", failure });
        },
      });
    });
    this.#cancelUploadStart = () => {
      cancelTimer();
      this.#cancelUploadStart = () => {};
      this.post({ op: "uploaded", failure: "cancelled" });
    };
  }

  #record(on: boolean): void {
    const now = this.environment.now();
    if (on) {
      this.#recorder = new Recorder(now);
      this.#tellRecording(this.#recorder, now);
    } else if (this.#recorder) {
      this.post({ op: "recorded", file: this.#recorder.finish() });
      this.#recorder = null;
    }
  }

  #tellRecording(recorder: Recorder, now: number): void {
    this.#recordingToldAt = now;
    this.post({ op: "recording", frames: recorder.frames, bytes: recorder.bytes, sinceAt: recorder.since });
  }

  async #play(file: Blob): Promise<void> {
    try {
      const frames = await readRecording(file);
      this.#client?.close();
      this.#player?.stop();
      this.#flush();
      const tell = (player: Player, cut: boolean) => {
        const { position, length, paused, speed } = player;
        this.#flush();
        this.post({ op: "playing", position, length, paused, speed, cut });
      };
      // The page forgets what it knows before the first frame comes.
      this.post({ op: "playing", position: 0, length: frames.at(-1)?.ms ?? 0, paused: false, speed: 1, cut: true });
      this.#player = new Player(this.environment, frames, { frame: (text, at) => this.#playFrame(text, at), moved: tell });
    } catch (error) {
      this.post({ op: "unplayable", reason: error instanceof Error ? error.message : String(error) });
    }
  }

  #playFrame(text: string, at: number): void {
    this.#log.add("received", text, at);
    try {
      this.#frame(parseFrame(text), at);
    } catch (error) {
      if (!(error instanceof BadFrame)) throw error;
    }
  }

  #changePlayer(change: PlayerChange): void {
    const player = this.#player;
    if (!player) return;
    if ("paused" in change) player.setPaused(change.paused);
    else if ("speed" in change) player.setSpeed(change.speed);
    else player.seek(change.seek);
  }
}
