/// Hands over one request at a time. The logger serves them in turn and some take seconds: what was handed over
/// cannot be overtaken, so a marker must never stand behind more than one request.
import { endsAnswer, kAnswers, type Summary } from "./answers";
import type { Environment } from "./environment";
import type { Command, Frame, Request } from "./types";

/// Smaller goes first.
export enum Priority {
  Marker,
  Ping,
  Person,
  Opening,
  VisibleSignal,
  Poll,
  HiddenSignal,
}

/// Why a request has no answer.
export class NoAnswer extends Error {
  override readonly name = "NoAnswer";
  constructor(readonly reason: "lost" | "late" | "dropped") {
    super(reason === "lost" ? "the connection has gone" : reason === "late" ? "no answer came" : "no longer wanted");
  }
}

interface Entry {
  readonly request: Request;
  readonly priority: Priority;
  readonly queuedAt: number;
  readonly resolve: (frame: Frame | null) => void;
  readonly reject: (reason: NoAnswer) => void;
}

/// Makes requests when there is time for them.
export interface RequestSource {
  /// The next one, null for none now. It may be asked again and again before one is handed over.
  next(): { readonly request: Request; readonly priority: Priority } | null;
  /// That one is handed over.
  taken(request: Request): void;
  answered(request: Request, frame: Frame | null): void;
}

/// A request that has waited this long (ms) goes one step forward, so that none waits for ever.
const kAging = 10_000;

export class RequestQueue {
  #waiting: Entry[] = [];
  #current: Entry | null = null;
  #cancelTimer: () => void = () => {};
  #open = false;

  constructor(
    private readonly environment: Environment,
    /// Sends a request.
    private readonly send: (request: Request) => void,
    private readonly source: RequestSource,
  ) {}

  get length(): number {
    return this.#waiting.length + (this.#current ? 1 : 0);
  }

  /// The frame that ends the answer; null for a command that has none. Rejected with NoAnswer.
  ask(request: Request, priority: Priority): Promise<Frame | null> {
    if (!this.#open) return Promise.reject(new NoAnswer("lost"));
    return new Promise((resolve, reject) => {
      this.#waiting.push({ request, priority, queuedAt: this.environment.now(), resolve, reject });
      this.advance();
    });
  }

  /// The connection is open.
  open(): void {
    this.#open = true;
    this.advance();
  }

  /// The connection has gone: what waits fails.
  close(): void {
    this.#open = false;
    this.#cancelTimer();
    const entries = this.#current ? [this.#current, ...this.#waiting] : this.#waiting;
    this.#current = null;
    this.#waiting = [];
    for (const { reject } of entries) reject(new NoAnswer("lost"));
  }

  /// A frame has come; `frame` is null for a large list that has not been parsed yet.
  received(summary: Summary, frame: Frame | null): void {
    const current = this.#current;
    if (!current || !endsAnswer(current.request, summary)) return;
    this.#cancelTimer();
    this.#current = null;
    current.resolve(frame);
    this.advance();
  }

  /// Hands over the next request when none is outstanding.
  advance(): void {
    while (this.#open && !this.#current) {
      const entry = this.#takeNext();
      if (!entry) return;
      // A text sent by hand may hold any command.
      const answer = kAnswers[entry.request.command] as (typeof kAnswers)[Command] | undefined;
      this.send(entry.request);
      if (!answer) {
        entry.resolve(null);
        continue;
      }
      this.#current = entry;
      this.#cancelTimer = this.environment.after(answer.patience, () => this.#late(entry));
    }
  }

  #late(entry: Entry): void {
    if (this.#current !== entry) return;
    this.#current = null;
    entry.reject(new NoAnswer("late"));
    this.advance();
  }

  #takeNext(): Entry | null {
    const now = this.environment.now();
    const urgency = ({ priority, queuedAt }: Entry) => priority - Math.floor((now - queuedAt) / kAging);
    let best: Entry | null = null;
    for (const entry of this.#waiting) if (!best || urgency(entry) < urgency(best)) best = entry;
    const made = this.source.next();
    if (made && (!best || made.priority < urgency(best))) {
      this.source.taken(made.request);
      return this.#entryOf(made.request, made.priority, now);
    }
    if (best) this.#waiting.splice(this.#waiting.indexOf(best), 1);
    return best;
  }

  #entryOf(request: Request, priority: Priority, queuedAt: number): Entry {
    const answered = (frame: Frame | null) => this.source.answered(request, frame);
    return { request, priority, queuedAt, resolve: answered, reject: () => answered(null) };
  }
}
