// States over time: one lane a signal, a block as long as each state lasted, its text inside where it fits.
import type { ChartColours } from "./palette.ts";
import { firstGapAfter, type Gap, type Span } from "./samples.ts";

/// A discrete signal's points. `text` names the state of a point; equal texts join to one block.
export interface LaneData {
  readonly x: Float64Array;
  readonly text: (index: number) => string;
  readonly gaps: readonly Gap[];
}

export interface Lane {
  readonly data: LaneData | null;
  readonly colour: string;
}

/// Where lanes lie, in CSS pixels.
export interface LaneArea {
  readonly left: number;
  readonly width: number;
  readonly laneHeight: number;
  /// Room above each lane, for its name; 0 without one.
  readonly above?: number;
}

export const kLaneFont = '11px "Inter Variable", system-ui, sans-serif';

/// Draws all lanes from the top of the canvas, whose pen is scaled to CSS pixels. States last until `now` at most.
export function drawLanes(
  pen: CanvasRenderingContext2D,
  area: LaneArea,
  span: Span,
  now: number,
  lanes: readonly Lane[],
  colours: ChartColours,
): void {
  pen.font = kLaneFont;
  pen.textBaseline = "middle";
  lanes.forEach((lane, row) => {
    const above = area.above ?? 0;
    const top = row * (area.laneHeight + above) + above + 2;
    pen.fillStyle = colours.grid;
    pen.globalAlpha = 0.5;
    pen.fillRect(area.left, top, area.width, area.laneHeight - 4);
    pen.globalAlpha = 1;
    if (lane.data !== null) drawLane(pen, area, span, now, lane.data, lane.colour, top, colours);
  });
}

function drawLane(
  pen: CanvasRenderingContext2D,
  area: LaneArea,
  span: Span,
  now: number,
  data: LaneData,
  colour: string,
  top: number,
  colours: ChartColours,
): void {
  const scale = area.width / (span.to - span.from);
  const height = area.laneHeight - 4;
  for (const block of blocks(data, now)) {
    const from = Math.max(area.left, area.left + (block.from - span.from) * scale);
    const to = Math.min(area.left + area.width, area.left + (block.to - span.from) * scale);
    if (to <= from) continue;
    const width = Math.max(1, to - from - (to - from > 3 ? 1 : 0));
    pen.globalAlpha = block.shade;
    pen.fillStyle = colour;
    pen.fillRect(from, top, width, height);
    pen.globalAlpha = 1;
    pen.fillRect(from, top, Math.min(2, width), height);
    label(pen, block.text, from + 6, top + height / 2, width - 10, colours.text);
  }
}

interface Block {
  readonly from: number;
  readonly to: number;
  readonly text: string;
  readonly shade: number;
}

/// The stretches of equal state, oldest first.
export function* blocks(data: LaneData, now: number): Generator<Block> {
  const { x, text, gaps } = data;
  let gap = x.length > 0 ? firstGapAfter(gaps, x[0]!) : 0;
  let begin = 0;
  for (let index = 1; index <= x.length; ++index) {
    const next = index < x.length ? x[index]! : now;
    while (gap < gaps.length && gaps[gap]!.to <= x[index - 1]!) ++gap;
    const broken = gap < gaps.length && gaps[gap]!.from < next && gaps[gap]!.to > x[index - 1]! ? gaps[gap]! : null;
    if (index < x.length && broken === null && text(index) === text(begin)) continue;
    const name = text(begin);
    const to = broken === null ? next : Math.min(next, Math.max(broken.from, x[index - 1]!));
    yield { from: x[begin]!, to, text: name, shade: shade(name) };
    begin = index;
  }
}

// States of one signal share its colour; how strong it is tells neighbours apart.
function shade(text: string): number {
  let hash = 7;
  for (let index = 0; index < text.length; ++index) hash = (hash * 31 + text.charCodeAt(index)) | 0;
  return 0.14 + (Math.abs(hash) % 4) * 0.09;
}

function label(pen: CanvasRenderingContext2D, text: string, left: number, middle: number, room: number, colour: string): void {
  if (room < 12 || text === "") return;
  let shown = text;
  let width = pen.measureText(shown).width;
  if (width > room) {
    const fit = Math.max(0, Math.floor((text.length * (room - 8)) / width));
    if (fit === 0) return;
    shown = `${text.slice(0, fit)}…`;
    width = pen.measureText(shown).width;
    if (width > room) return;
  }
  pen.fillStyle = colour;
  pen.fillText(shown, left, middle);
}
