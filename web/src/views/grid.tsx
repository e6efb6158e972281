// The panels, in shelves that fill the screen.
import { useRef } from "preact/hooks";
import { texts } from "../i18n/texts.ts";
import { useStore, useWorkspace } from "./context.ts";
import { shelves, sizeOf } from "./layout.ts";
import { PanelFrame } from "./panel_frame.tsx";
import { Button } from "./ui/button.tsx";
import { useSize } from "./ui/hooks.ts";
import { Nothing } from "./ui/states.tsx";

/// Below this width panels that ask for less than half of it get half of it.
const kNarrow = 640;
/// The least height of a row in CSS pixels; below that the grid scrolls.
const kLeastRow = 36;
const kGap = 8;

export function Grid() {
  const store = useStore();
  const workspace = useWorkspace();
  const t = texts();
  const root = useRef<HTMLElement>(null);
  const { width, height } = useSize(root);
  const all = store.arrangement.value.panels;
  const maximized = all.find(({ id }) => id === workspace.maximized.value);
  const panels = maximized !== undefined ? [maximized] : all;
  const rows = shelves(panels, width < kNarrow ? 6 : 12);
  const total = rows.reduce((sum, shelf) => sum + shelf.height, 0);
  const room = height - (rows.length - 1) * kGap;
  const unit = Math.max(kLeastRow, room / Math.max(1, total));
  return (
    <main class="grid" aria-label={t.regions.panels} ref={root} data-testid="grid">
      {panels.length === 0 && !store.arranged.value && <Nothing icon="chart" text={t.panels.coming} waiting />}
      {panels.length === 0 && store.arranged.value && (
        <Nothing icon="chart" text={t.panels.none} hint={t.panels.noneHint}>
          <Button
            label={t.signals.newChart}
            kind="outlined"
            icon="chart"
            onClick={() => (workspace.target.value = store.addPanel("chart", []))}
          >
            {t.signals.newChart}
          </Button>
        </Nothing>
      )}
      {height > 0 &&
        rows.map((shelf) => (
          <div class="shelf" key={shelf.panels[0]!.id} style={{ height: `${Math.floor(shelf.height * unit)}px` }}>
            {shelf.panels.map((panel) => (
              <PanelFrame key={panel.id} panel={panel} grow={sizeOf(panel).w} rowHeight={unit} columnWidth={width / 12} />
            ))}
          </div>
        ))}
    </main>
  );
}
