import assert from "node:assert/strict";
import { describe, test } from "node:test";
import { de } from "../src/i18n/de";
import { en } from "../src/i18n/en";

describe("the texts", () => {
  test("tell in the right number who has not answered, of signals, buses and markers", () => {
    for (const view of ["signals", "loads", "triggers"] as const) {
      assert.equal(en[view].partial(["Rear"]), "Incomplete: Rear has not answered.", view);
      assert.equal(en[view].partial(["Front", "Rear"]), "Incomplete: Front, Rear have not answered.", view);
      assert.equal(de[view].partial(["Rear"]), "Unvollständig: Rear hat nicht geantwortet.", view);
      assert.equal(de[view].partial(["Front", "Rear"]), "Unvollständig: Front, Rear haben nicht geantwortet.", view);
    }
  });

  test("count in the right number, and as the language groups digits", () => {
    assert.deepEqual([0, 1, 2, 1234].map(en.panels.gaps), ["0 gaps", "1 gap", "2 gaps", "1,234 gaps"]);
    assert.deepEqual([0, 1, 2, 1234].map(de.panels.gaps), ["0 Lücken", "1 Lücke", "2 Lücken", "1.234 Lücken"]);
    assert.deepEqual([1, 2].map(en.header.loggers), ["1 logger", "2 loggers"]);
    assert.deepEqual([1, 2].map(en.triggers.count), ["1 marker", "2 markers"]);
    assert.deepEqual([en.protocol.recorded(1, "2 kB"), de.protocol.recorded(2, "2 kB")], ["1 frame, 2 kB", "2 Nachrichten, 2 kB"]);
    assert.deepEqual([en.signals.shown(1, 1), en.signals.shown(1, 2000)], ["1 signal", "1 of 2,000 signals"]);
    assert.deepEqual([de.signals.shown(2, 2), de.signals.shown(1, 2000)], ["2 Signale", "1 von 2.000 Signalen"]);
  });

  test("are there in both languages, with the same parts", () => {
    const compare = (one: object, other: object, path: string) => {
      assert.deepEqual(Object.keys(other).sort(), Object.keys(one).sort(), path);
      for (const [name, text] of Object.entries(one)) {
        const translated = (other as Record<string, unknown>)[name];
        assert.equal(typeof translated, typeof text, `${path}.${name}`);
        if (typeof text === "object") compare(text as object, translated as object, `${path}.${name}`);
        else if (typeof text === "function") assert.equal((translated as () => string).length, text.length, `${path}.${name}`);
        else assert.ok(text !== "" && translated !== "", `${path}.${name}`);
      }
    };
    compare(en, de, "texts");
  });
});
