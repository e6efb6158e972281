// The colours that a panel draws with, which are those of its style sheet.
import type { RefObject } from "preact";
import { useEffect } from "preact/hooks";
import { readColours, type ChartColours, type Theme } from "../../charts/palette.ts";

/// Reads the element's colours anew and draws whenever the theme has changed, and at first.
export function useThemeColours(
  theme: Theme,
  element: RefObject<Element | null>,
  colours: { current: ChartColours | null },
  draw: () => void,
): void {
  useEffect(() => {
    // The theme reaches the style sheet in an effect of the whole page, which runs after this one.
    const frame = requestAnimationFrame(() => {
      colours.current = readColours(element.current!);
      draw();
    });
    return () => cancelAnimationFrame(frame);
  }, [theme]);
}
