// Which time is seen, the two cursors, and new panels.
import { texts } from "../i18n/texts.ts";
import type { PanelKind } from "../store/model.ts";
import { useStore, useWorkspace } from "./context.ts";
import { Button } from "./ui/button.tsx";
import type { IconName } from "./ui/icons.tsx";
import { MenuButton } from "./ui/menu.tsx";
import { kTimeWindows } from "./workspace.ts";

export const kPanelIcons: Record<PanelKind, IconName> = {
  chart: "chart",
  lanes: "lanes",
  xy: "xy",
  numbers: "numbers",
  table: "table",
  loads: "loads",
};

export function Toolbar() {
  const store = useStore();
  const workspace = useWorkspace();
  const t = texts();
  const view = workspace.view.value;
  const paused = store.paused.value;
  const live = view.to === null && !paused;
  const { a, b } = workspace.cursors.value;
  return (
    <div class="toolbar" role="group" aria-label={t.regions.toolbar}>
      <Button
        icon="list"
        label={workspace.sidebar.value ? t.signals.collapse : t.signals.expand}
        pressed={workspace.sidebar.value}
        testid="toggle-signals"
        onClick={() => (workspace.sidebar.value = !workspace.sidebar.value)}
      />
      <span class="divider" />
      <Button
        icon={paused ? "play" : "pause"}
        label={`${paused ? t.time.resume : t.time.pause} (${t.keys.space})`}
        pressed={paused}
        testid="pause"
        onClick={() => (paused ? store.resume() : store.pause())}
      />
      <Button
        icon="later"
        label={`${t.time.toLive} (End)`}
        disabled={live}
        testid="to-live"
        onClick={() => {
          store.resume();
          workspace.follow();
        }}
      />
      <span class="divider" />
      <div class="segments" role="group" aria-label={t.time.window}>
        {kTimeWindows.map((seconds) => (
          <button
            type="button"
            class="segment"
            key={seconds}
            aria-pressed={view.seconds === seconds}
            data-testid={`window-${seconds}`}
            onClick={() => workspace.setSeconds(seconds)}
          >
            {t.time.seconds(seconds)}
          </button>
        ))}
      </div>
      <span class="divider" />
      {(["a", "b"] as const).map((which) => (
        <Button
          key={which}
          label={t.time.placeCursor(which.toUpperCase())}
          class="cursor-button"
          pressed={(which === "a" ? a : b) !== null}
          testid={`cursor-${which}`}
          onClick={() => workspace.placeCursor(which)}
        >
          {which.toUpperCase()}
        </Button>
      ))}
      <Button
        icon="close"
        label={`${t.time.clearCursors} (X)`}
        disabled={a === null && b === null}
        testid="cursors-clear"
        onClick={() => workspace.clearCursors()}
      />
      <span class="spring" />
      <MenuButton
        label={t.panels.add}
        icon="add"
        testid="add-panel"
        groups={() => [
          {
            items: (Object.keys(kPanelIcons) as PanelKind[]).map((kind) => ({
              label: t.panels.kinds[kind],
              icon: kPanelIcons[kind],
              action: () => (workspace.target.value = store.addPanel(kind, [])),
            })),
          },
        ]}
      >
        {t.panels.add}
      </MenuButton>
    </div>
  );
}
