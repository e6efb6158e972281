// States over time, a lane a signal, with the state that holds now. A signal without states is a small curve.
import { useLayoutEffect, useRef } from "preact/hooks";
import { drawMoments } from "../../charts/annotations.ts";
import { preparePen } from "../../charts/canvas.ts";
import { drawLanes, kLaneFont, laneBoxes } from "../../charts/lanes.ts";
import { curveColour, readColours, type ChartColours } from "../../charts/palette.ts";
import { extent, type Samples, type Span } from "../../charts/samples.ts";
import { drawSamples } from "../../charts/series_path.ts";
import { tickLabel, ticks, tickStep } from "../../charts/time_ticks.ts";
import { texts } from "../../i18n/texts.ts";
import { networkClock, useStore, useWorkspace } from "../context.ts";
import { fullName, isAway, type PanelSignal } from "../panel_signals.ts";
import { useDrawing, useSize } from "../ui/hooks.ts";
import { Swatch } from "./legend.tsx";
import type { PanelProps } from "./panel_props.ts";
import { csvEntry, pngEntry } from "./saving.ts";
import { historyOf, laneOf, samplesOf, shownText } from "./signal_data.ts";
import { SignalName } from "./signal_name.tsx";
import { useThemeColours } from "./theme_colours.ts";
import { timeGestures } from "./time_gestures.ts";
import { useMarks } from "./marks.ts";

const kLane = 32;
/// Panels narrower than that have names above the lanes instead of beside them. CSS pixels.
const kRoomBeside = 480;
const kNameAbove = 24;
const kAxis = 24;

export function LanesPanel({ panel, signals, menu }: PanelProps) {
  const store = useStore();
  const workspace = useWorkspace();
  const t = texts();
  const whole = useRef<HTMLDivElement>(null);
  const area = useRef<HTMLDivElement>(null);
  const canvas = useRef<HTMLCanvasElement>(null);
  const selection = useRef<HTMLDivElement>(null);
  const colours = useRef<ChartColours | null>(null);
  const { width } = useSize(area);
  const theme = workspace.theme.value;
  const narrow = useSize(whole).width < kRoomBeside;
  const above = narrow ? kNameAbove : 0;
  const pitch = kLane + above;
  const height = signals.length * pitch + kAxis;
  const title = panel.title !== "" ? panel.title : t.panels.kinds.lanes;
  menu.current = () => [
    {
      items: [
        csvEntry(store, () => ({ title, signals, span: workspace.span() })),
        pngEntry(store, workspace, () => ({
          title,
          signals,
          span: workspace.span(),
          canvases: [canvas.current],
          colours: colours.current!,
        })),
      ],
    },
  ];
  useLayoutEffect(
    () => timeGestures(area.current!, workspace, () => ({ left: 0, width: area.current!.clientWidth }), selection.current!),
    [],
  );
  useThemeColours(theme, canvas, colours, () => draw());
  const marks = useMarks();
  const draw = () => {
    const span = workspace.span();
    if (width === 0 || !Number.isFinite(span.to)) return;
    colours.current ??= readColours(canvas.current!);
    const pen = preparePen(canvas.current!, width, height);
    const lanesArea = { left: 0, width, laneHeight: kLane, above };
    const now = Math.min(span.to, store.viewX());
    const histories = signals.map((signal) => ({
      history: historyOf(store, signal),
      colour: curveColour(workspace.theme.value, signal.colour),
    }));
    const lanes = histories.map(({ history, colour }) => ({ data: history?.discrete === true ? laneOf(history, span) : null, colour }));
    drawLanes(pen, lanesArea, span, now, lanes, colours.current);
    histories.forEach(({ history, colour }, row) => {
      if (history === null || history.discrete) return;
      drawSmallCurve(
        pen,
        samplesOf(history, span),
        { span, left: 0, width, top: row * pitch + above + 5, height: kLane - 10 },
        colour,
        now,
      );
    });
    drawAxis(pen, span, width, signals.length * pitch);
    const moments = { span, marks, cursors: workspace.cursors.value, hover: workspace.hoverX() };
    for (const box of laneBoxes(lanesArea, signals.length)) drawMoments(pen, box, moments, colours.current);
  };
  const drawAxis = (pen: CanvasRenderingContext2D, span: Span, across: number, top: number) => {
    const clock = networkClock(store);
    const step = tickStep(span, across, 88);
    pen.font = kLaneFont;
    pen.fillStyle = colours.current!.muted;
    pen.textAlign = "center";
    pen.textBaseline = "top";
    for (const x of ticks(span, step)) {
      const label = tickLabel(clock, x, step);
      const middle = ((x - span.from) / (span.to - span.from)) * across;
      const half = pen.measureText(label).width / 2;
      if (middle >= half && middle + half <= across) pen.fillText(label, middle, top + 6);
    }
    pen.textAlign = "left";
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
    [width, marks, panel, theme, signals.length, narrow],
  );
  return (
    <div class={`lanes-panel ${narrow ? "narrow" : ""}`} ref={whole}>
      <ul class="lane-names">
        {signals.map((signal) => (
          <LaneName key={signal.key} signal={signal} />
        ))}
      </ul>
      <div class="lanes-area" ref={area} role="img" aria-label={`${t.panels.kinds.lanes}: ${signals.map(fullName).join(", ")}`}>
        <canvas ref={canvas} />
        <div class="selection" ref={selection} />
      </div>
    </div>
  );
}

function LaneName({ signal }: { signal: PanelSignal }) {
  const store = useStore();
  const workspace = useWorkspace();
  store.ticks.texts.value;
  const history = historyOf(store, signal);
  const hover = workspace.hoverX();
  const shown = history === null ? null : hover === null ? history.latest : history.valueAt(hover);
  const away = isAway(signal) ? signal.away : null;
  return (
    <li class={`lane-name ${away !== null ? "away" : ""}`} title={`${signal.name}\n${signal.logger}`}>
      <Swatch signal={signal} />
      <SignalName class="lane-label" signal={signal} />
      {away !== null ? (
        <span class="lane-state" title={away}>
          {away}
        </span>
      ) : (
        <span class="lane-state figures">
          {shown === null ? "–" : shownText(shown)} <span class="unit">{signal.unit}</span>
        </span>
      )}
    </li>
  );
}

interface Box {
  readonly span: Span;
  readonly left: number;
  readonly width: number;
  readonly top: number;
  readonly height: number;
}

function drawSmallCurve(pen: CanvasRenderingContext2D, samples: Samples, box: Box, colour: string, now: number): void {
  const seen = extent(samples, box.span);
  if (seen === null) return;
  const room = seen.max > seen.min ? 0 : 1;
  const path = new Path2D();
  drawSamples(path, samples, { ...box, min: seen.min - room, max: seen.max + room }, "slope", now);
  pen.strokeStyle = colour;
  pen.lineWidth = 1.25;
  pen.stroke(path);
}
