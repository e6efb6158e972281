import { after, before, test } from "node:test";
import assert from "node:assert/strict";
import crypto from "node:crypto";

import { echoPlugin, HostApache, location, probePlugin } from "../../kit/js/host_apache.mjs";
import * as paths from "../../kit/js/paths.mjs";
import { BINARY, CONTINUATION, PING, PONG, Peer, TEXT, frame } from "../../kit/js/peer.mjs";

const MiB = 1024 * 1024;
let server;

before(async () => {
  server = await HostApache.start({
    config:
      location("/echo", echoPlugin, "echo_init", "WebSocketMaxTextSize 33554432") +
      location("/text", echoPlugin, "echo_init") +
      location("/small-text", echoPlugin, "echo_init", "WebSocketMaxTextSize 1000") +
      location("/small", echoPlugin, "echo_init", "WebSocketMaxMessageSize 1000") +
      location("/older", echoPlugin, "echo_init", "MaxMessageSize 1000") +
      location("/probe", probePlugin, "probe_init", "WebSocketMaxMessageSize 104857600"),
  });
});
after(() => server.stop());

for (const path of ["/small", "/older"]) {
  test(`a message of the largest size is taken, one byte more closes with 1009 (${path})`, async () => {
    let peer = await Peer.open(server, path);
    await peer.expectEcho(BINARY, crypto.randomBytes(1000));
    await peer.expectEcho(TEXT, "x".repeat(1000));
    peer.send(frame(BINARY, crypto.randomBytes(1001)));
    await peer.expectClose(1009);
    peer = await Peer.open(server, path);
    peer.send(frame(TEXT, "x".repeat(1001)));
    await peer.expectClose(1009);
  });
}

test("the limit holds for the sum of fragments", async () => {
  const peer = await Peer.open(server, "/small");
  peer.send(Buffer.concat([frame(BINARY, Buffer.alloc(600), { fin: false }), frame(PING)]));
  assert.equal((await peer.next()).opcode, PONG);
  await peer.expectEcho(BINARY, Buffer.alloc(1000), frame(CONTINUATION, Buffer.alloc(400)));
  peer.send(frame(BINARY, Buffer.alloc(600), { fin: false }));
  peer.send(frame(CONTINUATION, Buffer.alloc(401), { fin: false }));
  await peer.expectClose(1009);
});

test("text has a limit of its own, in fragments as well", async () => {
  let peer = await Peer.open(server, "/small-text");
  await peer.expectEcho(TEXT, "x".repeat(1000));
  await peer.expectEcho(BINARY, crypto.randomBytes(100_000));
  peer.send(frame(TEXT, "x".repeat(600), { fin: false }));
  peer.send(frame(CONTINUATION, "x".repeat(401)));
  await peer.expectClose(1009);
  peer = await Peer.open(server, "/small-text");
  peer.send(frame(TEXT, "", { form: 16, declare: 1001 }));
  await peer.expectClose(1009);
});

test("the limit for text is 4 MiB where none is given", async () => {
  const peer = await Peer.open(server, "/text");
  await peer.expectEcho(TEXT, "x".repeat(4 * MiB));
  await peer.expectEcho(BINARY, Buffer.alloc(5 * MiB));
  peer.send(frame(TEXT, "", { form: 64, declare: 4 * MiB + 1 }));
  await peer.expectClose(1009);
});

test("a header that announces too much is enough", async () => {
  const headers = [
    frame(BINARY, "", { form: 64, declare: 32 * MiB + 1 }),
    frame(TEXT, "", { form: 64, declare: (1n << 62n) + 5n }),
    frame(BINARY, "", { form: 64, declare: (1n << 63n) - 1n, fin: false }),
  ];
  for (const header of headers) {
    const peer = await Peer.open(server, "/echo");
    peer.send(header);
    await peer.expectClose(1009);
  }
});

test("the limit is 32 MiB where none is given", async () => {
  const peer = await Peer.open(server, "/echo");
  const payload = crypto.randomBytes(32 * MiB);
  await peer.expectEcho(BINARY, payload);
  peer.send(frame(BINARY, "", { form: 64, declare: 32 * MiB + 1 }));
  await peer.expectClose(1009);
});

test("16 MiB of text and of binary", async () => {
  const peer = await Peer.open(server, "/echo");
  await peer.expectEcho(BINARY, crypto.randomBytes(16 * MiB));
  await peer.expectEcho(TEXT, "Grüße ".repeat(2 * MiB));
  await peer.bye();
});

test("a message of 65536 fragments comes back whole", async () => {
  const peer = await Peer.open(server, "/echo");
  for (const [count, piece] of [
    [65536, "ab"],
    [65536, ""],
    [16384, "x".repeat(256)],
  ]) {
    const fragments = [...Array(count).keys()].map((i) => frame(i === 0 ? TEXT : CONTINUATION, piece, { fin: i === count - 1 }));
    await peer.expectEcho(TEXT, piece.repeat(count), Buffer.concat(fragments));
  }
  await peer.bye();
});

test("1 MiB in segments of 64 bytes", async () => {
  const peer = await Peer.open(server, "/echo");
  const payload = crypto.randomBytes(MiB);
  const bytes = frame(BINARY, payload);
  for (let i = 0; i < bytes.length; i += 64) peer.send(bytes.subarray(i, i + 64));
  await peer.expectEcho(BINARY, payload, "");
  await peer.bye();
});

// A sanitizer keeps books in memory as well, and does not give freed memory back at once.
const memory = { skip: paths.sanitizers !== "" };

test("a large message is buffered once", memory, async () => {
  const peer = await Peer.open(server, "/probe");
  const peak = async () => {
    peer.text("memory");
    return Number((await peer.nextText()).match(/(\d+) kB/)[1]) * 1024;
  };
  const before = await peak();
  const size = 64 * MiB;
  peer.send(frame(BINARY, Buffer.alloc(size, "m")));
  // The plug-in copies the message once.
  const one = (await peak()) - before;
  assert.ok(one < 2.1 * size, `${(one / size).toFixed(2)} times the message, its copy included`);
  await peer.bye();
});

test("a large message in many fragments is not held twice either", memory, async () => {
  const peer = await Peer.open(server, "/probe");
  peer.text("memory");
  const before = Number((await peer.nextText()).match(/(\d+) kB/)[1]) * 1024;
  const size = 64 * MiB;
  const piece = Buffer.alloc(64 * 1024, "m");
  for (let sent = 0; sent < size; sent += piece.length) {
    peer.send(frame(sent === 0 ? BINARY : CONTINUATION, piece, { fin: sent + piece.length === size }));
  }
  peer.text("memory");
  const peak = Number((await peer.nextText()).match(/(\d+) kB/)[1]) * 1024 - before;
  assert.ok(peak < 2.1 * size, `${(peak / size).toFixed(2)} times the message, its copy included`);
  await peer.bye();
});

test("a frame larger than the queue goes through it", async () => {
  const peer = await Peer.open(server, "/probe");
  peer.text(`big ${20 * MiB}`);
  const got = await peer.next();
  assert.equal(got.opcode, BINARY);
  assert.ok(got.payload.equals(Buffer.alloc(20 * MiB, "b")));
  peer.send(frame(PING, "after"));
  assert.deepEqual(await peer.next(), { opcode: PONG, payload: Buffer.from("after") });
  await peer.bye();
});
