// How panels share the screen: in shelves of twelve columns that are always filled, so that nothing has holes.
import type { Panel, PanelKind } from "../store/model.ts";

export const kColumns = 12;
const kSizes: Record<PanelKind, { w: number; h: number }> = {
  chart: { w: 12, h: 6 },
  lanes: { w: 12, h: 3 },
  xy: { w: 4, h: 6 },
  numbers: { w: 6, h: 4 },
  table: { w: 6, h: 5 },
  loads: { w: 6, h: 5 },
};
const kSmallest = { w: 3, h: 2 };
const kLargest = { w: kColumns, h: 12 };

/// Columns and rows that a panel asks for.
export function sizeOf(panel: Panel): { w: number; h: number } {
  const usual = kSizes[panel.kind];
  return { w: bounded("w", panel.options["w"], usual.w), h: bounded("h", panel.options["h"], usual.h) };
}

export function bounded(side: "w" | "h", wanted: unknown, usual: number): number {
  if (typeof wanted !== "number" || !Number.isFinite(wanted)) return usual;
  return Math.min(kLargest[side], Math.max(kSmallest[side], Math.round(wanted)));
}

export interface Shelf {
  readonly panels: readonly Panel[];
  readonly height: number;
}

/// Puts the panels into shelves in their order. On narrow screens each has a shelf of its own, unless it is small.
export function shelves(panels: readonly Panel[], columns: number): Shelf[] {
  const found: { panels: Panel[]; height: number; used: number }[] = [];
  for (const panel of panels) {
    const { w, h } = sizeOf(panel);
    const width = Math.min(columns, w);
    const last = found[found.length - 1];
    if (last !== undefined && last.used + width <= columns) {
      last.panels.push(panel);
      last.height = Math.max(last.height, h);
      last.used += width;
    } else found.push({ panels: [panel], height: h, used: width });
  }
  return found;
}

/// The panels with one moved before another one, or to the end.
export function moved(panels: readonly Panel[], id: string, before: string | null): Panel[] {
  const panel = panels.find((candidate) => candidate.id === id);
  if (panel === undefined || id === before) return [...panels];
  const rest = panels.filter((candidate) => candidate !== panel);
  const place = before === null ? rest.length : rest.findIndex((candidate) => candidate.id === before);
  rest.splice(place < 0 ? rest.length : place, 0, panel);
  return rest;
}

const kTile = { width: 152, height: 96 }; // CSS pixels that a big number needs

/// In how many columns `count` big numbers stand in a panel so that they become largest. A number's size follows the height
/// of its tile, and the width: some four digits and a unit have to fit.
export function tileColumns(count: number, { width, height }: { readonly width: number; readonly height: number }): number {
  const most = Math.max(1, Math.min(count, Math.floor(width / kTile.width)));
  let best = { columns: most, size: 0 };
  for (let columns = most; columns >= 1; --columns) {
    const tileHeight = height / Math.ceil(count / columns);
    if (tileHeight < kTile.height && columns < most) break; // they would have to be scrolled
    const size = Math.min(0.44 * tileHeight, (0.17 * width) / columns);
    if (size > best.size) best = { columns, size };
  }
  return best.columns;
}
