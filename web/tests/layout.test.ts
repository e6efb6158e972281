import assert from "node:assert/strict";
import { describe, test } from "node:test";
import { tileColumns } from "../src/views/layout";

describe("big numbers stand in as many columns as make them largest:", () => {
  const cases: readonly (readonly [string, number, number, number, number])[] = [
    ["side by side in a low panel", 4, 1000, 110, 4],
    ["in a square of four in a panel twice as wide as high", 4, 1100, 514, 2],
    ["below each other in a high one", 3, 330, 700, 1],
    ["as many as fit where they have to be scrolled", 12, 600, 200, 3],
    ["in two narrow columns rather than scrolled", 4, 330, 315, 2],
    ["one where there is room for no more", 2, 150, 400, 1],
    ["one for one number", 1, 1000, 300, 1],
    ["one before there is a size", 4, 0, 0, 1],
  ];
  for (const [name, count, width, height, columns] of cases) test(name, () => assert.equal(tileColumns(count, { width, height }), columns));
});
