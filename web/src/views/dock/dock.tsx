// The tools at the right: a rail of tabs that is always there, and the one that is open.
import type { ComponentChildren } from "preact";
import { texts } from "../../i18n/texts.ts";
import { useWorkspace } from "../context.ts";
import { LoadsPanel } from "../panels/loads_panel.tsx";
import { Button } from "../ui/button.tsx";
import { Icon, type IconName } from "../ui/icons.tsx";
import type { DockTab } from "../workspace.ts";
import { AudioView } from "./audio_view.tsx";
import { MonitorView } from "./monitor_view.tsx";
import { NetworkView } from "./network_view.tsx";
import { ProtocolView } from "./protocol_view.tsx";
import { SetupsView } from "./setups_view.tsx";
import { TriggersView } from "./triggers_view.tsx";

const kTabs: Record<DockTab, { icon: IconName; view: () => ComponentChildren }> = {
  network: { icon: "network", view: () => <NetworkView /> },
  loads: { icon: "loads", view: () => <LoadsPanel /> },
  triggers: { icon: "flag", view: () => <TriggersView /> },
  audio: { icon: "mic", view: () => <AudioView /> },
  monitor: { icon: "monitor", view: () => <MonitorView /> },
  setups: { icon: "setups", view: () => <SetupsView /> },
  protocol: { icon: "protocol", view: () => <ProtocolView /> },
};

export function tabName(tab: DockTab): string {
  const t = texts();
  return tab === "loads" ? t.panels.kinds.loads : t[tab].tab;
}

export function Dock() {
  const workspace = useWorkspace();
  const t = texts();
  const open = workspace.dock.value;
  return (
    <aside class={`dock ${open === null ? "" : "open"}`} aria-label={t.regions.dock}>
      {open !== null && (
        <section class="dock-view" aria-label={tabName(open)} data-testid={`view-${open}`}>
          <div class="dock-head">
            <h2>{tabName(open)}</h2>
            <Button icon="close" label={t.common.close} onClick={() => (workspace.dock.value = null)} />
          </div>
          <div class="dock-body">{kTabs[open].view()}</div>
        </section>
      )}
      <div class="rail" role="group" aria-label={t.regions.dock}>
        {(Object.keys(kTabs) as DockTab[]).map((tab) => (
          <button
            type="button"
            class="rail-tab"
            key={tab}
            aria-pressed={open === tab}
            title={tabName(tab)}
            data-testid={`tab-${tab}`}
            onClick={() => workspace.toggleDock(tab)}
          >
            <Icon name={kTabs[tab].icon} />
            <span class="rail-text">{tabName(tab)}</span>
          </button>
        ))}
      </div>
    </aside>
  );
}
