// What a browser can make the plug-in do with files that are none of its business.
import assert from "node:assert/strict";
import { chmodSync, existsSync, mkdirSync, readFileSync, rmSync, symlinkSync, writeFileSync } from "node:fs";
import http from "node:http";
import path from "node:path";
import { after, before, describe, test } from "node:test";
import { Network } from "../../kit/js/network.mjs";
import * as paths from "../../kit/js/paths.mjs";

const isolated = !paths.isolated && "no /var/opt of its own";
const confined = () => {
  if (isolated) return isolated;
  if (paths.sanitizers) return "nothing is confined under a sanitizer";
  return /WS402: this kernel has no Landlock/.test(network.apache.log.text) && "this kernel has no Landlock";
};

let network;
let client;
const up = "../".repeat(12);
const home = "/var/opt/home";

before(async () => {
  if (!isolated) {
    mkdirSync(paths.configurations, { recursive: true });
    mkdirSync(home);
    for (const dir of [paths.configurations, home]) chmodSync(dir, 0o777);
    writeFileSync(path.join(home, "own"), "mine");
    chmodSync(path.join(home, "own"), 0o666);
    symlinkSync(home, path.join(paths.configurations, "out"));
  }
  network = await Network.start();
  network.expectInLog(/^\[ERROR\] KLV::/, /WS402: /);
  client = await network.connectReady();
});

after(async () => {
  await client?.close();
  await network?.stop();
  rmSync(home, { recursive: true, force: true });
});

const save = (name) => client.ask("save_config", { name, config: "theirs" });
const load = (name) => client.ask("load_config", { name });

describe("configurations", () => {
  test("are kept, listed, loaded and deleted as ever", async (t) => {
    if (isolated) return t.skip(isolated);
    assert.equal((await save("a")).status, "OK");
    assert.equal((await load("a")).config, "theirs");
    assert.equal((await client.ask("delete_config", { name: "a" })).status, "OK");
  });

  for (const name of [`${up}var/opt/home/new`, `${up}var/opt/home/own`, "out/new", "out/own"]) {
    test(`cannot be saved as ${name}`, async (t) => {
      if (confined()) return t.skip(confined());
      assert.equal((await save(name)).status, "ERROR");
      assert.equal(existsSync(path.join(home, "new")), false);
      assert.equal(readFileSync(path.join(home, "own"), "utf8"), "mine");
    });
  }

  for (const name of [`${up}etc/passwd`, `${up}proc/self/fd/2`, `${up}proc/self/environ`, `${up}var/opt/home/own`, "out/own"]) {
    test(`cannot be loaded from ${name}`, async (t) => {
      if (confined()) return t.skip(confined());
      const answer = await load(name);
      assert.equal(answer.status, "ERROR");
      assert.equal(answer.config, "");
    });
  }

  for (const name of [`${up}var/opt/home/own`, "out/own"]) {
    test(`${name} cannot be deleted`, async (t) => {
      if (confined()) return t.skip(confined());
      assert.equal((await client.ask("delete_config", { name })).status, "ERROR");
      assert.ok(existsSync(path.join(home, "own")));
    });
  }
});

describe("headers", () => {
  const get = (address) =>
    new Promise((resolve, reject) => {
      http
        .get({ host: "127.0.0.1", port: network.apache.port, path: address, agent: false }, (response) => {
          response.resume();
          resolve(response);
        })
        .on("error", reject);
    });

  for (const [address, status] of [
    ["/", 200],
    ["/nowhere", 404],
    ["/live", 426],
  ]) {
    test(`keep what is at ${address} from other pages`, async () => {
      const { headers, statusCode } = await get(address);
      assert.equal(statusCode, status);
      assert.match(headers["content-security-policy"], /^default-src 'none'; .*frame-ancestors 'none'$/);
      assert.equal(headers["x-content-type-options"], "nosniff");
      assert.equal(headers["referrer-policy"], "no-referrer");
      assert.equal(headers["cross-origin-opener-policy"], "same-origin");
      assert.equal(headers["cross-origin-resource-policy"], "same-origin");
    });
  }
});
