/// One connection to a logger that is kept: opened, opened again when it has gone, and brought back to what ran before.
import type { Ask } from "./commands";
import { Commands } from "./commands";
import { listSummary, summaryOf } from "./answers";
import { Backoff } from "./backoff";
import type { ClientEvents, ClientState, LostReason } from "./client_state";
import type { Environment, Socket } from "./environment";
import { ListThrottle } from "./list_throttle";
import { LoggerInfoGathering } from "./logger_info";
import { BadFrame, parseFrame, responseName } from "./parse";
import { NoAnswer, Priority, RequestQueue } from "./request_queue";
import type { Frame, Key, Request } from "./types";
import { WantedSignals } from "./wanted_signals";

const kOpenTimeout = 15_000; // ms; a logger without its bus takes some seconds
const kPingInterval = 10_000; // ms
/// The answers that can be large lists and come more than once.
const kLists = ["get_signal_names", "get_trigger"];
const kSilence = 30_000; // ms without any frame, in spite of pings: the connection counts as gone

export class LiveViewClient {
  /// The commands, as a person's wish. See `ask` for other priorities.
  readonly commands: Commands;

  #socket: Socket | null = null;
  #state: ClientState = { type: "closed" };
  #backoff: Backoff;
  #queue: RequestQueue;
  /// One for each kind: a list may only be left out for a newer one of its own kind.
  #lists: ReadonlyMap<string, ListThrottle>;
  #signals: WantedSignals;
  #info: LoggerInfoGathering | null = null;
  #timers: (() => void)[] = [];
  #heardAt = 0;
  #pingWaits = false;
  #loadsWanted = false;
  #monitorWanted = false;
  #screen: number | null = null;
  #catalogueAsked = false;
  #signalsTold = true;

  constructor(
    private readonly url: string,
    private readonly environment: Environment,
    private readonly events: ClientEvents,
    /// `catalogue`: whether it asks for the signals by itself.
    private readonly options: { readonly catalogue: boolean } = { catalogue: true },
  ) {
    this.#backoff = new Backoff(() => environment.random());
    this.#signals = new WantedSignals(() => this.#signalsChanged());
    this.#queue = new RequestQueue(environment, (request) => this.#sendRequest(request), this.#signals);
    const throttle = () => new ListThrottle(environment, (text) => this.#parse(text));
    this.#lists = new Map(kLists.map((response) => [response, throttle()]));
    this.commands = new Commands(this.#asker(Priority.Person));
  }

  get state(): ClientState {
    return this.#state;
  }

  get queued(): number {
    return this.#queue.length;
  }

  /// Bytes that have not left yet.
  get buffered(): number {
    return this.#socket?.buffered ?? 0;
  }

  /// Connects now, whatever is waited for; an open connection is given up.
  connect(): void {
    this.#drop();
    this.#tell({ type: "connecting", attempt: this.#backoff.attempts + 1 });
    const socket = this.environment.openSocket(this.url, {
      opened: () => this.#opened(),
      received: (text) => this.#received(text),
      closed: (code, reason) => this.#closed(code, reason),
    });
    this.#socket = socket;
    this.#later(kOpenTimeout, () => {
      if (this.#state.type === "connecting") this.#gone("silent", "");
    });
  }

  close(): void {
    this.#drop();
    this.#tell({ type: "closed" });
  }

  /// Which signals are to run; the same ones run again after a new connection.
  want(signals: readonly { readonly key: Key; readonly visible: boolean }[]): void {
    this.#signals.want(signals);
    this.#queue.advance();
  }

  /// Whether the loads of the buses are to be reported.
  wantLoads(wanted: boolean): void {
    this.#loadsWanted = wanted;
    if (this.#state.type !== "ready") return;
    void this.ask({ command: wanted ? "busload_start" : "busload_stop" }, Priority.Person).catch(() => {});
  }

  /// Whether the monitor's values are to come, and of which screen; null for the one that is on.
  wantMonitor(wanted: boolean, screen: number | null): void {
    const started = wanted && !this.#monitorWanted;
    const stopped = !wanted && this.#monitorWanted;
    const selected = screen !== null && screen !== this.#screen;
    this.#monitorWanted = wanted;
    this.#screen = screen;
    if (this.#state.type !== "ready") return;
    if (selected) void this.commands.requestScreen(screen).catch(() => {});
    if (started) void this.commands.startMonitor().catch(() => {});
    if (stopped) void this.commands.stopMonitor().catch(() => {});
  }

  /// Hands the request over in its turn. Rejected with NoAnswer.
  ask<R extends Request>(request: R, priority: Priority): ReturnType<Ask> {
    return this.#queue.ask(request, priority) as ReturnType<Ask>;
  }

  /// Sends a text as it is, in its turn.
  sendRaw(text: string): void {
    let command = "";
    try {
      const value: unknown = JSON.parse(text);
      if (typeof value === "object" && value !== null && "command" in value && typeof value.command === "string") command = value.command;
    } catch {
      // sent all the same: what the logger says to it is what the sender wants to see
    }
    void this.#queue.ask({ command, raw: text } as unknown as Request, Priority.Person).catch(() => {});
  }

  /// Sends a file as one binary frame, at once.
  sendBinary(data: Blob): void {
    this.#socket?.send(data);
    this.events.text("sent", `(binary frame of ${data.size} bytes)`);
  }

  /// Commands that wait their turn with another priority than a person's.
  withPriority(priority: Priority): Commands {
    return new Commands(this.#asker(priority));
  }

  #asker(priority: Priority): Ask {
    return (request) => this.ask(request, priority) as never;
  }

  #opened(): void {
    this.#heardAt = this.environment.now();
    this.#tell({ type: "waiting" });
    this.#queue.open();
    this.#info = new LoggerInfoGathering(this.environment, this.withPriority(Priority.Opening), () => this.#ready());
    this.#pingLater();
  }

  #ready(): void {
    this.#backoff.succeeded();
    this.#tell({ type: "ready" });
    const opening = this.withPriority(Priority.Opening);
    if (this.options.catalogue) void opening.getSignalNames().catch(() => {});
    if (this.#loadsWanted) void opening.startBusload().catch(() => {});
    if (this.#monitorWanted) {
      if (this.#screen !== null) void opening.requestScreen(this.#screen).catch(() => {});
      void opening.startMonitor().catch(() => {});
    }
  }

  #received(text: string): void {
    this.#heardAt = this.environment.now();
    const response = responseName(text);
    this.events.text("received", text, response);
    if (response === "generic_sig_value") return this.#parse(text);
    if (this.#lists.get(response)?.take(text)) {
      this.#queue.received(listSummary(response, text), null);
      return;
    }
    this.#parse(text);
  }

  #parse(text: string): void {
    let frame: Frame;
    try {
      frame = parseFrame(text);
    } catch (error) {
      if (!(error instanceof BadFrame)) throw error;
      this.events.bad(error.message, text);
      return;
    }
    this.#take(frame);
  }

  #take(frame: Frame): void {
    // By far the most frames are values, and no request waits for one.
    if (frame.response === "generic_sig_value") {
      this.#signals.valueCame(frame.key);
      this.events.frame(frame, this.#heardAt);
      return;
    }
    this.#heed(frame);
    this.events.frame(frame, this.#heardAt);
    this.#queue.received(summaryOf(frame), frame);
    if (frame.response === "krpbus" && frame.errorMessage === "not connected") this.#gone("no-bus", frame.errorMessage);
  }

  /// What frames mean for the signals that are wanted.
  #heed(frame: Frame): void {
    if (frame.response === "get_signal_names" && frame.streams) {
      const restarted = this.#catalogueAsked;
      this.#catalogueAsked = false;
      this.#signals.offered(
        frame.streams.map(({ key }) => key),
        frame.status === "OK",
        restarted,
      );
    } else if (frame.response === "signal_forwarding_stop" && frame.status === "OK") {
      this.#signals.offered([], false, true);
    }
    this.#queue.advance();
  }

