// The clients of the documentation, run as it says.
import assert from "node:assert/strict";
import { spawnSync } from "node:child_process";
import path from "node:path";
import { after, before, describe, test } from "node:test";
import { kLoggers, Network } from "../../kit/js/network.mjs";
import * as paths from "../../kit/js/paths.mjs";

const kPython = "/usr/bin/python3"; // Debian's, which has Debian's libraries

describe("a client of the documentation", () => {
  let network;
  before(async () => {
    network = await Network.start({ loggers: [{ ...kLoggers[0], source: "drive" }] });
    network.expectInLog(/./); // what the clients send is looked at here, not in the log
    await network.connectReady();
  });
  after(() => network?.stop());

  const file = (name) => path.join(paths.sourceDir, "docs/clients", name);
  for (const [language, command] of Object.entries({
    Python: () => [kPython, [file("values.py"), network.apache.url]],
    JavaScript: () => [process.execPath, [file("values.cjs"), network.apache.url]],
    "C++": () => [path.join(paths.buildDir, "docs/clients/example_values"), [String(network.apache.port)]],
  })) {
    test(`in ${language} prints five values of the first signal`, () => {
      const env = { ...process.env, NODE_PATH: path.join(paths.sourceDir, "tests/node_modules") };
      const { status, stdout, stderr } = spawnSync(...command(), { env, encoding: "utf8", timeout: 60_000 });
      assert.equal(stderr, "");
      assert.equal(status, 0);
      const lines = stdout.trimEnd().split("\n");
      assert.equal(lines.length, 5, stdout);
      const name = lines[0].split(" ")[0];
      for (const line of lines) assert.match(line, new RegExp(`^${name} -?\\d+(\\.\\d+)?$`));
    });
  }
});
