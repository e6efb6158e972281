import assert from "node:assert/strict";
import { describe, test } from "node:test";
import { parseFrame } from "../src/protocol/parse";
import { TriggersStore, timeText } from "../src/store/triggers_store";
import { markerName } from "../src/views/marker_name";

const list = (markers: readonly (readonly [string, number])[], status: string) =>
  parseFrame(
    JSON.stringify({
      response: "get_trigger",
      markers: markers.map(([marker_id, timestamp], index) => ({ number: index, timestamp, time_zone: "UTC", marker_id })),
      status,
    }),
  );

describe("markers", () => {
  test("have ids of which no two are equal, also at the same moment", () => {
    const store = new TriggersStore(() => 0);
    const ids = [1, 2, 3].map(() => store.makeId("door", 1_795_235_530.958165, "Europe/Berlin"));
    assert.deepEqual(ids, ["door 2026-11-21 05:32:10.958165", "door 2026-11-21 05:32:10.958166", "door 2026-11-21 05:32:10.958167"]);
  });

  test("are told in UTC where the browser does not know the zone", () => {
    assert.equal(timeText(1_795_235_530_958_165, "Nowhere/Land"), "2026-11-21 04:32:10.958165");
  });

  test("are confirmed by the event", () => {
    const store = new TriggersStore(() => 0);
    store.sent("m");
    assert.equal(store.state.value.pending[0]?.state, "sending");
    store.take(parseFrame('{"response":"set_trigger","number":1,"timestamp":5,"time_zone":"UTC","marker_id":"m","status":"OK"}'));
    assert.equal(store.state.value.pending[0]?.state, "confirmed");
    assert.deepEqual(
      store.state.value.events.map(({ marker }) => marker),
      ["m"],
    );
  });
});

describe("the list of events", () => {
  test("is newest first, and one event where two loggers tell of one marker", () => {
    const store = new TriggersStore(() => 0);
    store.take(
      list(
        [
          ["a", 1],
          ["b", 3],
        ],
        "PROGRESS",
      ),
    );
    store.take(
      list(
        [
          ["a", 2],
          ["b", 3],
          ["c", 4],
        ],
        "OK",
      ),
    );
    assert.deepEqual(
      store.state.value.events.map(({ marker, stamp }) => [marker, stamp]),
      [
        ["c", 4],
        ["b", 3],
        ["a", 2],
      ],
    );
    assert.ok(store.state.value.complete);
  });

  test("does not shrink while it is gathered anew, and does when it is complete", () => {
    const store = new TriggersStore(() => 0);
    store.take(
      list(
        [
          ["a", 1],
          ["b", 3],
        ],
        "OK",
      ),
    );
    store.take(list([["a", 1]], "PROGRESS"));
    assert.equal(store.state.value.events.length, 2);
    store.take(list([["a", 1]], "OK"));
    assert.equal(store.state.value.events.length, 1);
  });
});

describe("one press", () => {
  test("is one entry, called as somebody has named it, with what the other loggers call it beside", () => {
    const store = new TriggersStore(() => 0);
    store.take(
      parseFrame('{"response":"set_trigger","number":1,"timestamp":7,"time_zone":"UTC","marker_id":"Trigger by hand","status":"OK"}'),
    );
    const calledByLoggers: [string, number] = ["Trigger 1970-01-01 00:00:00.000007", 7];
    store.take(list([calledByLoggers, ["Trigger by hand", 7], ["Trigger 1970-01-01 00:00:00.000009", 9], ["door", 9]], "OK"));
    assert.deepEqual(
      store.state.value.events.map(({ marker, also }) => [marker, also]),
      [
        ["door", ["Trigger 1970-01-01 00:00:00.000009"]],
        ["Trigger by hand", ["Trigger 1970-01-01 00:00:00.000007"]],
      ],
    );
  });
});

describe("a marker's short name", () => {
  test("is what a person typed", () => {
    assert.equal(markerName("door 2026-11-21 05:32:10.958165"), "door");
    assert.equal(markerName("2026-11-21 05:32:10.958165"), "");
    assert.equal(markerName("Trigger 2026-11-21 05:32:10.958165"), "Trigger");
    assert.equal(markerName("at 12:00"), "at 12:00");
  });
});
