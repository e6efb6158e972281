import assert from "node:assert/strict";
import { describe, test } from "node:test";
import { arrangementText, fileName, firstArrangement, nameOfFile, parseArrangement } from "../src/store/arrangements";
import type { Arrangement, CatalogueEntry } from "../src/store/model";

const kArrangement: Arrangement = {
  name: "Brakes",
  panels: [
    {
      id: "1",
      kind: "chart",
      title: "<b>",
      signals: [{ name: "Speed", mac: "02", logger: "Front" }],
      options: { seconds: 30, fill: true, low: null },
    },
  ],
};

describe("a set-up", () => {
  test("comes back as it was saved", () => {
    assert.deepEqual(parseArrangement(arrangementText(kArrangement)), kArrangement);
  });

  const panels = (value: unknown) => JSON.stringify({ format: "live-view-setup", version: 1, name: "", panels: value });
  const wrong: readonly (readonly [string, string])[] = [
    ['{"signals": ["Speed"]}', "this is no set-up of this page"],
    ['{"format": "live-view-setup", "version": 2}', "this set-up is of a newer page"],
    [panels({}), "its panels are no list, or too many"],
    [panels(new Array(101).fill(0)), "its panels are no list, or too many"],
    [panels([{ kind: "cake" }]), "a panel is of no known kind"],
    [panels([{ kind: "chart", id: "1", title: "", signals: [5] }]), "a signal of a panel is no object"],
    [panels([{ kind: "chart", id: "1", title: "", signals: [{ name: "a", mac: 5, logger: "" }] }]), '"mac" is no text'],
    [panels([{ kind: "chart", id: "1", title: "", signals: [], options: { a: {} } }]), "an option of a panel is no plain value"],
  ];
  for (const [text, reason] of wrong) {
    test(`of somebody else is refused: ${reason}`, () => assert.throws(() => parseArrangement(text), { message: reason }));
  }
});

describe("the name of a set-up's file", () => {
  test("is plain for the file system, whatever the name", () => {
    for (const name of ["Brakes", "../../etc/passwd", "a/b", ".", "äöü €😀", "100 %", "it's (new)!*", " "]) {
      const file = fileName(name)!;
      assert.match(file, /^liveview-[A-Za-z0-9._~%-]+$/);
      assert.equal(nameOfFile(file), name);
    }
  });

  test("is refused when it is empty or longer than 200 bytes", () => {
    assert.equal(fileName(""), null);
    assert.ok(fileName("x".repeat(191)) !== null);
    assert.equal(fileName("x".repeat(192)), null);
    assert.equal(fileName("€".repeat(22)), null);
  });

  test("of somebody else's file is none", () => {
    for (const file of ["drive", "liveview-", "liveview-%", "liveview-a b", "liveview-%61"]) assert.equal(nameOfFile(file), null);
  });

  test("is made also of half a character", () => {
    assert.equal(nameOfFile(fileName("a\uD83D")!), "a\uFFFD");
  });
});

test("the first arrangement shows some signals of the local logger, and none of others", () => {
  const entry = (name: string, mac: string, unit: string): CatalogueEntry => ({
    id: `${mac}\n${name}`,
    key: { name, mac },
    logger: "L",
    bus: "",
    unit,
    search: "",
  });
  const first = firstArrangement(
    [entry("Speed", "02", "km/h"), entry("Gear", "02", ""), entry("Load", "02", "%"), entry("Other", "03", "V")],
    "02",
  );
  const names = first.panels.flatMap(({ signals }) => signals.map(({ name }) => name));
  assert.ok(names.includes("Load") && names.includes("Gear") && names.includes("Speed"));
  assert.ok(!names.includes("Other"));
  assert.deepEqual(firstArrangement([], "02").panels, []);
});
