import { after, before, test } from "node:test";
import assert from "node:assert/strict";
import fs from "node:fs";
import os from "node:os";

import { echoPlugin, HostApache, location, probePlugin } from "../../kit/js/host_apache.mjs";
import * as paths from "../../kit/js/paths.mjs";
import { sleep, until } from "../../kit/js/wait.mjs";
import { CLOSE, PING, PONG, Peer, TEXT, closePayload, frame } from "../../kit/js/peer.mjs";

let server;

before(async () => {
  server = await HostApache.start({
    config:
      location("/probe", probePlugin, "probe_init") +
      location("/refusing", probePlugin, "refusing_init") +
      location("/pinged", probePlugin, "probe_init", "WebSocketPingInterval 1") +
      location("/echo", echoPlugin, "echo_init"),
  });
  server.log.expect(/WS102: /);
});
after(() => server.stop());

// A process that is told to end gives its peer less time than this for the close frame (ms).
const usualPatience = paths.sanitizers ? 20_000 : 5000;

async function open(path = "/probe") {
  const peer = await Peer.open(server, path);
  peer.text("pid");
  peer.pid = Number(await peer.nextText());
  return peer;
}

const isGone = (pid) => !fs.existsSync(`/proc/${pid}`);
const disconnects = () => server.log.count(/probe: disconnected/);

test("every websocket meets a process that has had none before", async () => {
  const pids = new Set();
  for (let i = 0; i < 30; i++) {
    const peer = await open();
    assert.ok(!pids.has(peer.pid), `process ${peer.pid} served a second websocket`);
    pids.add(peer.pid);
    await peer.bye();
  }
  await until("the processes to end", () => [...pids].every(isGone));
});

test("so it is after a connection that the plug-in refused", async () => {
  const before = server.log.count(/AH00163/);
  for (let i = 0; i < 10; i++) {
    assert.equal((await Peer.ask(server, "/refusing")).status, 500);
  }
  await (await open()).bye();
  assert.equal(server.log.count(/AH00163/), before);
});

test("pages and refused handshakes do not use processes up", async () => {
  const pids = () => fs.readFileSync(`/proc/${server.part.pid}/task/${server.part.pid}/children`, "latin1").trim().split(" ");
  await until("the processes to settle", async () => {
    const one = pids().join();
    await sleep(1500);
    return one === pids().join();
  });
  const before = pids();
  for (let i = 0; i < 60; i++) {
    const peer = await Peer.ask(server, i % 2 ? "/index.html" : "/echo", { headers: { "Sec-WebSocket-Key": "wrong" } });
    assert.equal(peer.status, i % 2 ? 200 : 400);
    peer.hangUp();
  }
  assert.deepEqual(
    before.filter((pid) => !pids().includes(pid)),
    [],
  );
});

test("twenty websockets at once, each with a process of its own", async () => {
  const peers = await Promise.all([...Array(20)].map(() => open()));
  assert.equal(new Set(peers.map((peer) => peer.pid)).size, 20);
  await Promise.all(peers.map((peer) => peer.bye()));
});

for (const signal of ["SIGTERM", "SIGHUP", "SIGUSR1"]) {
  test(`${signal} ends the session in order before the process goes`, async () => {
    const peer = await open();
    const before = disconnects();
    process.kill(peer.pid, signal);
    const got = await peer.next();
    assert.deepEqual(got, { opcode: CLOSE, payload: closePayload(1001) });
    peer.send(frame(CLOSE, closePayload(1001)));
    await peer.expectEnd();
    await until("on_disconnect", () => disconnects() > before);
    await until("the process to end", () => isGone(peer.pid));
  });
}

test("a signal that comes while on_message runs waits for it", async () => {
  const peer = await open();
  const before = disconnects();
  peer.text("block 800");
  assert.equal(await peer.nextText(), "tick 0");
  process.kill(peer.pid, "SIGTERM");
  let text;
  while ((text = await peer.nextText()) !== "block over") assert.match(text, /^tick \d+$/);
  await peer.expectClose(1001);
  await until("on_disconnect", () => disconnects() > before);
});

