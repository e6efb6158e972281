// Markers where there is no axis of time: at the point where both signals stood in that moment.
import { kFont, shorten, type Area, type Mark } from "./annotations.ts";
import type { ChartColours } from "./palette.ts";
import { valueAt, type Samples, type Span } from "./samples.ts";

/// A marker and the values that held at its time.
export interface MarkedPoint {
  readonly mark: Mark;
  readonly x: number;
  readonly y: number;
}

/// The markers within the span at which both signals are known, in the order of the markers.
export function markedPoints(x: Samples, y: Samples, marks: readonly Mark[], span: Span): MarkedPoint[] {
  return marks
    .filter((mark) => mark.x >= span.from && mark.x <= span.to)
    .map((mark) => ({ mark, x: valueAt(x, mark.x), y: valueAt(y, mark.x) }))
    .filter((point) => Number.isFinite(point.x) && Number.isFinite(point.y));
}

const kSides = ["right", "left", "above", "below"] as const;
export type Side = (typeof kSides)[number];

/// Measures in CSS pixels: half of a mark's size, its distance from its name, height and greatest width of a name.
const kHalf = 4;
const kDistance = 4;
const kNameHeight = 14;
const kMostWidth = 120;

function besides(side: Side, left: number, top: number, width: number, ratio: number): Area {
  const [away, height] = [(kHalf + kDistance) * ratio, kNameHeight * ratio];
  switch (side) {
    case "right":
      return { left: left + away, top: top - height / 2, width, height };
    case "left":
      return { left: left - away - width, top: top - height / 2, width, height };
    case "above":
      return { left: left - width / 2, top: top - away - height, width, height };
    case "below":
      return { left: left - width / 2, top: top + away, width, height };
  }
}

function within(inner: Area, outer: Area): boolean {
  return (
    inner.left >= outer.left &&
    inner.top >= outer.top &&
    inner.left + inner.width <= outer.left + outer.width &&
    inner.top + inner.height <= outer.top + outer.height
  );
}

function overlap(a: Area, b: Area): boolean {
  return a.left < b.left + b.width && b.left < a.left + a.width && a.top < b.top + b.height && b.top < a.top + a.height;
}

function around(left: number, top: number, half: number): Area {
  return { left: left - half, top: top - half, width: 2 * half, height: 2 * half };
}

interface Place {
  readonly side: Side;
  readonly box: Area;
}

/// A place on the canvas, and how wide what stands beside it is.
export interface Named {
  readonly left: number;
  readonly top: number;
  readonly width: number;
}

/// Where the names of marks stand: beside their marks, within the area, and over nothing that is `taken`, another mark or another
/// name. A name stays on the side on which it was before, so that it does not jump; else it takes the one where it hides the least of
/// the curve, as `hidden` tells. Null: it has no room.
export function placeNames(
  marks: readonly Named[],
  area: Area,
  taken: readonly Area[],
  ratio: number,
  before: readonly (Side | null)[],
  hidden: (box: Area) => number,
): (Place | null)[] {
  const full = [...taken, ...marks.map(({ left, top }) => around(left, top, kHalf * ratio))];
  return marks.map(({ left, top, width }, index) => {
    const free = kSides
      .map((side) => ({ side, box: besides(side, left, top, width, ratio) }))
      .filter(({ box }) => within(box, area) && !full.some((other) => overlap(box, other)));
    const found = free.find(({ side }) => side === before[index]) ?? leastOf(free, ({ box }) => hidden(box));
    if (found !== null) full.push(found.box);
    return found;
  });
}

function leastOf<Item>(items: readonly Item[], cost: (item: Item) => number): Item | null {
  let least: { item: Item; cost: number } | null = null;
  for (const item of items) {
    const own = cost(item);
    if (least === null || own < least.cost) least = { item, cost: own };
  }
  return least?.item ?? null;
}

/// How many of the lines from point to point may go through a box. NaN is no point.
export function linesThrough(left: Float64Array, top: Float64Array, count: number, box: Area): number {
  let found = 0;
  for (let index = 1; index < count; ++index) {
    const [fromLeft, toLeft] = [left[index - 1]!, left[index]!];
    const [fromTop, toTop] = [top[index - 1]!, top[index]!];
    const across = Math.max(fromLeft, toLeft) > box.left && Math.min(fromLeft, toLeft) < box.left + box.width;
    if (across && Math.max(fromTop, toTop) > box.top && Math.min(fromTop, toTop) < box.top + box.height) ++found;
  }
  return found;
}

/// Draws marks with their names; remembers on which side of its mark each name stands.
export class XyMarks {
  readonly #sides = new WeakMap<Mark, Side>();

  /// Draws into `area`, which is in canvas pixels, `ratio` of them a CSS pixel. `place` tells where values lie, and
  /// `hidden` how much of the curve a box would hide. Its end, a dot with `end.half` around it, is left free of names.
  draw(
    pen: CanvasRenderingContext2D,
    points: readonly MarkedPoint[],
    place: (point: { readonly x: number; readonly y: number }) => { left: number; top: number },
    end: { readonly x: number; readonly y: number; readonly half: number } | null,
    area: Area,
    ratio: number,
    colours: ChartColours,
    hidden: (box: Area) => number,
  ): void {
    if (points.length === 0) return;
    pen.save();
    pen.font = kFont.replace("11px", `${11 * ratio}px`);
    pen.textBaseline = "middle";
    pen.textAlign = "left";
    const named = points.map((point) => {
      const label = shorten(pen, point.mark.label, kMostWidth * ratio);
      return { ...place(point), label, width: label === "" ? 0 : pen.measureText(label).width + 4 * ratio };
    });
    const taken = end === null ? [] : [around(place(end).left, place(end).top, end.half)];
    const sides = points.map(({ mark }) => this.#sides.get(mark) ?? null);
    const places = placeNames(named, area, taken, ratio, sides, hidden);
    // The newest marker comes first, and lies above the others.
    for (let index = named.length - 1; index >= 0; --index) diamond(pen, named[index]!.left, named[index]!.top, ratio, colours);
    places.forEach((found, index) => {
      if (found === null) return;
      this.#sides.set(points[index]!.mark, found.side);
      const { left, top, width, height } = found.box;
      pen.globalAlpha = 0.8;
      pen.fillStyle = colours.panel;
      pen.fillRect(left, top, width, height);
      pen.globalAlpha = 1;
      pen.fillStyle = colours.marker;
      pen.fillText(named[index]!.label, left + 2 * ratio, top + height / 2 + 0.5 * ratio);
    });
    pen.restore();
  }
}

function diamond(pen: CanvasRenderingContext2D, left: number, top: number, ratio: number, colours: ChartColours): void {
  const half = kHalf * ratio;
  pen.beginPath();
  pen.moveTo(left, top - half);
  pen.lineTo(left + half, top);
  pen.lineTo(left, top + half);
  pen.lineTo(left - half, top);
  pen.closePath();
  pen.strokeStyle = colours.panel;
  pen.lineWidth = 2 * ratio;
  pen.stroke();
  pen.fillStyle = colours.marker;
  pen.fill();
}
