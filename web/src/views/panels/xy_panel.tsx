// Two signals against each other over the last seconds, or over what the time axis shows.
import { useLayoutEffect, useRef, useState } from "preact/hooks";
import { curveColour, readColours, type ChartColours } from "../../charts/palette.ts";
import { XyChart } from "../../charts/xy_chart.ts";
import { texts } from "../../i18n/texts.ts";
import { useStore, useWorkspace } from "../context.ts";
import { isAway, setOptions } from "../panel_signals.ts";
import { useDrawing, useSize } from "../ui/hooks.ts";
import { Nothing } from "../ui/states.tsx";
import { useMarks } from "./marks.ts";
import type { PanelProps } from "./panel_props.ts";
import { csvEntry, pngEntry } from "./saving.ts";
import { historyOf, samplesOf, shownText } from "./signal_data.ts";
import { useThemeColours } from "./theme_colours.ts";

const kSeconds = [5, 10, 30, 60, 300];
const kUsualSeconds = 30;

export function XyPanel({ panel, signals, menu }: PanelProps) {
  const store = useStore();
  const workspace = useWorkspace();
  const t = texts();
  const host = useRef<HTMLDivElement>(null);
  const chart = useRef<XyChart | null>(null);
  const colours = useRef<ChartColours | null>(null);
  const revision = useRef(-1);
  const [anyPair, setAnyPair] = useState(false);
  const { width, height } = useSize(host);
  const theme = workspace.theme.value;
  const marks = useMarks();
  const [first, second] = signals;
  const seconds = typeof panel.options["seconds"] === "number" ? panel.options["seconds"] : kUsualSeconds;
  useLayoutEffect(() => {
    colours.current = readColours(host.current!);
    return () => chart.current?.destroy();
  }, []);
  const stroke = useRef<() => string>(() => "");
  stroke.current = () => curveColour(workspace.theme.value, second?.colour ?? 0);
  const draw = () => {
    if (first === undefined || second === undefined || width === 0) return;
    chart.current ??= new XyChart(
      host.current!,
      () => colours.current!,
      () => stroke.current(),
    );
    chart.current.resize(width, height);
    const edge = workspace.span().to;
    if (!Number.isFinite(edge)) return;
    const span = { from: edge - seconds, to: edge };
    const [x, y] = [historyOf(store, first), historyOf(store, second)];
    const some = chart.current.draw({
      x: x === null ? null : samplesOf(x, span),
      y: y === null ? null : samplesOf(y, span),
      span,
      at: workspace.hoverX(),
      marks,
      eager: workspace.viewRevision.value !== revision.current,
    });
    revision.current = workspace.viewRevision.value;
    if (some !== anyPair) setAnyPair(some);
  };
  useThemeColours(theme, host, colours, draw);
  useDrawing(
    host,
    () => {
      store.ticks.curves.value;
      workspace.view.value;
      workspace.hover.value;
    },
    draw,
    [width, height, marks, panel],
  );
  const title = panel.title !== "" ? panel.title : t.panels.kinds.xy;
  const seen = () => {
    const { to } = workspace.span();
    return { title, signals: signals.slice(0, 2), span: { from: to - seconds, to } };
  };
  menu.current = () => [
    {
      items: [
        csvEntry(store, seen),
        pngEntry(store, workspace, () => ({ ...seen(), canvases: [chart.current?.canvas], colours: colours.current! })),
        {
          label: t.panels.swap,
          disabled: second === undefined,
          action: () => store.changePanel(panel.id, { signals: [panel.signals[1]!, panel.signals[0]!, ...panel.signals.slice(2)] }),
        },
      ],
    },
    {
      items: kSeconds.map((value) => ({
        label: t.panels.lastSeconds(value),
        checked: value === seconds,
        action: () => setOptions(store, panel, { seconds: value }),
      })),
    },
  ];
  return (
    <div class="xy-panel">
      <AxisName axis="y" signal={second} />
      <div class="plot">
        <div
          class={`plot-curves ${anyPair ? "" : "hidden"}`}
          ref={host}
          role="img"
          aria-label={`${second?.name ?? "–"} / ${first?.name ?? "–"}`}
        />
        {second === undefined ? (
          <Nothing icon="xy" text={t.panels.emptyXy} />
        ) : (
          !anyPair && <Nothing icon="xy" text={t.panels.noValue} waiting={!signals.slice(0, 2).some(isAway)} />
        )}
      </div>
      <AxisName axis="x" signal={first} seconds={t.panels.lastSeconds(seconds)} />
    </div>
  );
}

function AxisName({ axis, signal, seconds }: { axis: "x" | "y"; signal: PanelProps["signals"][number] | undefined; seconds?: string }) {
  const store = useStore();
  const workspace = useWorkspace();
  store.ticks.texts.value;
  const history = signal === undefined ? null : historyOf(store, signal);
  const hover = workspace.hoverX();
  const shown = history === null ? null : hover === null ? history.latest : history.valueAt(hover);
  return (
    <p class="axis-name">
      <span class="muted axis-letter">{axis}</span>
      <span class="axis-signal" title={signal?.name}>
        {signal?.name ?? "–"}
      </span>
      {signal !== undefined && signal.origin !== "" && <span class="signal-origin">{signal.origin}</span>}
      {signal !== undefined && isAway(signal) ? (
        <span class="muted">{signal.away}</span>
      ) : (
        <>
          <span class="figures">{shown === null ? "–" : shownText(shown)}</span>
          <span class="unit">{signal?.unit}</span>
        </>
      )}
      {seconds !== undefined && <span class="muted axis-seconds">{seconds}</span>}
    </p>
  );
}
