// Where the source tree, the build tree and the outside programs are.
import { execFileSync } from "node:child_process";
import { existsSync, readdirSync } from "node:fs";
import path from "node:path";
import { fileURLToPath } from "node:url";

export const sourceDir = path.resolve(path.dirname(fileURLToPath(import.meta.url)), "../../..");
export const buildDir = path.resolve(process.env.LV_BUILD_DIR ?? path.join(sourceDir, "build/release"));

// The sanitizers that the tree was built with, for instance "address,undefined"; empty for none.
export const sanitizers = process.env.LV_SANITIZE ?? "";

export const plugin = path.join(buildDir, "plugin/krwebsocket.so");
export const webSocketModule = path.join(buildDir, "host/mod_websocket.so");
export const deskLogger = path.join(buildDir, "desk/desklogger");
// The page as it is served; where it was not built, its source has at least the files that are served as they are.
export const webDir = firstThatExists(path.join(buildDir, "page"), path.join(sourceDir, "web"));
export const apacheTemplate = path.join(sourceDir, "host/apache/httpd.conf.in");
export const natsTemplate = path.join(sourceDir, "packaging/nats-server.conf.in");

// Whether /tmp and /var/opt are this test's own.
export const isolated = process.env.LV_ISOLATED === "yes";
// Where the plug-in keeps configurations.
export const configurations = "/var/opt/sandorvale/etc/webapp/config";

export const apache = firstThatExists("/usr/sbin/apache2", "/usr/sbin/httpd");
export const apacheModules = firstThatExists("/usr/lib/apache2/modules");
export const natsServer = firstThatExists("/usr/sbin/nats-server", "/usr/bin/nats-server");
export const chromium = firstThatExists("/usr/bin/chromium");

// Gives a program a clock that is wrong, and true stretches of time.
export function wrongClock(seconds) {
  const library = readdirSync("/usr/lib")
    .map((dir) => `/usr/lib/${dir}/faketime/libfaketime.so.1`)
    .find((file) => existsSync(file));
  if (library === undefined) throw new Error("libfaketime is not installed");
  const sign = seconds < 0 ? "-" : "+";
  return { LD_PRELOAD: library, FAKETIME: `${sign}${Math.abs(seconds)}s`, FAKETIME_DONT_FAKE_MONOTONIC: "1" };
}

function firstThatExists(...candidates) {
  return candidates.find((candidate) => existsSync(candidate)) ?? candidates[0];
}

// What a program that is not built with the sanitizer, but loads something that is, needs in its environment.
export function sanitizerPreload() {
  const runtime = sanitizers.includes("address") ? "libasan.so" : sanitizers.includes("thread") ? "libtsan.so" : null;
  if (!runtime) return {};
  // The C++ library as well: the runtime looks there for what throws.
  const fileOf = (library) => execFileSync("gcc", [`-print-file-name=${library}`], { encoding: "utf8" }).trim();
  const preload = [runtime, "libstdc++.so.6"].map(fileOf).join(":");
  // Leaks are the unit tests' business: a server that loads, unloads and forks leaves what its libraries keep. And
  // its own signal handlers do what only a sanitizer minds.
  const suppressions = path.join(sourceDir, "tests/kit/apache.tsan");
  return {
    LD_PRELOAD: preload,
    ASAN_OPTIONS: "detect_leaks=0",
    TSAN_OPTIONS: `report_signal_unsafe=0 suppressions=${suppressions}`,
  };
}
