import "./support/browser";
import assert from "node:assert/strict";
import { describe, test } from "node:test";
import { kBuses, kGear, kNoValue, kSilent, kSpeed, panel } from "../src/views/gallery/examples";
import { fakeStore, kNow, type Example } from "../src/views/gallery/fake_store";
import { panelSignals } from "../src/views/panel_signals";
import { loadsCsv, numbersCsv, tableCsv } from "../src/views/panels/value_files";

const kHuge: Example = { ...kNoValue, name: "Huge, odd", text: () => "=18446744073709551615" };

const limits = { [`low:${kSpeed.mac}\n${kSpeed.name}`]: 0, [`high:${kSpeed.mac}\n${kSpeed.name}`]: 60 };
const numbers = panel("numbers", [kSpeed, kGear, kSilent, kNoValue, kHuge], limits);

function world() {
  const examples = [kSpeed, kGear, kSilent, kNoValue, kHuge];
  const store = fakeStore(examples, { arrangement: { name: "", panels: [numbers] } });
  return { store, signals: panelSignals(store, numbers) };
}

const lines = (text: string) => text.split("\r\n");

describe("the file of", () => {
  test("big numbers tells values with their times, their limits and what is to be said about them", () => {
    const { store, signals } = world();
    assert.deepEqual(lines(numbersCsv(store, numbers, signals)), [
      "Logger,Name,Value,Unit,Description,time (UTC),logger stamp [us],Lower limit,Upper limit,State",
      "Front,Vehicle.Speed,82,km/h,,2026-11-21T12:00:00.000000Z,1795262400000000,0,60,above limit",
      "Front,Gear,4,,fourth,2026-11-21T12:00:00.000000Z,1795262400000000,,,",
      "Rear,Brake.Pressure,12,bar,,2026-11-21T11:59:46.000000Z,1795262386000000,,,stale",
      "Rear,Yaw.Rate,,°/s,,,,,,no value yet",
      'Rear,"Huge, odd",\'=18446744073709551615,°/s,,2026-11-21T12:00:00.000000Z,1795262400000000,,,',
      "",
    ]);
  });

  test("big numbers and of a table tells what is seen while the view is frozen", () => {
    const { store, signals } = world();
    const frozen = { ...store, frozenX: { value: kNow - 17 } as typeof store.frozenX };
    store.pause();
    assert.match(lines(numbersCsv(frozen, numbers, signals))[1]!, /^Front,Vehicle.Speed,57.69,.*T11:59:43.000000Z,.*,$/);
    assert.match(lines(tableCsv(frozen, signals))[1]!, /^Front,Vehicle.Speed,57.69,.*T11:59:43.000000Z,/);
  });

  test("a table tells least and greatest values, but none of states", () => {
    const { store, signals } = world();
    assert.deepEqual(lines(tableCsv(store, signals)).slice(0, 3), [
      "Logger,Name,Value,Unit,Description,time (UTC),logger stamp [us],Min,Max",
      "Front,Vehicle.Speed,82,km/h,,2026-11-21T12:00:00.000000Z,1795262400000000,42.27,119.55",
      "Front,Gear,4,,fourth,2026-11-21T12:00:00.000000Z,1795262400000000,,",
    ]);
  });

  test("bus loads has a row for each bus and receiver, and a column for each figure of MOST", () => {
    const { buses, gps } = kBuses;
    const chosen = { ...kBuses, buses: [buses[0]!, buses[3]!, { ...buses[6]!, logger: "" }], gps };
    assert.deepEqual(
      lines(loadsCsv(chosen)).map((line) => line.split(",").slice(0, 9).join(",")),
      [
        "Logger,Bus,Name,Load,Peak,Unit,State,Control messages,Control bytes",
        "Front,CAN 1,Powertrain,41,54,%,,,",
        "Front,MOST150 1,Infotainment,,,%,MOST_LOCK - MASTER_LOCK,137,2329",
        "logger unknown,CAN 1,Body,,38,%,unknown,,",
        "Front,GPS,GPS,,,,Fix A,,",
        "Rear,GPS,GPS,,,,No fix V,,",
        "",
      ],
    );
  });
});
