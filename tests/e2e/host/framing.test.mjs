import { after, before, test } from "node:test";
import assert from "node:assert/strict";
import crypto from "node:crypto";

import { echoPlugin, HostApache, location, probePlugin } from "../../kit/js/host_apache.mjs";
import { BINARY, CLOSE, CONTINUATION, PING, PONG, Peer, TEXT, frame } from "../../kit/js/peer.mjs";

let server;

before(async () => {
  server = await HostApache.start({
    config: location("/echo", echoPlugin, "echo_init") + location("/probe", probePlugin, "probe_init"),
  });
});
after(() => server.stop());

async function protocolError(bytes) {
  const peer = await Peer.open(server, "/echo");
  peer.send(bytes);
  await peer.expectClose(1002);
}

test("text and binary messages come back as they went", async () => {
  const peer = await Peer.open(server, "/echo");
  await peer.expectEcho(TEXT, "Grüße \u{1F600}");
  await peer.expectEcho(BINARY, Buffer.from([0, 255, 128, 10]));
  await peer.expectEcho(TEXT, "");
  await peer.expectEcho(BINARY, "");
  await peer.expectEcho(TEXT, "with a \0 inside");
  await peer.bye();
});

test("lengths around every form of the header", async () => {
  const peer = await Peer.open(server, "/echo");
  for (const size of [0, 1, 2, 7, 124, 125, 126, 127, 128, 255, 256, 4095, 4096, 4097, 65534, 65535, 65536, 65537, 131072]) {
    await peer.expectEcho(BINARY, crypto.randomBytes(size));
    await peer.expectEcho(TEXT, "ab".repeat(size).slice(0, size));
  }
  await peer.bye();
});

test("lengths that are not in their shortest form are refused", async () => {
  await protocolError(frame(BINARY, "zzzzz", { form: 16 }));
  await protocolError(frame(BINARY, "z".repeat(125), { form: 16 }));
  await protocolError(frame(BINARY, "zzzzz", { form: 64 }));
  await protocolError(frame(BINARY, "z".repeat(300), { form: 64 }));
});

test("a length with its highest bit set is refused", () => protocolError(frame(BINARY, "", { form: 64, declare: 1n << 63n })));

for (let rsv = 1; rsv < 8; rsv++) {
  test(`reserved bits ${rsv} are refused on every kind of frame`, async () => {
    for (const opcode of [TEXT, BINARY, CLOSE, PING, PONG]) {
      await protocolError(frame(opcode, "", { rsv }));
      await protocolError(frame(opcode, "payload", { rsv }));
    }
  });
}

for (const opcode of [3, 4, 5, 6, 7, 11, 12, 13, 14, 15]) {
  test(`opcode ${opcode} is refused, with and without payload`, async () => {
    await protocolError(frame(opcode));
    await protocolError(frame(opcode, "payload"));
  });
}

test("what came before a broken frame is answered first", async () => {
  const peer = await Peer.open(server, "/echo");
  peer.send(Buffer.concat([frame(TEXT, "good"), frame(5, "bad"), frame(TEXT, "late")]));
  assert.equal(await peer.nextText(), "good");
  await peer.expectClose(1002);
});

test("unmasked frames are refused", async () => {
  for (const opcode of [TEXT, BINARY, PING, PONG, CLOSE]) {
    await protocolError(frame(opcode, "", { mask: false }));
    await protocolError(frame(opcode, opcode === CLOSE ? "\x03\xe8" : "payload", { mask: false }));
  }
  await protocolError(Buffer.concat([frame(TEXT, "a", { fin: false }), frame(CONTINUATION, "b", { mask: false })]));
});

test("a header alone is enough to be refused, before any payload", async () => {
  const headerOf = (bytes, size) => bytes.subarray(0, size);
  await protocolError(headerOf(frame(TEXT, "payload", { rsv: 4 }), 6));
  await protocolError(headerOf(frame(3, "payload"), 6));
  await protocolError(headerOf(frame(CONTINUATION, "payload"), 2));
  await protocolError(headerOf(frame(TEXT, "x".repeat(500), { mask: false }), 2));
});

test("control frames of more than 125 bytes, or in pieces, are refused", async () => {
  for (const opcode of [PING, PONG, CLOSE]) {
    await protocolError(frame(opcode, "x".repeat(126)));
    await protocolError(frame(opcode, "x", { fin: false }));
    await protocolError(frame(opcode, "", { fin: false }));
  }
});

test("pings of every size are answered with their payload", async () => {
  const peer = await Peer.open(server, "/echo");
  for (const size of [0, 1, 2, 124, 125]) {
    const payload = crypto.randomBytes(size);
    peer.send(frame(PING, payload));
    assert.deepEqual(await peer.next(), { opcode: PONG, payload });
  }
  await peer.bye();
});

test("many pings at once are answered each, in order", async () => {
  const peer = await Peer.open(server, "/echo");
  peer.send(Buffer.concat([...Array(50).keys()].map((i) => frame(PING, `p${i}`))));
  for (let i = 0; i < 50; i++) {
    assert.deepEqual(await peer.next(), { opcode: PONG, payload: Buffer.from(`p${i}`) });
  }
  await peer.bye();
});