test("a signal that comes after the session does not break in on the end of the connection", async () => {
  const peer = await open();
  peer.socket.allowHalfOpen = true; // the server waits a moment for this side to close as well
  peer.send(frame(CLOSE, closePayload(1000)));
  await peer.expectClose(1000);
  const status = fs.readFileSync(`/proc/${peer.pid}/status`, "latin1");
  const blocked = BigInt(`0x${/^SigBlk:\s*(\w+)/m.exec(status)[1]}`);
  for (const signal of ["SIGTERM", "SIGHUP"]) {
    assert.ok(blocked & (1n << BigInt(os.constants.signals[signal] - 1)), `${signal} would be taken`);
  }
  process.kill(peer.pid, "SIGTERM");
  peer.hangUp();
  await until("the process to end", () => isGone(peer.pid));
});

test("a peer that does not answer the close frame does not hold the process", async () => {
  const peer = await open();
  const before = disconnects();
  const start = Date.now();
  process.kill(peer.pid, "SIGTERM");
  await until("on_disconnect", () => disconnects() > before);
  await until("the process to end", () => isGone(peer.pid));
  assert.ok(Date.now() - start < usualPatience, "Apache would have lost its patience");
  peer.hangUp();
});

test("neither does one that does not read", async () => {
  const peer = await open();
  peer.socket.pause();
  server.log.expect(/probe: flood ended/);
  peer.text("flood 65536");
  await sleep(300);
  const start = Date.now();
  process.kill(peer.pid, "SIGTERM");
  await until("the process to end", () => isGone(peer.pid));
  assert.ok(Date.now() - start < usualPatience);
  peer.hangUp();
});

test("threads of the plug-in do not take the signal", async () => {
  const peer = await open();
  const before = disconnects();
  server.log.expect(/probe: flood ended/);
  peer.text("flood 1000");
  await peer.next();
  process.kill(peer.pid, "SIGTERM");
  await until("on_disconnect", () => disconnects() > before);
  await until("the process to end", () => isGone(peer.pid));
  peer.hangUp();
});

test("a peer that answers pings stays", async () => {
  const peer = await open("/pinged");
  for (let i = 0; i < 3; i++) {
    const got = await peer.next();
    assert.equal(got.opcode, PING);
    peer.send(frame(PONG, got.payload));
  }
  await peer.bye();
});

test("a peer that does not answer pings is let go within the next interval", async () => {
  const peer = await open("/pinged");
  const before = disconnects();
  const start = Date.now();
  await until("the end of the session", () => disconnects() > before);
  const took = Date.now() - start;
  assert.ok(took > 1500, `let go after ${took} ms`);
  peer.hangUp();
});

test("a websocket with nothing to say outlives the guard against slow requests", async () => {
  const peer = await Peer.open(server, "/echo");
  // RequestReadTimeout is two seconds in this configuration.
  await sleep(4000);
  await peer.expectEcho(TEXT, "still there");
  await peer.bye();
});

test("a graceful restart ends the session and serves the next one", async () => {
  const peer = await open();
  process.kill(server.part.pid, "SIGUSR1");
  await server.log.comes(/AH00171: Graceful restart requested/);
  await peer.expectClose(1001);
  await until("the server to come back", () => server.log.count(/AH00163/) > 1);
  await (await open()).bye();
});

test("the server stops with sessions open, each ended in order", async () => {
  const peers = await Promise.all([...Array(5)].map(() => open()));
  const before = disconnects();
  process.kill(server.part.pid, "SIGTERM");
  for (const peer of peers) await peer.expectClose(1001);
  await server.part.exited();
  assert.equal(disconnects(), before + 5);
  // The log would say whether a process was so slow that Apache ended it the hard way.
});
