/// The loggers of the network.
export interface LoggerState {
  readonly mac: string;
  /// Empty where the logger has not told it yet.
  readonly name: string;
  /// What to call it: the name, or the MAC address where that is empty; with the MAC where two share a name.
  readonly label: string;
  readonly type: string;
  readonly configName: string;
  readonly softwareVersion: string;
  readonly timeZone: string;
  /// The status number, as it was told; null before that.
  readonly status: string | null;
  readonly local: boolean;
  /// Offset of its clock in microseconds, to be added to its stamps; null before it was told.
  readonly clockOffset: number | null;
  /// Whether it answered when it was asked last. null: not asked yet.
  readonly answers: boolean | null;
  /// When it answered last, or the page began to ask it. Show "silent for ..." when `answers` is false.
  readonly heardAt: number;
}

/// A logger that was in the network while the page was open, and is not any more.
export interface GoneLogger {
  readonly mac: string;
  readonly label: string;
  /// When it was heard last, as `LoggerState` has it.
  readonly heardAt: number;
}

export interface NetworkState {
  readonly name: string;
  readonly loggers: readonly LoggerState[];
  /// Those that were heard in the last ten minutes before this connection; empty while the network is not complete.
  readonly gone: readonly GoneLogger[];
  /// Whether every logger has told about itself.
  readonly complete: boolean;
}
