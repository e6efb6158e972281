// What a panel shows, as a file of values or as a picture.
import { download, toCsv, toPng } from "../../charts/export.ts";
import { curveColour, type ChartColours } from "../../charts/palette.ts";
import type { Span } from "../../charts/samples.ts";
import { texts } from "../../i18n/texts.ts";
import type { Store } from "../../store/model.ts";
import { networkClock } from "../context.ts";
import { fullName, type PanelSignal } from "../panel_signals.ts";
import type { MenuItem } from "../ui/menu.tsx";
import type { Workspace } from "../workspace.ts";
import { columnOf, historyOf } from "./signal_data.ts";

/// What is to be saved, as it is when a person asks for it.
export interface Saved {
  readonly title: string;
  readonly signals: readonly PanelSignal[];
  readonly span: Span;
}

/// The entry that saves all values of a stretch of time.
export function csvEntry(store: Store, what: () => Saved): MenuItem {
  return {
    label: texts().panels.csv,
    icon: "download",
    action: () => {
      const { title, signals, span } = what();
      const columns = signals.flatMap((signal) => {
        const history = historyOf(store, signal);
        return history === null ? [] : [columnOf(history, signal, span)];
      });
      saveText(toCsv(columns), fileName(store, title, span));
    },
  };
}

/// The entry that saves the canvases, below each other under the names of the signals.
export function pngEntry(
  store: Store,
  workspace: Workspace,
  what: () => Saved & { readonly canvases: readonly (HTMLCanvasElement | null | undefined)[]; readonly colours: ChartColours },
): MenuItem {
  return {
    label: texts().panels.png,
    icon: "download",
    action: async () => {
      const { title, signals, span, canvases, colours } = what();
      const labels = signals.map((signal) => ({
        text: signal.unit === "" ? fullName(signal) : `${fullName(signal)} [${signal.unit}]`,
        colour: curveColour(workspace.theme.value, signal.colour),
      }));
      const drawn = canvases.filter((canvas): canvas is HTMLCanvasElement => canvas != null);
      const picture = drawn.length === 0 ? null : await toPng(title, labels, drawn, colours);
      if (picture !== null) download(picture, `${fileName(store, title, span)}.png`);
    },
  };
}

/// Hands values as text to the browser's downloads.
export function saveText(text: string, name: string): void {
  download(new Blob([text], { type: "text/csv" }), `${name}.csv`);
}

/// The title, and when what is seen ends.
export function fileName(store: Store, title: string, { to }: Span): string {
  if (!Number.isFinite(to)) return title;
  const clock = networkClock(store);
  return `${title} ${clock.date(to)} ${clock.time(to).replaceAll(":", "")}`;
}
