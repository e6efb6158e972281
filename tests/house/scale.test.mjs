// What docs/scale.md says is what was measured, and the model is the line that it is said to be.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { readFileSync } from "node:fs";
import path from "node:path";
import { describe, test } from "node:test";
import { fit } from "../../bench/scale/model.mjs";
import { number } from "../../bench/scale/text.mjs";
import { sourceDir } from "../kit/js/paths.mjs";

describe("the model's line", () => {
  test("goes through points that are on one", () => {
    const { a, b, residual, worst, at } = fit([1, 4, 16].map((x) => [x, 3 + 2 * x]));
    for (const [value, wanted] of [
      [a, 3],
      [b, 2],
      [residual, 0],
      [worst, 0],
      [at(100), 203],
    ]) {
      assert.ok(Math.abs(value - wanted) < 1e-9, `${value}, not ${wanted}`);
    }
  });

  test("tells how far points are from it", () => {
    const { a, b, residual, worst } = fit([
      [0, 1],
      [1, -1],
      [2, -1],
      [3, 1],
    ]);
    assert.ok(Math.abs(a) < 1e-9 && Math.abs(b) < 1e-9);
    assert.deepEqual([residual, worst], [1, 1]);
  });
});

test("figures have two digits that count", () => {
  assert.deepEqual([0.012345, 9.96, 123.4, 98765, 1.2e7, 0, null].map(number), ["0.012", "10", "120", "99 000", "12 000 000", "0", "none"]);
});

describe("the document on scale", () => {
  test("has the tables and plots that its measurements make", () => {
    execFileSync(process.execPath, [path.join(sourceDir, "bench/scale/report.mjs"), "--check"], { stdio: "pipe" });
  });

  test("names the commands that made them", () => {
    const { axes } = JSON.parse(readFileSync(path.join(sourceDir, "docs/scale/measured.json"), "utf8"));
    const text = readFileSync(path.join(sourceDir, "docs/scale.md"), "utf8");
    const sizesOf = (axis) =>
      [...text.matchAll(new RegExp(`bench/scale/scale\\.mjs ${axis}((?: \\d+)+)`, "g"))].flatMap(([, sizes]) =>
        sizes.trim().split(" ").map(Number),
      );
    for (const axis of ["loggers", "signals", "values", "browsers", "rare"]) {
      assert.deepEqual(
        axes[axis].map((point) => point[axis] ?? point.loggers),
        sizesOf(axis),
        axis,
      );
    }
  });
});
