// What all panels have: a head with title and menu, a place to drop signals, handles to move and to resize.
import type { ComponentChildren } from "preact";
import { useEffect, useRef, useState } from "preact/hooks";
import { texts } from "../i18n/texts.ts";
import type { Panel, PanelKind, Store } from "../store/model.ts";
import { useStore, useWorkspace } from "./context.ts";
import { bounded, moved, sizeOf } from "./layout.ts";
import { fullName, kDragType, kPanelDragType, panelSignals, setOptions, takesSignals } from "./panel_signals.ts";
import { ChartPanel } from "./panels/chart_panel.tsx";
import { LanesPanel } from "./panels/lanes_panel.tsx";
import { LoadsPanel } from "./panels/loads_panel.tsx";
import { NumbersPanel } from "./panels/numbers_panel.tsx";
import type { PanelProps } from "./panels/panel_props.ts";
import { TablePanel } from "./panels/table_panel.tsx";
import { XyPanel } from "./panels/xy_panel.tsx";
import { kPanelIcons } from "./toolbar.tsx";
import { Icon } from "./ui/icons.tsx";
import { useFocus } from "./ui/hooks.ts";
import { MenuButton, type MenuGroup } from "./ui/menu.tsx";
import { Nothing } from "./ui/states.tsx";

const kViews: Record<PanelKind, (props: PanelProps) => ComponentChildren> = {
  chart: (props) => <ChartPanel {...props} />,
  lanes: (props) => <LanesPanel {...props} />,
  xy: (props) => <XyPanel {...props} />,
  numbers: (props) => <NumbersPanel {...props} />,
  table: (props) => <TablePanel {...props} />,
  loads: ({ panel, menu }) => <LoadsPanel frame={{ panel, menu }} />,
};

// More than that would hide the rest of the menu; the table has a cross in each row.
const kMostRemovals = 12;

interface Props {
  readonly panel: Panel;
  readonly grow: number;
  readonly rowHeight: number;
  readonly columnWidth: number;
}

export function PanelFrame({ panel, grow, rowHeight, columnWidth }: Props) {
  const store = useStore();
  const workspace = useWorkspace();
  const t = texts();
  const menu = useRef<() => readonly MenuGroup[]>(() => []);
  const [over, setOver] = useState(false);
  const signals = panelSignals(store, panel);
  const ids = signals.flatMap(({ id }) => (id === null ? [] : [id]));
  useEffect(() => store.setVisible(panel.id, ids), [ids.join("\n")]);
  useEffect(() => () => store.setVisible(panel.id, []), []);
  const title = panel.title !== "" ? panel.title : t.panels.kinds[panel.kind];
  const empty = takesSignals(panel) && signals.length === 0;
  return (
    <section
      class={`panel ${panel.kind} ${over ? "drop" : ""} ${workspace.target.value === panel.id ? "target" : ""}`}
      aria-label={title}
      data-testid={`panel-${panel.kind}`}
      data-panel={panel.id}
      style={{ flexGrow: String(grow) }}
      onPointerDown={() => takesSignals(panel) && (workspace.target.value = panel.id)}
      onDragOver={(event) => {
        const types = event.dataTransfer?.types ?? [];
        if (!types.includes(kPanelDragType) && !(types.includes(kDragType) && takesSignals(panel))) return;
        event.preventDefault();
        setOver(true);
      }}
      onDragLeave={(event) => !event.currentTarget.contains(event.relatedTarget as Node | null) && setOver(false)}
      onDrop={(event) => {
        event.preventDefault();
        setOver(false);
        dropped(store, panel, event.dataTransfer!);
      }}
    >
      <div class="panel-head">
        <span
          class="panel-grip"
          draggable
          title={t.panels.move}
          onDragStart={(event) => event.dataTransfer!.setData(kPanelDragType, panel.id)}
        >
          <Icon name={kPanelIcons[panel.kind]} />
        </span>
        <PanelTitle panel={panel} title={title} />
        <MenuButton label={t.panels.menu(title)} testid="panel-menu" groups={() => [refusals(), ...menu.current(), ...frameMenu()]} />
      </div>
      <div class="panel-body">
        {empty ? (
          <Nothing icon={kPanelIcons[panel.kind]} text={panel.kind === "xy" ? t.panels.emptyXy : t.panels.emptyPanel} />
        ) : (
          kViews[panel.kind]({ panel, signals, menu })
        )}
      </div>
      <Resizer panel={panel} rowHeight={rowHeight} columnWidth={columnWidth} />
    </section>
  );

  // Panels may have no room for all that a logger said.
  function refusals(): MenuGroup {
    const refused = signals.filter(({ run }) => run === "refused").slice(0, kMostRemovals);
    return { items: refused.map(({ name, away }) => ({ label: `${name}: ${away}`, icon: "warning" })) };
  }

  function frameMenu(): MenuGroup[] {
    const { w, h } = sizeOf(panel);
    const size = (change: { w?: number; h?: number }) => () => setOptions(store, panel, change);
    const { panels } = store.arrangement.value;
    const index = panels.indexOf(panel);
    const move = (before: number) => () => arrange(store, moved(panels, panel.id, panels[before]?.id ?? null));
    const full = workspace.maximized.value === panel.id;
    return [
      {
        items: takesSignals(panel)
          ? (["chart", "lanes", "numbers", "table", "xy"] as const)
              .filter((kind) => kind !== panel.kind)
              .map((kind) => ({
                label: t.panels.asKind(t.panels.kinds[kind]),
                icon: kPanelIcons[kind],
                action: () => store.changePanel(panel.id, { kind }),
              }))
          : [],
      },
      {
        items: [
          {
            label: full ? t.panels.restore : t.panels.maximize,
            icon: "full",
            action: () => (workspace.maximized.value = full ? null : panel.id),
          },
          { label: t.panels.wider, disabled: w >= 12, action: size({ w: bounded("w", w + 1, w) }) },
          { label: t.panels.narrower, disabled: w <= 3, action: size({ w: bounded("w", w - 1, w) }) },
          { label: t.panels.taller, disabled: h >= 12, action: size({ h: bounded("h", h + 1, h) }) },
          { label: t.panels.lower, disabled: h <= 2, action: size({ h: bounded("h", h - 1, h) }) },
          { label: t.panels.earlier, icon: "back", disabled: index <= 0, action: move(index - 1) },
          { label: t.panels.later, icon: "later", disabled: index >= panels.length - 1, action: move(index + 2) },
        ],
      },
      {
        title: t.panels.removeSignals,
        items: signals.slice(0, kMostRemovals).map((signal) => ({
          label: fullName(signal),
          icon: "close" as const,
          action: () => store.removeFromPanel(panel.id, signal.id ?? signal.key),
        })),
      },
      { items: [{ label: t.panels.remove, icon: "close", action: () => store.removePanel(panel.id) }] },
    ];
  }
}

