/// Tells the page which frames go by, together and cut to a length that can be shown.
import { responseName } from "../protocol/parse";
import type { Environment } from "../protocol/environment";
import type { LogRecord } from "./messages";

const kMostText = 20_000; // characters that are handed on
const kMostWaiting = 500;
const kPause = 200; // ms
/// What comes by itself many times a second, and would leave no room for the rest.
const kLiveData: ReadonlySet<string> = new Set(["generic_sig_value", "busload_data", "signal_message"]);

export class FrameLog {
  keepValues = false;
  #waiting: LogRecord[] = [];
  #sentAt = new Map<string, number>();
  #timer: (() => void) | null = null;

  constructor(
    private readonly environment: Environment,
    private readonly hand: (records: LogRecord[]) => void,
  ) {}

  /// Whether frames of that name are left out.
  skips(response: string): boolean {
    return !this.keepValues && kLiveData.has(response);
  }

  add(direction: "sent" | "received", text: string, at: number, response?: string): void {
    const name = direction === "received" ? (response ?? responseName(text)) : commandName(text);
    if (this.skips(name)) return;
    const status = direction === "received" ? statusIn(text) : "";
    const took = this.#took(direction, name, status, at);
    const shown = text.length > kMostText ? text.slice(0, kMostText) : text;
    this.#waiting.push({ direction, at, name, status, took, text: shown, size: text.length });
    if (this.#waiting.length > kMostWaiting) this.#waiting.shift();
    this.#timer ??= this.environment.after(kPause, () => this.#flush());
  }

  #took(direction: "sent" | "received", name: string, status: string, at: number): number | null {
    if (direction === "sent") {
      if (name !== "") this.#sentAt.set(name, at);
      return null;
    }
    const sentAt = this.#sentAt.get(name);
    if (sentAt === undefined) return null;
    if (status !== "PROGRESS") this.#sentAt.delete(name);
    return at - sentAt;
  }

  #flush(): void {
    this.#timer = null;
    const records = this.#waiting;
    this.#waiting = [];
    this.hand(records);
  }
}

function commandName(text: string): string {
  return /"command"\s*:\s*"([^"\\]*)"/.exec(text.slice(0, 2000))?.[1] ?? "";
}

function statusIn(text: string): string {
  return /"status"\s*:\s*"([A-Z_]+)"/.exec(text.slice(-1000))?.[1] ?? "";
}
