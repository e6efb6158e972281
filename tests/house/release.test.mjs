// What packaging/release refuses before it makes anything. What it makes is looked at where the packages are: in .ci/run.
import assert from "node:assert/strict";
import { execFileSync, spawnSync } from "node:child_process";
import { appendFileSync, copyFileSync, mkdtempSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import os from "node:os";
import path from "node:path";
import { after, before, describe, test } from "node:test";
import { sourceDir } from "../kit/js/paths.mjs";

const kIsCheckout = spawnSync("git", ["-C", sourceDir, "rev-parse", "HEAD"]).status === 0;
const version = readFileSync(path.join(sourceDir, "VERSION"), "utf8").trim();

describe("a release", { skip: !kIsCheckout && "this is no git checkout" }, () => {
  let dir;
  const git = (...args) =>
    execFileSync("git", ["-C", dir, "-c", "user.name=Test", "-c", "user.email=test@localhost", ...args], { stdio: "pipe" });
  const release = (...args) => spawnSync(path.join(dir, "packaging/release"), args, { encoding: "utf8" });

  before(() => {
    dir = mkdtempSync(path.join(os.tmpdir(), "live-view-release-"));
    git("init", "--quiet");
    execFileSync("mkdir", [path.join(dir, "packaging")]);
    writeFileSync(path.join(dir, "CHANGELOG.md"), "# Changelog\n\n## Unreleased\n");
    for (const file of ["VERSION", "packaging/release", "packaging/setup.sh"]) {
      copyFileSync(path.join(sourceDir, file), path.join(dir, file));
    }
    git("add", ".");
    git("commit", "--quiet", "--message", "Everything");
  });
  after(() => rmSync(dir, { recursive: true }));

  test("needs an option to be known", () => {
    const { status, stderr } = release("--fast");
    assert.deepEqual(
      [status, stderr],
      [1, "error: unknown option --fast; usage: packaging/release [--trial] [--built] [output directory]\n"],
    );
  });

  test("needs a changelog that has the version", () => {
    const { status, stderr } = release("--built");
    assert.deepEqual([status, stderr], [1, `error: CHANGELOG.md has no paragraph for ${version}\n`]);
  });

  test("needs packages", () => {
    appendFileSync(path.join(dir, "CHANGELOG.md"), `\n## ${version}\n`);
    git("commit", "--quiet", "--all", "--message", "A version");
    const { status, stderr } = release("--built");
    assert.deepEqual([status, stderr], [1, "error: there are no packages in build/release/packages\n"]);
  });

  test("needs a checkout without changes", () => {
    appendFileSync(path.join(dir, "VERSION"), "\n");
    const { status, stderr } = release("--built");
    assert.deepEqual([status, stderr], [1, "error: the checkout has changes that are not committed\n"]);
  });
});
