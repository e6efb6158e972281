// A chart of several signals: curves above, states in lanes below, all on one time axis.
import { useLayoutEffect, useRef, useState } from "preact/hooks";
import { drawMoments } from "../../charts/annotations.ts";
import { preparePen } from "../../charts/canvas.ts";
import { drawLaneNames, drawLanes, laneBoxes, laneNamesFit } from "../../charts/lanes.ts";
import { curveColour, curveDash, readColours, type ChartColours } from "../../charts/palette.ts";
import { TimeChart, type Trace } from "../../charts/time_chart.ts";
import type { Span } from "../../charts/samples.ts";
import { texts } from "../../i18n/texts.ts";
import type { SignalHistory } from "../../store/model.ts";
import { networkClock, useStore, useWorkspace } from "../context.ts";
import { fullName, optionOf, setOptions, type PanelSignal } from "../panel_signals.ts";
import { useDrawing, useHiddenAfar, useSize } from "../ui/hooks.ts";
import { Nothing } from "../ui/states.tsx";
import { Legend } from "./legend.tsx";
import { useMarks } from "./marks.ts";
import { MeasureTable } from "./measure_table.tsx";
import type { PanelProps } from "./panel_props.ts";
import { csvEntry, pngEntry } from "./saving.ts";
import { historyOf, laneOf, samplesOf } from "./signal_data.ts";
import { useThemeColours } from "./theme_colours.ts";
import { timeGestures } from "./time_gestures.ts";

const kLaneHeight = 24;
/// CSS pixels above a lane for its name, where that is too long for the room beside it.
const kNameAbove = 16;
const kGutter = 8;

