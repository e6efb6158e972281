// Gestures on whatever has the time axis across its width.
import { Gestures } from "../../charts/gestures.ts";
import type { Workspace } from "../workspace.ts";

/// Where the plotting area lies within the element, in CSS pixels.
type Area = () => { readonly left: number; readonly width: number };

/// Zoom, pan, hover and cursors on `element`. `selection` is laid over the stretch that is being selected. Returns what
/// stops it.
export function timeGestures(element: HTMLElement, workspace: Workspace, area: Area, selection: HTMLElement): () => void {
  const part = (left: number) => (left - area().left) / Math.max(1, area().width);
  const inside = (left: number) => Math.min(1, Math.max(0, part(left)));
  const time = (left: number) => {
    const { from, to } = workspace.span();
    return from + inside(left) * (to - from);
  };
  const gestures = new Gestures(element, {
    hover: (left) => {
      const place = left === null ? null : part(left);
      workspace.hover.value = place === null || place < 0 || place > 1 ? null : place;
    },
    pan: (by) => workspace.pan((-by / Math.max(1, area().width)) * workspace.view.value.seconds),
    zoom: (left, factor) => workspace.zoom(inside(left), factor),
    select: (from, to) => workspace.select({ from: time(from), to: time(to) }),
    selecting: (stretch) => {
      const { style } = selection;
      style.display = stretch === null ? "none" : "block";
      if (stretch === null) return;
      const { left, width } = area();
      const from = Math.max(left, stretch.from);
      style.left = `${from}px`;
      style.width = `${Math.min(left + width, stretch.to) - from}px`;
    },
    click: (left, second) => second && workspace.placeCursor(workspace.cursors.value.a === null ? "a" : "b", time(left)),
    reset: () => workspace.follow(),
    grip: (left, reach) => {
      const { from, to } = workspace.span();
      const distance = (x: number | null) =>
        x === null || x < from || x > to ? Infinity : Math.abs(area().left + ((x - from) / (to - from)) * area().width - left);
      const { a, b } = workspace.cursors.value;
      const which = distance(a) < distance(b) ? "a" : "b";
      if (distance(workspace.cursors.value[which]) > reach) return null;
      return (place) => workspace.placeCursor(which, time(place));
    },
  });
  return () => gestures.stop();
}
