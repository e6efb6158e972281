/// What is shown where, and how that is kept on the logger.
import type { LoggerState } from "./network";

/// "loads" shows all buses and holds no signals.
export type PanelKind = "chart" | "lanes" | "xy" | "numbers" | "table" | "loads";

/// A signal in a panel. The logger's name tells which one is meant where the MAC address is not known here.
export interface SignalReference {
  readonly name: string;
  readonly mac: string;
  readonly logger: string;
}

export type PanelOption = string | number | boolean | null;

export interface Panel {
  readonly id: string;
  readonly kind: PanelKind;
  readonly title: string;
  readonly signals: readonly SignalReference[];
  /// Whatever the view keeps: limits, ranges, seconds shown.
  readonly options: Readonly<Record<string, PanelOption>>;
}

export interface Arrangement {
  /// "" for one that was never saved.
  readonly name: string;
  readonly panels: readonly Panel[];
}

/// A reference of an arrangement whose logger is not in this network, while several could be meant.
export interface OpenQuestion {
  readonly mac: string;
  readonly logger: string;
  readonly candidates: readonly LoggerState[];
}

export interface SetupsState {
  /// null before the list has come. Only those of this page, by the names that people gave.
  readonly names: readonly string[] | null;
  readonly busy: boolean;
  /// What went wrong last; "" for nothing.
  readonly error: string;
  readonly question: OpenQuestion | null;
}
