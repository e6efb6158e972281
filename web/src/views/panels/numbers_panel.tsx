// Values as big numbers, to be read from the driver's seat, with limits that say when something is wrong.
import { useRef, useState } from "preact/hooks";
import { texts } from "../../i18n/texts.ts";
import { drawSparkline } from "../../charts/sparkline.ts";
import { curveColour } from "../../charts/palette.ts";
import type { Panel } from "../../store/model.ts";
import { useStore, useWorkspace } from "../context.ts";
import { fullName, setOptions, type PanelSignal } from "../panel_signals.ts";
import { Dialog } from "../ui/dialog.tsx";
import { useDrawing, useSize } from "../ui/hooks.ts";
import { tileColumns } from "../layout.ts";
import { Icon } from "../ui/icons.tsx";
import { Swatch } from "./legend.tsx";
import { limitsOf, readingOf } from "./limits.ts";
import type { PanelProps } from "./panel_props.ts";
import { valueEntries } from "./saving.ts";
import { historyOf, shownText } from "./signal_data.ts";
import { numbersCsv } from "./value_files.ts";

export function NumbersPanel({ panel, signals, menu }: PanelProps) {
  const store = useStore();
  const t = texts();
  const [editing, setEditing] = useState<string | null>(null);
  const whole = useRef<HTMLDivElement>(null);
  const columns = tileColumns(signals.length, useSize(whole));
  const title = panel.title !== "" ? panel.title : t.panels.kinds.numbers;
  menu.current = () => [
    ...valueEntries(store, title, whole, store.viewX, () => numbersCsv(store, panel, signals)),
    { title: t.panels.limits, items: signals.map((signal) => ({ label: fullName(signal), action: () => setEditing(signal.key) })) },
  ];
  const edited = signals.find(({ key }) => key === editing);
  return (
    <div class="numbers-panel" ref={whole} style={{ gridTemplateColumns: `repeat(${columns}, minmax(0, 1fr))` }}>
      {signals.map((signal) => (
        <NumberTile key={signal.key} panel={panel} signal={signal} edit={() => setEditing(signal.key)} />
      ))}
      {edited !== undefined && <LimitsDialog panel={panel} signal={edited} close={() => setEditing(null)} />}
    </div>
  );
}

function NumberTile({ panel, signal, edit }: { panel: Panel; signal: PanelSignal; edit: () => void }) {
  const store = useStore();
  const t = texts();
  store.ticks.texts.value;
  const { value, limits, beyond, stale, note } = readingOf(store, panel, signal);
  const { low, high } = limits;
  const text = value === null ? "–" : shownText(value);
  return (
    <div
      class={`tile ${beyond ? "beyond" : ""} ${stale ? "stale" : ""}`}
      data-testid="number-tile"
      title={`${signal.name}\n${signal.logger}`}
    >
      <div class="tile-head">
        <Swatch signal={signal} />
        <button type="button" class="tile-name" title={`${t.panels.limits}: ${fullName(signal)}`} onClick={edit}>
          {signal.name}
        </button>
        {signal.origin !== "" && <span class="signal-origin">{signal.origin}</span>}
      </div>
      <p class={`tile-value figures ${text.length > 12 ? "long" : text.length > 7 ? "middle" : ""}`}>
        <span class="tile-number">{text}</span> <span class="unit">{signal.unit}</span>
      </p>
      <div class="tile-foot">
        {note !== "" && (
          <span class="tile-note">
            {beyond && <Icon name="warning" />}
            {note}
          </span>
        )}
        {note === "" && (low !== null || high !== null) && (
          <span class="tile-limits figures muted">{`${low ?? "…"} – ${high ?? "…"}`}</span>
        )}
        <TileSpark signal={signal} />
      </div>
    </div>
  );
}

const kSparkSeconds = 60;

function TileSpark({ signal }: { signal: PanelSignal }) {
  const store = useStore();
  const workspace = useWorkspace();
  const box = useRef<HTMLDivElement>(null);
  const canvas = useRef<HTMLCanvasElement>(null);
  const size = useSize(box);
  useDrawing(
    box,
    () => store.ticks.texts.value,
    () => {
      const history = historyOf(store, signal);
      const now = store.viewX();
      if (history === null || size.width === 0 || !Number.isFinite(now)) return;
      const { x, y } = history.points(now - kSparkSeconds, now);
      let least = Infinity;
      let most = -Infinity;
      for (const value of y) {
        least = Math.min(least, value);
        most = Math.max(most, value);
      }
      // What it is since its last value is not known.
      const stale = !store.paused.value && signal.id !== null && store.stale(signal.id);
      const base = least >= 0 && least < most * 0.6 ? 0 : least - (most - least) * 0.1;
      const shifted = y.map((value) => value - base);
      drawSparkline(
        canvas.current!,
        size,
        { x, y: shifted, gaps: history.gaps },
        { now, until: stale ? x[x.length - 1]! : now, seconds: kSparkSeconds, top: Math.max(most - base, 1e-12) },
        curveColour(workspace.theme.value, signal.colour),
      );
    },
    [size.width, size.height],
  );
  return (
    <div class="tile-spark" ref={box}>
      <canvas ref={canvas} aria-hidden="true" />
    </div>
  );
}

function LimitsDialog({ panel, signal, close }: { panel: Panel; signal: PanelSignal; close: () => void }) {
  const store = useStore();
  const t = texts();
  const limits = limitsOf(panel, signal);
  return (
    <Dialog title={`${t.panels.limits}: ${fullName(signal)}`} close={close}>
      <form
        class="form"
        onSubmit={(event) => {
          event.preventDefault();
          const data = new FormData(event.currentTarget);
          const read = (name: string) => (data.get(name) === "" ? null : Number(data.get(name)));
          setOptions(store, panel, { [`low:${signal.key}`]: read("low"), [`high:${signal.key}`]: read("high") });
          close();
        }}
      >
        <label class="field">
          {t.panels.limitLow}
          <input type="number" step="any" name="low" value={limits.low ?? ""} />
        </label>
        <label class="field">
          {t.panels.limitHigh}
          <input type="number" step="any" name="high" value={limits.high ?? ""} />
        </label>
        <div class="form-buttons">
          <button type="button" class="button plain" onClick={close}>
            {t.common.cancel}
          </button>
          <button type="submit" class="button primary">
            {t.common.save}
          </button>
        </div>
      </form>
    </Dialog>
  );
}
