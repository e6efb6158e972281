/// Where the page's data comes from.
import type { LostReason } from "../../protocol/client_state";

export type { LostReason };

/// The truth about where the page's data comes from.
export type ConnectionState =
  /// Opening the connection for the `attempt`-th time in a row, counted from 1.
  | { readonly type: "connecting"; readonly attempt: number }
  /// Connected; some loggers have not told about themselves yet. `missing` are their names, or MAC addresses where no
  /// name is known; empty while not even the neighbours are known.
  | { readonly type: "waiting"; readonly missing: readonly string[]; readonly sinceAt: number }
  | { readonly type: "live" }
  /// Connected, but none of the loggers answers; `sinceAt` is when one was heard last.
  | { readonly type: "silent"; readonly sinceAt: number }
  /// All loads have become unknown at once without being asked: a logger was switched off or stopped.
  | { readonly type: "off"; readonly sinceAt: number }
  /// Connected to the web server, but the logger's message bus is not reachable.
  | { readonly type: "no-bus"; readonly text: string; readonly sinceAt: number }
  /// Lost; tried again at `retryAt`. `detail` is what the other side said, "" for nothing.
  | { readonly type: "lost"; readonly reason: LostReason; readonly detail: string; readonly retryAt: number }
  /// A recorded session is played; there is no logger.
  | { readonly type: "playback"; readonly file: string };
