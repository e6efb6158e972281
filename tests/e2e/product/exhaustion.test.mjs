// Processes of the web server that have no descriptor, no thread or no memory left: the browser that meets one is refused
// or sent away, nothing crashes or hangs, the others go on, and whoever comes when there is room again is served.
import assert from "node:assert/strict";
import { execFileSync, spawnSync } from "node:child_process";
import { readdirSync, readFileSync } from "node:fs";
import { describe, test } from "node:test";
import { Client } from "../../kit/js/client.mjs";
import { completeCatalogue, kLoggers, Network } from "../../kit/js/network.mjs";
import * as paths from "../../kit/js/paths.mjs";
import { childrenOf, sessionsOf } from "../../kit/js/processes.mjs";
import { until } from "../../kit/js/wait.mjs";

const kErrors = [/^\[(ERROR|WARNING)\] KLV::/, /^\[DEBUG\] KLV::/, / WS\d+: /];
const kFewServers = (text) =>
  text.replaceAll(/^(StartServers|MinSpareServers) .*$/gm, "$1 6").replace(/^MaxSpareServers .*$/m, "MaxSpareServers 12");

// A network with one logger and one browser that is there before and has values all the while.
async function withBrowser(apache, body) {
  const network = await Network.start({
    loggers: [kLoggers[0]],
    apache: { ...apache, change: (text) => (apache.change ?? String)(kFewServers(text)) },
  });
  network.expectInLog(...kErrors);
  network.expectOfLoggers(/./);
  try {
    const other = await network.connectReady();
    const [{ signal_key }] = await completeCatalogue(other);
    other.send({ command: "generic_start_sig", signal_key, interval: 100 });
    await other.answerTo("generic_sig_value");
    await body(network, other);
    await valuesCome(other);
    assert.equal((await network.connectReady()).info.configs.length, 1, "served when there is room again");
  } finally {
    await network.stop();
  }
}

async function valuesCome(client) {
  client.skipAll();
  await client.answerTo("generic_sig_value");
}

// What becomes of a browser that comes now: "refused", "sent away", "told" that there is no bus, or "served".
async function fateOf(network, url = network.apache.url) {
  const before = sessionsOf(network.apache).length;
  const client = new Client(url, { log: network.apache.log });
  try {
    await client.opened();
  } catch (error) {
    assert.doesNotMatch(error.message, /not in time/, "its handshake is neither answered nor refused");
    return "refused";
  }
  client.send({ command: "get_logger_info" });
  const told = () => client.answers.find(({ response }) => response === "krpbus" || response === "get_logger_info");
  await until("an answer, or the end", () => client.closeCode !== undefined || told());
  if (client.closeCode !== undefined) return "sent away";
  const fate = told().response === "krpbus" ? "told" : "served";
  client.terminate();
  await until("the end of its session", () => sessionsOf(network.apache).length <= before);
  return fate;
}

// The children that serve nobody.
function idleChildren({ apache }) {
  const busy = sessionsOf(apache);
  return childrenOf(apache.part.pid).filter((pid) => !busy.includes(pid));
}

// What the system says of a process; undefined when it has ended.
function statusOf(pid) {
  try {
    return readFileSync(`/proc/${pid}/status`, "latin1");
  } catch {
    return undefined;
  }
}

// A limit of those. "5:" is a soft one, which any user may raise again.
function limitIdle(network, name, value) {
  for (const pid of idleChildren(network)) {
    const status = statusOf(pid);
    if (status === undefined) continue;
    const [uid, gid] = ["Uid", "Gid"].map((id) => new RegExp(`^${id}:\\s+(\\d+)`, "m").exec(status)[1]);
    // As their user: not every root may change another one's limits.
    const user = process.getuid() === 0 ? ["setpriv", `--reuid=${uid}`, `--regid=${gid}`, "--clear-groups"] : ["env"];
    const { stderr } = spawnSync(user[0], [...user.slice(1), "prlimit", "--pid", String(pid), `--${name}=${value}`], {
      encoding: "utf8",
    });
    assert.ok(stderr === "" || stderr.includes("No such process"), stderr); // it may just have ended
  }
}

const hardLimit = (name) => execFileSync("prlimit", [`--${name}`, "--noheadings", "--output=HARD"], { encoding: "utf8" }).trim();

