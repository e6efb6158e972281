// Always there: which network this is, how true what is shown is, and the marker button.
import { language, texts } from "../i18n/texts.ts";
import { networkClock, useStore, useWorkspace } from "./context.ts";
import { ConnectionBadge } from "./connection_badge.tsx";
import { MarkerButton } from "./marker_button.tsx";
import { Button } from "./ui/button.tsx";
import type { IconName } from "./ui/icons.tsx";
import type { ThemeChoice } from "./workspace.ts";

const kThemeIcons: Record<ThemeChoice, IconName> = { system: "contrast", light: "sun", dark: "moon" };

export function Header() {
  const workspace = useWorkspace();
  const t = texts();
  const choice = workspace.themeChoice.value;
  return (
    <header class="header" aria-label={t.regions.header}>
      <NetworkSummary />
      <ConnectionBadge />
      <span class="spring" />
      <NetworkTime />
      <div class="header-tools">
        <Button
          icon={kThemeIcons[choice]}
          label={t.header.themeNext(t.header.theme[workspace.nextTheme()])}
          testid="theme"
          onClick={() => (workspace.themeChoice.value = workspace.nextTheme())}
        />
        <Button
          label={t.otherLanguage}
          class="language"
          testid="language"
          onClick={() => (language.value = language.value === "de" ? "en" : "de")}
        >
          {language.value === "de" ? "EN" : "DE"}
        </Button>
        <Button icon="keys" label={`${t.header.keys} (?)`} testid="keys" onClick={() => (workspace.dialog.value = "keys")} />
      </div>
      <MarkerButton />
    </header>
  );
}

function NetworkSummary() {
  const store = useStore();
  const workspace = useWorkspace();
  const t = texts();
  const { name, loggers, gone } = store.network.value;
  const answering = loggers.filter(({ answers }) => answers !== false).length;
  const title = name !== "" ? name : loggers.length > 0 ? t.header.alone : t.header.noNetwork;
  return (
    <div class="network-summary">
      <img src="icon.svg" alt="" width="24" height="24" />
      <h1 class="network-heading">
        <button
          type="button"
          class="network-button"
          data-testid="network-summary"
          title={`${title} – ${t.network.tab}`}
          onClick={() => workspace.toggleDock("network")}
        >
          <span class="network-name" data-testid="network-name">
            {title}
          </span>
          <span class={`network-count ${answering < loggers.length || gone.length > 0 ? "warn" : ""}`} data-testid="network-count">
            {loggers.length === 0
              ? t.title
              : answering < loggers.length
                ? t.header.answering(answering, loggers.length)
                : t.header.loggers(loggers.length) + (gone.length > 0 ? `, ${t.header.gone(gone.length)}` : "")}
          </span>
        </button>
      </h1>
    </div>
  );
}

function NetworkTime() {
  const store = useStore();
  const t = texts();
  store.ticks.texts.value;
  const clock = networkClock(store);
  const now = store.now();
  return (
    <div class="network-time" title={t.header.networkTime} data-testid="network-time">
      <span class="figures">{Number.isFinite(now) ? clock.time(now) : "––:––:––"}</span>
      <span class="muted zone">{clock.zone}</span>
    </div>
  );
}