test("pongs that nobody asked for are passed over", async () => {
  const peer = await Peer.open(server, "/echo");
  peer.send(frame(PONG, "unasked"));
  peer.send(frame(PONG));
  await peer.expectEcho(TEXT, "x");
  await peer.bye();
});

test("the plug-in is told of pings and pongs", async () => {
  const peer = await Peer.open(server, "/probe");
  peer.send(Buffer.concat([frame(PING, "one"), frame(PONG, "two"), frame(TEXT, "seen")]));
  assert.deepEqual(await peer.next(), { opcode: PONG, payload: Buffer.from("one") });
  assert.equal(await peer.nextText(), "seen 256:one 257:two ");
  await peer.bye();
});

test("the plug-in sends pings and pongs, but none that are too long", async () => {
  const peer = await Peer.open(server, "/probe");
  peer.text("control 256 hello");
  assert.deepEqual(await peer.next(), { opcode: PING, payload: Buffer.from("hello") });
  assert.equal(await peer.nextText(), "sent 5");
  peer.text("control 257 hello");
  assert.deepEqual(await peer.next(), { opcode: PONG, payload: Buffer.from("hello") });
  assert.equal(await peer.nextText(), "sent 5");
  peer.text(`control 256 ${"x".repeat(126)}`);
  assert.equal(await peer.nextText(), "sent 0");
  peer.text("control -1 hello");
  assert.equal(await peer.nextText(), "sent 0");
  peer.text("control 1 hello");
  assert.equal(await peer.nextText(), "sent 0");
  await peer.bye();
});

test("fragments are joined, with control frames between them answered at once", async () => {
  const peer = await Peer.open(server, "/echo");
  peer.send(frame(TEXT, "a", { fin: false }));
  peer.send(frame(PING, "between"));
  assert.deepEqual(await peer.next(), { opcode: PONG, payload: Buffer.from("between") });
  peer.send(frame(CONTINUATION, "", { fin: false }));
  peer.send(frame(PONG, "unasked"));
  await peer.expectEcho(TEXT, "ab", frame(CONTINUATION, "b"));
  await peer.expectEcho(BINARY, "", Buffer.concat([frame(BINARY, "", { fin: false }), frame(CONTINUATION, "")]));
  await peer.bye();
});

test("a continuation without a beginning is refused", async () => {
  await protocolError(frame(CONTINUATION, "x"));
  await protocolError(frame(CONTINUATION, "x", { fin: false }));
  await protocolError(Buffer.concat([frame(PING, ""), frame(CONTINUATION, "x")]).subarray(6));
});

test("a continuation after a whole message is refused", async () => {
  const peer = await Peer.open(server, "/echo");
  await peer.expectEcho(TEXT, "whole");
  peer.send(frame(CONTINUATION, "x"));
  await peer.expectClose(1002);
});

test("a new message within a fragmented one is refused", async () => {
  for (const opcode of [TEXT, BINARY]) {
    await protocolError(Buffer.concat([frame(TEXT, "a", { fin: false }), frame(opcode, "b")]));
  }
});

test("random cuts into fragments and segments change nothing", async () => {
  const peer = await Peer.open(server, "/echo");
  for (let round = 0; round < 60; round++) {
    const payload = crypto.randomBytes(crypto.randomInt(1, 5000));
    const cuts = [
      0,
      ...Array.from({ length: crypto.randomInt(6) }, () => crypto.randomInt(payload.length + 1)).sort((a, b) => a - b),
      payload.length,
    ];
    const bytes = Buffer.concat(
      cuts.slice(1).map((end, i) => frame(i === 0 ? BINARY : CONTINUATION, payload.subarray(cuts[i], end), { fin: i === cuts.length - 2 })),
    );
    for (let i = 0; i < bytes.length; ) {
      const size = [1, 2, 3, 7, 50, 500, 5000][crypto.randomInt(7)];
      peer.send(bytes.subarray(i, i + size));
      i += size;
      if (crypto.randomInt(20) === 0) await new Promise(setImmediate);
    }
    await peer.expectEcho(BINARY, payload, "");
  }
  await peer.bye();
});

test("a header that comes byte by byte", async () => {
  const peer = await Peer.open(server, "/echo");
  for (const size of [5, 200, 66000]) {
    const payload = crypto.randomBytes(size);
    const bytes = frame(BINARY, payload);
    for (let i = 0; i < 14 && i < bytes.length; i++) {
      peer.send(bytes.subarray(i, i + 1));
      await new Promise((resolve) => setTimeout(resolve, 2));
    }
    await peer.expectEcho(BINARY, payload, bytes.subarray(14));
  }
  await peer.bye();
});

test("many messages in one segment keep their order", async () => {
  const peer = await Peer.open(server, "/echo");
  peer.send(Buffer.concat([...Array(5000).keys()].map((i) => frame(TEXT, `m${i}`))));
  for (let i = 0; i < 5000; i++) assert.equal(await peer.nextText(), `m${i}`);
  await peer.bye();
});
