// What a panel shows, as a file of values or as a picture.
import { pictureOf } from "../../charts/dom_picture.ts";
import { download, toCsv, toPng } from "../../charts/export.ts";
import { curveColour, readColours, type ChartColours } from "../../charts/palette.ts";
import type { Span } from "../../charts/samples.ts";
import { texts } from "../../i18n/texts.ts";
import type { Store } from "../../store/model.ts";
import { networkClock } from "../context.ts";
import { fullName, type PanelSignal } from "../panel_signals.ts";
import type { MenuGroup, MenuItem } from "../ui/menu.tsx";
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
      saveText(toCsv(columns), fileName(store, title, span.to));
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
      if (picture !== null) download(picture, `${fileName(store, title, span.to)}.png`);
    },
  };
}

/// The entries that save what is seen of a panel without curves: its values, and a picture of it. `element` is null
/// while there is nothing to see; `when` is the time that it shows.
export function valueEntries(
  store: Store,
  title: string,
  element: { readonly current: HTMLElement | null },
  when: () => number,
  csv: () => string,
): MenuGroup[] {
  const named = () => fileName(store, title, when());
  const savePicture = async () => {
    const x = when();
    const clock = networkClock(store);
    const time = Number.isFinite(x) ? ` · ${clock.date(x)} ${clock.time(x)} (${clock.zone})` : "";
    const picture = await toPng(`${title}${time}`, [], [pictureOf(element.current!)], readColours(element.current!));
    if (picture !== null) download(picture, `${fileName(store, title, x)}.png`);
  };
  const disabled = element.current === null;
  return [
    {
      items: [
        { label: texts().panels.csv, icon: "download", disabled, action: () => saveText(csv(), named()) },
        { label: texts().panels.png, icon: "download", disabled, action: () => void savePicture() },
      ],
    },
  ];
}

/// Hands values as text to the browser's downloads.
function saveText(text: string, name: string): void {
  download(new Blob([text], { type: "text/csv" }), `${name}.csv`);
}

/// The title, and the time that is seen, or at which what is seen ends.
function fileName(store: Store, title: string, x: number): string {
  if (!Number.isFinite(x)) return title;
  const clock = networkClock(store);
  return `${title} ${clock.date(x)} ${clock.time(x).replaceAll(":", "")}`;
}
