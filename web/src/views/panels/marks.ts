// The markers as charts show them.
import { useMemo } from "preact/hooks";
import type { Mark } from "../../charts/annotations.ts";
import { useStore } from "../context.ts";
import { markerName } from "../marker_name.ts";

/// The same list until the markers change.
export function useMarks(): readonly Mark[] {
  const { events } = useStore().triggers.value;
  return useMemo(() => events.map(({ x, marker }) => ({ x, label: markerName(marker) })), [events]);
}
