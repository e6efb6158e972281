// The packages in a fresh Debian 12: each test goes on where the one before has left it.
import assert from "node:assert/strict";
import { readdirSync, readFileSync } from "node:fs";
import path from "node:path";
import { after, before, describe, test } from "node:test";
import { launchBrowser, openPage } from "../kit/js/browser.mjs";
import { changes, byId, state } from "../kit/js/live_page.mjs";
import { chromium, sourceDir } from "../kit/js/paths.mjs";
import { until } from "../kit/js/wait.mjs";
import { at, has, owner, read, remove, root, run, Service, sizeOf, traces, write } from "./root.mjs";

const version = readFileSync(path.join(sourceDir, "VERSION"), "utf8").trim();
const kMac = "02:00:00:00:00:01";
const kUnits = ["liveview.service", "liveview-bus.service", "desklogger@.service"];
const kConfigurations = "/var/opt/sandorvale/etc/webapp/config";

let services = [];
let password;

const packages = () =>
  readdirSync(at("/packages"))
    .filter((name) => name.endsWith(".deb"))
    .map((name) => `/packages/${name}`);
const documentOf = (name) => readFileSync(path.join(sourceDir, "docs", name), "utf8");
const install = (...files) => run("apt-get", "install", "-y", "-qq", "--no-install-recommends", ...files);
const look = (...args) => JSON.parse(run("node", "/src/tests/packages/look.mjs", "8080", ...args));

// The same packages with a lower version, as if from an older build.
function olderPackages() {
  run("mkdir", "-p", "/tmp/older");
  return packages().map((file) => {
    const [name] = path.basename(file).split("_");
    run("dpkg-deb", "-R", file, `/tmp/older/${name}`);
    const control = `/tmp/older/${name}/DEBIAN/control`;
    write(control, read(control).replace(/^Version: .*$/m, "Version: 0.0.1"));
    run("dpkg-deb", "-b", `/tmp/older/${name}`, `/tmp/older/${name}.deb`);
    return `/tmp/older/${name}.deb`;
  });
}

async function startServices() {
  const [bus, logger, web] = [new Service(kUnits[1]), new Service(kUnits[2], "local"), new Service(kUnits[0])];
  services = [web, logger, bus];
  bus.start();
  logger.start();
  await until(
    () => `a logger; it says ${logger.output}`,
    () => logger.output.includes(`desklogger ${kMac} ready`),
    60_000,
  );
  web.start();
  const page = () => fetch("http://127.0.0.1:8080/").catch(() => null);
  await until(() => `a page; the server says ${web.output}`, page, 60_000);
}

async function stopServices() {
  for (const service of services.splice(0)) await service.stop(service.name.startsWith("liveview-bus") ? "SIGINT" : "SIGTERM");
}

