// Installing packages: services are kept from starting meanwhile, and nothing of that stays behind however it ends.
import assert from "node:assert/strict";
import { spawnSync } from "node:child_process";
import { existsSync, mkdirSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import net from "node:net";
import os from "node:os";
import path from "node:path";
import { after, afterEach, before, describe, test } from "node:test";
import { Part } from "../../kit/js/part.mjs";
import * as paths from "../../kit/js/paths.mjs";
import { until } from "../../kit/js/wait.mjs";

const kPolicy = "/usr/sbin/policy-rc.d";
const home = path.join(os.tmpdir(), "installation"); // goes with the file system that this test has to itself
const kCannotRun = process.getuid() !== 0 || !paths.isolated ? "needs root and file systems of its own" : coverPrograms();

// Covers the directory that services' policy is in: what is put there is seen by nobody but this test. Why not, when not.
function coverPrograms() {
  for (const name of ["over", "work"]) mkdirSync(path.join(home, name), { recursive: true });
  const layers = `lowerdir=/usr/sbin,upperdir=${home}/over,workdir=${home}/work`;
  const { status, stderr } = spawnSync("mount", ["-t", "overlay", "overlay", "-o", layers, "/usr/sbin"], { encoding: "utf8" });
  return status !== 0 && stderr.trim();
}

describe("an installation of packages", { skip: kCannotRun }, () => {
  const connections = [];
  let archive, part;
  let givenUp = false;

  before(async () => {
    rmSync(kPolicy, { force: true });
    for (const name of ["lists", "lists/partial", "cache"]) mkdirSync(path.join(home, name));
    // An archive that takes requests and never answers: the installation is in the middle of something for as long.
    archive = net.createServer((socket) => (givenUp ? socket.destroy() : connections.push(socket.on("error", () => {}))));
    await new Promise((resolve) => archive.listen(0, "127.0.0.1", resolve));
    writeFileSync(path.join(home, "sources.list"), "deb http://packages.invalid/debian bookworm main\n");
    writeFileSync(
      path.join(home, "apt.conf"),
      `
Dir::Etc::sourcelist "${home}/sources.list";
Dir::Etc::sourceparts "-";
Dir::State::lists "${home}/lists";
Dir::Cache "${home}/cache";
Acquire::http::Proxy "http://127.0.0.1:${archive.address().port}";
Acquire::Retries "0";
`,
    );
  });

  after(() => archive?.close());

  afterEach(async () => {
    archiveGivesUp();
    await part.exited();
    await gone();
  });

  function archiveGivesUp() {
    givenUp = true;
    for (const socket of connections.splice(0)) socket.destroy();
  }

  const gone = () => until(`${kPolicy} goes`, () => !existsSync(kPolicy));

  // Installs something as ./run does, and waits until the installation is under way.
  async function begin() {
    givenUp = false;
    const script = `top=${paths.sourceDir}; . "$top/packaging/setup.sh"
      trap 'stop_child; exit 130' INT TERM HUP
      install_packages live-view-test-no-such-package`;
    part = new Part("the installation", "bash", ["-c", script], { env: { APT_CONFIG: path.join(home, "apt.conf") } });
    await until(
      () => `the archive is asked; it wrote:\n${part.output}`,
      () => connections.length > 0,
    );
  }

  test("lets no service start while it lasts, and leaves nothing when it fails", async () => {
    await begin();
    assert.equal(spawnSync(kPolicy).status, 101);
    archiveGivesUp();
    assert.equal((await part.exited()).code, 100);
    assert.ok(!existsSync(kPolicy));
  });

  test("leaves nothing after Ctrl-C", async () => {
    await begin();
    process.kill(-part.pid, "SIGINT");
    await part.exited();
    await gone();
  });

  for (const signal of ["SIGTERM", "SIGHUP", "SIGKILL"]) {
    test(`leaves nothing when ${signal} ends the script, and keeps services from starting until it is over itself`, async () => {
      await begin();
      part.signal(signal);
      if (signal === "SIGKILL") await until("the script ends", () => !part.running);
      assert.ok(existsSync(kPolicy));
      archiveGivesUp();
      await gone();
    });
  }

  test("takes away what an earlier one had to leave", async () => {
    await begin();
    const ours = readFileSync(kPolicy);
    archiveGivesUp();
    await part.exited();
    writeFileSync(kPolicy, ours, { mode: 0o755 });
    await begin();
    archiveGivesUp();
    await part.exited();
    assert.ok(!existsSync(kPolicy));
  });

  test("leaves what somebody else has put there", async () => {
    writeFileSync(kPolicy, "#!/bin/sh\nexit 0\n", { mode: 0o755 });
    await begin();
    process.kill(-part.pid, "SIGINT");
    await part.exited();
    assert.equal(readFileSync(kPolicy, "utf8"), "#!/bin/sh\nexit 0\n");
    rmSync(kPolicy);
  });
});