function dropped(store: Store, panel: Panel, data: DataTransfer): void {
  const moving = data.getData(kPanelDragType);
  if (moving !== "") arrange(store, moved(store.arrangement.value.panels, moving, panel.id));
  const signal = data.getData(kDragType);
  if (signal !== "" && takesSignals(panel)) store.addToPanel(panel.id, [signal]);
}

function arrange(store: Store, panels: readonly Panel[]): void {
  store.setArrangement({ ...store.arrangement.value, panels });
}

function PanelTitle({ panel, title }: { panel: Panel; title: string }) {
  const store = useStore();
  const [editing, setEditing] = useState(false);
  const done = (text: string) => {
    setEditing(false);
    if (text.trim() !== panel.title) store.changePanel(panel.id, { title: text.trim() });
  };
  if (editing) return <TitleEdit panel={panel} title={title} done={done} cancel={() => setEditing(false)} />;
  return (
    <h2 class="panel-title" title={title}>
      <button type="button" class="panel-title-button" onClick={() => setEditing(true)}>
        {title}
      </button>
    </h2>
  );
}

interface EditProps {
  readonly panel: Panel;
  readonly title: string;
  readonly done: (text: string) => void;
  readonly cancel: () => void;
}

function TitleEdit({ panel, title, done, cancel }: EditProps) {
  const input = useRef<HTMLInputElement>(null);
  useFocus(input);
  return (
    <input
      class="panel-title-edit"
      type="text"
      ref={input}
      maxLength={80}
      aria-label={texts().panels.title}
      value={panel.title}
      placeholder={title}
      onBlur={(event) => done(event.currentTarget.value)}
      onKeyDown={(event) => {
        if (event.key === "Enter") done(event.currentTarget.value);
        if (event.key === "Escape") cancel();
      }}
    />
  );
}

// The corner that changes the size; by keyboard the menu does.
function Resizer({ panel, rowHeight, columnWidth }: Omit<Props, "grow">) {
  const store = useStore();
  const start = useRef<{ x: number; y: number; w: number; h: number } | null>(null);
  return (
    <span
      class="resizer"
      title={texts().panels.resize}
      aria-hidden="true"
      onPointerDown={(event) => {
        event.currentTarget.setPointerCapture(event.pointerId);
        start.current = { x: event.clientX, y: event.clientY, ...sizeOf(panel) };
      }}
      onPointerMove={(event) => {
        const from = start.current;
        if (from === null) return;
        const w = bounded("w", from.w + (event.clientX - from.x) / columnWidth, from.w);
        const h = bounded("h", from.h + (event.clientY - from.y) / rowHeight, from.h);
        const now = sizeOf(panel);
        if (w !== now.w || h !== now.h) setOptions(store, panel, { w, h });
      }}
      onPointerUp={() => (start.current = null)}
      onPointerCancel={() => (start.current = null)}
    />
  );
}
