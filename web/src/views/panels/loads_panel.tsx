// How busy every bus of every logger is: a bar with its peak, the last minute, MOST's figures and GPS.
import { useMemo, useRef } from "preact/hooks";
import { groupedNumber, plainNumber } from "../../charts/numbers.ts";
import { drawSparkline } from "../../charts/sparkline.ts";
import { texts } from "../../i18n/texts.ts";
import { kRecentSeconds, type BusesState, type BusState, type GpsState } from "../../store/model.ts";
import { useStore, useWorkspace } from "../context.ts";
import { rowHeight } from "../signal_list.tsx";
import { Button } from "../ui/button.tsx";
import { useDrawing, useSize } from "../ui/hooks.ts";
import { Icon } from "../ui/icons.tsx";
import { Incomplete, Nothing } from "../ui/states.tsx";
import { VirtualList } from "../ui/virtual_list.tsx";
import { fullLoad } from "./full_load.ts";
import type { PanelProps } from "./panel_props.ts";
import { valueEntries } from "./saving.ts";
import { gpsText, loadsCsv } from "./value_files.ts";

type Row =
  | { readonly type: "logger"; readonly key: string; readonly name: string }
  | { readonly type: "bus"; readonly key: string; readonly bus: BusState }
  | { readonly type: "most"; readonly key: string; readonly figures: readonly (readonly [string, number])[] }
  | { readonly type: "gps"; readonly key: string; readonly gps: GpsState };

/// `frame` is what the view has around it in the grid, and takes what it adds to the menu there; in the dock there is none.
export function LoadsPanel({ frame }: { frame?: Pick<PanelProps, "panel" | "menu"> }) {
  const store = useStore();
  const whole = useRef<HTMLDivElement>(null);
  const t = texts();
  const state = store.buses.value;
  if (frame !== undefined) {
    const title = frame.panel.title !== "" ? frame.panel.title : t.panels.kinds.loads;
    frame.menu.current = () => [
      ...valueEntries(store, title, whole, store.now, () => loadsCsv(state)),
      {
        items: [
          state.running
            ? { label: t.loads.stop, icon: "stop", action: () => store.stopLoads() }
            : { label: t.loads.start, icon: "play", action: () => store.startLoads() },
        ],
      },
    ];
  }
  if (state.buses.length === 0 && state.gps.length === 0) {
    if (!state.running && state.complete) {
      return (
        <Nothing icon="loads" text={t.loads.stopped}>
          <Button label={t.loads.start} kind="outlined" onClick={() => store.startLoads()}>
            {t.loads.start}
          </Button>
        </Nothing>
      );
    }
    return state.complete ? (
      <Nothing icon="loads" text={t.loads.empty} />
    ) : (
      <Nothing icon="loads" text={t.loads.waiting} waiting hint={state.missing.join(", ") || undefined} />
    );
  }
  return (
    <div class="loads" data-testid="loads" ref={whole}>
      {state.missing.length > 0 && <Incomplete text={t.loads.partial(state.missing)} />}
      {!state.running && (
        <div class="incomplete" role="status">
          <span class="incomplete-text">{t.loads.stopped}</span>
          <Button label={t.loads.start} kind="outlined" onClick={() => store.startLoads()}>
            {t.loads.start}
          </Button>
        </div>
      )}
      <LoadList state={state} />
    </div>
  );
}

/// Where less room is than that, a row holds one of MOST's figures.
const kRoomForTwo = 420; // CSS pixels; the style sheet has the same

function LoadList({ state }: { state: BusesState }) {
  const box = useRef<HTMLDivElement>(null);
  const { width } = useSize(box);
  const inRow = width < kRoomForTwo ? 1 : 2;
  const rows = useMemo(() => toRows(state, inRow), [state, inRow]);
  return (
    <div class="loads-list" ref={box}>
      <VirtualList
        rows={rows}
        rowHeight={Math.min(32, rowHeight())}
        rowKey={({ key }) => key}
        label={texts().panels.kinds.loads}
        render={(row) => <RowView row={row} />}
      />
    </div>
  );
}

function toRows(state: BusesState, figuresInRow: number): Row[] {
  const loggers = [...new Set([...state.buses, ...state.gps].map(({ logger }) => logger))];
  return loggers.flatMap((name): Row[] => [
    { type: "logger", key: `logger ${name}`, name },
    ...state.buses
      .filter(({ logger }) => logger === name)
      .flatMap((bus): Row[] => [
        { type: "bus", key: bus.id, bus },
        ...chunks(bus.most?.figures ?? [], figuresInRow).map(
          (figures, index): Row => ({ type: "most", key: `${bus.id} ${index}`, figures }),
        ),
      ]),
    ...state.gps.filter(({ logger }) => logger === name).map((gps): Row => ({ type: "gps", key: `gps ${name} ${gps.name}`, gps })),
  ]);
}

