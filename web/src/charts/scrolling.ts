// What of a moving picture has to be drawn: mostly what has been drawn moves left by whole pixels, and only a strip at
// the right is new. Drawing all curves anew for each frame is what costs a browser most.
import type { Samples, Span } from "./samples.ts";
import { isDense, type Frame, type LineStyle } from "./series_path.ts";

/// A curve to be drawn.
export interface Curve {
  readonly samples: Samples;
  readonly style: LineStyle;
  /// Differs when samples that may have been drawn are others now.
  readonly version: number;
}

export interface Scene {
  /// What is to be seen; the picture may show up to a pixel more at the right.
  readonly span: Span;
  /// How far steps have been held.
  readonly now: number;
  readonly curves: readonly (Curve | null)[];
  /// The least and greatest value of each curve's scale.
  readonly scales: readonly { readonly min: number; readonly max: number }[];
  /// The plotting area in canvas pixels.
  readonly box: { readonly left: number; readonly top: number; readonly width: number; readonly height: number };
  /// Pixels at the right edge that are always drawn anew.
  readonly edge: number;
  /// Pixels by which a line is wider than its points.
  readonly margin: number;
  /// Whatever else decides how the picture looks. Not by content: the same objects and primitive values look the same.
  readonly look: readonly unknown[];
  /// Something is seen that cannot be moved: draw everything, if anything.
  readonly whole: boolean;
  /// Draw in any case.
  readonly eager: boolean;
}

export interface Plan {
  /// Begins and ends at whole pixels of the time axis.
  readonly span: Span;
  readonly dense: readonly boolean[];
  /// Pixels by which the plotting area moves left before the strip is drawn.
  readonly shift: number;
  /// Where the strip begins, in pixels from the plotting area's left edge; null to draw everything.
  readonly strip: number | null;
  /// Whether lines run where they ran before, but for the shift.
  readonly same: boolean;
}

/// While it does not move by a pixel a picture is drawn again after that many ms.
const kStill = 100;
/// ms after which all is drawn: fonts that came late and the like.
const kWhole = 10_000;

interface DrawnCurve {
  readonly last: number;
  readonly gaps: number;
  readonly gapEnd: number;
  readonly version: number;
  readonly style: LineStyle;
  readonly dense: boolean;
}

interface Drawn {
  readonly span: Span;
  readonly now: number;
  readonly curves: readonly (DrawnCurve | null)[];
  readonly lines: readonly unknown[];
  readonly look: readonly unknown[];
  readonly at: number;
  readonly wholeAt: number;
}

/// Remembers what has been drawn.
export class Scrolling {
  #drawn: Drawn | null = null;

  /// Nothing of what was drawn can be used.
  forget(): void {
    this.#drawn = null;
  }

  /// What to draw of the scene at `clock` (ms); null for nothing. Takes for granted that it is then drawn.
  plan(scene: Scene, clock: number): Plan | null {
    const before = this.#drawn;
    const { width } = scene.box;
    // A length of time has to have one value, although the difference of two times is never quite the same.
    const seconds = Number((scene.span.to - scene.span.from).toPrecision(5));
    const pixel = seconds / width;
    const to = Math.ceil(scene.span.to / pixel - 1e-4) * pixel;
    const span = { from: to - seconds, to };
    const curves = scene.curves.map(
      (curve, index) => curve && drawnCurve(curve, frameOf(scene, index, span), before?.curves[index] ?? null),
    );
    const { left, top, height } = scene.box;
    const lines = [seconds, left, top, width, height, ...scene.scales.flatMap(({ min, max }) => [min, max])];
    const same =
      before !== null && equal(lines, before.lines) && curves.every((curve, index) => goesOn(before.curves[index] ?? null, curve));
    const shift = same ? Math.round((to - before.span.to) / pixel) : 0;
    const plan = { span, dense: curves.map((curve) => curve?.dense ?? false), same };
    const drawn = { span, now: scene.now, curves, lines, look: scene.look, at: clock };
    const known = same && !scene.eager && equal(scene.look, before.look) && clock - before.wholeAt < kWhole;
    if (known && shift === 0 && (clock - before.at < kStill || nothingNew(before, drawn))) return null;
    if (known && !scene.whole && shift >= 0) {
      const strip = Math.floor((firstChange(before, curves) - span.from) / pixel - scene.margin);
      const begin = Math.min(strip, width - scene.edge);
      if (begin > 0 && shift < width / 2) {
        this.#drawn = { ...drawn, wholeAt: before.wholeAt };
        return { ...plan, shift, strip: begin };
      }
    }
    this.#drawn = { ...drawn, wholeAt: clock };
    return { ...plan, shift: 0, strip: null };
  }
}

