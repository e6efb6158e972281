/// A clock that stands until it is moved, and sockets that the test answers.
import type { Environment, Socket, SocketEvents } from "../../src/protocol/environment";

interface Timer {
  readonly due: number;
  readonly call: () => void;
}

export class FakeSocket implements Socket {
  readonly sent: string[] = [];
  buffered = 0;
  dropped = false;

  constructor(readonly events: SocketEvents) {}

  send(data: string | Blob): void {
    this.sent.push(typeof data === "string" ? data : `binary ${data.size}`);
  }

  drop(): void {
    this.dropped = true;
  }

  /// What was asked for so far, without pings.
  get commands(): string[] {
    return this.sent
      .filter((text) => text.startsWith("{"))
      .map((text) => (JSON.parse(text) as { command: string }).command)
      .filter((command) => command !== "ping");
  }

  say(frame: object): void {
    this.events.received(JSON.stringify(frame));
  }
}

export class World implements Environment {
  readonly sockets: FakeSocket[] = [];
  chance = 0.5;
  #now = 0;
  #timers = new Set<Timer>();

  get socket(): FakeSocket {
    return this.sockets.at(-1)!;
  }

  openSocket(_url: string, events: SocketEvents): Socket {
    this.sockets.push(new FakeSocket(events));
    return this.socket;
  }

  now = () => this.#now;

  random = () => this.chance;

  after(ms: number, call: () => void): () => void {
    const timer = { due: this.#now + ms, call };
    this.#timers.add(timer);
    return () => this.#timers.delete(timer);
  }

  /// Moves the clock, calling what is due in its order, and lets promises settle in between.
  async pass(ms: number): Promise<void> {
    const end = this.#now + ms;
    for (;;) {
      await settle();
      const next = [...this.#timers].filter(({ due }) => due <= end).sort((a, b) => a.due - b.due)[0];
      if (!next) break;
      this.#timers.delete(next);
      this.#now = next.due;
      next.call();
    }
    this.#now = end;
    await settle();
  }
}

export async function settle(): Promise<void> {
  for (let turn = 0; turn < 10; turn++) await Promise.resolve();
}
