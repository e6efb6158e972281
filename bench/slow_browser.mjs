// How old values are at a browser that takes a third of what is sent, and never stands still.
//
//   tests/kit/js/isolated node bench/slow_browser.mjs [seconds] [values a second]
import { execFile } from "node:child_process";
import { mkdtempSync, rmSync } from "node:fs";
import os from "node:os";
import path from "node:path";
import { promisify } from "node:util";
import * as paths from "../tests/kit/js/paths.mjs";
import { kMac, startQuietNetwork } from "./quiet_network.mjs";

const [seconds = 20, rate = 15000] = process.argv.slice(2).map(Number);

const dir = mkdtempSync(path.join(os.tmpdir(), "live-view-bench-"));
try {
  const network = await startQuietNetwork(dir);
  try {
    const args = [network.bus.port, network.apache.port, kMac, seconds, rate].map(String);
    const { stdout } = await promisify(execFile)(path.join(paths.buildDir, "bench/slow_browser"), args);
    process.stdout.write(stdout);
  } finally {
    await network.stop();
  }
} finally {
  rmSync(dir, { recursive: true, force: true });
}
