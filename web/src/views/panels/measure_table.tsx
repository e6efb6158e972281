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
      <table>
        <caption class="visually-hidden">{t.measure.title}</caption>
        <thead>
          <tr>
            <th scope="col" class="measure-span figures">
              {both ? `${t.measure.span} ${duration(b - a)}` : ""}
            </th>
            <th scope="col">
              A <span class="muted figures">{a === null ? "" : clock.time(a, 3)}</span>
            </th>
            <th scope="col">
              B <span class="muted figures">{b === null ? "" : clock.time(b, 3)}</span>
            </th>
            {[t.measure.difference, t.measure.slope, t.common.least, t.common.greatest, t.common.mean, t.measure.rate].map((head) => (
              <th scope="col" key={head}>
                {head}
              </th>
            ))}
          </tr>
        </thead>
        <tbody>
          {signals.map((signal) => (
            <Row key={signal.key} signal={signal} a={a} b={b} />
          ))}
        </tbody>
      </table>
    </div>
  );
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
  return (
    <tr>
      <th scope="row">
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
        <td class="figures" key={index}>
          {text}
        </td>
      ))}
    </tr>
  );
}
