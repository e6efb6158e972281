// How this browser looks at the data: which time is seen, where the pointer is, which tools are open, which colours are
// used. Kept in the browser, apart from what only lasts as long as the pointer rests.
import { computed, effect, signal, type ReadonlySignal } from "@preact/signals";
import type { Span } from "../charts/samples.ts";
import type { Theme } from "../charts/palette.ts";
import { language } from "../i18n/texts.ts";
import type { Store } from "../store/model.ts";
import type { Comment } from "./dock/recorder.ts";

export type DockTab = "network" | "loads" | "triggers" | "audio" | "monitor" | "setups" | "protocol";
export type ThemeChoice = Theme | "system";

/// What is seen of the time axis: the last `seconds`, or those before `to`.
export interface TimeView {
  readonly seconds: number;
  /// null: up to now.
  readonly to: number | null;
}

export const kTimeWindows = [10, 30, 60, 120, 300, 600];
const kLeastSeconds = 0.01;
const kMostSeconds = 600;
const kStorageKey = "live-view.workspace";

export class Workspace {
  readonly themeChoice = signal<ThemeChoice>("system");
  readonly dock = signal<DockTab | null>(null);
  readonly sidebar = signal(true);
  readonly view = signal<TimeView>({ seconds: 30, to: null });
  /// Grows when the user changed what is seen, so that scales fit at once.
  readonly viewRevision = signal(0);
  /// Where the pointer is, as a part of the time axis from 0 to 1; the same in all charts.
  readonly hover = signal<number | null>(null);
  readonly cursors = signal<{ readonly a: number | null; readonly b: number | null }>({ a: null, b: null });
  /// The panel that clicked signals go to.
  readonly target = signal<string | null>(null);
  readonly maximized = signal<string | null>(null);
  readonly dialog = signal<"keys" | "presets" | null>(null);
  readonly keysEnabled = signal(true);
  /// What has been spoken or chosen and not been sent: it outlives the tool that is closed meanwhile.
  readonly comment = signal<Comment | null>(null);
  /// The marker for which a comment is spoken or chosen.
  readonly commentFor = signal("");
  readonly theme: ReadonlySignal<Theme>;
  readonly #store: Store;
  readonly #systemDark = signal(false);
  readonly #media: MediaQueryList;
  readonly #onMedia = () => (this.#systemDark.value = this.#media.matches);
  readonly #stop: () => void;

  constructor(store: Store, kept: boolean = true) {
    this.#store = store;
    this.#media = matchMedia("(prefers-color-scheme: dark)");
    this.#media.addEventListener("change", this.#onMedia);
    this.#onMedia();
    this.theme = computed(() => {
      const choice = this.themeChoice.value;
      return choice !== "system" ? choice : this.#systemDark.value ? "dark" : "light";
    });
    this.sidebar.value = innerWidth >= 1200;
    if (kept) this.#restore();
    this.#stop = kept ? effect(() => this.#keep()) : () => {};
  }

  dispose(): void {
    this.#stop();
    this.#media.removeEventListener("change", this.#onMedia);
  }

  /// The stretch of time that charts show at this moment.
  span(): Span {
    const { seconds, to } = this.view.value;
    const edge = to ?? this.#store.viewX();
    return { from: edge - seconds, to: edge };
  }

  /// The time under the pointer; null where there is none.
  hoverX(): number | null {
    const part = this.hover.value;
    if (part === null) return null;
    const { from, to } = this.span();
    return from + part * (to - from);
  }

  follow(): void {
    this.#setView({ ...this.view.value, to: null });
  }

  setSeconds(seconds: number): void {
    this.#setView({ ...this.view.value, seconds: clampSeconds(seconds) });
  }

  /// What is seen moves by `seconds`; at the newest value it follows again.
  pan(seconds: number): void {
    const { to } = this.span();
    this.#setTo(to + seconds, this.view.value.seconds);
  }

  /// What is seen shrinks or grows around a part of the axis; while it follows, around its right edge.
  zoom(part: number, factor: number): void {
    const view = this.view.value;
    const seconds = clampSeconds(view.seconds * factor);
    if (view.to === null) this.setSeconds(seconds);
    else this.#setTo(view.to - (view.seconds - seconds) * (1 - part), seconds);
  }

  select(span: Span): void {
    this.#setView({ seconds: clampSeconds(span.to - span.from), to: span.to });
  }

  /// Puts a moment into the middle of what is seen.
  show(x: number): void {
    this.#setTo(x + this.view.value.seconds / 2, this.view.value.seconds);
  }

  placeCursor(which: "a" | "b", x?: number): void {
    const { from, to } = this.span();
    const place = x ?? this.hoverX() ?? from + (to - from) * (which === "a" ? 1 / 3 : 2 / 3);
    if (Number.isFinite(place)) this.cursors.value = { ...this.cursors.value, [which]: place };
  }

  clearCursors(): void {
    this.cursors.value = { a: null, b: null };
  }

  toggleDock(tab: DockTab): void {
    this.dock.value = this.dock.value === tab ? null : tab;
  }

  nextTheme(): ThemeChoice {
    const order: ThemeChoice[] = ["system", "light", "dark"];
    return order[(order.indexOf(this.themeChoice.value) + 1) % order.length]!;
  }

  #setTo(to: number, seconds: number): void {
    this.#setView({ seconds, to: to >= this.#store.viewX() ? null : to });
  }

  #setView(view: TimeView): void {
    this.view.value = view;
    ++this.viewRevision.value;
  }

  #restore(): void {
    let kept: Record<string, unknown> = {};
    try {
      kept = JSON.parse(localStorage.getItem(kStorageKey) ?? "{}") as Record<string, unknown>;
    } catch {
      // Storage may be switched off or hold something else: begin anew.
    }
    const { theme, seconds, sidebar, dock, lang, keys } = kept;
    if (theme === "light" || theme === "dark" || theme === "system") this.themeChoice.value = theme;
    if (typeof seconds === "number") this.view.value = { seconds: clampSeconds(seconds), to: null };
    if (typeof sidebar === "boolean" && innerWidth >= 1200) this.sidebar.value = sidebar;
    if (typeof dock === "string" && innerWidth >= 1200) this.dock.value = dock as DockTab;
    if (lang === "de" || lang === "en") language.value = lang;
    if (typeof keys === "boolean") this.keysEnabled.value = keys;
  }

  #keep(): void {
    const kept = {
      theme: this.themeChoice.value,
      seconds: this.view.value.seconds,
      sidebar: this.sidebar.value,
      dock: this.dock.value,
      keys: this.keysEnabled.value,
      lang: language.value,
    };
    try {
      localStorage.setItem(kStorageKey, JSON.stringify(kept));
    } catch {
      // The page works without.
    }
  }
}

function clampSeconds(seconds: number): number {
  return Number.isFinite(seconds) ? Math.min(kMostSeconds, Math.max(kLeastSeconds, seconds)) : 30;
}
