// The signals of a panel as its view needs them, and where a chosen signal goes.
import { texts } from "../i18n/texts.ts";
import { signalId } from "../store/model.ts";
import type { CatalogueEntry, Panel, PanelKind, RunState, SignalId, SignalReference, Store } from "../store/model.ts";
import type { Workspace } from "./workspace.ts";

export interface PanelSignal {
  readonly reference: SignalReference;
  /// null while its logger is not known.
  readonly id: SignalId | null;
  /// Tells it apart within the panel, also without an id.
  readonly key: string;
  readonly name: string;
  readonly unit: string;
  readonly logger: string;
  /// The logger where another signal of the panel has the same name, else empty.
  readonly origin: string;
  readonly run: RunState;
  /// Why no values can come, in words; "" where they can.
  readonly away: string;
  /// Colour number; see `Store.colour`.
  readonly colour: number;
}

/// Whether no values can come: nobody offers the signal, or its logger refused it.
export function isAway({ away }: PanelSignal): boolean {
  return away !== "";
}

/// That in words, with what the logger said; "" where values can come.
export function awayText(store: Store, id: SignalId | null, run: RunState): string {
  const t = texts().signals;
  if (run === "absent") return t.run.absent;
  if (run !== "refused") return "";
  const why = (id === null ? undefined : store.refusals.value.get(id)) ?? "";
  return why === "" ? t.run.refused : t.refusedWhy(t.reasons[why] ?? why);
}

/// The name by which it is told apart from the panel's other signals.
export function fullName({ name, origin }: PanelSignal): string {
  return origin === "" ? name : `${name} · ${origin}`;
}

/// What the panel holds, in its order. Reads the catalogue and the runs: call it while a component is drawn.
export function panelSignals(store: Store, panel: Panel): PanelSignal[] {
  const { byId } = store.catalogue.value;
  const runs = store.runs.value;
  const alone = ({ name }: SignalReference) => panel.signals.filter((other) => other.name === name).length === 1;
  return panel.signals.map((reference) => {
    const id = store.resolve(reference);
    const entry: CatalogueEntry | undefined = id === null ? undefined : byId.get(id);
    const logger = entry?.logger ?? reference.logger;
    const run = id === null ? "absent" : (runs.get(id) ?? "off");
    return {
      reference,
      id,
      key: id ?? signalId(reference),
      name: reference.name,
      unit: entry?.unit ?? "",
      logger,
      origin: alone(reference) ? "" : logger,
      run,
      away: awayText(store, id, run),
      colour: id === null ? 7 : store.colour(id),
    };
  });
}

/// The option of a panel that belongs to one of its signals.
export function optionOf(panel: Panel, signal: PanelSignal, name: string): string | number | boolean | null {
  return panel.options[`${name}:${signal.key}`] ?? null;
}

export function setOptions(store: Store, panel: Panel, options: Record<string, string | number | boolean | null>): void {
  store.changePanel(panel.id, { options: { ...panel.options, ...options } });
}

export function holds(store: Store, panel: Panel, id: SignalId): boolean {
  return panel.signals.some((reference) => store.resolve(reference) === id);
}

const kTakesSignals: ReadonlySet<PanelKind> = new Set<PanelKind>(["chart", "lanes", "xy", "numbers", "table"]);

export function takesSignals(panel: Panel): boolean {
  return kTakesSignals.has(panel.kind);
}

/// Shows a signal where the user works: in the chosen panel, else in the first chart, else in a new one.
export function showSignal(store: Store, workspace: Workspace, id: SignalId): void {
  const { panels } = store.arrangement.value;
  const target =
    panels.find((panel) => panel.id === workspace.target.value && takesSignals(panel)) ?? panels.find(({ kind }) => kind === "chart");
  if (target === undefined) workspace.target.value = store.addPanel("chart", [id]);
  else store.addToPanel(target.id, [id]);
}

/// Takes a signal out of all panels.
export function hideSignal(store: Store, id: SignalId): void {
  for (const panel of store.arrangement.value.panels) if (holds(store, panel, id)) store.removeFromPanel(panel.id, id);
  store.stop([id]);
}

export const kDragType = "application/x-liveview-signal";
export const kPanelDragType = "application/x-liveview-panel";
