// ./run itself: what it prints, what it serves, and that nothing stays behind however it ends.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { X509Certificate } from "node:crypto";
import { chmodSync, mkdtempSync, readdirSync, readFileSync, rmSync, statSync, writeFileSync } from "node:fs";
import http from "node:http";
import net from "node:net";
import os from "node:os";
import path from "node:path";
import { after, afterEach, describe, test } from "node:test";
import { Client } from "../../kit/js/client.mjs";
import { completeInfo } from "../../kit/js/network.mjs";
import { Part } from "../../kit/js/part.mjs";
import * as paths from "../../kit/js/paths.mjs";
import { freePort, listens } from "../../kit/js/ports.mjs";
import { until } from "../../kit/js/wait.mjs";

const kMark = `LIVE_VIEW_TEST_RUN=${process.pid}-${Date.now()}`;
const temporary = mkdtempSync(path.join(os.tmpdir(), "live-view-run-"));
chmodSync(temporary, 0o755);
const started = [];

// ./run with ports of its own; `args` after them.
async function run(...args) {
  const [port, busPort] = [await freePort(), await freePort()];
  const part = runWith("--port", port, "--bus-port", busPort, ...args);
  return Object.assign(part, { port, busPort });
}

function runWith(...args) {
  const [name, value] = kMark.split("=");
  const part = new Part("./run", path.join(paths.sourceDir, "run"), args.map(String), {
    env: { [name]: value, TMPDIR: temporary },
  });
  started.push(part);
  return part;
}

async function ready(part) {
  await until(
    () => `./run is ready; it wrote:\n${part.output}`,
    () => {
      if (!part.running) throw new Error(`./run has ended:\n${part.output}`);
      return /^Live view ready: /m.test(part.output);
    },
    90_000,
  );
  return part;
}

async function loggerInfo(port) {
  const client = await Client.connect(`ws://127.0.0.1:${port}/live`);
  try {
    return await completeInfo(client);
  } finally {
    await client.close();
  }
}

// How the page answers who calls the server by that name.
function statusFor(port, host) {
  return new Promise((resolve, reject) => {
    http
      .get({ host: "127.0.0.1", port, headers: { Host: `${host}:${port}` }, agent: false }, (response) => {
        response.resume();
        resolve(response.statusCode);
      })
      .on("error", reject);
  });
}

// The processes that some ./run of this test has started, itself included.
function processes() {
  return readdirSync("/proc").filter((pid) => {
    if (!/^\d+$/.test(pid)) return false;
    try {
      if (/^State:\s+[ZX]/m.test(readFileSync(`/proc/${pid}/status`, "utf8"))) return false;
      return readFileSync(`/proc/${pid}/environ`, "utf8").split("\0").includes(kMark);
    } catch {
      return false; // it has just ended
    }
  });
}

function commandOf(pid) {
  return readFileSync(`/proc/${pid}/cmdline`, "utf8").replaceAll("\0", " ");
}

function assertNothingLeft() {
  assert.deepEqual(processes().map(commandOf), []);
  assert.deepEqual(readdirSync(temporary), []);
}

afterEach(async () => {
  for (const part of started.splice(0)) if (part.running) await part.stop({ timeout: 40_000 });
});

after(() => rmSync(temporary, { recursive: true, force: true }));

