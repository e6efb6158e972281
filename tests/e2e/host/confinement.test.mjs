// What a process can still do once it has a websocket, tried by a plug-in in it.
import assert from "node:assert/strict";
import { spawnSync } from "node:child_process";
import { chmodSync, linkSync, mkdirSync, mkdtempSync, readFileSync, rmSync, symlinkSync, writeFileSync } from "node:fs";
import net from "node:net";
import os from "node:os";
import path from "node:path";
import { after, before, describe, test } from "node:test";

import { HostApache, location, probePlugin } from "../../kit/js/host_apache.mjs";
import * as paths from "../../kit/js/paths.mjs";
import { Peer } from "../../kit/js/peer.mjs";
import { until } from "../../kit/js/wait.mjs";

let server;
let dir;
let listener;
let other;

const listening = () =>
  new Promise((resolve) => {
    const made = net.createServer((socket) => socket.destroy());
    made.listen(0, "127.0.0.1", () => resolve(made));
  });

before(async () => {
  dir = mkdtempSync(path.join(os.tmpdir(), "live-view-confined-"));
  chmodSync(dir, 0o755);
  for (const name of ["kept", "made", "read", "elsewhere"]) {
    mkdirSync(path.join(dir, name));
    chmodSync(path.join(dir, name), 0o777);
    writeFileSync(path.join(dir, name, "file"), name);
    chmodSync(path.join(dir, name, "file"), 0o666);
  }
  symlinkSync(path.join(dir, "elsewhere"), path.join(dir, "kept/out"));
  linkSync(path.join(dir, "elsewhere/file"), path.join(dir, "elsewhere/again"));
  [listener, other] = await Promise.all([listening(), listening()]);
  server = await HostApache.start({
    config:
      location("/open", probePlugin, "probe_init") +
      location(
        "/files",
        probePlugin,
        "probe_init",
        `WebSocketWritePath "${dir}/kept" "${dir}/not there"
        WebSocketMakePath "${dir}/made"
        WebSocketReadPath "${dir}/read" "${dir}/elsewhere/file"
        WebSocketConnectPort ${listener.address().port}`,
      ) +
      location("/calls", probePlugin, "probe_init", "WebSocketSystemCalls Restricted") +
      location("/memory", probePlugin, "probe_init", "WebSocketMemoryLimit 134217728") +
      location("/hoarding", probePlugin, "hoarding_init", "WebSocketMemoryLimit 67108864"),
  });
});

after(async () => {
  listener?.close();
  other?.close();
  await server?.stop();
  rmSync(dir, { recursive: true, force: true });
});

// What the attempts come to in one websocket at that address, in their order.
async function attempts(address, ...tries) {
  const peer = await Peer.open(server, address);
  const results = {};
  for (const one of tries) {
    peer.text(`try ${one}`);
    results[one.replaceAll(dir, "")] = await peer.nextText();
  }
  await peer.bye();
  return results;
}

const unsanitized = { skip: paths.sanitizers !== "" && "nothing is confined under a sanitizer" };

const lacks = (version) => {
  // The server says itself what its kernel cannot do.
  if (unsanitized.skip) return unsanitized.skip;
  const [, had] = /WS402: this kernel has (no Landlock|Landlock in version \d)/.exec(server.log.text) ?? [];
  if (had) server.log.expect(/WS402: /);
  const available = !had ? Infinity : had === "no Landlock" ? 0 : Number(had.at(-1));
  return available < version && `this kernel has ${had}`;
};

describe("files", () => {
  test("nothing is forbidden where nothing is asked for", async () => {
    assert.deepEqual(await attempts("/open", "read /etc/passwd", `make ${dir}/elsewhere/new`, "read /proc/self/fd/2"), {
      "read /etc/passwd": "ok",
      "make /elsewhere/new": "ok",
      "read /proc/self/fd/2": "ok",
    });
  });

  test("a directory to write in can be used, and nothing beside it", async (t) => {
    const missing = lacks(3);
    if (missing) return t.skip(missing);
    assert.deepEqual(
      await attempts(
        "/files",
        `make ${dir}/kept/new`,
        `read ${dir}/kept/new`,
        `cut ${dir}/kept/file`,
        `list ${dir}/kept`,
        `mkdir ${dir}/kept/deeper`,
        `make ${dir}/kept/deeper/new`,
        `remove ${dir}/kept/deeper/new`,
        `remove ${dir}/kept/deeper`,
        `remove ${dir}/kept/new`,
        `make ${dir}/kept/../elsewhere/new`,
        `make ${dir}/kept/out/new`,
        `read ${dir}/kept/out/again`,
        `cut ${dir}/elsewhere/file`,
        `remove ${dir}/elsewhere/file`,
      ),
      {
        "make /kept/new": "ok",
        "read /kept/new": "ok",
        "cut /kept/file": "ok",
        "list /kept": "ok",
        "mkdir /kept/deeper": "ok",
        "make /kept/deeper/new": "ok",
        "remove /kept/deeper/new": "ok",
        "remove /kept/deeper": "ok",
        "remove /kept/new": "ok",
        "make /kept/../elsewhere/new": "EACCES",
        "make /kept/out/new": "EACCES",
        // Rules are for files, not for their names: the one that may be read has this name, too.
        "read /kept/out/again": "ok",
        "cut /elsewhere/file": "EACCES",
        "remove /elsewhere/file": "EACCES",
      },
    );
    assert.equal(readFileSync(path.join(dir, "elsewhere/file"), "utf8"), "elsewhere");
  });

  test("in a directory to make files in nothing can be read or listed", async (t) => {
    const missing = lacks(3);
    if (missing) return t.skip(missing);
    assert.deepEqual(
      await attempts(
        "/files",
        `make ${dir}/made/new`,
        `cut ${dir}/made/new`,
        `read ${dir}/made/file`,
        `list ${dir}/made`,
        `remove ${dir}/made/new`,
      ),
      { "make /made/new": "ok", "cut /made/new": "ok", "read /made/file": "EACCES", "list /made": "EACCES", "remove /made/new": "ok" },
    );
  });

  test("what may be read can be read, and nothing else can", async (t) => {
    const missing = lacks(1);
    if (missing) return t.skip(missing);
    const home = process.getuid() === 0 ? "/var/www" : os.homedir();
    assert.deepEqual(
      await attempts(
        "/files",
        `read ${dir}/read/file`,
        `list ${dir}/read`,
        `read ${dir}/elsewhere/file`,
        `make ${dir}/read/new`,
        `list ${dir}/elsewhere`,
      ),
      {
        "read /read/file": "ok",
        "list /read": "ok",
        "read /elsewhere/file": "ok",
        "make /read/new": "EACCES",
        "list /elsewhere": "EACCES",
      },
    );
    for (const [one, result] of Object.entries(
      await attempts(
        "/files",
        "read /etc/passwd",
        "read /proc/self/fd/2",
        "read /proc/self/environ",
        `list ${home}`,
        "list /",
        `exec ${process.execPath}`,
      ),
    )) {
      assert.match(result, /^(EACCES|ENOENT)$/, one);
    }
  });

  test("only the port that may be connected to answers", async (t) => {
    const missing = lacks(4);
    if (missing) return t.skip(missing);
    const [allowed, forbidden] = [listener.address().port, other.address().port];
    assert.deepEqual(await attempts("/files", `connect ${allowed}`, `connect ${forbidden}`), {
      [`connect ${allowed}`]: "ok",
      [`connect ${forbidden}`]: "EACCES",
    });
  });
});

