/// Bus loads and GPS.

/// What `recent` of a bus covers, in seconds.
export const kRecentSeconds = 60;

export interface BusState {
  readonly id: string;
  /// "" where the logger is not known (two share an offset).
  readonly logger: string;
  /// "CAN 1"
  readonly bus: string;
  readonly name: string;
  /// null: unknown.
  readonly load: number | null;
  /// "%", "kB/s", ...; "" for none.
  readonly unit: string;
  /// The largest load since the loads were started, in `unit`.
  readonly peak: number | null;
  /// Newest last, in `unit`; NaN where unknown. For a sparkline.
  readonly recent: Float64Array;
  readonly recentX: Float64Array;
  readonly most: MostFigures | null;
  readonly changedAt: number;
}

export interface MostFigures {
  readonly status: string;
  /// In the order in which they are to be shown: the member's name, and its number.
  readonly figures: readonly (readonly [name: string, value: number])[];
}

export interface GpsState {
  readonly logger: string;
  readonly name: string;
  /// null: unknown.
  readonly fix: boolean | null;
  readonly status: string;
  readonly changedAt: number;
}

export interface BusesState {
  readonly buses: readonly BusState[];
  readonly gps: readonly GpsState[];
  readonly running: boolean;
  readonly complete: boolean;
  readonly missing: readonly string[];
}