describe("./run", () => {
  test("serves a page and three loggers, and leaves nothing after Ctrl-C", async () => {
    const part = await ready(await run("--name", "desk.example"));
    const line = part.output.split("\n").find((text) => text.startsWith("Live view ready: "));
    const page = line.slice("Live view ready: ".length);
    assert.equal(page, `http://127.0.0.1:${part.port}/`);
    const response = await fetch(page);
    assert.equal(response.status, 200);
    assert.match(await response.text(), /<title>Live View<\/title>/);
    assert.equal(await statusFor(part.port, "desk.example"), 200);
    assert.equal(await statusFor(part.port, "evil.example"), 400);
    const info = await loggerInfo(part.port);
    assert.equal(info.status, "OK");
    assert.equal(info.configs.length, 3);
    assert.equal(new Set(info.configs.map(({ mac }) => mac)).size, 3);
    assert.equal(new Set(info.configs.map(({ logger_type }) => logger_type)).size, 3);
    assert.ok(info.configs.some(({ logger_name }) => logger_name === os.hostname()));

    part.signal("SIGINT");
    assert.deepEqual(await part.exited(40_000), { code: 0, signal: null });
    assertNothingLeft();
    assert.equal(await listens(part.port), false);
    assert.equal(await listens(part.busPort), false);
  });

  test("has a message bus that takes only who knows this run's password", async () => {
    const part = await ready(await run("--loggers", 1));
    await until("the line about the message bus", () => /^Message bus: .*\n/m.test(part.output));
    const [, url] = /^Message bus: (nats:\/\/live-view:[0-9a-f]{36}@127\.0\.0\.1:\d+)$/m.exec(part.output);
    const join = (bus, mac, patience) =>
      new Part("a desk logger", paths.deskLogger, ["--mac", mac, "--name", mac, "--source", "drive", "--connect-timeout", patience], {
        env: { KRPBUS_SERVER: bus, TMPDIR: temporary },
      });
    const stranger = join(`127.0.0.1:${part.busPort}`, "06:00:00:00:00:08", "2s");
    const friend = join(url, "06:00:00:00:00:09", "20s");
    try {
      await until("the friend's start", () => friend.output.includes("ready\n"));
      assert.notEqual((await stranger.exited()).code, 0);
      await until("two loggers", async () => (await loggerInfo(part.port)).configs.length === 2);
    } finally {
      for (const logger of [friend, stranger]) if (logger.running) await logger.stop();
    }
    // Nobody sees the password in the list of processes.
    const password = url.slice(17, 17 + 36);
    assert.deepEqual(
      processes()
        .map(commandOf)
        .filter((command) => command.includes(password)),
      [],
    );
    await part.stop({ timeout: 40_000 });
  });

  test("lets only its user in, over TLS with the certificate that it names, also at another address", async () => {
    // Any address but the usual one, so that nothing but this machine can get there.
    const part = await ready(await run("--loggers", 1, "--tls", "--user", "alice", "--listen", "127.0.0.2"));
    await until("the line about the message bus", () => /^Message bus: .*\n/m.test(part.output));
    assert.match(part.output, new RegExp(`^Live view ready: https://127\\.0\\.0\\.1:${part.port}/$`, "m"));
    assert.match(part.output, new RegExp(`^Also at: https://127\\.0\\.0\\.2:${part.port}/$`, "m"));
    const [, fingerprint] = /^Certificate: SHA-256 ([0-9A-F:]{95})$/m.exec(part.output);
    const [, password] = /^User: alice, password: ([0-9a-f]{24})$/m.exec(part.output);
    const [runtime] = readdirSync(temporary).map((name) => path.join(temporary, name));
    const ca = readFileSync(path.join(runtime, "certificate.pem"));
    assert.equal(new X509Certificate(ca).fingerprint256, fingerprint);
    assert.equal(statSync(path.join(runtime, "certificate.key")).mode & 0o777, 0o600);
    assert.equal(statSync(path.join(runtime, "users")).mode & 0o777, 0o600);
    const headers = { Authorization: `Basic ${Buffer.from(`alice:${password}`).toString("base64")}` };
    for (const address of ["127.0.0.1", "127.0.0.2"]) {
      const url = `wss://${address}:${part.port}/live`;
      await assert.rejects(Client.connect(url, { ca }), /answered with 401/);
      const client = await Client.connect(url, { ca, headers, origin: `https://${address}:${part.port}` });
      assert.equal((await completeInfo(client)).configs.length, 1);
      await client.close();
    }
    // Nobody sees the password in the list of processes, nor what it was given by.
    assert.deepEqual(
      processes()
        .map(commandOf)
        .filter((command) => command.includes(password)),
      [],
    );
    await part.stop({ timeout: 40_000 });
    assertNothingLeft();
  });

  test("has logs for its own user alone, and nothing but the web server and its logs runs as root", async () => {
    const part = await ready(await run("--loggers", 2));
    const [runtime] = readdirSync(temporary).map((name) => path.join(temporary, name));
    assert.equal(statSync(path.join(runtime, "logs")).mode & 0o777, 0o700);
    await loggerInfo(part.port);
    const logs = () => readdirSync(path.join(runtime, "logs"));
    // Those of the web server are made with their first line.
    await until("a line of a websocket's end", () => logs().includes("access.log"));
    const text = (name) => readFileSync(path.join(runtime, "logs", name), "latin1");
    await until("a line for the websocket", () => /"GET \/live HTTP\/1\.1" 101 /.test(text("access.log")));
    assert.match(text("plugin.log"), /KLV::wa_setup_document|KLV::/);
    for (const log of ["logger-1.log", "logger-2.log", "nats-server.log"]) assert.ok(logs().includes(log), log);
    if (logs().includes("error.log")) assert.doesNotMatch(text("error.log"), /KLV::/);
    if (process.getuid() === 0) {
      for (const pid of processes().filter((one) => commandOf(one).includes("--audio"))) {
        const [, uid] = /^Uid:\s+(\d+)/m.exec(readFileSync(`/proc/${pid}/status`, "utf8"));
        assert.notEqual(uid, "0", commandOf(pid));
      }
    }
    await part.stop({ timeout: 40_000 });
  });

  test("makes the second logger a vehicle whose CAN frames it plays", async () => {
    const demo = (name) => path.join(paths.sourceDir, "packaging/demo", name);
    const part = await ready(await run("--loggers", 2, "--can", demo("drive.log"), "--dbc", demo("drive.dbc")));
    const client = await Client.connect(`ws://127.0.0.1:${part.port}/live`);
    await completeInfo(client);
    let catalogue = await client.ask("get_signal_names");
    while (catalogue.status !== "OK") catalogue = await client.answerTo("get_signal_names");
    const names = catalogue.Streams.map(({ signal_key: [name] }) => name);
    for (const line of readFileSync(demo("drive.dbc"), "latin1").split("\n")) {
      const [, signal] = /^ SG_ (\w+) /.exec(line) ?? [];
      if (signal)
        assert.ok(
          names.some((name) => name.endsWith(`.${signal}`)),
          `no signal ${signal} among ${names.join(", ")}`,
        );
    }
    await client.close();
    part.signal("SIGINT");
    assert.deepEqual(await part.exited(40_000), { code: 0, signal: null });
    assertNothingLeft();
  });

  test("runs twice side by side, and a browser's session does not keep it from ending", async () => {
    const parts = await Promise.all([run("--loggers", 1), run("--loggers", 5)]);
    await Promise.all(parts.map(ready));
    assert.equal((await loggerInfo(parts[0].port)).configs.length, 1);
    assert.equal((await loggerInfo(parts[1].port)).configs.length, 5);

    parts[0].signal("SIGTERM");
    assert.deepEqual(await parts[0].exited(40_000), { code: 0, signal: null });
    const client = await Client.connect(`ws://127.0.0.1:${parts[1].port}/live`);
    assert.equal((await completeInfo(client)).configs.length, 5);

    parts[1].signal("SIGHUP");
    assert.equal((await client.closed(30_000)).code, 1001);
    assert.deepEqual(await parts[1].exited(40_000), { code: 0, signal: null });
    assertNothingLeft();
  });

  test("leaves nothing when it is killed", async () => {
    const part = await ready(await run("--loggers", 2));
    await part.kill();
    await until(
      () => `nothing left; still there: ${processes().map(commandOf)} ${readdirSync(temporary)}`,
      () => processes().length === 0 && readdirSync(temporary).length === 0,
      40_000,
    );
  });

  test("names a part that ends later and ends with an error", async () => {
    const part = await ready(await run("--loggers", 2));
    const logger = processes().find((pid) => commandOf(pid).includes("desklogger") && commandOf(pid).includes("Desk 2"));
    process.kill(Number(logger), "SIGKILL");
    const { code } = await part.exited(40_000);
    assert.equal(code, 1);
    assert.match(part.output, /^error: logger 2 has ended/m);
    assertNothingLeft();
  });
});

