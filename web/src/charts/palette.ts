// The colours of curves. Told apart with any kind of colour vision (after Okabe and Ito), each with a contrast of at
// least 3 against the panels of its theme; the signal's colour number picks one, further rounds are dashed.

/// What a chart is drawn with besides the curves.
export interface ChartColours {
  readonly text: string;
  readonly muted: string;
  readonly grid: string;
  readonly panel: string;
  readonly accent: string;
  readonly marker: string;
}

export type Theme = "light" | "dark";

const kCurves: Record<Theme, readonly string[]> = {
  dark: ["#5bb8f0", "#f0a830", "#2fc79a", "#f27db5", "#f4e04d", "#ff7f45", "#9d9bff", "#cfd6df"],
  light: ["#0a6fb5", "#b86200", "#007d5c", "#b3307a", "#7d6c00", "#c43c00", "#5a4fcf", "#4a5462"],
};

const kDashes: readonly (readonly number[])[] = [[], [6, 3], [2, 2]];

/// The curve colour with that number; numbers beyond the palette begin again.
export function curveColour(theme: Theme, number: number): string {
  const colours = kCurves[theme];
  return colours[number % colours.length]!;
}

/// The dashes that tell curves of one colour apart, in CSS pixels.
export function curveDash(number: number): readonly number[] {
  return kDashes[Math.floor(number / kCurves.dark.length) % kDashes.length]!;
}

/// The chart's colours as the style sheet has them at the moment.
export function readColours(element: Element): ChartColours {
  const style = getComputedStyle(element);
  const read = (name: string) => style.getPropertyValue(name).trim();
  return {
    text: read("--text"),
    muted: read("--muted"),
    grid: read("--grid"),
    panel: read("--panel"),
    accent: read("--accent"),
    marker: read("--marker"),
  };
}
