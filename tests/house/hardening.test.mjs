// What a mistake in memory meets in the files that are shipped.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import path from "node:path";
import { describe, test } from "node:test";

const tree = process.env.LV_BUILD_DIR;
// In these two there are calls whose sizes the compiler knows.
const checking = ["plugin/krwebsocket.so", "desk/desklogger"];
const files = [...checking, "host/mod_websocket.so", "packaging/probe/live_view_probe"];

const readelf = (...args) => execFileSync("readelf", ["--wide", ...args], { encoding: "utf8", maxBuffer: 256 * 1024 * 1024 });

for (const file of files) {
  describe(file, () => {
    const whole = path.join(tree, file);
    const segments = readelf("--segments", whole);
    const dynamic = readelf("--dynamic", whole);
    const symbols = readelf("--dyn-syms", whole);

    test("can be put anywhere in memory", () => assert.match(readelf("--file-header", whole), /Type:\s+DYN /));

    test("has no executable stack and nothing that is writable and executable", () => {
      assert.match(segments, /GNU_STACK .* RW +0x/);
      assert.doesNotMatch(segments, / RWE +0x/);
    });

    test("has its tables read-only before it begins", () => {
      assert.match(segments, /GNU_RELRO/);
      assert.match(dynamic, /BIND_NOW|FLAGS.*\bNOW\b/);
    });

    test("looks after its stack", () => assert.match(symbols, /__stack_chk_fail/));

    const fortified = { skip: !checking.includes(file) && "no call in it with a size that the compiler knows" };
    test("has the library check the sizes that it knows", fortified, () => assert.match(symbols, /__\w+_chk@/));
  });
}
