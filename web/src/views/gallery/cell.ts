// A state of a view.
import type { Store } from "../../store/model.ts";
import type { Workspace } from "../workspace.ts";

export interface Cell {
  readonly view: string;
  readonly state: "empty" | "waiting" | "partial" | "broken" | "full";
  /// What tells it apart from another one of the same state.
  readonly note?: string;
  readonly store: () => Store;
  readonly prepare?: (workspace: Workspace) => void;
}
