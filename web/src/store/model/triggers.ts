/// Events, and the markers that this page has set.
export interface TriggerEvent {
  readonly id: string;
  readonly marker: string;
  readonly number: number;
  readonly x: number;
  readonly stamp: number;
  readonly timeZone: string;
  /// What other loggers call the same moment.
  readonly also: readonly string[];
}

/// A marker that this page has set.
export interface PendingMarker {
  readonly marker: string;
  readonly state: "sending" | "confirmed" | "not-confirmed";
  readonly sentAt: number;
}

export interface TriggersState {
  /// Newest first.
  readonly events: readonly TriggerEvent[];
  readonly complete: boolean;
  readonly missing: readonly string[];
  /// Newest first; confirmed ones leave after some seconds.
  readonly pending: readonly PendingMarker[];
}