/// The frame in which the curve with that number is drawn.
export function frameOf({ box, scales }: Pick<Scene, "box" | "scales">, index: number, span: Span): Frame {
  const { min, max } = scales[index]!;
  return { ...box, span, min, max };
}

function drawnCurve({ samples, style, version }: Curve, frame: Frame, before: DrawnCurve | null): DrawnCurve {
  const { x, gaps } = samples;
  return {
    last: x.length > 0 ? x[x.length - 1]! : NaN,
    gaps: gaps.length,
    gapEnd: gaps.length > 0 ? gaps[gaps.length - 1]!.to : NaN,
    version,
    style,
    dense: isDense(samples, frame, before?.dense),
  };
}

/// Whether the curve is the one that was drawn, but for what has come since then.
function goesOn(before: DrawnCurve | null, now: DrawnCurve | null): boolean {
  if (before === null || now === null) return before === now;
  if (Number.isNaN(before.last)) return Number.isNaN(now.last);
  return now.version === before.version && now.style === before.style && now.dense === before.dense && now.last >= before.last;
}

function nothingNew(before: Drawn, { curves, now }: Pick<Drawn, "curves" | "now">): boolean {
  return curves.every((curve, index) => {
    const old = before.curves[index] ?? null;
    if (curve === null || old === null) return curve === old;
    return !grown(old, curve) && (curve.style === "slope" || now === before.now);
  });
}

/// Whether values or gaps have come.
function grown(before: DrawnCurve, now: DrawnCurve): boolean {
  return !Object.is(now.last, before.last) || now.gaps !== before.gaps || !Object.is(now.gapEnd, before.gapEnd);
}

/// The earliest time at which something looks different now.
function firstChange(before: Drawn, curves: readonly (DrawnCurve | null)[]): number {
  let first = before.span.to;
  for (const [index, curve] of curves.entries()) {
    const old = before.curves[index];
    if (!old || !curve) continue;
    // The line to the next value begins at the last one that was drawn.
    if (grown(old, curve)) first = Math.min(first, old.last);
    if (curve.style === "step") first = Math.min(first, before.now);
  }
  return first;
}

function equal(a: readonly unknown[], b: readonly unknown[]): boolean {
  return a.length === b.length && a.every((value, index) => Object.is(value, b[index]));
}

/// Moves what the pen's canvas shows in the box left and lets `draw` draw on the strip, on all that is right of it and on
/// the ground below the box. Lines at its edges may reach `reach` pixels out of it.
export function drawStrip(
  pen: CanvasRenderingContext2D,
  box: Scene["box"],
  { shift, strip, reach }: { readonly shift: number; readonly strip: number; readonly reach: number },
  draw: () => void,
): void {
  const { canvas } = pen;
  const { left, width } = box;
  const [top, height] = [box.top - reach, box.height + 2 * reach];
  if (shift > 0) {
    pen.save();
    pen.beginPath();
    pen.rect(left, top, width, height);
    pen.clip();
    pen.globalCompositeOperation = "copy";
    pen.drawImage(canvas, left + shift, top, width - shift, height, left, top, width - shift, height);
    pen.restore();
    // What reaches out of the box at its left does not move.
    pen.clearRect(left - reach, top, reach, height);
  }
  const begin = box.left + strip;
  const ground = top + height;
  pen.save();
  pen.beginPath();
  pen.rect(begin, 0, canvas.width - begin, canvas.height);
  pen.rect(0, ground, begin, canvas.height - ground);
  pen.clip();
  try {
    draw();
  } finally {
    const kept = propertiesOf(pen);
    const dash = pen.getLineDash();
    pen.restore();
    Object.assign(pen, kept);
    pen.setLineDash(dash);
  }
}

// uPlot sets a property only when it wants another value than the last time.
function propertiesOf(pen: CanvasRenderingContext2D) {
  const { strokeStyle, fillStyle, globalAlpha, lineWidth, lineJoin, lineCap, font, textAlign, textBaseline } = pen;
  return { strokeStyle, fillStyle, globalAlpha, lineWidth, lineJoin, lineCap, font, textAlign, textBaseline };
}
