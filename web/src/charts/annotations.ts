// What is drawn over the curves: markers of triggers, the two cursors and the stretches without data.
import type { ChartColours } from "./palette.ts";
import type { Span } from "./samples.ts";

/// A trigger's moment.
export interface Mark {
  readonly x: number;
  readonly label: string;
}

export interface Annotations {
  readonly span: Span;
  readonly marks: readonly Mark[];
  /// Times of the two measuring cursors.
  readonly cursors: { readonly a: number | null; readonly b: number | null };
}

/// CSS pixels that a marker with its name takes at most.
export const kNameRoom = 176;
const kLongestName = 160;

export interface Area {
  readonly left: number;
  readonly top: number;
  readonly width: number;
  readonly height: number;
}

export const kFont = '11px "Inter Variable", system-ui, sans-serif';

/// Where a time lies, and whether it lies within the area.
function placesIn({ left, width }: Area, { from, to }: Span) {
  return {
    position: (x: number) => Math.round(left + ((x - from) / (to - from)) * width),
    seen: (x: number | null): x is number => x !== null && x >= from && x <= to,
  };
}

/// Draws into `area`, which is in canvas pixels, `ratio` of them a CSS pixel.
export function drawAnnotations(pen: CanvasRenderingContext2D, area: Area, ratio: number, view: Annotations, colours: ChartColours): void {
  const { position, seen } = placesIn(area, view.span);
  pen.save();
  pen.font = kFont.replace("11px", `${11 * ratio}px`);
  pen.textBaseline = "top";
  pen.textAlign = "left";
  pen.lineWidth = ratio;
  let free = -Infinity;
  for (const mark of view.marks) {
    if (!seen(mark.x)) continue;
    const x = position(mark.x);
    line(pen, x, area, colours.marker, [ratio * 3, ratio * 3]);
    flag(pen, x, area, ratio, colours.marker);
    // Names that would lie over each other are left out; the list of markers has them all.
    if (x < free) continue;
    const label = shorten(pen, mark.label, Math.min(kLongestName * ratio, area.left + area.width - x - 10 * ratio));
    if (label === "") continue;
    const { width } = pen.measureText(label);
    pen.globalAlpha = 0.8;
    pen.fillStyle = colours.panel;
    pen.fillRect(x + 7 * ratio, area.top, width + 2 * ratio, 12 * ratio);
    pen.globalAlpha = 1;
    pen.fillStyle = colours.marker;
    pen.fillText(label, x + 8 * ratio, area.top + ratio);
    free = x + 16 * ratio + width;
  }
  shadeMeasured(pen, area, view, colours);
  const { a, b } = view.cursors;
  for (const [name, x] of [
    ["A", a],
    ["B", b],
  ] as const) {
    if (!seen(x)) continue;
    line(pen, position(x), area, colours.accent, []);
    badge(pen, name, position(x), area, ratio, colours);
  }
  pen.restore();
}

/// The same moments across states, where names would hide them, and the one under the pointer. A unit of the pen is a CSS pixel.
export function drawMoments(
  pen: CanvasRenderingContext2D,
  area: Area,
  view: Annotations & { readonly hover: number | null },
  colours: ChartColours,
): void {
  const { position, seen } = placesIn(area, view.span);
  pen.save();
  pen.lineWidth = 1;
  for (const { x } of view.marks) if (seen(x)) line(pen, position(x), area, colours.marker, [3, 3]);
  shadeMeasured(pen, area, view, colours);
  for (const x of [view.cursors.a, view.cursors.b]) if (seen(x)) line(pen, position(x), area, colours.accent, []);
  if (seen(view.hover)) line(pen, position(view.hover), area, colours.muted, []);
  pen.restore();
}

// The stretch between the cursors.
function shadeMeasured(pen: CanvasRenderingContext2D, area: Area, { span, cursors: { a, b } }: Annotations, colours: ChartColours): void {
  if (a === null || b === null) return;
  const { position } = placesIn(area, span);
  const left = Math.max(area.left, Math.min(position(a), position(b)));
  const right = Math.min(area.left + area.width, Math.max(position(a), position(b)));
  pen.globalAlpha = 0.1;
  pen.fillStyle = colours.accent;
  if (right > left) pen.fillRect(left, area.top, right - left, area.height);
  pen.globalAlpha = 1;
}

function line(pen: CanvasRenderingContext2D, x: number, area: Area, colour: string, dash: number[]): void {
  pen.strokeStyle = colour;
  pen.setLineDash(dash);
  pen.beginPath();
  pen.moveTo(x + 0.5, area.top);
  pen.lineTo(x + 0.5, area.top + area.height);
  pen.stroke();
  pen.setLineDash([]);
}

function flag(pen: CanvasRenderingContext2D, x: number, area: Area, ratio: number, colour: string): void {
  pen.fillStyle = colour;
  pen.beginPath();
  pen.moveTo(x, area.top);
  pen.lineTo(x + 6 * ratio, area.top + 4 * ratio);
  pen.lineTo(x, area.top + 8 * ratio);
  pen.fill();
}

function badge(pen: CanvasRenderingContext2D, name: string, x: number, area: Area, ratio: number, colours: ChartColours): void {
  const size = 16 * ratio;
  const top = area.top + area.height - size;
  pen.fillStyle = colours.accent;
  pen.fillRect(x - size / 2, top, size, size);
  pen.fillStyle = colours.panel;
  pen.textAlign = "center";
  pen.fillText(name, x, top + 2.5 * ratio);
  pen.textAlign = "left";
}

/// As much of the text as has room; "" where that is nothing.
export function shorten(pen: CanvasRenderingContext2D, text: string, width: number): string {
  if (pen.measureText(text).width <= width) return text;
  let end = text.length;
  while (end > 0 && pen.measureText(`${text.slice(0, end)}…`).width > width) end -= Math.ceil(end / 8);
  return end > 0 ? `${text.slice(0, end)}…` : "";
}
