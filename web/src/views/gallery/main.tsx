// Every view in every state side by side, for the eye and for photographs in tests. Address: states.html, with
// ?theme=light|dark, ?only=<row> for one row and ?size=coarse|fine as far as the browser's own media queries allow.
import { render, type ComponentChildren } from "preact";
import { useMemo } from "preact/hooks";
import { language, texts } from "../../i18n/texts.ts";
import type { Store } from "../../store/model.ts";
import { Provide, useStore } from "../context.ts";
import { AudioView } from "../dock/audio_view.tsx";
import { MonitorView } from "../dock/monitor_view.tsx";
import { NetworkView } from "../dock/network_view.tsx";
import { ProtocolView } from "../dock/protocol_view.tsx";
import { SetupsView } from "../dock/setups_view.tsx";
import { TriggersView } from "../dock/triggers_view.tsx";
import { Header } from "../header.tsx";
import { PanelFrame } from "../panel_frame.tsx";
import { LoadsPanel } from "../panels/loads_panel.tsx";
import { SignalList } from "../signal_list.tsx";
import { Workspace } from "../workspace.ts";
import type { Cell } from "./cell.ts";
import { kStates } from "./states.ts";

const kViews: Record<string, { view: () => ComponentChildren; width: number; height: number }> = {
  header: { view: () => <Header />, width: 1100, height: 64 },
  signals: { view: () => <SignalList />, width: 304, height: 360 },
  chart: { view: () => <Panels />, width: 640, height: 360 },
  lanes: { view: () => <Panels />, width: 640, height: 200 },
  xy: { view: () => <Panels />, width: 400, height: 320 },
  numbers: { view: () => <Panels />, width: 480, height: 280 },
  table: { view: () => <Panels />, width: 720, height: 280 },
  loads: { view: () => <Loads />, width: 480, height: 480 },
  network: { view: () => <NetworkView />, width: 376, height: 480 },
  triggers: { view: () => <TriggersView />, width: 376, height: 280 },
  audio: { view: () => <AudioView />, width: 376, height: 360 },
  monitor: { view: () => <MonitorView />, width: 376, height: 320 },
  setups: { view: () => <SetupsView />, width: 376, height: 320 },
  protocol: { view: () => <ProtocolView />, width: 376, height: 480 },
};

function Panels() {
  const store = useStore();
  return (
    <div class="shelf gallery-shelf">
      {store.arrangement.value.panels.map((panel) => (
        <PanelFrame key={panel.id} panel={panel} grow={12} rowHeight={48} columnWidth={48} />
      ))}
    </div>
  );
}

// As a tool, or as a panel.
function Loads() {
  return useStore().arrangement.value.panels.length > 0 ? <Panels /> : <LoadsPanel />;
}

function CellView({ cell, view, width, height }: { cell: Cell; view: () => ComponentChildren; width: number; height: number }) {
  const value = useMemo(() => {
    const store: Store = cell.store();
    const workspace = new Workspace(store, false);
    cell.prepare?.(workspace);
    workspace.themeChoice.value = theme;
    return { store, workspace };
  }, []);
  const t = texts();
  return (
    <div class="gallery-cell" data-testid={`state-${cell.view}-${cell.state}`}>
      <h3 class="gallery-title muted">{cell.note ?? t.states[cell.state]}</h3>
      <div class="gallery-box" style={{ width: `${width}px`, height: `${height}px` }}>
        <Provide value={value}>{view()}</Provide>
      </div>
    </div>
  );
}

function Gallery() {
  const t = texts();
  return (
    <main class="gallery">
      <h1 class="gallery-title">{t.states.title}</h1>
      {Object.entries(kViews)
        .filter(([name]) => only === null || only === name)
        .map(([name, { view, width, height }]) => (
          <section key={name} aria-label={name} data-testid={`states-${name}`}>
            <h2 class="gallery-title">{name}</h2>
            <div class={`gallery-row ${name === "header" ? "column" : ""}`}>
              {kStates
                .filter((cell) => cell.view === name)
                .map((cell) => (
                  <CellView key={cell.state + (cell.note ?? "")} cell={cell} view={view} width={width} height={height} />
                ))}
            </div>
          </section>
        ))}
    </main>
  );
}

const parameters = new URLSearchParams(location.search);
const only = parameters.get("only");
const theme = parameters.get("theme") === "light" ? "light" : "dark";
document.documentElement.dataset["theme"] = theme;
language.value = parameters.get("lang") === "de" ? "de" : "en";
render(<Gallery />, document.getElementById("app")!);
