// All signals of the network at the side: searched as one types, shown by a click, dragged into a panel or put there by
// a menu.
import { useMemo, useRef, useState } from "preact/hooks";
import { curveColour } from "../charts/palette.ts";
import { texts } from "../i18n/texts.ts";
import type { CatalogueEntry, SignalId } from "../store/model.ts";
import { useStore, useWorkspace } from "./context.ts";
import { awayText, hideSignal, holds, kDragType, showSignal, takesSignals } from "./panel_signals.ts";
import { matching, toRows, type SignalRow } from "./signal_rows.ts";
import { kPanelIcons } from "./toolbar.tsx";
import { Button } from "./ui/button.tsx";
import { Icon } from "./ui/icons.tsx";
import { MenuButton, type MenuGroup } from "./ui/menu.tsx";
import { Incomplete, Nothing } from "./ui/states.tsx";
import { VirtualList } from "./ui/virtual_list.tsx";

const kCoarse = matchMedia("(pointer: coarse)");

/// Height of a row of lists in CSS pixels: fingers need more.
export function rowHeight(): number {
  return kCoarse.matches ? 48 : 28;
}

export function Sidebar() {
  const workspace = useWorkspace();
  const t = texts();
  if (!workspace.sidebar.value) return null;
  return (
    <nav class="sidebar" aria-label={t.regions.signals}>
      <SignalList />
    </nav>
  );
}

export function SignalList() {
  const store = useStore();
  const workspace = useWorkspace();
  const root = useRef<HTMLElement>(null);
  const t = texts();
  const [typed, setTyped] = useState("");
  const [onlyShown, setOnlyShown] = useState(false);
  const [closed, setClosed] = useState<ReadonlySet<string>>(new Set());
  const { entries, complete, missing } = store.catalogue.value;
  const runs = store.runs.value;
  const only = useMemo(() => (onlyShown ? new Set(runs.keys()) : null), [onlyShown, onlyShown ? runs : null]);
  const found = useMemo(() => matching(entries, typed, only), [entries, typed, only]);
  const rows = useMemo(() => toRows(found, typed === "" ? closed : new Set()), [found, closed, typed]);
  // From the search on by keys: Enter shows the first hit, the arrow goes into the list.
  const searchKey = (event: KeyboardEvent) => {
    if (event.key === "Escape") setTyped("");
    else if (event.key === "Enter") {
      const hit = rows.find((row) => row.type === "signal");
      if (typed !== "" && hit?.type === "signal" && !runs.has(hit.entry.id)) showSignal(store, workspace, hit.entry.id);
    } else if (event.key === "ArrowDown") {
      event.preventDefault();
      root.current!.querySelector<HTMLElement>("[data-stop]")?.focus();
    }
  };
  const toggle = (key: string) => {
    const next = new Set(closed);
    if (!next.delete(key)) next.add(key);
    setClosed(next);
  };
  return (
    <section class="signals" ref={root} aria-label={t.regions.signals}>
      <div class="search">
        <Icon name="search" />
        <input
          id="signal-search"
          type="search"
          autocomplete="off"
          spellcheck={false}
          data-testid="signal-search"
          aria-label={t.signals.searchLabel}
          placeholder={t.signals.search}
          value={typed}
          onInput={(event) => setTyped(event.currentTarget.value)}
          onKeyDown={(event) => searchKey(event)}
        />
        <kbd class="search-key" aria-hidden="true">
          /
        </kbd>
      </div>
      <div class="signals-head">
        <span class="muted" role="status" data-testid="signal-count">
          {entries.length > 0 ? t.signals.shown(found.length, entries.length) : " "}
        </span>
        <Button
          class="small"
          label={t.signals.onlyRunning}
          pressed={onlyShown}
          onClick={() => setOnlyShown(!onlyShown)}
          testid="only-shown"
        >
          {t.signals.onlyRunning}
        </Button>
      </div>
      {missing.length > 0 && entries.length > 0 && <Incomplete text={t.signals.partial(missing)} />}
      {rows.length > 0 ? (
        <VirtualList
          rows={rows}
          rowHeight={rowHeight()}
          rowKey={(row) => `${row.type}${row.key}`}
          label={t.regions.signals}
          testid="signal-list"
          render={(row) => <Row row={row} toggle={toggle} />}
        />
      ) : entries.length > 0 ? (
        <Nothing icon="search" text={t.signals.noHit}>
          <Button label={t.signals.clearSearch} kind="outlined" onClick={() => (setTyped(""), setOnlyShown(false))}>
            {t.signals.clearSearch}
          </Button>
        </Nothing>
      ) : complete ? (
        <Nothing icon="list" text={t.signals.empty} />
      ) : (
        <Nothing icon="list" text={t.signals.waiting} waiting hint={missing.length > 0 ? missing.join(", ") : undefined} />
      )}
    </section>
  );
}