describe("./run and the directory of configurations", { skip: !paths.isolated && "no /var/opt of its own" }, () => {
  const kTop = "/var/opt/sandorvale";
  const userOfTheWebServer = process.getuid() === 0 ? "www-data" : os.userInfo().username;
  afterEach(() => rmSync(kTop, { recursive: true, force: true }));

  async function save(port) {
    const client = await Client.connect(`ws://127.0.0.1:${port}/live`);
    try {
      await completeInfo(client);
      return await client.ask("save_config", { name: "a", config: "x" });
    } finally {
      await client.close();
    }
  }

  test("makes it for the web server's user, and what is in it stays", async () => {
    const part = await ready(await run("--loggers", 1));
    assert.equal((await save(part.port)).status, "OK");
    const owner = execFileSync("stat", ["-c", "%U %a", paths.configurations], { encoding: "utf8" });
    assert.equal(owner, `${userOfTheWebServer} 755\n`);
    assert.equal(statSync(kTop).uid, process.getuid());
    await part.stop({ timeout: 40_000 });
    assert.equal(readFileSync(path.join(paths.configurations, "a"), "utf8"), "x");

    const again = await ready(await run("--loggers", 1));
    assert.equal(readFileSync(path.join(paths.configurations, "a"), "utf8"), "x");
    assert.doesNotMatch(again.output, /cannot be saved/);
  });

  test("says that it cannot be made, and goes on", async () => {
    writeFileSync(kTop, "in the way");
    const part = await ready(await run("--loggers", 1));
    const lines = part.output.split("\n").filter((line) => line.includes("onfigurations"));
    assert.equal(lines.length, 1);
    assert.match(lines[0], /^Configurations cannot be saved: .*sandorvale/);
    assert.equal((await save(part.port)).error_code, "unspecified");
  });
});

