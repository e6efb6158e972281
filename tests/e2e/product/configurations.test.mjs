// Configurations: what is answered, and what is then on the disk.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { chmodSync, mkdirSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import path from "node:path";
import { after, before, beforeEach, describe, test } from "node:test";
import { answerText, errorText, okText, requestText } from "../../kit/js/answers.mjs";
import { configurationFile, makeConfigurations, noSmallDisk, onSmallDisk, storedConfigurations } from "../../kit/js/configurations.mjs";
import { kLoggers, Network } from "../../kit/js/network.mjs";
import * as paths from "../../kit/js/paths.mjs";

const kNeedsDirectory = { skip: !paths.isolated && "no /var/opt of its own" };
const kEmptyName = "config name must not be empty";

let network, client;

async function answer(command, members = {}) {
  return client.textOf(await client.ask(command, members, 30_000));
}

const save = (name, config) => answer("save_config", { name, config });
const load = (name) => answer("load_config", { name });
const remove = (name) => answer("delete_config", { name });

const saved = (name) => answerText({ response: "save_config", name, status: "OK" });
const notSaved = (name) => answerText({ response: "save_config", name, status: "ERROR", error_code: "unspecified" });
const loaded = (name, config) => answerText({ response: "load_config", name, config, status: "OK" });
const notLoaded = (name) => answerText({ response: "load_config", name, config: "", status: "ERROR", error_code: "illegal_config" });
const kNotDeleted = errorText("delete_config", "illegal_config");

async function listed() {
  const list = await client.ask("get_configs");
  assert.deepEqual(Object.keys(list), ["response", "configs", "status"]);
  assert.equal(list.status, "OK");
  return list.configs.map(({ name }) => name).sort();
}

const onDisk = (name) => readFileSync(configurationFile(name), "utf8");

