// The axes of a chart: one division of the height for all value axes, round times below.
import type uPlot from "uplot";
import { axisNumber } from "./numbers.ts";
import type { ChartColours } from "./palette.ts";
import type { SteadyScale } from "./steady_scale.ts";
import { labelFits, tickLabel, ticks, tickStep } from "./time_ticks.ts";
import type { ZoneClock } from "./zone_clock.ts";

const kFont = '11px "Inter Variable", system-ui, sans-serif';
const kTimeSpace = 88;
/// Height in pixels of the axis of time.
export const kTimeAxis = 24;
/// Room beside the plotting area in pixels where no value axis stands.
export const kBeside = 12;

/// Between the plotting area and the numbers of its value axes, in pixels.
const kGap = 6;
/// How far above the plotting area's top edge a unit stands, so that it is clear of the number there.
const kUnitAbove = 11;
/// Width in pixels of a value axis; the same for all, so that charts above each other share their edges.
export const kAxisWidth = 56;

/// A value axis: the scale that it shows, in which colour, and on which side.
export interface ValueAxis {
  readonly key: string;
  readonly scale: SteadyScale;
  readonly colour: () => string;
  readonly unit: string;
  readonly side: "left" | "right";
  /// Whether its divisions are drawn across the chart. Those of all scales lie at the same heights.
  readonly grid: boolean;
}

/// The axis of time; `zone` is asked at each drawing. On the `sides` stand value axes.
export function timeAxis(colours: () => ChartColours, zone: () => ZoneClock, sides: readonly ValueAxis["side"][]): uPlot.Axis {
  // What would be cut off, or touch the lowest of the values beside it, is left out.
  const room = (side: ValueAxis["side"]) => (sides.includes(side) ? 0 : kBeside);
  const step = (u: uPlot, from: number, to: number) => tickStep({ from, to }, u.bbox.width / devicePixelRatio, kTimeSpace);
  return {
    scale: "x",
    stroke: () => colours().muted,
    font: kFont,
    size: kTimeAxis,
    gap: 4,
    grid: { stroke: () => colours().grid, width: 1 },
    ticks: { show: false },
    splits: (u, _axis, from, to) => ticks({ from, to }, step(u, from, to)),
    values: (u, splits) => {
      const { min = 0, max = 1 } = u.scales["x"]!;
      const distance = step(u, min, max);
      const width = u.bbox.width / devicePixelRatio;
      return splits.map((x) => {
        const label = tickLabel(zone(), x, distance);
        return labelFits(label, x, { from: min, to: max }, width, { left: room("left"), right: room("right") }) ? label : "";
      });
    },
  };
}

export function valueAxis(axis: ValueAxis, colours: () => ChartColours): uPlot.Axis {
  return {
    scale: axis.key,
    side: axis.side === "left" ? 3 : 1,
    stroke: axis.colour,
    font: kFont,
    size: kAxisWidth,
    gap: kGap,
    grid: { show: axis.grid, stroke: () => colours().grid, width: 1 },
    ticks: { show: false },
    splits: () => axis.scale.splits,
    values: (_u, splits) => numbersOf(axis.scale, splits),
  };
}

/// Room above the plotting area in pixels: half a number, and a line for units where there are any.
export function roomAbove(axes: readonly ValueAxis[]): number {
  return axes.some(({ unit }) => unit !== "") ? kUnitAbove + 12 : 10;
}

/// Writes each axis' unit above its numbers. The area is in canvas pixels, `ratio` of them a CSS pixel.
export function drawUnits(
  pen: CanvasRenderingContext2D,
  area: { readonly left: number; readonly top: number; readonly width: number },
  ratio: number,
  axes: readonly ValueAxis[],
): void {
  pen.save();
  pen.font = kFont.replace("11px", `${11 * ratio}px`);
  pen.textBaseline = "alphabetic";
  for (const side of ["left", "right"] as const) {
    pen.textAlign = side === "left" ? "right" : "left";
    axes
      .filter((axis) => axis.side === side)
      .forEach(({ unit, colour, scale }, place) => {
        if (!scale.fitted) return;
        const away = (kGap + place * kAxisWidth) * ratio;
        pen.fillStyle = colour();
        const x = side === "left" ? area.left - away : area.left + area.width + away;
        pen.fillText(unit, x, area.top - kUnitAbove * ratio, (kAxisWidth - kGap - 2) * ratio);
      });
  }
  pen.restore();
}

/// How the divisions of a scale are written; not at all before it has seen a value.
export function numbersOf(scale: SteadyScale, splits: readonly number[]): string[] {
  return splits.map((value) => (scale.fitted ? axisNumber(value, scale.step, scale.size) : ""));
}