  #sendRequest(request: Request): void {
    if (request.command === "get_signal_names") this.#catalogueAsked = true;
    const text = "raw" in request ? String(request.raw) : JSON.stringify(request);
    this.#socket?.send(text);
    this.events.text("sent", text);
  }

  #pingLater(): void {
    this.#later(kPingInterval, () => {
      if (this.environment.now() - this.#heardAt > kSilence) return this.#gone("silent", "");
      this.#ping();
      this.#pingLater();
    });
  }

  #ping(): void {
    if (this.#pingWaits) return;
    this.#pingWaits = true;
    const done = () => {
      this.#pingWaits = false;
    };
    this.ask({ command: "ping" }, Priority.Ping).then(done, done);
  }

  #closed(code: number, reason: string): void {
    if (this.#state.type === "connecting") this.#gone("refused", reason);
    else if (code === 1001) this.#gone("closed-by-logger", reason);
    else this.#gone("broken", code === 1006 ? reason : `${code} ${reason}`.trim());
  }

  #gone(reason: LostReason, detail: string): void {
    this.#drop();
    const pause = this.#backoff.next();
    this.#later(pause, () => this.connect());
    this.#tell({ type: "lost", reason, detail, retryAt: this.environment.now() + pause });
  }

  #drop(): void {
    for (const cancel of this.#timers) cancel();
    this.#timers = [];
    this.#info?.stop();
    this.#info = null;
    for (const lists of this.#lists.values()) lists.drop();
    this.#pingWaits = false;
    this.#catalogueAsked = false;
    const socket = this.#socket;
    this.#socket = null;
    if (!socket) return;
    socket.drop();
    this.#queue.close();
    this.#signals.reset();
  }

  #later(ms: number, call: () => void): void {
    const cancel = this.environment.after(ms, () => {
      this.#timers = this.#timers.filter((timer) => timer !== cancel);
      call();
    });
    this.#timers.push(cancel);
  }

  /// Many change at once: told once, a moment later.
  #signalsChanged(): void {
    if (!this.#signalsTold) return;
    this.#signalsTold = false;
    this.environment.after(50, () => {
      this.#signalsTold = true;
      this.events.signals(this.#signals.states());
    });
  }

  #tell(state: ClientState): void {
    this.#state = state;
    this.events.state(state);
  }
}

export { NoAnswer, Priority };