// Tries one limit after the other, from none left to enough.
// One may meet a process that the server has only just added, without the limit.
async function squeeze(network, other, name, limits) {
  const fates = [];
  for (const limit of limits) {
    limitIdle(network, name, `${limit}:`);
    fates.push(await fateOf(network));
    await valuesCome(other);
  }
  limitIdle(network, name, `${hardLimit(name)}:`);
  console.log(`${name}: ${fates.join(", ")}`);
  return fates;
}

const descriptorsOf = (pid) => (statusOf(pid) === undefined ? 0 : readdirSync(`/proc/${pid}/fd`).length);

// How many threads the user with this number has, the other users of the machine not counted.
function threadsOf(uid) {
  let threads = 0;
  for (const pid of readdirSync("/proc").filter((name) => /^\d+$/.test(name))) {
    const status = statusOf(pid);
    if (status !== undefined && Number(/^Uid:\s+(\d+)/m.exec(status)[1]) === uid) threads += Number(/^Threads:\s+(\d+)/m.exec(status)[1]);
  }
  return threads;
}

describe("processes of the web server", { concurrency: 3 }, () => {
  const noPipe = paths.sanitizers.includes("undefined") && "the sanitizer needs a pipe to tell what an object is";

  test("without descriptors refuse browsers, or send them away", { skip: noPipe }, async () => {
    await withBrowser({}, async (network, other) => {
      // What accepts with none left says so and ends, and the server adds another.
      network.expectInLog(/ \[core:error\] .* \(24\)Too many open files: AH02179: apr_socket_accept: \(client socket\)$/);
      const open = Math.max(...idleChildren(network).map(descriptorsOf));
      // It takes one for the connection, for which there may be none, and the more the further a session gets.
      const fates = await squeeze(
        network,
        other,
        "nofile",
        Array.from({ length: 16 }, (_, i) => open - 1 + i),
      );
      assert.ok(
        fates.some((fate) => fate !== "served"),
        fates.join(),
      );
    });
  });

  test("without threads refuse browsers, or send them away", async () => {
    await withBrowser({}, async (network, other) => {
      const fates = await squeeze(network, other, "nproc", [1, 1, 1]);
      assert.ok(
        fates.some((fate) => fate !== "served"),
        fates.join(),
      );
    });
  });

  // A user whose threads are this test's alone can be left with a few of them.
  const kLonely = "irc";
  const notAlone = process.getuid() !== 0 && "only root has the web server run as another user";
  test("with fewer threads than a session has refuse browsers, or send them away", { skip: notAlone }, async () => {
    const uid = Number(execFileSync("id", ["-u", kLonely], { encoding: "utf8" }));
    const change = (text) => text.replace(/^User .*$/m, `User ${kLonely}`);
    await withBrowser({ change }, async (network, other) => {
      const fates = [];
      for (let more = 0; more < 9; more++) {
        fates.push(...(await squeeze(network, other, "nproc", [threadsOf(uid) + more])));
      }
      assert.ok(
        fates.some((fate) => fate !== "served"),
        fates.join(),
      );
    });
  });

  // The websocket module sets this limit itself, so the one that its processes come with has to be a hard one.
  const noLimit = paths.sanitizers.length > 0 && "a sanitizer takes memory by the terabyte";
  test("with little memory refuse browsers, or send them away", { skip: noLimit }, async () => {
    await withBrowser({}, async (network, other) => {
      // The server's own pools end their process when they are given nothing.
      network.expectInLog(/^\[crit\] Memory allocation failed, aborting process\.$/, / AH00052: child pid \d+ exit signal Abort/);
      const fates = [];
      for (const mb of [60, 52, 44, 36, 30, 26, 22, 18, 14, 10, 8, 6, 4, 2]) {
        limitIdle(network, "data", mb * 1024 * 1024);
        fates.push(await fateOf(network));
        await valuesCome(other);
      }
      console.log(`data: ${fates.join(", ")}`);
      assert.notEqual(fates.at(-1), "served");
      // The server has others in their place, without the limit.
      const limited = idleChildren(network);
      for (const pid of limited) process.kill(pid, "SIGUSR1");
      await until("new processes", () => !idleChildren(network).some((pid) => limited.includes(pid)));
    });
  });

  test("with the least memory that can be configured serve browsers", async () => {
    const change = (text) => text.replace(/^( *WebSocketMemoryLimit) .*$/m, `$1 ${64 * 1024 * 1024}`);
    await withBrowser({ change }, async (network) => assert.equal(await fateOf(network), "served"));
  });
});