describe("system calls", () => {
  test("what a plug-in has no use for is not permitted", unsanitized, async () => {
    const forbidden = ["exec /nonexistent", "ptrace", "mount", "unshare", "clone-user", "bpf", "io_uring", "keyctl"];
    assert.deepEqual(await attempts("/calls", ...forbidden), Object.fromEntries(forbidden.map((one) => [one, "EPERM"])));
  });

  test("without it they are", unsanitized, async () => {
    assert.deepEqual(await attempts("/open", "exec /nonexistent"), { "exec /nonexistent": "ENOENT" });
  });

  test("threads and processes start all the same", async () => {
    assert.deepEqual(await attempts("/calls", "thread", "clone"), { thread: "ok", clone: "ok" });
  });

  test("a call whose arguments cannot be looked at is said not to be there", unsanitized, async () => {
    assert.deepEqual(await attempts("/calls", "clone3"), { clone3: "ENOSYS" });
  });
});

test("there is no more memory than the limit", unsanitized, async () => {
  assert.deepEqual(await attempts("/memory", "memory 67108864", "memory 134217728"), {
    "memory 67108864": "ok",
    "memory 134217728": "ENOMEM",
  });
});

test("processes that serve pages are not confined", async () => {
  for (let i = 0; i < 5; i++)
    assert.equal((await Peer.ask(server, "/index.html", { headers: { "Sec-WebSocket-Key": "none" } })).status, 200);
});

// The numbers of the server's processes, and what the system tells of each: empty of one that has ended.
function childrenOf(pid) {
  return readFileSync(`/proc/${pid}/task/${pid}/children`, "latin1").trim().split(" ");
}

function statusOf(pid) {
  try {
    return readFileSync(`/proc/${pid}/status`, "latin1");
  } catch (error) {
    if (error.code !== "ENOENT" && error.code !== "ESRCH") throw error;
    return "";
  }
}

const confined = () => childrenOf(server.part.pid).filter((pid) => /^Seccomp:\s+2$/m.test(statusOf(pid)));
const dataOf = (pid) => 1024 * Number(/^VmData:\s+(\d+)/m.exec(statusOf(pid))?.[1] ?? 0);

// Leaves each process enough for a request, and not for what a connection queues. As their user: not every root may
// change another one's limits.
function limitData() {
  for (const pid of childrenOf(server.part.pid)) {
    const user = process.getuid() === 0 ? ["setpriv", "--reuid", server.user, "--regid", server.group, "--clear-groups"] : ["env"];
    spawnSync(user[0], [...user.slice(1), "prlimit", "--pid", pid, `--data=${dataOf(pid) + 512 * 1024}:`]);
  }
}

test("a process that lacks the memory for its websocket is not kept for pages", unsanitized, async () => {
  server.log.expect(/WS002: websocket not served: std::bad_alloc/);
  // One may meet a process that the server has only just added, without the limit.
  await until("a process to lack memory", async () => {
    limitData();
    const peer = await Peer.ask(server, "/calls");
    if (peer.status === 101) await peer.bye();
    return peer.status === 500;
  });
  assert.equal(server.log.count(/WS002: /), 1);
  await until("the confined processes to end", () => confined().length === 0);
});

test("a session that there is no memory to accept is ended in order", unsanitized, async () => {
  server.log.expect(/WS306: websocket ended: std::bad_alloc/);
  const before = server.log.count(/probe: disconnected/);
  const peer = await Peer.dial(server);
  peer.send(peer.request("/hoarding"));
  await peer.expectEnd();
  await until("on_disconnect", () => server.log.count(/probe: disconnected/) > before);
  assert.equal(server.log.count(/WS306: /), 1);
});
