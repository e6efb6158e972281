// Signals as a table: value, unit, description, age, least and greatest value since the start.
import { useRef } from "preact/hooks";
import { plainNumber } from "../../charts/numbers.ts";
import { texts } from "../../i18n/texts.ts";
import { useStore } from "../context.ts";
import { fullName, isAway, type PanelSignal } from "../panel_signals.ts";
import { rowHeight } from "../signal_list.tsx";
import { Icon } from "../ui/icons.tsx";
import { VirtualList } from "../ui/virtual_list.tsx";
import { Swatch } from "./legend.tsx";
import { shownValue } from "./limits.ts";
import type { PanelProps } from "./panel_props.ts";
import { valueEntries } from "./saving.ts";
import { historyOf, rangeOf } from "./signal_data.ts";
import { SignalName } from "./signal_name.tsx";
import { tableCsv } from "./value_files.ts";

export function TablePanel({ panel, signals, menu }: PanelProps) {
  const store = useStore();
  const t = texts();
  const whole = useRef<HTMLDivElement>(null);
  const heads = [t.common.name, t.common.value, t.common.unit, t.common.description, t.common.age, t.common.least, t.common.greatest];
  const title = panel.title !== "" ? panel.title : t.panels.kinds.table;
  menu.current = () => valueEntries(store, title, whole, store.viewX, () => tableCsv(store, signals));
  return (
    <div class="table-panel" role="table" ref={whole} aria-label={title} aria-rowcount={signals.length + 1}>
      <div class="table-head" role="rowgroup">
        <div class="table-row" role="row">
          {heads.map((head, index) => (
            <span role="columnheader" key={head} class={`cell c${index}`}>
              {head}
            </span>
          ))}
          <span role="columnheader" class="cell c7">
            <span class="visually-hidden">{t.common.remove}</span>
          </span>
        </div>
      </div>
      <VirtualList
        rows={signals}
        rowHeight={rowHeight()}
        rowKey={({ key }) => key}
        label={t.panels.kinds.table}
        role="rowgroup"
        render={(signal) => <Row panelId={panel.id} signal={signal} />}
      />
    </div>
  );
}

function Row({ panelId, signal }: { panelId: string; signal: PanelSignal }) {
  const store = useStore();
  const t = texts();
  store.ticks.texts.value;
  const history = historyOf(store, signal);
  const latest = shownValue(store, history);
  const range = rangeOf(history);
  const absent = isAway(signal);
  const stale = latest !== null && signal.id !== null && store.stale(signal.id);
  const age = signal.id === null || store.paused.value ? Infinity : store.age(signal.id);
  return (
    <div class={`table-row ${stale ? "stale" : ""}`} role="presentation" data-testid="table-row">
      <span role="cell" class="cell c0" title={`${signal.name}\n${signal.logger}`}>
        <Swatch signal={signal} />
        <SignalName class="cell-text" signal={signal} />
      </span>
      {absent ? (
        <span role="cell" aria-colspan={3} class="cell c1 absent">
          {signal.away}
        </span>
      ) : (
        <>
          <span role="cell" class="cell c1 figures">
            {latest?.text ?? "–"}
          </span>
          <span role="cell" class="cell c2 unit">
            {signal.unit}
          </span>
          <span role="cell" class="cell c3" title={latest?.description}>
            {latest?.description}
          </span>
        </>
      )}
      <span role="cell" class="cell c4 figures">
        {Number.isFinite(age) ? (age < 100 ? `${age.toFixed(1)} s` : `${Math.round(age)} s`) : "–"}
      </span>
      <span role="cell" class="cell c5 figures">
        {range === null ? "–" : plainNumber(range.min)}
      </span>
      <span role="cell" class="cell c6 figures">
        {range === null ? "–" : plainNumber(range.max)}
      </span>
      <span role="cell" class="cell c7">
        <button
          type="button"
          data-stop
          class="row-remove"
          aria-label={t.panels.removeSignal(fullName(signal))}
          title={t.panels.removeSignal(fullName(signal))}
          onClick={() => store.removeFromPanel(panelId, signal.id ?? signal.key)}
        >
          <Icon name="close" />
        </button>
      </span>
    </div>
  );
}