function Row({ row, toggle }: { row: SignalRow; toggle: (key: string) => void }) {
  const t = texts();
  if (row.type === "signal") return <SignalEntryRow entry={row.entry} />;
  const name = row.type === "logger" ? row.logger : row.bus === "" ? t.signals.noBus : row.bus;
  return (
    <button type="button" data-stop class={`group-row ${row.type}`} aria-expanded={row.open} title={name} onClick={() => toggle(row.key)}>
      <Icon name={row.open ? "down" : "expand"} />
      <span class="group-name">{name}</span>
      <span class="group-count figures">{row.count}</span>
    </button>
  );
}

function SignalEntryRow({ entry }: { entry: CatalogueEntry }) {
  const store = useStore();
  const workspace = useWorkspace();
  const t = texts();
  const run = store.runs.value.get(entry.id) ?? "off";
  const on = run !== "off";
  const away = awayText(store, entry.id, run);
  const { name } = entry.key;
  return (
    <div
      class={`signal-row ${run}`}
      data-testid="signal-row"
      draggable
      onDragStart={(event) => {
        event.dataTransfer!.setData(kDragType, entry.id);
        event.dataTransfer!.effectAllowed = "copy";
      }}
    >
      <button
        type="button"
        data-stop
        class="signal-toggle"
        aria-pressed={on}
        title={`${on ? t.signals.hide(name) : t.signals.add(name)}\n${entry.logger} · ${entry.bus || t.signals.noBus}${on ? `\n${away !== "" ? away : t.signals.run[run]}` : ""}`}
        onClick={() => (on ? hideSignal(store, entry.id) : showSignal(store, workspace, entry.id))}
      >
        <span class="swatch" style={on ? { backgroundColor: curveColour(workspace.theme.value, store.colour(entry.id)) } : {}} />
        <span class="signal-name">{name}</span>
        {away !== "" ? (
          <span class="signal-away">{away}</span>
        ) : on ? (
          <RowValue id={entry.id} />
        ) : (
          <span class="signal-unit unit">{entry.unit}</span>
        )}
      </button>
      <MenuButton label={t.signals.menu(name)} class="signal-menu" groups={() => placeMenu(entry.id)} />
    </div>
  );

  function placeMenu(id: SignalId): MenuGroup[] {
    const panels = store.arrangement.value.panels.filter(takesSignals);
    return [
      { items: run === "refused" ? [{ label: away, icon: "warning" }] : [] },
      {
        title: t.signals.addTo,
        items: panels.map((panel) => ({
          label: panel.title !== "" ? panel.title : t.panels.kinds[panel.kind],
          icon: kPanelIcons[panel.kind],
          checked: holds(store, panel, id),
          action: () => (holds(store, panel, id) ? store.removeFromPanel(panel.id, id) : store.addToPanel(panel.id, [id])),
        })),
      },
      {
        items: [
          { label: t.signals.newChart, icon: "chart", action: () => void store.addPanel("chart", [id]) },
          { label: t.signals.newLanes, icon: "lanes", action: () => void store.addPanel("lanes", [id]) },
          { label: t.signals.newNumbers, icon: "numbers", action: () => void store.addPanel("numbers", [id]) },
          { label: t.signals.newTable, icon: "table", action: () => void store.addPanel("table", [id]) },
          { label: t.signals.newXy, icon: "xy", action: () => void store.addPanel("xy", [id]) },
        ],
      },
      { items: on ? [{ label: t.signals.stop, icon: "close", action: () => hideSignal(store, id) }] : [] },
    ];
  }
}

function RowValue({ id }: { id: SignalId }) {
  const store = useStore();
  store.ticks.texts.value;
  const latest = store.history(id)?.latest;
  const unit = store.catalogue.value.byId.get(id)?.unit ?? "";
  if (latest == null) return <span class="signal-unit unit">{unit}</span>;
  return (
    <span class={`signal-value figures ${store.stale(id) ? "stale" : ""}`}>
      {latest.description !== "" ? latest.description : latest.text} <span class="unit">{unit}</span>
    </span>
  );
}
