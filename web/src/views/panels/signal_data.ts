// A signal's history in the forms that charts, tables and files want it in.
import type { LaneData } from "../../charts/lanes.ts";
import type { CsvColumn } from "../../charts/export.ts";
import type { Samples, Span } from "../../charts/samples.ts";
import type { SignalHistory, Store } from "../../store/model.ts";
import type { PanelSignal } from "../panel_signals.ts";

export function historyOf(store: Store, signal: PanelSignal): SignalHistory | null {
  return signal.id === null ? null : store.history(signal.id);
}

export function samplesOf(history: SignalHistory, span: Span): Samples {
  const { x, y } = history.points(span.from, span.to);
  return { x, y, gaps: history.gaps };
}

/// Least and greatest value since the signal was started; null before the first number, and for a discrete signal: its
/// numbers only stand for states, of which none is the least.
export function rangeOf(history: SignalHistory | null): { readonly min: number; readonly max: number } | null {
  return history === null || history.discrete || history.min > history.max ? null : history;
}

/// A discrete signal's states; where a point has no text, its number is one.
export function laneOf(history: SignalHistory, span: Span): LaneData {
  const { x, y, state } = history.points(span.from, span.to);
  const { states } = history;
  const text = (index: number) => {
    const name = state === null ? "" : (states[state[index]!] ?? "");
    return name !== "" || Number.isNaN(y[index]!) ? name : String(y[index]);
  };
  return { x, text, gaps: history.gaps };
}

/// The points inside the span, without those beside it that only lead lines to the edges.
export function columnOf(history: SignalHistory, signal: PanelSignal, span: Span): CsvColumn {
  const all = history.points(span.from, span.to);
  let first = 0;
  let end = all.x.length;
  while (first < end && all.x[first]! < span.from) ++first;
  while (end > first && all.x[end - 1]! > span.to) --end;
  const lane = laneOf(history, span);
  const title = `${signal.logger !== "" ? `${signal.logger}: ` : ""}${signal.name}${signal.unit !== "" ? ` [${signal.unit}]` : ""}`;
  return {
    title,
    x: all.x.subarray(first, end),
    stamp: all.stamp.subarray(first, end),
    text: (index) => (history.discrete ? lane.text(first + index) : String(all.y[first + index])),
  };
}

/// A value as it is read: its description where it has one, else the exact text.
export function shownText(value: { readonly text: string; readonly description: string }): string {
  return value.description !== "" ? value.description : value.text;
}
