import type { Panel } from "../../store/model.ts";
import type { PanelSignal } from "../panel_signals.ts";
import type { MenuGroup } from "../ui/menu.tsx";

/// What a kind of panel is given. `menu` lets it add to the menu of its frame.
export interface PanelProps {
  readonly panel: Panel;
  readonly signals: readonly PanelSignal[];
  readonly menu: { current: () => readonly MenuGroup[] };
}
