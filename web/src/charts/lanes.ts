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

/// Whether all names have room beside the lanes, `room` CSS pixels wide.
export function laneNamesFit(canvas: HTMLCanvasElement, names: readonly string[], room: number): boolean {
  const pen = canvas.getContext("2d")!;
  pen.save();
  pen.setTransform(1, 0, 0, 1, 0, 0);
  pen.font = kLaneFont;
  const fit = names.every((name) => pen.measureText(name).width <= room);
  pen.restore();
  return fit;
}

/// Where the lanes stand that their names leave free, from the top down: in pieces when names stand above.
export function laneBoxes(area: LaneArea, count: number): { left: number; top: number; width: number; height: number }[] {
  const { left, width, laneHeight, above = 0 } = area;
  if (above === 0) return [{ left, top: 0, width, height: count * laneHeight }];
  return Array.from({ length: count }, (_, row) => ({ left, top: row * (laneHeight + above) + above, width, height: laneHeight }));
}

/// The names of the lanes: above them where the area has room there, else beside them, as far as `right`.
export function drawLaneNames(
  pen: CanvasRenderingContext2D,
  { left, width, laneHeight, above = 0 }: LaneArea,
  names: readonly string[],
  right: number,
  colours: ChartColours,
): void {
  pen.font = kLaneFont;
  pen.textBaseline = "middle";
  pen.fillStyle = colours.muted;
  pen.textAlign = above > 0 ? "left" : "right";
  names.forEach((name, row) => {
    const top = row * (laneHeight + above);
    if (above > 0) pen.fillText(fitting(pen, name, width), left, top + above / 2 + 1);
    else pen.fillText(name, right, top + laneHeight / 2);
  });
  pen.textAlign = "left";
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
  pen.fillStyle = colour;
  pen.fillText(fitting(pen, text, room), left, middle);
}

// As much of the text as has room; nothing where that is less than a character.
function fitting(pen: CanvasRenderingContext2D, text: string, room: number): string {
  const { width } = pen.measureText(text);
  if (width <= room) return text;
  const fit = Math.max(0, Math.floor((text.length * (room - 8)) / width));
  const shown = `${text.slice(0, fit)}…`;
  return fit === 0 || pen.measureText(shown).width > room ? "" : shown;
}
