import { after, before, test } from "node:test";
import assert from "node:assert/strict";

import { echoPlugin, HostApache, location, probePlugin } from "../../kit/js/host_apache.mjs";
import { until } from "../../kit/js/wait.mjs";
import { CLOSE, PING, Peer, TEXT, closePayload, frame } from "../../kit/js/peer.mjs";

let server;

before(async () => {
  server = await HostApache.start({
    config: location("/echo", echoPlugin, "echo_init") + location("/probe", probePlugin, "probe_init"),
  });
});
after(() => server.stop());

// Every session that there has been with this plug-in, which notes the end of each.
let sessions = 0;
function openProbe() {
  ++sessions;
  return Peer.open(server, "/probe");
}

for (const code of [1000, 1001, 1002, 1003, 1007, 1008, 1009, 1010, 1011, 3000, 3999, 4000, 4999]) {
  test(`close code ${code} is answered with itself`, async () => {
    await (await Peer.open(server, "/echo")).bye(code);
    const peer = await Peer.open(server, "/echo");
    peer.send(frame(CLOSE, closePayload(code, "with a reason")));
    assert.equal(await peer.expectClose(code), "");
  });
}

for (const code of [0, 1, 999, 1004, 1005, 1006, 1012, 1013, 1014, 1015, 1016, 1100, 2000, 2999, 5000, 65535]) {
  test(`close code ${code} is a protocol error`, async () => {
    const peer = await Peer.open(server, "/echo");
    peer.send(frame(CLOSE, closePayload(code)));
    await peer.expectClose(1002);
  });
}

test("an empty close frame is answered with an empty one", async () => {
  const peer = await Peer.open(server, "/echo");
  peer.send(frame(CLOSE));
  await peer.expectClose(undefined);
});

test("a close frame of one byte is a protocol error", async () => {
  const peer = await Peer.open(server, "/echo");
  peer.send(frame(CLOSE, "x"));
  await peer.expectClose(1002);
});

test("a reason of the greatest length is taken", async () => {
  const peer = await Peer.open(server, "/echo");
  peer.send(frame(CLOSE, closePayload(1000, "r".repeat(123))));
  await peer.expectClose(1000);
});

test("a reason that is not UTF-8 is refused", async () => {
  for (const reason of ["cebaeda080", "e282", "ff"]) {
    const peer = await Peer.open(server, "/echo");
    peer.send(frame(CLOSE, closePayload(1000, Buffer.from(reason, "hex"))));
    await peer.expectClose(1007);
  }
});

test("what follows a close frame is passed over", async () => {
  const peer = await Peer.open(server, "/echo");
  peer.send(Buffer.concat([frame(CLOSE, closePayload(1000)), frame(TEXT, "late"), frame(PING, "late"), frame(CLOSE, closePayload(1001))]));
  await peer.expectClose(1000);
});

test("what came before a close frame is answered", async () => {
  const peer = await Peer.open(server, "/echo");
  peer.send(Buffer.concat([frame(TEXT, "last words"), frame(CLOSE, closePayload(1000))]));
  assert.equal(await peer.nextText(), "last words");
  await peer.expectClose(1000);
});

test("a close frame within a fragmented message closes", async () => {
  const peer = await Peer.open(server, "/echo");
  peer.send(frame(TEXT, "a", { fin: false }));
  await peer.bye();
});

test("the plug-in is told of the close frame, with its payload", async () => {
  const peer = await openProbe();
  peer.send(frame(CLOSE, closePayload(1000, "bye")));
  await peer.expectClose(1000);
  await server.log.comes(/probe: close frame of 5 bytes/);
});

test("the plug-in closes, from whatever callback, with 1000", async () => {
  const peer = await openProbe();
  peer.text("close");
  const got = await peer.next();
  assert.equal(got.opcode, CLOSE);
  assert.deepEqual(got.payload, closePayload(1000));
  peer.send(frame(CLOSE, got.payload));
  await peer.expectEnd();
});

test("a close frame of the plug-in goes out as it is, and nothing after it", async () => {
  const peer = await openProbe();
  peer.text("close-frame 1001 away");
  const got = await peer.next();
  assert.equal(got.opcode, CLOSE);
  assert.deepEqual(got.payload, closePayload(1001, "away"));
  // Neither is anything handed over any more, nor a ping answered.
  peer.text("pid");
  peer.send(frame(PING, "late"));
  peer.send(frame(CLOSE, closePayload(1001)));
  await peer.expectEnd();
  await server.log.comes(/probe: close frame of 2 bytes/);
});

test("a peer that does not answer the close frame is let go", async () => {
  const peer = await openProbe();
  const start = Date.now();
  peer.text("close-frame 1001");
  await peer.expectClose(1001, 9000);
  assert.ok(Date.now() - start > 3000, "the peer had no time to answer");
});

test("peers that vanish without a word end their session", async () => {
  for (const leave of [
    (peer) => peer.socket.end(),
    (peer) => peer.socket.resetAndDestroy(),
    (peer) => {
      peer.send(frame(TEXT, "x".repeat(100)).subarray(0, 50));
      peer.hangUp();
    },
  ]) {
    leave(await openProbe());
  }
  await until("the end of each session", () => server.log.count(/probe: disconnected/) === sessions);
});
