/// What the client needs of the world: handed in, so that it can be tried without network and clock.

export interface SocketEvents {
  opened(): void;
  received(text: string): void;
  closed(code: number, reason: string): void;
}

export interface Socket {
  send(data: string | Blob): void;
  /// Bytes that wait to be sent.
  readonly buffered: number;
  /// Ends it; no event comes any more.
  drop(): void;
}

export interface Environment {
  openSocket(url: string, events: SocketEvents): Socket;
  /// Milliseconds of a clock that never goes back.
  now(): number;
  /// Calls once after so many milliseconds, unless the returned function is called before.
  after(ms: number, call: () => void): () => void;
  /// From 0 to 1.
  random(): number;
}

const kSubProtocol = "kr-webapp-v1";

/// The browser's own, in a page or in a worker.
export const browserEnvironment: Environment = {
  openSocket(url, events) {
    const socket = new WebSocket(url, kSubProtocol);
    socket.onopen = () => events.opened();
    socket.onmessage = (event) => {
      if (typeof event.data === "string") events.received(event.data);
    };
    socket.onclose = (event) => events.closed(event.code, event.reason);
    return {
      send: (data) => socket.send(data),
      get buffered() {
        return socket.bufferedAmount;
      },
      drop() {
        socket.onopen = socket.onmessage = socket.onclose = null;
        socket.close();
      },
    };
  },
  now: () => performance.now(),
  after(ms, call) {
    const timer = setTimeout(call, ms);
    return () => clearTimeout(timer);
  },
  random: () => Math.random(),
};
