// The signals of a chart with the value under the pointer, or the newest one.
import { computed, type ReadonlySignal } from "@preact/signals";
import { useMemo, useRef } from "preact/hooks";
import { curveColour, curveDash } from "../../charts/palette.ts";
import { gapsWithin } from "../../charts/samples.ts";
import { texts } from "../../i18n/texts.ts";
import type { Panel, Store } from "../../store/model.ts";
import { useStore, useWorkspace } from "../context.ts";
import { fullName, isAway, type PanelSignal } from "../panel_signals.ts";
import { useSeen } from "../ui/hooks.ts";
import { Icon } from "../ui/icons.tsx";
import type { Workspace } from "../workspace.ts";
import { historyOf, shownText } from "./signal_data.ts";
import { SignalName } from "./signal_name.tsx";

/// Ticks of texts between two rewritings of what only a screen reader may come upon.
const kUnseen = 25;
/// Characters for which a value has room at least and at most.
const kLeastRoom = 6;
const kMostRoom = 24;
/// What has more characters may be a text with wide ones, and is cut off where it is too long.
const kLong = 10;

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
  const absent = isAway(signal);
  const reading = useMemo(() => readingOf(store, workspace, signal, tick), [store, workspace, signal.id, tick]);
  const value = useMemo(() => (absent ? signal.away : reading.text), [absent, signal.away, reading]);
  const kind = useMemo(
    () => computed(() => `legend-entry ${reading.stale.value ? "stale" : ""} ${absent ? "absent" : ""}`),
    [reading, absent],
  );
  return (
    <li class={kind} data-testid="legend-entry" title={`${signal.name}\n${signal.logger}`}>
      <Swatch signal={signal} />
      <SignalName class="legend-name" signal={signal} />
      {absent ? (
        <span class="legend-state">{value}</span>
      ) : (
        <span class={reading.kind} style={reading.room}>
          {value}
        </span>
      )}
      <span class="unit">{signal.unit}</span>
      <Gaps count={reading.gaps} />
      <button
        type="button"
        class="legend-remove"
        aria-label={t.panels.removeSignal(fullName(signal))}
        title={t.panels.removeSignal(fullName(signal))}
        onClick={() => store.removeFromPanel(panel.id, signal.id ?? signal.key)}
      >
        <Icon name="close" />
      </button>
    </li>
  );
}

/// What changes in an entry while the rest of it stays: it is put into the document without drawing the entry anew.
function readingOf(store: Store, workspace: Workspace, signal: PanelSignal, tick: ReadonlySignal<number>) {
  let longest = kLeastRoom;
  const shown = computed(() => {
    tick.value;
    const history = historyOf(store, signal);
    const hover = workspace.hoverX();
    const value = history === null ? null : hover === null ? history.latest : history.valueAt(hover);
    const stale = hover === null && value !== null && signal.id !== null && store.stale(signal.id);
    const gaps = history === null ? 0 : gapsWithin(history.gaps, workspace.span());
    return { text: value === null ? texts().common.none : shownText(value), stale, gaps };
  });
  return {
    text: computed(() => shown.value.text),
    stale: computed(() => shown.value.stale),
    gaps: computed(() => shown.value.gaps),
    kind: computed(() => `legend-value figures ${shown.value.text.length > kLong ? "long" : ""}`),
    // Only grows, so that the entries beside it do not jump.
    room: computed(() => `width: ${(longest = Math.min(kMostRoom, Math.max(longest, shown.value.text.length + 1)))}ch`),
  };
}

function Gaps({ count }: { count: ReadonlySignal<number> }) {
  if (count.value === 0) return null;
  return (
    <span class="legend-gaps" data-testid="legend-gaps">
      {texts().panels.gaps(count.value)}
    </span>
  );
}

export function Swatch({ signal }: { signal: PanelSignal }) {
  const workspace = useWorkspace();
  const dashed = curveDash(signal.colour).length > 0;
  return (
    <span class={`swatch-line ${dashed ? "dashed" : ""}`} style={{ borderTopColor: curveColour(workspace.theme.value, signal.colour) }} />
  );
}
