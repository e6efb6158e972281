/// A session as a file: lines of JSON, the first one a header, each further one [milliseconds, "<" or ">", frame].

export interface RecordedFrame {
  readonly ms: number;
  readonly direction: "sent" | "received";
  readonly text: string;
}

const kFormat = "live-view-session";
const kPiece = 1_000_000; // characters that are gathered before they become a part of the file

export class Recorder {
  frames = 0;
  bytes = 0;
  #parts: Blob[] = [];
  #text: string;

  constructor(readonly since: number) {
    this.#text = `${JSON.stringify({ format: kFormat, version: 1 })}\n`;
  }

  add(direction: "sent" | "received", text: string, at: number): void {
    const line = `${JSON.stringify([Math.round(at - this.since), direction === "sent" ? ">" : "<", text])}\n`;
    this.frames++;
    this.bytes += line.length;
    this.#text += line;
    if (this.#text.length > kPiece) this.#cut();
  }

  finish(): Blob {
    this.#cut();
    return new Blob(this.#parts, { type: "application/x-ndjson" });
  }

  #cut(): void {
    this.#parts.push(new Blob([this.#text]));
    this.#text = "";
  }
}

/// The frames of a recorded session, in their order. Throws with a reason for what is none.
export async function readRecording(file: Blob): Promise<RecordedFrame[]> {
  const lines = (await file.text()).split("\n");
  const header = parseLine(lines[0] ?? "");
  if (typeof header !== "object" || header === null || !("format" in header) || header.format !== kFormat)
    throw new Error("this is no recorded session");
  const frames: RecordedFrame[] = [];
  for (const [index, line] of lines.entries()) {
    if (index === 0 || line === "") continue;
    const entry = parseLine(line);
    if (!Array.isArray(entry) || typeof entry[0] !== "number" || typeof entry[2] !== "string")
      throw new Error(`line ${index + 1} is no frame`);
    frames.push({ ms: entry[0], direction: entry[1] === ">" ? "sent" : "received", text: entry[2] });
  }
  if (!frames.some(({ direction }) => direction === "received")) throw new Error("the recorded session is empty");
  return frames;
}

function parseLine(line: string): unknown {
  try {
    return JSON.parse(line);
  } catch {
    return null;
  }
}
