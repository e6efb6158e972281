// The workflow for a public forge runs the checks that are run here, and nothing else.
import assert from "node:assert/strict";
import { existsSync, readFileSync } from "node:fs";
import path from "node:path";
import test from "node:test";
import { sourceDir } from "../kit/js/paths.mjs";

const workflow = readFileSync(path.join(sourceDir, ".github/workflows/ci.yml"), "utf8");

test("the forge's checks are .ci/run", () => {
  const commands = [...workflow.matchAll(/^ +run: (.*)$/gm)].map(([, command]) => command);
  assert.equal(commands.length, 2);
  assert.match(commands[0], /^apt-get update && apt-get install /);
  assert.equal(commands[1], ".ci/run");
});

test("the files that the forge's cache depends on are there", () => {
  const files = [...workflow.matchAll(/'([\w./-]+)'/g)].map(([, file]) => file);
  assert.ok(files.length > 0);
  for (const file of files) assert.ok(existsSync(path.join(sourceDir, file)), file);
});