describe("./run that cannot start", () => {
  for (const [option, other] of [
    ["--port", "--bus-port"],
    ["--bus-port", "--port"],
  ]) {
    test(`says so when the port of ${option} is in use`, async () => {
      const server = net.createServer();
      await new Promise((resolve) => server.listen(0, "127.0.0.1", resolve));
      const { port } = server.address();
      try {
        const part = runWith(option, port, other, await freePort());
        assert.deepEqual(await part.exited(), { code: 1, signal: null });
        assert.equal(part.output, `error: port ${port} is in use; choose another one with ${option}\n`);
        assertNothingLeft();
      } finally {
        server.close();
      }
    });
  }

  for (const [args, message] of [
    [["--port", "0"], '--port takes a number from 1 to 65535, not "0"'],
    [["--port", "65536"], '--port takes a number from 1 to 65535, not "65536"'],
    [["--bus-port", "x"], '--bus-port takes a number from 1 to 65535, not "x"'],
    [["--loggers", "-1"], '--loggers takes a number from 1 to 50, not "-1"'],
    [["--loggers=0"], '--loggers takes a number from 1 to 50, not "0"'],
    [["--port"], "--port needs a value; see ./run --help"],
    [["--name", "two words"], '--name takes the name of a host, not "two words"'],
    [["--name", "-x"], '--name takes the name of a host, not "-x"'],
    [["--name", ""], '--name takes the name of a host, not ""'],
    [["--user", "a:b"], '--user takes a user\'s name of letters, digits and ._@-, not "a:b"'],
    [["--listen", "1.2.3"], '--listen takes an IP address of this machine, or 0.0.0.0 for all of them, not "1.2.3"'],
    [["--listen", "0.0.0.0"], "--listen opens Live View to other machines; it needs --tls and --user NAME"],
    [["--listen=0.0.0.0", "--tls"], "--listen opens Live View to other machines; it needs --tls and --user NAME"],
    [["--listen=::", "--user", "alice"], "--listen opens Live View to other machines; it needs --tls and --user NAME"],
    [["--color"], 'unknown option "--color"; see ./run --help'],
    [["--port", "7777", "--bus-port", "7777"], "the page and the message bus need different ports, not both 7777"],
  ]) {
    test(`says what is wrong with "${args.join(" ")}"`, async () => {
      const part = runWith(...args);
      assert.deepEqual(await part.exited(), { code: 1, signal: null });
      assert.equal(part.output, `error: ${message}\n`);
    });
  }

  test("--version tells the version that the build has", async () => {
    const part = runWith("--version");
    assert.deepEqual(await part.exited(), { code: 0, signal: null });
    assert.equal(part.output, `Live View ${readFileSync(path.join(paths.sourceDir, "VERSION"), "utf8")}`);
  });

  test("--help tells the options", async () => {
    const part = runWith("--help");
    assert.deepEqual(await part.exited(), { code: 0, signal: null });
    for (const option of ["--port N", "--bus-port N", "--loggers N", "--name NAME", "--tls", "--user NAME", "--listen ADDRESS", "--help"])
      assert.ok(part.output.includes(option));
  });
});
