/// The frames themselves, recorded and played.
export interface FrameRecord {
  readonly number: number;
  readonly direction: "sent" | "received";
  readonly at: number;
  /// The member "command" or "response"; "" where there is none.
  readonly name: string;
  readonly status: string;
  /// Milliseconds from the request to this answer; null where it answers none.
  readonly took: number | null;
  /// The frame; a long one is cut (`size` tells).
  readonly text: string;
  /// Characters.
  readonly size: number;
}

export interface ProtocolState {
  /// Oldest first, a bounded number. Values, loads and monitor messages are left out unless
  /// `keepValues`.
  readonly frames: readonly FrameRecord[];
  readonly keepValues: boolean;
  readonly recording: null | { readonly frames: number; readonly bytes: number; readonly sinceAt: number };
  readonly playback: null | {
    readonly file: string;
    readonly position: number;
    readonly length: number;
    readonly paused: boolean;
    readonly speed: number;
  };
  /// Requests that wait for their turn.
  readonly queued: number;
}
