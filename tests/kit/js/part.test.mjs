// That nothing which a test has started outlives it, however it ends.
import assert from "node:assert/strict";
import { spawn } from "node:child_process";
import { chmodSync, mkdtempSync, readFileSync, readdirSync, rmSync, writeFileSync } from "node:fs";
import path from "node:path";
import { after, before, describe, test } from "node:test";
import { fileURLToPath } from "node:url";
import { Part } from "./part.mjs";
import * as paths from "./paths.mjs";
import { until } from "./wait.mjs";

const kHere = path.dirname(fileURLToPath(import.meta.url));

let dir;

before(() => {
  dir = mkdtempSync(path.join(paths.buildDir, "ending-")); // where isolated tests find it, too
});

after(() => rmSync(dir, { recursive: true }));

// The processes with this word among their arguments.
function processesOf(word) {
  return readdirSync("/proc").filter((pid) => {
    try {
      return /^\d+$/.test(pid) && readFileSync(`/proc/${pid}/cmdline`, "utf8").split("\0").includes(word);
    } catch {
      return false; // it has just ended
    }
  });
}

// A run of ctest with one test, whose part runs for a minute. `search`: where programs are looked for.
async function startTestRun(word, search = process.env.PATH) {
  writeFileSync(
    path.join(dir, "lasting.mjs"),
    `import { Part } from ${JSON.stringify(path.join(kHere, "part.mjs"))};
     new Part("a part", "sh", ["-c", "sleep 60; :", ${JSON.stringify(word)}]);
     setInterval(() => {}, 1000);`,
  );
  const command = [path.join(kHere, "isolated"), process.execPath, path.join(dir, "lasting.mjs")];
  writeFileSync(path.join(dir, "CTestTestfile.cmake"), `add_test(lasting ${command.map((text) => `"${text}"`).join(" ")})\n`);
  const run = spawn("ctest", [], { cwd: dir, env: { ...process.env, PATH: search }, stdio: "ignore" });
  await until("the part runs", () => processesOf(word).length > 0);
  return run;
}

// A place in which `unshare` is a program that can do nothing, before all others.
function withoutNamespaces() {
  const place = mkdtempSync(path.join(dir, "bin-"));
  writeFileSync(path.join(place, "unshare"), "#!/bin/sh\nexit 1\n");
  chmodSync(path.join(place, "unshare"), 0o755);
  return `${place}:${process.env.PATH}`;
}

describe("a part that does not end when it is asked to", () => {
  test("is killed with all that it has started, and that is an error", async () => {
    const word = `live-view-stubborn-${process.pid}`;
    // Its child has its output open, too.
    const part = new Part("stubborn", "sh", ["-c", 'trap "" TERM; sh -c "trap \\"\\" TERM; echo up; sleep 60; :" "$0"; :', word]);
    await until("the child runs", () => part.output.includes("up"));
    await assert.rejects(part.stop({ timeout: 100 }), /^Error: stubborn had to be killed; it wrote:\nup/);
    assert.deepEqual(processesOf(word), []);
  });
});

describe("the parts of a test", () => {
  for (const [where, search] of [
    ["in namespaces", () => process.env.PATH],
    ["on a machine that allows no namespaces", withoutNamespaces],
  ]) {
    for (const signal of ["SIGTERM", "SIGKILL"]) {
      test(`${where} end when ctest gets ${signal}`, async () => {
        const word = `live-view-part-${process.pid}-${signal}`;
        const run = await startTestRun(word, search());
        run.kill(signal);
        await until(
          () => `the end of ${processesOf(word)}`,
          () => processesOf(word).length === 0,
        );
      });
    }
  }
});
