// The signal list as rows: a heading for each logger and bus, and the signals that match what was typed.
import type { CatalogueEntry, SignalId } from "../store/model.ts";

export type SignalRow =
  | { readonly type: "logger"; readonly key: string; readonly logger: string; readonly count: number; readonly open: boolean }
  | { readonly type: "bus"; readonly key: string; readonly bus: string; readonly count: number; readonly open: boolean }
  | { readonly type: "signal"; readonly key: string; readonly entry: CatalogueEntry };

/// The entries that hold every word typed, in their order. `only` narrows them to some ids.
export function matching(entries: readonly CatalogueEntry[], typed: string, only: ReadonlySet<SignalId> | null): readonly CatalogueEntry[] {
  const words = typed
    .toLowerCase()
    .split(/\s+/)
    .filter((word) => word !== "");
  if (words.length === 0 && only === null) return entries;
  return entries.filter((entry) => (only === null || only.has(entry.id)) && words.every((word) => entry.search.includes(word)));
}

/// Rows for entries that are ordered by logger and bus. Groups whose key is in `closed` show their heading only.
export function toRows(entries: readonly CatalogueEntry[], closed: ReadonlySet<string>): SignalRow[] {
  const rows: SignalRow[] = [];
  let index = 0;
  while (index < entries.length) {
    const { logger } = entries[index]!;
    const end = endOf(entries, index, (entry) => entry.logger === logger);
    const loggerOpen = !closed.has(logger);
    rows.push({ type: "logger", key: logger, logger, count: end - index, open: loggerOpen });
    while (loggerOpen && index < end) {
      const { bus } = entries[index]!;
      const busEnd = endOf(entries, index, (entry) => entry.logger === logger && entry.bus === bus);
      const key = `${logger}\n${bus}`;
      const open = !closed.has(key);
      rows.push({ type: "bus", key, bus, count: busEnd - index, open });
      for (; open && index < busEnd; ++index) rows.push({ type: "signal", key: entries[index]!.id, entry: entries[index]! });
      index = busEnd;
    }
    index = end;
  }
  return rows;
}

function endOf(entries: readonly CatalogueEntry[], from: number, same: (entry: CatalogueEntry) => boolean): number {
  let end = from;
  while (end < entries.length && same(entries[end]!)) ++end;
  return end;
}
