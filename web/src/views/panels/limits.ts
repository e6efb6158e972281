// A signal's value as big numbers tell it: beside its limits, and how far it is to be trusted.
import { texts } from "../../i18n/texts.ts";
import type { LatestValue, Panel, SignalHistory, Store } from "../../store/model.ts";
import { isAway, optionOf, type PanelSignal } from "../panel_signals.ts";
import { historyOf } from "./signal_data.ts";

export interface Limits {
  readonly low: number | null;
  readonly high: number | null;
}

export function limitsOf(panel: Panel, signal: PanelSignal): Limits {
  const low = optionOf(panel, signal, "low");
  const high = optionOf(panel, signal, "high");
  return { low: typeof low === "number" ? low : null, high: typeof high === "number" ? high : null };
}

/// The newest value, or the one that held when the view was frozen.
export function shownValue(store: Store, history: SignalHistory | null): Omit<LatestValue, "arrivedAt"> | null {
  return (store.paused.value ? history?.valueAt(store.frozenX.value) : history?.latest) ?? null;
}

export interface Reading {
  readonly value: Omit<LatestValue, "arrivedAt"> | null;
  readonly limits: Limits;
  readonly beyond: boolean;
  /// Not what is true now.
  readonly stale: boolean;
  /// What is to be said about it; "" where the value says all.
  readonly note: string;
}

export function readingOf(store: Store, panel: Panel, signal: PanelSignal): Reading {
  const t = texts();
  const value = shownValue(store, historyOf(store, signal));
  const limits = limitsOf(panel, signal);
  const number = value?.number ?? null;
  const below = number !== null && limits.low !== null && number < limits.low;
  const above = number !== null && limits.high !== null && number > limits.high;
  const late = value !== null && !store.paused.value && signal.id !== null && store.stale(signal.id);
  const states = [
    [isAway(signal), signal.away],
    [below, t.panels.below],
    [above, t.panels.above],
    [late, t.panels.stale],
    [value === null, t.panels.noValue],
  ] as const;
  const note = states.find(([holds]) => holds)?.[1] ?? "";
  return { value, limits, beyond: below || above, stale: late || isAway(signal) || value === null, note };
}
