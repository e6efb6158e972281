import { after, before, test } from "node:test";
import assert from "node:assert/strict";

import { HostApache, location, probePlugin } from "../../kit/js/host_apache.mjs";
import { sleep, until } from "../../kit/js/wait.mjs";
import { BINARY, CLOSE, PING, PONG, Peer, TEXT, closePayload, frame } from "../../kit/js/peer.mjs";

let server;

before(async () => {
  server = await HostApache.start({
    config: location("/probe", probePlugin, "probe_init"),
  });
  server.log.expect(/probe: flood ended after \d+ bytes/);
});
after(() => server.stop());

async function pidOf(peer) {
  peer.text("pid");
  return Number(await peer.nextText());
}

for (const [threads, count, size] of [
  [1, 50_000, 100],
  [4, 10_000, 100],
  [3, 40, 300_000],
  [2, 3, 3_000_000],
]) {
  test(`${threads} threads send ${count} frames of ${size} bytes, whole and in order`, async () => {
    const peer = await Peer.open(server, "/probe");
    peer.text(`threads ${threads} ${count} ${size}`);
    const nextOf = new Array(threads).fill(0);
    for (let i = 0; i < threads * count; i++) {
      const text = await peer.nextText();
      const [thread, index, filling] = text.split(":", 3);
      assert.equal(Number(index), nextOf[thread]++);
      assert.equal(text.length, size);
      assert.equal(filling, "x".repeat(filling.length));
    }
    assert.deepEqual(nextOf, new Array(threads).fill(count));
    await peer.bye();
  });
}

test("pings are answered while another thread sends without end", async () => {
  const peer = await Peer.open(server, "/probe");
  peer.text("flood 20000");
  for (let round = 0; round < 20; round++) {
    peer.send(frame(PING, `${round}`));
    for (let pong = ""; pong !== `${round}`; ) {
      const got = await peer.next();
      if (got.opcode === PONG) pong = got.payload.toString();
    }
  }
  peer.send(frame(CLOSE, closePayload(1000)));
  await until("the close frame", async () => (await peer.next()).opcode === CLOSE);
  await peer.expectEnd();
  await server.log.comes(/probe: flood ended after \d+ bytes/);
});

test("frames go out while on_message stands still", async () => {
  const peer = await Peer.open(server, "/probe");
  peer.text("block 3000");
  assert.equal(await peer.nextText(), "tick 0");
  const first = performance.now();
  while ((await peer.nextText()) !== "block over");
  const before = performance.now() - first;
  assert.ok(before > 1000, `the first frame came ${before} ms before on_message was over`);
  await peer.bye();
});

test("a sender that holds a lock on_message waits for is not stuck", async () => {
  const peer = await Peer.open(server, "/probe");
  const size = 12_000_000;
  peer.text(`lock ${size}`);
  const got = await peer.next();
  assert.equal(got.opcode, BINARY);
  assert.equal(got.payload.length, size);
  assert.equal(await peer.nextText(), "lock taken");
  await peer.bye();
});

test("a peer that goes while much is queued ends the session at once", async () => {
  const peer = await Peer.open(server, "/probe");
  const before = server.log.count(/flood ended/);
  peer.socket.pause();
  peer.text("flood 65536");
  await sleep(300);
  peer.socket.resetAndDestroy();
  await until("the sender to be let go", () => server.log.count(/flood ended/) > before);
});

test("what on_message throws is logged, and the session goes on", async () => {
  const peer = await Peer.open(server, "/probe");
  peer.text("throw");
  await server.log.comes(/WS104: the websocket plug-in's on_message threw: thrown on demand/);
  peer.text("throw-odd");
  await server.log.comes(/WS104: the websocket plug-in's on_message threw: an exception of unknown/);
  assert.ok((await pidOf(peer)) > 0);
  await peer.bye();
});

test("idle frames are not held back", async () => {
  const peer = await Peer.open(server, "/probe");
  const times = [];
  for (let i = 0; i < 200; i++) {
    const start = performance.now();
    peer.send(frame(PING, `${i}`));
    await peer.next();
    times.push(performance.now() - start);
  }
  times.sort((a, b) => a - b);
  // What the system holds back, it holds back for 40 ms.
  assert.ok(times[100] < 35, `median round trip ${times[100]} ms`);
  await peer.bye();
});
