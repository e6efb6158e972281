/// What the page and its worker say to each other. Times (`at` and so on) are milliseconds of `performance.now()` in
/// the page.
import type { ClientState } from "../protocol/client_state";
import type { Priority } from "../protocol/request_queue";
import type { BusName, Frame, Key, Request } from "../protocol/types";
import type { WantedState } from "../protocol/wanted_signals";

export type ToFeed =
  /// First of all. `origin` is `performance.timeOrigin` of the page.
  | { readonly op: "connect"; readonly url: string; readonly origin: number }
  | { readonly op: "reconnect" }
  | { readonly op: "want"; readonly signals: readonly { readonly key: Key; readonly visible: boolean }[] }
  | { readonly op: "loads"; readonly wanted: boolean }
  | { readonly op: "monitor"; readonly wanted: boolean; readonly screen: number | null }
  | { readonly op: "ask"; readonly id: number; readonly request: Request; readonly priority: Priority }
  | { readonly op: "raw"; readonly text: string }
  | { readonly op: "upload"; readonly upload: Upload }
  | { readonly op: "cancel-upload" }
  | { readonly op: "keep-values"; readonly keep: boolean }
  | { readonly op: "record"; readonly on: boolean }
  | { readonly op: "play"; readonly file: Blob }
  | { readonly op: "player"; readonly change: PlayerChange }
  /// Ends the playback and connects again.
  | { readonly op: "stop-playing" };

export type PlayerChange = { readonly paused: boolean } | { readonly speed: number } | { readonly seek: number };

export interface Upload {
  readonly file: Blob;
  readonly name: string;
  readonly extension: string;
  readonly marker: string;
  readonly from: number;
  readonly to: number;
}

export type FromFeed =
  | { readonly op: "state"; readonly state: ClientState }
  /// Every frame but values and catalogues.
  | { readonly op: "frame"; readonly frame: Frame; readonly at: number }
  | { readonly op: "answer"; readonly id: number; readonly frame: Frame | null }
  | { readonly op: "no-answer"; readonly id: number; readonly reason: "lost" | "late" | "dropped" }
  | { readonly op: "signals"; readonly states: readonly WantedState[] }
  | ValueBatch
  | CatalogueColumns
  | { readonly op: "log"; readonly records: readonly LogRecord[]; readonly queued: number }
  | { readonly op: "recording"; readonly frames: number; readonly bytes: number; readonly sinceAt: number }
  | { readonly op: "recorded"; readonly file: Blob }
  | { readonly op: "upload"; readonly sent: number; readonly size: number }
  | { readonly op: "uploaded"; readonly failure: string | null }
  /// `cut`: the position was changed, and what came before does not count.
  | {
      readonly op: "playing";
      readonly position: number;
      readonly length: number;
      readonly paused: boolean;
      readonly speed: number;
      readonly cut: boolean;
    }
  | { readonly op: "unplayable"; readonly reason: string };

/// Values in the order in which they came. The arrays have the same length and are handed over, not copied.
export interface ValueBatch {
  readonly op: "values";
  /// Keys that get their numbers, which the batches use from now on.
  readonly added: readonly (readonly [number: number, key: Key])[];
  readonly signal: Uint32Array<ArrayBuffer>;
  readonly stamp: Float64Array<ArrayBuffer>;
  /// NaN where the value is a text.
  readonly number: Float64Array<ArrayBuffer>;
  readonly at: Float64Array<ArrayBuffer>;
  /// For those that have one: index, text ("" where the number tells it) and description.
  readonly texts: readonly (readonly [index: number, text: string, description: string])[];
}

/// The catalogue column by column, which crosses much faster than 20 000 objects.
export interface CatalogueColumns {
  readonly op: "catalogue";
  readonly complete: boolean;
  readonly names: readonly string[];
  /// Indices into the lists below.
  readonly logger: Uint16Array<ArrayBuffer>;
  readonly bus: Uint16Array<ArrayBuffer>;
  readonly unit: Uint16Array<ArrayBuffer>;
  readonly loggers: readonly { readonly mac: string; readonly name: string; readonly offset: number }[];
  readonly buses: readonly Omit<BusName, "name" | "offset">[];
  readonly units: readonly string[];
}

export interface LogRecord {
  readonly direction: "sent" | "received";
  readonly at: number;
  readonly name: string;
  readonly status: string;
  readonly took: number | null;
  readonly text: string;
  readonly size: number;
}

/// How the page reaches its feed.
export interface FeedLink {
  post(message: ToFeed): void;
  listen(listener: (message: FromFeed) => void): void;
}
