// What lies at and between the two cursors, signal by signal.
import { computedNumber, duration, plainNumber } from "../../charts/numbers.ts";
import { texts } from "../../i18n/texts.ts";
import { networkClock, useStore, useWorkspace } from "../context.ts";
import type { PanelSignal } from "../panel_signals.ts";
import { Swatch } from "./legend.tsx";
import { historyOf, shownText } from "./signal_data.ts";

export function MeasureTable({ signals }: { signals: readonly PanelSignal[] }) {
  const store = useStore();
  const workspace = useWorkspace();
  const t = texts();
  store.ticks.texts.value;
  const { a, b } = workspace.cursors.value;
  if (a === null && b === null) return null;
  const clock = networkClock(store);
  const both = a !== null && b !== null;
  return (
    <div class="measure" role="region" aria-label={t.measure.title} tabIndex={0} data-testid="measure">
      <table role="table" aria-label={t.measure.title}>
        <thead role="rowgroup">
          <tr role="row">
            <th scope="col" role="columnheader" class="measure-span figures">
              {both ? `${t.measure.span} ${duration(b - a)}` : ""}
            </th>
            {[a, b].map((x, index) => (
              <th scope="col" role="columnheader" class="measure-time" key={index}>
                {"AB"[index]} <span class="muted figures">{x === null ? "" : clock.time(x, 3)}</span>
              </th>
            ))}
            {figureNames()
              .slice(2)
              .map((name) => (
                <th scope="col" role="columnheader" class="measure-head" key={name}>
                  {name}
                </th>
              ))}
          </tr>
        </thead>
        <tbody role="rowgroup">
          {signals.map((signal) => (
            <Row key={signal.key} signal={signal} a={a} b={b} />
          ))}
        </tbody>
      </table>
    </div>
  );
}

// In the order of a row.
function figureNames(): string[] {
  const { measure, common } = texts();
  return ["A", "B", measure.difference, measure.slope, common.least, common.greatest, common.mean, measure.rate];
}

function Row({ signal, a, b }: { signal: PanelSignal; a: number | null; b: number | null }) {
  const store = useStore();
  const history = historyOf(store, signal);
  const at = (x: number | null) => (history === null || x === null ? null : history.valueAt(x));
  const first = at(a);
  const second = at(b);
  const numbers = first?.number != null && second?.number != null && history?.discrete === false;
  const difference = numbers ? second!.number! - first!.number! : null;
  const statistics = history !== null && a !== null && b !== null ? history.statistics(Math.min(a, b), Math.max(a, b)) : null;
  const slope = difference === null || a === b ? null : difference / (b! - a!);
  const figures = history?.discrete ? null : statistics;
  const names = figureNames();
  return (
    <tr role="row">
      <th scope="row" role="rowheader">
        <Swatch signal={signal} />{" "}
        <span class="measure-name" title={signal.name}>
          {signal.name}
        </span>{" "}
        {signal.origin !== "" && <span class="signal-origin">{signal.origin} </span>}
        <span class="unit">{signal.unit}</span>
      </th>
      {[
        first === null ? "–" : shownText(first),
        second === null ? "–" : shownText(second),
        difference === null ? "–" : plainNumber(difference),
        computedNumber(slope),
        plainNumber(figures?.min ?? NaN),
        plainNumber(figures?.max ?? NaN),
        computedNumber(figures?.mean ?? null),
        computedNumber(statistics?.rate ?? null),
      ].map((text, index) => (
        // The name is seen where rows are folded and columns have no heads.
        <td class="figures" role="cell" key={index}>
          <span class="measure-label" aria-hidden="true">
            {names[index]}
          </span>
          <span class="measure-figure">{text}</span>
        </td>
      ))}
    </tr>
  );
}
