/// What a client tells of its connection.
import type { Frame } from "./types";
import type { WantedState } from "./wanted_signals";

export type ClientState =
  | { readonly type: "connecting"; readonly attempt: number }
  /// Connected, while loggers have still to tell about themselves.
  | { readonly type: "waiting" }
  /// Every command is served.
  | { readonly type: "ready" }
  /// `retryAt` is a time of `Environment.now()`.
  | { readonly type: "lost"; readonly reason: LostReason; readonly detail: string; readonly retryAt: number }
  | { readonly type: "closed" };

export type LostReason = "closed-by-logger" | "broken" | "refused" | "silent" | "no-bus" | "anew";

export interface ClientEvents {
  state(state: ClientState): void;
  /// Every frame that came, in its order, but for large lists of which a newer one is there already.
  /// `at`: the environment's time at which one was last received.
  frame(frame: Frame, at: number): void;
  /// Text that went either way, as it was. `response`: of what has come, the name in its first member.
  text(direction: "sent" | "received", text: string, response?: string): void;
  /// A frame that is none of this protocol; the connection stays.
  bad(reason: string, text: string): void;
  signals(states: readonly WantedState[]): void;
}
