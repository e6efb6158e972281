// What every view can reach: the store with all data, and the workspace of this browser.
import { createContext } from "preact";
import { useContext } from "preact/hooks";
import type { Store } from "../store/model.ts";
import { ZoneClock } from "../charts/zone_clock.ts";
import type { Workspace } from "./workspace.ts";

const Context = createContext<{ store: Store; workspace: Workspace } | null>(null);

export const Provide = Context.Provider;

export function useStore(): Store {
  return useContext(Context)!.store;
}

export function useWorkspace(): Workspace {
  return useContext(Context)!.workspace;
}

const kClocks = new Map<string, ZoneClock>();

/// The clock of a time zone.
export function zoneClock(zone: string): ZoneClock {
  let clock = kClocks.get(zone);
  if (clock === undefined) kClocks.set(zone, (clock = new ZoneClock(zone)));
  return clock;
}

/// The clock in which the page shows times: that of the local logger.
export function networkClock(store: Store): ZoneClock {
  return zoneClock(store.network.value.loggers.find(({ local }) => local)?.timeZone || "UTC");
}
