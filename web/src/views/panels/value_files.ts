// What panels without a time axis show, as files of values.
import { csvRows, isoMicroseconds } from "../../charts/export.ts";
import { texts } from "../../i18n/texts.ts";
import type { BusesState, BusState, GpsState, Panel, Store } from "../../store/model.ts";
import type { PanelSignal } from "../panel_signals.ts";
import { readingOf, shownValue } from "./limits.ts";
import { historyOf, rangeOf } from "./signal_data.ts";

const text = (value: number | null | undefined) => (value == null ? "" : String(value));

const kStampHeads = ["time (UTC)", "logger stamp [us]"];

function stampOf(value: { readonly x: number; readonly stamp: number } | null): string[] {
  return value === null ? ["", ""] : [isoMicroseconds(value.x), String(value.stamp)];
}

export function tableCsv(store: Store, signals: readonly PanelSignal[]): string {
  const { logger, name, value, unit, description, least, greatest } = texts().common;
  const rows = signals.map((signal) => {
    const history = historyOf(store, signal);
    const shown = shownValue(store, history);
    const range = rangeOf(history);
    return [
      signal.logger,
      signal.name,
      shown?.text ?? "",
      signal.unit,
      shown?.description ?? "",
      ...stampOf(shown),
      text(range?.min),
      text(range?.max),
    ];
  });
  return csvRows([[logger, name, value, unit, description, ...kStampHeads, least, greatest], ...rows]);
}

export function numbersCsv(store: Store, panel: Panel, signals: readonly PanelSignal[]): string {
  const t = texts();
  const { logger, name, value, unit, description } = t.common;
  const rows = signals.map((signal) => {
    const { value: shown, limits, note } = readingOf(store, panel, signal);
    return [
      signal.logger,
      signal.name,
      shown?.text ?? "",
      signal.unit,
      shown?.description ?? "",
      ...stampOf(shown),
      text(limits.low),
      text(limits.high),
      note,
    ];
  });
  return csvRows([
    [logger, name, value, unit, description, ...kStampHeads, t.panels.limitLow, t.panels.limitHigh, t.common.state],
    ...rows,
  ]);
}

/// A row for each bus and each receiver; a column for each figure that a MOST bus has.
export function loadsCsv({ buses, gps }: BusesState): string {
  const t = texts();
  const figures = [...new Set(buses.flatMap(({ most }) => most?.figures.map(([figure]) => figure) ?? []))];
  const head = [t.common.logger, t.common.bus, t.common.name, t.loads.load, t.loads.peak, t.common.unit, t.common.state];
  const busRow = (bus: BusState) => [
    bus.logger !== "" ? bus.logger : t.common.unknownLogger,
    bus.bus,
    bus.name,
    text(bus.load),
    text(bus.peak),
    bus.unit,
    bus.load !== null ? "" : bus.most !== null && bus.most.status !== "" ? bus.most.status : t.loads.unknown,
    ...figures.map((figure) => text(bus.most?.figures.find(([name]) => name === figure)?.[1])),
  ];
  const gpsRow = (receiver: GpsState) => [
    receiver.logger !== "" ? receiver.logger : t.common.unknownLogger,
    t.loads.gps,
    receiver.name,
    "",
    "",
    "",
    [gpsText(receiver), receiver.status].filter((part) => part !== "").join(" "),
    ...figures.map(() => ""),
  ];
  return csvRows([[...head, ...figures.map((figure) => t.loads.most[figure] ?? figure)], ...buses.map(busRow), ...gps.map(gpsRow)]);
}

export function gpsText({ fix }: GpsState): string {
  const t = texts().loads;
  return fix === null ? t.unknown : fix ? t.fix : t.noFix;
}
