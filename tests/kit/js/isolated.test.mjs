// What `isolated` gives to the command that it runs.
import assert from "node:assert/strict";
import { spawnSync } from "node:child_process";
import { cpSync, mkdirSync, mkdtempSync, rmSync, writeFileSync } from "node:fs";
import path from "node:path";
import { after, before, describe, test } from "node:test";
import { fileURLToPath } from "node:url";

const kScript = fileURLToPath(new URL("isolated", import.meta.url));

// A copy of the script in a source tree below a path that gets covered, and a build tree beside it.
class Trees {
  constructor(below) {
    this.top = mkdtempSync(path.join(below, "live-view-trees-"));
    this.source = path.join(this.top, "source");
    this.build = path.join(this.top, "build");
    const room = path.join(this.source, "tests/kit/js");
    mkdirSync(room, { recursive: true });
    mkdirSync(this.build);
    writeFileSync(path.join(this.source, "which"), "the source tree\n");
    writeFileSync(path.join(this.build, "which"), "the build tree\n");
    this.script = path.join(room, "isolated");
    cpSync(kScript, this.script);
  }

  // What a shell's command line writes when the script runs it.
  run(line) {
    const { stdout, stderr, status } = spawnSync(this.script, ["sh", "-c", line], {
      env: { ...process.env, LV_BUILD_DIR: this.build },
      encoding: "utf8",
    });
    assert.equal(status, 0, stderr);
    return stdout;
  }

  remove() {
    rmSync(this.top, { recursive: true });
  }
}

const probe = spawnSync(kScript, ["true"], { encoding: "utf8", env: { ...process.env, LV_BUILD_DIR: "/" } });
const kNeedsNamespaces = { skip: probe.stderr.includes("no namespaces") && "this machine allows no namespaces" };

describe("a command from a tree below /tmp", kNeedsNamespaces, () => {
  let trees;
  before(() => (trees = new Trees("/tmp")));
  after(() => trees.remove());

  test("runs in the source tree and finds the build tree", () => {
    assert.equal(trees.run('pwd; cat which "$LV_BUILD_DIR/which"'), `${trees.source}\nthe source tree\nthe build tree\n`);
  });

  test("sees nothing else of /tmp and of /var/opt", () => {
    assert.equal(trees.run("ls -A /tmp /var/opt"), `/tmp:\n${path.basename(trees.top)}\n\n/var/opt:\n`);
  });

  test("leaves nothing in the real /tmp", () => {
    trees.run(": > /tmp/left-behind-by-isolated");
    assert.equal(spawnSync("ls", ["/tmp/left-behind-by-isolated"]).status, 2);
  });
});
