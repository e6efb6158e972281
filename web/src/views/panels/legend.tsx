// The signals of a chart with the value under the pointer, or the newest one.
import { computed, type ReadonlySignal } from "@preact/signals";
import { useMemo, useRef } from "preact/hooks";
import { curveColour, curveDash } from "../../charts/palette.ts";
import { gapsWithin } from "../../charts/samples.ts";
import { texts } from "../../i18n/texts.ts";
import type { Panel } from "../../store/model.ts";
import { useStore, useWorkspace } from "../context.ts";
import type { PanelSignal } from "../panel_signals.ts";
import { useSeen } from "../ui/hooks.ts";
import { Icon } from "../ui/icons.tsx";
import { historyOf, shownText } from "./signal_data.ts";

/// Ticks of texts between two rewritings of what only a screen reader may come upon.
const kUnseen = 5;

export function Legend({ panel, signals }: { panel: Panel; signals: readonly PanelSignal[] }) {
  const store = useStore();
  const root = useRef<HTMLUListElement>(null);
  const seen = useSeen(root);
  const slow = useMemo(() => computed(() => Math.floor(store.ticks.texts.value / kUnseen)), [store]);
  return (
    <ul class="legend" ref={root}>
      {signals.map((signal) => (
        <Entry key={signal.key} panel={panel} signal={signal} tick={seen ? store.ticks.texts : slow} />
      ))}
    </ul>
  );
}

function Entry({ panel, signal, tick }: { panel: Panel; signal: PanelSignal; tick: ReadonlySignal<number> }) {
  const store = useStore();
  const workspace = useWorkspace();
  const t = texts();
  tick.value;
  const history = historyOf(store, signal);
  const hover = workspace.hoverX();
  const shown = history === null ? null : hover === null ? history.latest : history.valueAt(hover);
  const stale = hover === null && shown !== null && signal.id !== null && store.stale(signal.id);
  const gaps = history === null ? 0 : gapsWithin(history.gaps, workspace.span());
  const absent = signal.run === "absent" || signal.run === "refused";
  return (
    <li
      class={`legend-entry ${stale ? "stale" : ""} ${absent ? "absent" : ""}`}
      data-testid="legend-entry"
      title={`${signal.name}\n${signal.logger}`}
    >
      <Swatch signal={signal} />
      <span class="legend-name">{signal.name}</span>
      <span class="legend-value figures">{absent ? t.signals.run[signal.run] : shown === null ? t.common.none : shownText(shown)}</span>
      <span class="unit">{signal.unit}</span>
      {gaps > 0 && (
        <span class="legend-gaps" data-testid="legend-gaps">
          {t.panels.gaps(gaps)}
        </span>
      )}
      <button
        type="button"
        class="legend-remove"
        aria-label={t.panels.removeSignal(signal.name)}
        title={t.panels.removeSignal(signal.name)}
        onClick={() => store.removeFromPanel(panel.id, signal.id ?? signal.key)}
      >
        <Icon name="close" />
      </button>
    </li>
  );
}

export function Swatch({ signal }: { signal: PanelSignal }) {
  const workspace = useWorkspace();
  const dashed = curveDash(signal.colour).length > 0;
  return (
    <span class={`swatch-line ${dashed ? "dashed" : ""}`} style={{ borderTopColor: curveColour(workspace.theme.value, signal.colour) }} />
  );
}