describe("the packages", () => {
  before(() => assert.ok(root, "LV_ROOT names the Debian root"));
  after(stopServices);

  test("please lintian, but for what is explained", () => {
    const said = run(
      "lintian",
      "--allow-root",
      "--fail-on",
      "none",
      "--suppress-tags-from-file",
      "/src/packaging/deb/lintian-explained",
      ...packages(),
    );
    assert.equal(
      said
        .split("\n")
        .filter((line) => /^[EW]:/.test(line))
        .join("\n"),
      "",
    );
  });

  test("are installed with everything that they need, and nobody has to do anything", () => {
    install(...olderPackages(), "logrotate");
    assert.equal(
      run("dpkg-query", "-W", "-f", "${Package} ${Version} ${db:Status-Status}\n", "liveview*"),
      ["liveview 0.0.1 installed", "liveview-bus 0.0.1 installed", "liveview-desklogger 0.0.1 installed", ""].join("\n"),
    );
    assert.match(run("getent", "passwd", "liveview"), /^liveview:x:\d+:\d+::\/nonexistent:\/usr\/sbin\/nologin\n$/);
  });

  test("give every directory and file the owner that it should have", () => {
    assert.equal(owner(kConfigurations), "liveview:liveview 755");
    assert.equal(owner("/var/log/liveview"), "liveview:adm 750");
    assert.equal(owner("/etc/liveview-bus/authorization.conf"), "root:nats 640");
    assert.equal(owner("/etc/liveview-bus/client.env"), "root:root 600");
    for (const file of ["/usr/lib/liveview/krwebsocket.so", "/etc/liveview/httpd.conf"]) assert.equal(owner(file), "root:root 644");
  });

  test("enable their services", () => {
    for (const name of ["liveview.service", "liveview-bus.service", "desklogger@local.service"]) {
      assert.ok(run("ls", "/etc/systemd/system/multi-user.target.wants").includes(name), name);
    }
  });

  test("have units that systemd understands", () => {
    for (const name of [...kUnits.slice(0, 2), "desklogger@local.service"]) {
      assert.equal(run("systemd-analyze", "verify", "--man=no", "--recursive-errors=no", name), "");
    }
  });

  test("have units that share one private /tmp and one user, so that uploads can be taken away", () => {
    const [web, logger] = [new Service(kUnits[0]).members, new Service(kUnits[2], "local").members];
    assert.deepEqual([web.PrivateTmp, logger.PrivateTmp], [["yes"], ["yes"]]);
    assert.deepEqual(logger.JoinsNamespaceOf, ["liveview.service"]);
    assert.deepEqual(logger.User, web.User);
  });

  test("serve a websocket client, which can upload", async () => {
    // As an administrator would, where a machine has no network interface.
    write("/etc/default/liveview", `${read("/etc/default/liveview")}KRPBUS_MAC=${kMac}\n`);
    write("/etc/default/desklogger@local", `KRPBUS_MAC=${kMac}\nDESKLOGGER_OPTIONS="--name Bench --source drive"\n`);
    await startServices();
    const seen = look();
    assert.match(seen.node, /^v18\./);
    assert.deepEqual(seen.loggers, [{ mac: kMac, name: "Bench" }]);
    assert.equal(typeof seen.value, "number");
    assert.deepEqual([seen.saved, seen.uploaded, seen.audio], ["OK", "OK", 1]);
    assert.equal(owner(`${kConfigurations}/kept`).split(" ")[0], "liveview:liveview");
    assert.deepEqual(
      readdirSync(at("/tmp")).filter((name) => name.endsWith(".wav")),
      [],
    );
  });

  test("show a browser signals that move", { skip: !chromium && "no browser here" }, async () => {
    const browser = await launchBrowser();
    const problems = [];
    try {
      const page = await openPage(browser, "http://127.0.0.1:8080/", problems);
      await state(page, "live");
      await changes(page, byId(page, "grid"));
      assert.deepEqual(problems, []);
    } finally {
      await browser.close();
    }
  });

  test("have another logger with what their document says, but for starting it, which takes systemd", async () => {
    const [, lines] = /Another logger on this machine:\n\n((?: {4}.*\n)+)/.exec(documentOf("packages.md"));
    const commands = lines.split("\n").filter((line) => line !== "" && !line.includes("systemctl"));
    assert.equal(commands.length, 2);
    for (const command of commands) run("sh", "-c", command);
    const rear = new Service(kUnits[2], "rear").start();
    try {
      await until(
        () => `two loggers; the second one says ${rear.output}`,
        () => rear.output.includes("ready") && look().loggers.length === 2,
        60_000,
      );
      assert.deepEqual(look().loggers[1], { mac: "06:00:00:00:00:02", name: "Rear" });
    } finally {
      await rear.stop();
      remove("/etc/default/desklogger@rear");
    }
    await until("one logger again", () => look().loggers.length === 1, 60_000);
  });

  test("have a log that the document on troubles can look through", () => {
    const [, command] = /\n {4}(grep .*)\n/.exec(documentOf("troubleshooting.md"));
    run("sh", "-c", command);
  });

  test("let nobody on the bus who does not know its password", () => {
    password = /nats:\/\/liveview:(\w{48})@/.exec(read("/etc/liveview-bus/client.env"))[1];
    const probe =
      "const s=require('net').connect(20010,'127.0.0.1');let t='';s.on('data',(d)=>t+=d);s.on('close',()=>console.log(t));s.write('CONNECT {}\\r\\nPING\\r\\n')";
    assert.match(run("node", "-e", probe), /Authorization Violation/);
  });

  test("rotate the log under a running server", () => {
    const log = "/var/log/liveview/plugin.log";
    assert.ok(sizeOf(log) > 0);
    run("logrotate", "--force", "/etc/logrotate.d/liveview");
    assert.equal(owner(`${log}.1.gz`).split(":")[0], "liveview");
    look();
    assert.match(read(log), /KLV::/);
    assert.ok(!read(log).includes("\0"), "the server goes on at the log's new beginning");
  });

  test("are upgraded: what was saved and changed stays, and clients connect again", async () => {
    install(...packages());
    assert.equal(run("dpkg-query", "-W", "-f", "${Version}\n", "liveview").trim(), version);
    assert.ok(read("/etc/liveview-bus/client.env").includes(password));
    assert.ok(read("/etc/default/liveview").includes(kMac));
    await stopServices();
    await startServices();
    assert.equal(look("kept").loaded, "what was saved");
    assert.equal(run("desklogger", "--version"), `desklogger ${version}\n`);
  });

  test("have an example for Debian's own web server that it understands", () => {
    const modules = ["mpm_prefork", "authz_core", "alias", "dir"].map(
      (name) => `LoadModule ${name}_module /usr/lib/apache2/modules/mod_${name}.so\n`,
    );
    write(
      "/tmp/own.conf",
      `ServerName localhost\nListen 127.0.0.1:8081\nPidFile /tmp/own.pid\nDefaultRuntimeDir /tmp\nErrorLog /tmp/own.log\n${modules.join("")}Include /usr/share/doc/liveview/examples/apache2.conf\n`,
    );
    run("apache2", "-t", "-f", "/tmp/own.conf");
  });

  test("describe the options of a desk logger in its manual as it does itself", () => {
    const plain = (text) => text.replace(/[\s\u2010-]+/g, "");
    const manual = plain(
      run("sh", "-c", "MANWIDTH=1000 man desklogger 2>/dev/null || zcat /usr/share/man/man1/desklogger.1.gz").replaceAll("\\", ""),
    );
    const options = run("desklogger", "--help")
      .split("\n")
      .filter((line) => /^ {2}--/.test(line));
    assert.ok(options.length > 30);
    for (const line of options) {
      const [, option, text] = /^ {2}(\S.*?)(?: Excludes: \S+)? {2,}(\S.*)$/.exec(line) ?? [, ...line.trim().split(/ Excludes: \S+ +/)];
      assert.ok(manual.includes(plain(option)), option);
      assert.ok(manual.includes(plain(text)), text);
    }
  });

  test("leave what was saved when they are removed, and nothing when they are purged", async () => {
    await stopServices();
    run("apt-get", "remove", "-y", "-qq", "liveview", "liveview-bus", "liveview-desklogger");
    assert.equal(read(`${kConfigurations}/kept`), "what was saved");
    assert.ok(!has("/usr/lib/liveview"));
    run("apt-get", "purge", "-y", "-qq", "liveview", "liveview-bus", "liveview-desklogger");
    remove("/etc/default/desklogger@local"); // the administrator's own
    assert.deepEqual(traces(), []);
    assert.ok(!run("cat", "/etc/passwd").includes("liveview"));
    assert.ok(has("/var/opt"));
  });
});
