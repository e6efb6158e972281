import assert from "node:assert/strict";
import { test } from "node:test";
import "./support/browser";
import { signal } from "@preact/signals";
import { signalId, type Panel, type Store } from "../src/store/model";
import { fullName, panelSignals } from "../src/views/panel_signals";

test("signals of one name are told apart by their loggers, others go by their names", () => {
  const references = [
    { name: "Speed", mac: "01", logger: "Front" },
    { name: "Speed", mac: "02", logger: "Rear" },
    { name: "Gear", mac: "02", logger: "Rear" },
  ];
  const store = {
    catalogue: signal({ entries: [], byId: new Map(), complete: true, missing: [] }),
    runs: signal(new Map()),
    resolve: signalId,
    colour: () => 0,
  } as unknown as Store;
  const panel: Panel = { id: "1", kind: "chart", title: "", signals: references, options: {} };
  assert.deepEqual(panelSignals(store, panel).map(fullName), ["Speed · Front", "Speed · Rear", "Gear"]);
  assert.deepEqual(panelSignals(store, { ...panel, signals: references.slice(1) }).map(fullName), ["Speed", "Gear"]);
});