export function ChartPanel({ panel, signals, menu }: PanelProps) {
  const store = useStore();
  const workspace = useWorkspace();
  const t = texts();
  const area = useRef<HTMLDivElement>(null);
  const host = useRef<HTMLDivElement>(null);
  const lanes = useRef<HTMLCanvasElement>(null);
  const selection = useRef<HTMLDivElement>(null);
  const chart = useRef<TimeChart | null>(null);
  const colours = useRef<ChartColours | null>(null);
  const drawn = useRef({ traces: "", revision: -1 });
  const { width, height } = useSize(host);
  useHiddenAfar(host);
  const [laneKeys, setLaneKeys] = useState("");
  const [anyData, setAnyData] = useState(false);
  const theme = workspace.theme.value;
  const marks = useMarks();
  const measuring = Object.values(workspace.cursors.value).some((x) => x !== null);
  const asSteps = panel.options["steps"] === true;

  useLayoutEffect(() => {
    const made = new TimeChart(host.current!, () => colours.current!);
    chart.current = made;
    colours.current = readColours(host.current!);
    const stop = timeGestures(area.current!, workspace, () => made.area, selection.current!);
    return () => {
      stop();
      made.destroy();
      chart.current = null;
    };
  }, []);
  useThemeColours(theme, host, colours, () => draw());

  const draw = () => {
    const made = chart.current;
    if (made === null || width === 0 || height === 0) return;
    const all = signals.map((signal) => ({ signal, history: historyOf(store, signal) }));
    const lane = all.filter(({ history }) => history?.discrete === true && !asSteps);
    const curves = all.filter((one) => !lane.includes(one));
    const keys = lane.map(({ signal }) => signal.key).join("\r");
    if (keys !== laneKeys) setLaneKeys(keys);
    const some = all.some(({ history }) => history !== null && history.arrivedAt > -Infinity);
    if (some !== anyData) setAnyData(some);
    const configured = curves.map(({ signal }) => `${signal.key}\r${signal.colour}\r${scaleKey(signal)}`).join("\n");
    if (configured !== drawn.current.traces) {
      drawn.current.traces = configured;
      made.setTraces(curves.map(({ signal }) => trace(signal)));
    }
    made.resize(width, height);
    const span = workspace.span();
    if (!Number.isFinite(span.to)) return;
    const now = Math.min(span.to, store.viewX());
    const revision = workspace.viewRevision.value;
    made.draw({
      span,
      now,
      zone: networkClock(store),
      data: curves.map(({ history }) =>
        history === null
          ? null
          : {
              samples: samplesOf(history, span),
              style: history.discrete ? ("step" as const) : ("slope" as const),
              version: history.rebuilt,
            },
      ),
      marks,
      cursors: workspace.cursors.value,
      eager: revision !== drawn.current.revision,
    });
    drawn.current.revision = revision;
    made.setHair(workspace.hoverX());
    if (lanes.current !== null && lane.length > 0) drawLanesBelow(lane, span, now);
  };
  const drawLanesBelow = (lane: readonly { signal: PanelSignal; history: SignalHistory | null }[], span: Span, now: number) => {
    const canvas = lanes.current!;
    const { left, width: across } = chart.current!.area;
    const names = lane.map(({ signal }) => fullName(signal));
    const above = laneNamesFit(canvas, names, left - kGutter) ? 0 : kNameAbove;
    const height = lane.length * (kLaneHeight + above);
    const pen = preparePen(canvas, width, height);
    const area = { left, width: across, laneHeight: kLaneHeight, above };
    const shown = lane.map(({ signal, history }) => ({
      data: laneOf(history!, span),
      colour: curveColour(workspace.theme.value, signal.colour),
    }));
    drawLanes(pen, area, span, now, shown, colours.current!);
    drawLaneNames(pen, area, names, left - kGutter, colours.current!);
    const moments = { span, marks, cursors: workspace.cursors.value, hover: workspace.hoverX() };
    for (const box of laneBoxes(area, lane.length)) drawMoments(pen, box, moments, colours.current!);
  };
  useDrawing(
    area,
    () => {
      store.ticks.curves.value;
      workspace.view.value;
      workspace.hover.value;
      workspace.cursors.value;
    },
    draw,
    [width, height, laneKeys, marks, panel, theme, signals.map(({ colour, unit }) => `${colour}${unit}`).join()],
  );

  const scaleKey = (signal: PanelSignal) =>
    signal.unit === "" || optionOf(panel, signal, "own") === true ? `own ${signal.key}` : `unit ${signal.unit}`;
  const trace = (signal: PanelSignal): Trace => ({
    id: signal.key,
    scale: scaleKey(signal),
    unit: signal.unit,
    colour: () => curveColour(workspace.theme.value, signal.colour),
    dash: curveDash(signal.colour),
  });
  const title = panel.title !== "" ? panel.title : t.panels.kinds.chart;
  menu.current = () => [
    {
      items: [
        csvEntry(store, () => ({ title, signals, span: workspace.span() })),
        pngEntry(store, workspace, () => ({
          title,
          signals,
          span: workspace.span(),
          canvases: [chart.current?.canvas, lanes.current],
          colours: colours.current!,
        })),
      ],
    },
    {
      title: t.panels.ownScale,
      items: signals
        .filter(({ unit }) => unit !== "" && signals.filter((other) => other.unit === unit).length > 1)
        .map((signal) => {
          const own = optionOf(panel, signal, "own") === true;
          return { label: fullName(signal), checked: own, action: () => setOptions(store, panel, { [`own:${signal.key}`]: !own }) };
        }),
    },
    { items: [{ label: t.panels.steps, checked: asSteps, action: () => setOptions(store, panel, { steps: !asSteps }) }] },
  ];

  return (
    <div class={`chart-panel ${measuring ? "measuring" : ""}`}>
      <Legend panel={panel} signals={signals} />
      <div class="plot" ref={area} role="img" aria-label={signals.map(fullName).join(", ")} data-testid="plot">
        <div class={`plot-curves ${anyData ? "" : "hidden"}`} ref={host} />
        {laneKeys !== "" && <canvas class="plot-lanes" ref={lanes} />}
        <div class="selection" ref={selection} />
        {!anyData && <Nothing icon="chart" text={t.panels.noValue} waiting />}
      </div>
      <MeasureTable signals={signals} />
    </div>
  );
}
