// Speaks a comment into the browser's microphone.

/// A comment that can be heard and sent. `from` and `to` are seconds of the clock that was asked for them.
export interface Comment {
  readonly file: Blob;
  readonly name: string;
  readonly from: number;
  readonly to: number;
}

/// Whether this page may record at all: browsers only allow it with HTTPS or on the own machine.
export function canRecord(): boolean {
  return isSecureContext && typeof MediaRecorder !== "undefined" && navigator.mediaDevices !== undefined;
}

const kTypes = ["audio/webm;codecs=opus", "audio/ogg;codecs=opus", "audio/mp4"];

/// A recording that runs until `stop`.
export class Recording {
  readonly #recorder: MediaRecorder;
  readonly #stream: MediaStream;
  readonly #parts: Blob[] = [];
  readonly #from: number;

  private constructor(stream: MediaStream, from: number) {
    const mimeType = kTypes.find((type) => MediaRecorder.isTypeSupported(type));
    this.#stream = stream;
    this.#from = from;
    this.#recorder = new MediaRecorder(stream, mimeType === undefined ? {} : { mimeType });
    this.#recorder.addEventListener("dataavailable", ({ data }) => this.#parts.push(data));
    this.#recorder.start();
  }

  /// Asks for the microphone; rejects when it is refused.
  static async start(clock: () => number): Promise<Recording> {
    const stream = await navigator.mediaDevices.getUserMedia({ audio: true });
    return new Recording(stream, clock());
  }

  async stop(clock: () => number): Promise<Comment> {
    const to = clock();
    // A microphone that was taken away has ended it already.
    if (this.#recorder.state !== "inactive") {
      await new Promise((done) => {
        this.#recorder.addEventListener("stop", done, { once: true });
        this.#recorder.stop();
      });
    }
    this.discard();
    const type = this.#recorder.mimeType;
    const extension = type.includes("ogg") ? "ogg" : type.includes("mp4") ? "m4a" : "webm";
    return { file: new Blob(this.#parts, { type }), name: `comment.${extension}`, from: this.#from, to };
  }

  /// Lets go of the microphone.
  discard(): void {
    for (const track of this.#stream.getTracks()) track.stop();
  }
}
