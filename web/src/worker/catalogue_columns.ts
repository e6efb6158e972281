/// Brings the catalogue into the order in which it is shown, and into columns.
import type { FrameOf } from "../protocol/types";
import type { CatalogueColumns } from "./messages";

const collator = new Intl.Collator(undefined, { numeric: true });

/// Ordered by logger (the local one first), bus and name.
export function columnsOf(frame: FrameOf<"get_signal_names">): { message: CatalogueColumns; transfer: ArrayBuffer[] } {
  const streams = frame.streams ?? [];
  const loggers = new Table<CatalogueColumns["loggers"][number]>();
  const buses = new Table<CatalogueColumns["buses"][number]>();
  const units = new Table<string>();
  const rows = streams.map((stream) => ({
    name: stream.key[0],
    logger: loggers.index(stream.key[1], () => ({ mac: stream.key[1], name: stream.loggerName, offset: stream.offset })),
    bus: buses.index(`${stream.busId} ${stream.channel}`, () => ({ busId: stream.busId, channel: stream.channel })),
    unit: units.index(stream.unit, () => stream.unit),
  }));
  const loggerRank = ranks(
    loggers.rows,
    (a, b) => Number(a.offset !== 0) - Number(b.offset !== 0) || collator.compare(a.name, b.name) || collator.compare(a.mac, b.mac),
  );
  const busRank = ranks(buses.rows, (a, b) => collator.compare(a.busId, b.busId) || a.channel - b.channel);
  const nameRank = ranks(rows, (a, b) => collator.compare(a.name, b.name));
  const order = rows.map((_, index) => index);
  order.sort((a, b) => {
    const [one, other] = [rows[a]!, rows[b]!];
    return loggerRank[one.logger]! - loggerRank[other.logger]! || busRank[one.bus]! - busRank[other.bus]! || nameRank[a]! - nameRank[b]!;
  });
  const column = (pick: (row: (typeof rows)[number]) => number) => Uint16Array.from(order, (index) => pick(rows[index]!));
  const [logger, bus, unit] = [column((row) => row.logger), column((row) => row.bus), column((row) => row.unit)];
  const names = order.map((index) => rows[index]!.name);
  const message = {
    op: "catalogue",
    complete: frame.status === "OK",
    names,
    logger,
    bus,
    unit,
    loggers: loggers.rows,
    buses: buses.rows,
    units: units.rows,
  } as const;
  return { message, transfer: [logger.buffer, bus.buffer, unit.buffer] };
}

/// Each value once, told by its key.
class Table<T> {
  readonly rows: T[] = [];
  #indices = new Map<string, number>();

  index(key: string, make: () => T): number {
    const known = this.#indices.get(key);
    if (known !== undefined) return known;
    this.#indices.set(key, this.rows.length);
    return this.rows.push(make()) - 1;
  }
}

/// The place of each in the order.
function ranks<T>(rows: readonly T[], compare: (a: T, b: T) => number): Uint32Array {
  const order = rows.map((_, index) => index).sort((a, b) => compare(rows[a]!, rows[b]!) || a - b);
  const result = new Uint32Array(rows.length);
  for (const [rank, index] of order.entries()) result[index] = rank;
  return result;
}