describe("configurations", kNeedsDirectory, () => {
  before(async () => {
    makeConfigurations();
    network = await Network.start({ loggers: kLoggers.slice(0, 1) });
    network.expectInLog(
      /^\[ERROR\] KLV::addStatus\(\) \{$/, // every answer that is an error is logged as one
      /^\[ERROR\] KLV::(save|load|delete)_configuration\(\) /,
    );
    client = await network.connectReady();
  });
  after(() => network?.stop());
  beforeEach(() => makeConfigurations());

  test("are saved, listed, loaded and deleted, and are files meanwhile", async () => {
    writeFileSync(configurationFile("other"), "");
    mkdirSync(configurationFile("sub"));
    assert.equal(await save("a", "x"), saved("a"));
    assert.equal(onDisk("a"), "x");
    assert.deepEqual(await listed(), ["a", "other", "sub"]);
    assert.equal(await load("a"), loaded("a", "x"));
    assert.equal(await remove("a"), okText("delete_config"));
    assert.deepEqual(storedConfigurations(), ["other", "sub"]);
    assert.equal(await remove("a"), kNotDeleted);
    assert.equal(await load("a"), notLoaded("a"));
  });

  test("of an empty directory are an empty list", async () => {
    assert.equal(await answer("get_configs"), answerText({ response: "get_configs", configs: [], status: "OK" }));
  });

  test("saved twice under one name keep the second text only", async () => {
    await save("a", "a longer text");
    assert.equal(await save("a", "x"), saved("a"));
    assert.equal(onDisk("a"), "x");
  });

  test("keep every character, however it was escaped", async () => {
    const escaped = String.raw`\" \\ \/ / \b\f\n\r\t \u0001\u001f\u007F \u00e4\u20AC \ud83d\ude00 ä€😀`;
    const text = JSON.parse(`"${escaped}"`);
    network.apache.log.addSent(text); // as it is logged: the text stands on several lines
    const frame = `{"command":"save_config","name":"esc\\u0061ped \\"n\\u00e4me\\"","config":"${escaped}"}`;
    assert.equal(await client.rawAnswer(frame), saved('escaped "näme"'));
    assert.equal(onDisk('escaped "näme"'), text);
    assert.equal(JSON.parse(await load('escaped "näme"')).config, text);
    assert.deepEqual(await listed(), ['escaped "näme"']);
  });

  test("end at a first zero character", async () => {
    assert.equal(await client.rawAnswer(String.raw`{"command":"save_config","name":"a","config":"one\u0000two"}`), saved("a"));
    assert.equal(onDisk("a"), "one");
  });

  test("may be 3 MB", async () => {
    const text = '0123456789abcdef\\"ä€😀/'.repeat(200_000).slice(0, 2_500_000);
    assert.equal(await save("large", text), saved("large"));
    assert.equal(onDisk("large"), text);
    assert.equal(JSON.parse(await load("large")).config === text, true);
  });

  test("have the name that is given, also with slashes and points", async () => {
    mkdirSync(configurationFile("sub"), { mode: 0o777 });
    chmodSync(configurationFile("sub"), 0o777);
    assert.equal(await save("sub/inside", "x"), saved("sub/inside"));
    assert.equal(onDisk("sub/inside"), "x");
    assert.equal(await save("sub/../beside", "y"), saved("sub/../beside"));
    assert.equal(onDisk("beside"), "y");
    assert.equal(await load("./sub//inside"), loaded("./sub//inside", "x"));
    assert.equal(await remove("sub/inside"), okText("delete_config"));
    assert.equal(await remove("sub"), okText("delete_config")); // an empty directory is removed, too
    for (const name of ["..", ".", "missing/a", "/"]) assert.equal(await save(name, "x"), notSaved(name));
    assert.deepEqual(storedConfigurations(), ["beside"]);
  });

  test("are not said to be saved where no file can be made", async () => {
    mkdirSync(configurationFile("directory"));
    const long = "n".repeat(300);
    assert.equal(await save("directory", "x"), notSaved("directory"));
    assert.equal(await save(long, "x"), notSaved(long));
    assert.equal(await save("n".repeat(255), "x"), saved("n".repeat(255)));
    assert.deepEqual(storedConfigurations(), ["directory", "n".repeat(255)]);
  });

  test("are not said to be saved when the disk is full, and keep their old text", { skip: noSmallDisk }, async () => {
    await onSmallDisk(paths.configurations, 64, async () => {
      assert.equal(await save("large", "x".repeat(200_000)), notSaved("large"));
      assert.deepEqual(storedConfigurations(), []);
      assert.equal(await save("small", "x".repeat(2_000)), saved("small"));
      assert.equal(await save("small", "y".repeat(200_000)), notSaved("small"));
      assert.equal(onDisk("small"), "x".repeat(2_000));
      assert.deepEqual(await listed(), ["small"]);
    });
  });

  test("that two browsers save under one name at once are one whole text", async () => {
    const other = await network.connectReady();
    const texts = [..."ab"].map((letter, index) => letter.repeat(1_000_000 * (index + 1)));
    const repliesTo = (browser, config) =>
      Promise.all(
        Array.from({ length: 10 }, async () => browser.textOf(await browser.ask("save_config", { name: "both", config }, 60_000))),
      );
    const replies = await Promise.all([repliesTo(client, texts[0]), repliesTo(other, texts[1])]);
    assert.deepEqual(new Set(replies.flat()), new Set([saved("both")]));
    assert.ok(texts.includes(onDisk("both")));
    await other.close();
  });

  test("without their directory are errors", async () => {
    network.expectInLog(/^\[ERROR\] KLV::WaResponseGetConfigurations\(\) Error opening \/var\/opt\/.*: No such file or directory$/);
    rmSync(paths.configurations, { recursive: true });
    assert.equal(await answer("get_configs"), errorText("get_configs", "illegal_config"));
    assert.equal(await save("a", "x"), notSaved("a"));
    assert.equal(await load("a"), notLoaded("a"));
    assert.equal(await remove("a"), kNotDeleted);
  });

  test("of a directory that nobody may write to are still read", async () => {
    await save("a", "x");
    chmodSync(paths.configurations, 0o555);
    assert.equal(await save("b", "x"), notSaved("b"));
    assert.equal(await remove("a"), kNotDeleted);
    assert.equal(await load("a"), loaded("a", "x"));
    assert.deepEqual(await listed(), ["a"]);
    chmodSync(paths.configurations, 0o311);
    network.expectInLog(/^\[ERROR\] KLV::WaResponseGetConfigurations\(\) Error opening .*: Permission denied$/);
    assert.equal(await answer("get_configs"), errorText("get_configs", "illegal_config"));
    chmodSync(paths.configurations, 0o755);
  });

  test("are loaded from nothing but files that can be read", async () => {
    mkdirSync(configurationFile("directory"));
    execFileSync("mkfifo", ["-m", "666", configurationFile("fifo")]);
    writeFileSync(configurationFile("secret"), "x");
    chmodSync(configurationFile("secret"), 0);
    const device = `${"../".repeat(6)}dev/zero`;
    for (const name of ["directory", "fifo", "secret", device, "missing", ".."]) {
      assert.equal(await load(name), notLoaded(name));
    }
    assert.equal(await save("fifo", "x"), notSaved("fifo"));
    assert.equal(await save(device, "x"), notSaved(device));
  });

  test("that are empty files or no UTF-8 can be loaded", async () => {
    writeFileSync(configurationFile("empty"), "");
    writeFileSync(configurationFile("latin1"), Buffer.from("ok \xff\xe4 end", "latin1"));
    assert.equal(await load("empty"), loaded("empty", ""));
    assert.equal(await load("latin1"), loaded("latin1", "ok \ufffd\ufffd end"));
  });

  test("need a name and a text", async () => {
    assert.equal(await save("", ""), errorText("save_config", "illegal_config", "config must not be empty"));
    assert.equal(await save("", "x"), errorText("save_config", "illegal_config", kEmptyName));
    assert.equal(await load(""), errorText("load_config", "illegal_config", kEmptyName));
    assert.equal(await remove(""), errorText("delete_config", "illegal_config", kEmptyName));
    assert.deepEqual(storedConfigurations(), []);
  });

  test("need them as strings", async () => {
    network.expectInLog(/^\[ERROR\] KLV::(parseString|createAndSendJSON_parsingError)\(\) /, /^\}: no entry for (name|config)$/);
    for (const [command, members, wrong] of [
      ["save_config", { name: "a" }, "no entry for 'config'."],
      ["save_config", { config: "x" }, "no entry for 'name'."],
      ["load_config", {}, "no entry for 'name'."],
      ["delete_config", {}, "no entry for 'name'."],
    ]) {
      const request = { command, ...members };
      assert.equal(await answer(command, members), errorText(command, "invalid_command", `${wrong} (${requestText(request)})`));
    }
    for (const [command, members, wrong] of [
      ["save_config", { name: 1, config: "x" }, "value of 'name' must be a string .  You send a Number. IsUint32: 1. IsDouble: 0 ."],
      ["save_config", { name: "a", config: { x: 1 } }, "value of 'config' must be a string .  You send a Object. ."],
      ["load_config", { name: null }, "value of 'name' must be a string .  You send a Null. ."],
      ["delete_config", { name: ["a"] }, "value of 'name' must be a string .  You send a Array. ."],
    ]) {
      const request = { command, ...members };
      assert.equal(await answer(command, members), errorText(command, "invalid_command", `${wrong} (${requestText(request)})`));
    }
    assert.deepEqual(storedConfigurations(), []);
  });
});
