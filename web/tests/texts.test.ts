import assert from "node:assert/strict";
import { test } from "node:test";
import { de } from "../src/i18n/de";
import { en } from "../src/i18n/en";

test("who has not answered is told in the right number", () => {
  assert.equal(en.signals.partial(["Rear"]), "Incomplete: Rear has not answered.");
  assert.equal(en.loads.partial(["Front", "Rear"]), "Incomplete: Front, Rear have not answered.");
  assert.equal(de.triggers.partial(["Rear"]), "Unvollständig: Rear hat nicht geantwortet.");
  assert.equal(de.signals.partial(["Front", "Rear"]), "Unvollständig: Front, Rear haben nicht geantwortet.");
});
