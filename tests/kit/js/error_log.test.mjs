// Which lines of Apache's error log need no word from a test.
import assert from "node:assert/strict";
import { mkdtempSync, rmSync, writeFileSync } from "node:fs";
import os from "node:os";
import path from "node:path";
import { after, before, describe, test } from "node:test";
import { ErrorLog } from "./error_log.mjs";
import { PluginLog } from "./plugin_log.mjs";

let dir;
before(() => (dir = mkdtempSync(path.join(os.tmpdir(), "live-view-log-"))));
after(() => rmSync(dir, { recursive: true }));

function logWith(Log, ...lines) {
  const file = path.join(dir, "error.log");
  writeFileSync(file, lines.map((line) => `${line}\n`).join(""));
  return new Log(file);
}

const kHead = "[Mon Feb 02 10:11:12.131415 2026]";

for (const Log of [ErrorLog, PluginLog]) {
  describe(`the ${Log.name}`, () => {
    test("takes the server's start and stop as they are", () => {
      logWith(
        Log,
        `${kHead} [mpm_prefork:notice] [pid 7] AH00163: Apache/2.4.62 (Debian) configured -- resuming normal operations`,
        `${kHead} [core:notice] [pid 7] AH00094: Command line: '/usr/sbin/apache2'`,
        `${kHead} [mpm_prefork:notice] [pid 7] AH00170: caught SIGWINCH, shutting down gracefully`,
      ).check();
    });

    test("does not take a process that crashed", () => {
      const log = logWith(Log, `${kHead} [core:notice] [pid 7] AH00052: child pid 8 exit signal Segmentation fault (11)`);
      assert.throws(() => log.check(), /unexpected lines in Apache's error log:\n.*Segmentation fault/);
    });

    test("takes what a test expects, and only that", () => {
      const log = logWith(Log, "[ERROR] one", "[ERROR] two");
      log.expect(/one$/);
      assert.throws(() => log.check(), { message: "unexpected lines in Apache's error log:\n[ERROR] two" });
    });
  });
}
