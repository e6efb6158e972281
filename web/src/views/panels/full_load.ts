// How long the bar of a bus is that has no limit of its own.
import type { BusState } from "../../store/model.ts";

/// What a full bar means: all of it for per cent, else a round number above the peak, which is no limit of the bus.
export function fullLoad(bus: BusState): number {
  if (bus.unit === "%") return 100;
  const most = Math.max(bus.peak ?? 0, bus.load ?? 0, 1e-9);
  const power = 10 ** Math.floor(Math.log10(most));
  return [1, 2, 5, 10, 20].map((factor) => factor * power).find((value) => value > most)!;
}
