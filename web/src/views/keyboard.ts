// The keys of the page: one list for what they do and for the help that names them.
import type { Texts } from "../i18n/en.ts";
import type { Store } from "../store/model.ts";
import type { Workspace } from "./workspace.ts";

export interface Shortcut {
  /// As `KeyboardEvent.key` has them.
  readonly keys: readonly string[];
  readonly text: (t: Texts) => string;
  readonly act: (key: string, store: Store, workspace: Workspace) => void;
}

const kZoomStep = 1.5;

export const kShortcuts: readonly Shortcut[] = [
  { keys: ["m"], text: (t) => t.keys.marker, act: (_key, store) => store.setMarker("") },
  {
    keys: ["1", "2", "3", "4", "5", "6", "7", "8", "9"],
    text: (t) => t.keys.preset,
    act: (key, store, workspace) => {
      const name = store.markerPresets.value[Number(key) - 1] ?? "";
      if (name !== "") store.setMarker(name);
      else workspace.dialog.value = "presets";
    },
  },
  { keys: ["/"], text: (t) => t.keys.search, act: (_key, _store, workspace) => focusSearch(workspace) },
  { keys: [" "], text: (t) => t.keys.pause, act: (_key, store) => (store.paused.value ? store.resume() : store.pause()) },
  {
    keys: ["End"],
    text: (t) => t.keys.now,
    act: (_key, store, workspace) => {
      store.resume();
      workspace.follow();
    },
  },
  {
    keys: ["+", "-"],
    text: (t) => t.keys.zoom,
    act: (key, _store, workspace) => workspace.zoom(workspace.hover.value ?? 0.5, key === "+" ? 1 / kZoomStep : kZoomStep),
  },
  {
    keys: ["ArrowLeft", "ArrowRight"],
    text: (t) => t.keys.move,
    act: (key, _store, workspace) => workspace.pan((workspace.view.value.seconds / 10) * (key === "ArrowLeft" ? -1 : 1)),
  },
  { keys: ["a", "b"], text: (t) => t.keys.cursors, act: (key, _store, workspace) => workspace.placeCursor(key as "a" | "b") },
  { keys: ["x"], text: (t) => t.keys.clear, act: (_key, _store, workspace) => workspace.clearCursors() },
  { keys: ["s"], text: (t) => t.keys.sidebar, act: (_key, _store, workspace) => (workspace.sidebar.value = !workspace.sidebar.value) },
  {
    keys: ["d"],
    text: (t) => t.keys.dock,
    act: (_key, _store, workspace) => (workspace.dock.value = workspace.dock.value === null ? "network" : null),
  },
  { keys: ["t"], text: (t) => t.keys.theme, act: (_key, _store, workspace) => (workspace.themeChoice.value = workspace.nextTheme()) },
  { keys: ["?"], text: (t) => t.keys.help, act: (_key, _store, workspace) => (workspace.dialog.value = "keys") },
];

function focusSearch(workspace: Workspace): void {
  workspace.sidebar.value = true;
  requestAnimationFrame(() => document.querySelector<HTMLInputElement>("#signal-search")?.focus());
}

// Keys that a focused control or list uses itself.
const kOfControls = new Set([" ", "ArrowLeft", "ArrowRight", "End"]);

/// Listens until the returned function is called. Nothing is done while somebody types, or while a dialog is open.
export function listenToKeys(store: Store, workspace: Workspace): () => void {
  const handle = (event: KeyboardEvent) => {
    if (event.ctrlKey || event.metaKey || event.altKey || event.defaultPrevented) return;
    if (!workspace.keysEnabled.value && event.key !== "?") return;
    const target = event.target instanceof Element ? event.target : document.body;
    if (target.closest("input, textarea, select, dialog, [contenteditable]") !== null) return;
    if (kOfControls.has(event.key) && target.closest("button, [role=menu], .virtual, .resizer") !== null) return;
    const key = event.key.length === 1 ? event.key.toLowerCase() : event.key;
    const shortcut = kShortcuts.find(({ keys }) => keys.includes(key));
    if (shortcut === undefined || (event.repeat && ["m", ...kShortcuts[1]!.keys].includes(key))) return;
    event.preventDefault();
    shortcut.act(key, store, workspace);
  };
  document.addEventListener("keydown", handle);
  return () => document.removeEventListener("keydown", handle);
}
