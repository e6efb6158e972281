import { after, before, test } from "node:test";
import assert from "node:assert/strict";
import fs from "node:fs";

import { HostApache, location, probePlugin } from "../../kit/js/host_apache.mjs";
import * as paths from "../../kit/js/paths.mjs";
import { Peer } from "../../kit/js/peer.mjs";
import { sleep, until } from "../../kit/js/wait.mjs";

let server;
let secure;

before(async () => {
  // Three seconds to read something.
  const config = `${location("/probe", probePlugin, "probe_init")}Timeout 3\n`;
  [server, secure] = await Promise.all([HostApache.start({ config }), HostApache.start({ config, tls: true })]);
  for (const { log } of [server, secure]) log.expect(/probe: flood ended after \d+ bytes/);
  secure.log.expect(/AH01882: /); // the machine's mod_ssl is newer than its OpenSSL
});
after(() => Promise.all([server?.stop(), secure?.stop()]));

/** Resident memory of a process, in bytes. */
const memoryOf = (pid) => Number(fs.readFileSync(`/proc/${pid}/status`, "latin1").match(/VmRSS:\s*(\d+) kB/)[1]) * 1024;

async function pidOf(peer) {
  peer.text("pid");
  return Number(await peer.nextText());
}

test("a peer that does not read holds its sender back, and is let go after the time-out", async () => {
  const peer = await Peer.open(server, "/probe");
  const pid = await pidOf(peer);
  const ended = server.log.count(/flood ended/);
  peer.socket.pause();
  const before = memoryOf(pid);
  peer.text("flood 65536");
  const start = Date.now();
  let largest = 0;
  await until("the sender to be let go", () => {
    try {
      largest = Math.max(largest, memoryOf(pid));
    } catch {
      /* the process has gone */
    }
    return server.log.count(/flood ended/) > ended;
  });
  const took = Date.now() - start;
  assert.ok(took >= 2900, `let go after ${took} ms`);
  assert.ok(paths.sanitizers || largest - before < 4 * 1024 * 1024, `${largest - before} bytes more than before`);
  await until("the process to end", () => !fs.existsSync(`/proc/${pid}`));
  peer.hangUp();
});

test("the same while the sender holds the lock that on_message waits for", async () => {
  const peer = await Peer.open(server, "/probe");
  const pid = await pidOf(peer);
  const before = server.log.count(/probe: disconnected/);
  peer.socket.pause();
  peer.text("lock 50000000");
  await until("the session to end", () => server.log.count(/probe: disconnected/) > before);
  await until("the process to end", () => !fs.existsSync(`/proc/${pid}`));
  peer.hangUp();
});

test("so is one that does not read through TLS", async () => {
  const peer = await Peer.open(secure, "/probe");
  const ended = secure.log.count(/flood ended/);
  peer.socket.pause();
  peer.text("flood 65536");
  const start = Date.now();
  await until("the sender to be let go", () => secure.log.count(/flood ended/) > ended);
  assert.ok(Date.now() - start >= 2900);
  peer.hangUp();
});

test("a slow peer that goes on reading is served", async () => {
  const peer = await Peer.open(server, "/probe");
  const size = 30_000_000;
  peer.text(`big ${size}`);
  peer.socket.pause();
  // Longer than the time-out in all, with something taken every now and then.
  // So much that the server's side sees it: the system tells a sender of room only in large pieces.
  const atOnce = 400_000;
  let taken = 0;
  peer.socket.on("data", (data) => {
    taken += data.length;
    if (slow && taken >= atOnce) peer.socket.pause();
  });
  let slow = setInterval(() => {
    taken = 0;
    peer.socket.resume();
  }, 100);
  await sleep(5000);
  clearInterval(slow);
  slow = undefined;
  assert.ok(!peer.ended);
  peer.socket.resume();
  const got = await peer.next(20_000);
  assert.equal(got.payload.length, size);
  await peer.bye();
});
