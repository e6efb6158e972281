import "./support/browser";
import assert from "node:assert/strict";
import { describe, test } from "node:test";
import type { Key } from "../src/protocol/types";
import { parseFrame } from "../src/protocol/parse";
import { WantedSignals } from "../src/protocol/wanted_signals";
import { signalId } from "../src/store/model";
import { NetworkStore } from "../src/store/network_store";
import { NetworkTime } from "../src/store/network_time";
import { SignalsStore } from "../src/store/signals_store";
import { kSpeed, panel } from "../src/views/gallery/examples";
import { fakeStore } from "../src/views/gallery/fake_store";
import { isAway, panelSignals } from "../src/views/panel_signals";

const kKey: Key = ["Speed", "01"];

function asked() {
  const wanted = new WantedSignals(() => {});
  wanted.want([{ key: kKey, visible: true }]);
  wanted.offered([kKey], true, false);
  const { request } = wanted.next()!;
  wanted.taken(request);
  return { wanted, answer: (frame: object | null) => wanted.answered(request, frame && parseFrame(JSON.stringify(frame))) };
}

const answer = (members: object) => ({ response: "generic_start_sig", signal_key: kKey, interval: -1, ...members });

describe("a signal that is refused", () => {
  test("is told with what its logger said", () => {
    const told = (members: object) => {
      const { wanted, answer: give } = asked();
      give(answer({ status: "ERROR", ...members }));
      return wanted.states();
    };
    assert.deepEqual(told({ error_code: "illegal_key" }), [[kKey, "refused", "illegal_key"]]);
    assert.deepEqual(told({ error_code: "cannot_start", error_msg: "switched off" }), [[kKey, "refused", "switched off"]]);
  });

  test("is told apart from one that nobody has answered for", () => {
    const { wanted, answer: give } = asked();
    give(null);
    assert.deepEqual(wanted.states(), [[kKey, "refused", "no_answer"]]);
  });

  test("has no reason any more once it runs", () => {
    const { wanted, answer: give } = asked();
    give(null);
    wanted.valueCame(kKey);
    assert.deepEqual(wanted.states(), [[kKey, "running", ""]]);
  });

  test("has its reason in the store, until it runs", () => {
    const network = new NetworkStore(() => {});
    const store = new SignalsStore({ post: () => {}, listen: () => {} }, network, new NetworkTime());
    store.takeStates([[kKey, "refused", "illegal_key"]]);
    assert.deepEqual([...store.refusals.value], [[signalId({ name: "Speed", mac: "01" }), "illegal_key"]]);
    store.takeStates([[kKey, "running", ""]]);
    assert.deepEqual([...store.refusals.value], []);
  });

  test("is told in words, and in the logger's own where the page has none", () => {
    const away = (why?: string) => {
      const chart = panel("chart", [kSpeed]);
      const run = why === undefined ? ([kSpeed, "refused"] as const) : ([kSpeed, "refused", why] as const);
      const store = fakeStore([kSpeed], { arrangement: { name: "", panels: [chart] }, runs: [run] });
      const [signal] = panelSignals(store, chart);
      assert.ok(isAway(signal!));
      return signal!.away;
    };
    assert.deepEqual(
      [away("illegal_key"), away("no_answer"), away("switched off"), away()],
      ["refused: not in the logger's list", "refused: no answer", "refused: switched off", "refused"],
    );
  });
});