function chunks<Item>(items: readonly Item[], size: number): Item[][] {
  const found: Item[][] = [];
  for (let index = 0; index < items.length; index += size) found.push(items.slice(index, index + size));
  return found;
}

function RowView({ row }: { row: Row }) {
  const t = texts();
  switch (row.type) {
    case "logger":
      return (
        <div class="load-logger" title={row.name}>
          {row.name !== "" ? row.name : t.common.unknownLogger}
        </div>
      );
    case "bus":
      return <BusRow bus={row.bus} />;
    case "most":
      return (
        <div class="load-most">
          {row.figures.map(([name, value]) => (
            <span class="most-figure" key={name}>
              <span class="muted">{t.loads.most[name] ?? name}</span> <span class="figures">{groupedNumber(value)}</span>
            </span>
          ))}
        </div>
      );
    case "gps":
      return <GpsRow gps={row.gps} />;
  }
}

function BusRow({ bus }: { bus: BusState }) {
  const t = texts();
  const full = fullLoad(bus);
  const part = (value: number) => `${Math.min(100, Math.max(0, (value / full) * 100))}%`;
  const high = bus.unit === "%" && bus.load !== null && bus.load >= 80;
  const status = bus.most?.status ?? "";
  return (
    <div class={`load ${bus.load === null && status === "" ? "unknown" : ""}`} data-testid="load" data-bus={bus.id}>
      <span class="load-bus muted" title={bus.bus}>
        {bus.bus}
      </span>
      <span class="load-name" title={bus.name}>
        {bus.name}
      </span>
      {status !== "" && bus.load === null ? (
        <span class="load-status" title={status}>
          {status}
        </span>
      ) : (
        <>
          <span
            class="load-bar"
            role="meter"
            aria-label={`${bus.bus} ${bus.name}`}
            aria-valuemin={0}
            aria-valuemax={full}
            aria-valuenow={bus.load ?? 0}
            aria-valuetext={bus.load === null ? t.loads.unknown : `${bus.load} ${bus.unit}`}
          >
            <span class={`load-fill ${high ? "high" : ""}`} style={{ width: bus.load === null ? "0" : part(bus.load) }} />
            {bus.peak !== null && (
              <span class="load-peak" title={`${t.loads.peak}: ${plainNumber(bus.peak)} ${bus.unit}`} style={{ left: part(bus.peak) }} />
            )}
          </span>
          <span class="load-value figures">
            {bus.load === null ? <span class="muted">{t.loads.unknown}</span> : groupedNumber(bus.load)}
          </span>
          <span class="load-unit unit">{bus.load === null ? "" : bus.unit}</span>
        </>
      )}
      <LoadSpark bus={bus} full={full} />
    </div>
  );
}

function LoadSpark({ bus, full }: { bus: BusState; full: number }) {
  const store = useStore();
  const workspace = useWorkspace();
  const box = useRef<HTMLSpanElement>(null);
  const canvas = useRef<HTMLCanvasElement>(null);
  const size = useSize(box);
  const theme = workspace.theme.value;
  useDrawing(
    box,
    () => store.ticks.texts.value,
    () => {
      const now = store.now();
      if (size.width === 0 || !Number.isFinite(now)) return;
      const colour = getComputedStyle(box.current!).color;
      drawSparkline(canvas.current!, size, { x: bus.recentX, y: bus.recent }, { now, seconds: kRecentSeconds, top: full }, colour);
    },
    [size.width, size.height, bus, theme],
  );
  return (
    <span class="load-spark" ref={box}>
      <canvas ref={canvas} aria-hidden="true" />
    </span>
  );
}

function GpsRow({ gps }: { gps: GpsState }) {
  const t = texts().loads;
  const state = gps.fix === null ? "unknown" : gps.fix ? "fix" : "nofix";
  return (
    <div class={`load gps ${state}`} data-testid="gps">
      <span class="load-bus muted">{t.gps}</span>
      <span class="load-name" title={gps.name}>
        {gps.name}
      </span>
      <span class="load-status gps-state">
        <Icon name={gps.fix === true ? "check" : gps.fix === false ? "close" : "more"} />
        {gpsText(gps)}
        {gps.status !== "" && <span class="muted figures">{gps.status}</span>}
      </span>
    </div>
  );
}
