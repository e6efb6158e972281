/// Arrangements as text: what is saved on the logger and kept in the browser, checked when it comes back.
import type { Arrangement, CatalogueEntry, Panel, PanelKind, PanelOption, SignalReference } from "./model";

const kFormat = "live-view-setup";
const kKinds: ReadonlySet<unknown> = new Set<PanelKind>(["chart", "lanes", "xy", "numbers", "table", "loads"]);
const kMostPanels = 100;
const kMostSignals = 1_000;
const kPrefix = "liveview-";
const kLongestName = 200; // bytes of the file's name

export function arrangementText(arrangement: Arrangement): string {
  return JSON.stringify({ format: kFormat, version: 1, ...arrangement });
}

/// Throws with a reason for a text that is none.
export function parseArrangement(text: string): Arrangement {
  const value: unknown = JSON.parse(text);
  if (!isRecord(value) || value["format"] !== kFormat) throw new Error("this is no set-up of this page");
  if (value["version"] !== 1) throw new Error("this set-up is of a newer page");
  const panels = value["panels"];
  if (!Array.isArray(panels) || panels.length > kMostPanels) throw new Error("its panels are no list, or too many");
  return { name: textOf(value, "name"), panels: panels.map(panelOf) };
}

function panelOf(value: unknown): Panel {
  if (!isRecord(value) || !kKinds.has(value["kind"])) throw new Error("a panel is of no known kind");
  const signals = value["signals"];
  const options = value["options"] ?? {};
  if (!Array.isArray(signals) || signals.length > kMostSignals) throw new Error("the signals of a panel are no list, or too many");
  if (!isRecord(options)) throw new Error("the options of a panel are no object");
  for (const option of Object.values(options))
    if (option !== null && !["string", "number", "boolean"].includes(typeof option))
      throw new Error("an option of a panel is no plain value");
  return {
    id: textOf(value, "id"),
    kind: value["kind"] as PanelKind,
    title: textOf(value, "title"),
    signals: signals.map(referenceOf),
    options: options as Record<string, PanelOption>,
  };
}

function referenceOf(value: unknown): SignalReference {
  if (!isRecord(value)) throw new Error("a signal of a panel is no object");
  return { name: textOf(value, "name"), mac: textOf(value, "mac"), logger: textOf(value, "logger") };
}

function textOf(value: Record<string, unknown>, name: string): string {
  const text = value[name];
  if (typeof text !== "string") throw new Error(`"${name}" is no text`);
  return text;
}

function isRecord(value: unknown): value is Record<string, unknown> {
  return typeof value === "object" && value !== null && !Array.isArray(value);
}

/// The name of the file on the logger; null for a name that is empty or too long for one.
export function fileName(name: string): string | null {
  if (name === "") return null;
  const encoded = kPrefix + encodedName(name);
  return encoded.length <= kLongestName ? encoded : null;
}

/// The name that a file's name stands for; null for a file of somebody else.
export function nameOfFile(file: string): string | null {
  if (!file.startsWith(kPrefix)) return null;
  try {
    const name = decodeURIComponent(file.slice(kPrefix.length));
    return fileName(name) === file ? name : null;
  } catch {
    return null;
  }
}

function encodedName(name: string): string {
  return encodeURIComponent(wellFormed(name)).replace(/[!'()*]/g, (character) => `%${character.charCodeAt(0).toString(16).toUpperCase()}`);
}

/// Half a pair of surrogates has no encoding.
function wellFormed(name: string): string {
  return name.replace(/[\uD800-\uDBFF](?![\uDC00-\uDFFF])|(?<![\uD800-\uDBFF])[\uDC00-\uDFFF]/g, "\uFFFD");
}

/// What a page without any set-up shows: some signals of the local logger, which draw at once.
export function firstArrangement(entries: readonly CatalogueEntry[], localMac: string): Arrangement {
  const local = entries.filter(({ key }) => key.mac === localMac);
  const units = new Map<string, CatalogueEntry[]>();
  for (const entry of local) if (entry.unit !== "") units.set(entry.unit, [...(units.get(entry.unit) ?? []), entry]);
  // Shares of something tell most at first sight.
  const groups = [...units.entries()].sort(([a], [b]) => Number(b === "%") - Number(a === "%")).map(([, group]) => group);
  const [most = [], second = []] = groups;
  const panels: Panel[] = [];
  if (most.length > 0) panels.push(panelWith("first-chart", "chart", most.slice(0, 4), { w: 12, h: 7 }));
  panels.push(panelWith("first-loads", "loads", [], { w: 6, h: 5 }));
  const numbers = [...most.slice(0, 2), ...second.slice(0, 1), ...local.filter(({ unit }) => unit === "").slice(0, 1)];
  if (numbers.length > 0) panels.push(panelWith("first-numbers", "numbers", numbers, { w: 6, h: 5 }));
  return { name: "", panels: local.length > 0 ? panels : [] };
}

function panelWith(id: string, kind: PanelKind, entries: readonly CatalogueEntry[], options: Panel["options"]): Panel {
  return { id, kind, title: "", signals: entries.map(referenceTo), options };
}

export function referenceTo({ key, logger }: CatalogueEntry): SignalReference {
  return { name: key.name, mac: key.mac, logger };
}
