import { after, before, test } from "node:test";
import assert from "node:assert/strict";
import crypto from "node:crypto";

import { echoPlugin, HostApache, location, probePlugin } from "../../kit/js/host_apache.mjs";
import { BINARY, CLOSE, CONTINUATION, PING, PONG, Peer, TEXT, closePayload, frame } from "../../kit/js/peer.mjs";

const MiB = 1024 * 1024;
let server;

before(async () => {
  server = await HostApache.start({
    tls: true,
    config: location("/echo", echoPlugin, "echo_init") + location("/probe", probePlugin, "probe_init"),
  });
  server.log.expect(/AH01882: /); // the machine's mod_ssl is newer than its OpenSSL
});
after(() => server.stop());

test("messages of all sizes come back through TLS", async () => {
  const peer = await Peer.open(server, "/echo");
  for (const size of [0, 1, 125, 126, 4096, 8192, 16383, 16384, 16385, 65535, 65536, MiB]) {
    await peer.expectEcho(BINARY, crypto.randomBytes(size));
  }
  await peer.bye();
});

test("frames in one TLS record with the handshake are not lost", async () => {
  const peer = await Peer.dial(server);
  const frames = [...Array(20).keys()].map((i) => frame(TEXT, `early ${i}`));
  peer.send(Buffer.concat([Buffer.from(peer.request("/echo")), ...frames]));
  await peer.answer();
  for (let i = 0; i < 20; i++) assert.equal(await peer.nextText(), `early ${i}`);
  await peer.bye();
});

test("what lies inside the TLS layer after a poll is not forgotten", async () => {
  const peer = await Peer.open(server, "/echo");
  // One record of 16 KiB holds many frames; reading stops within it again and again.
  const count = 1500;
  peer.send(Buffer.concat([...Array(count).keys()].map((i) => frame(TEXT, `m${i}`))));
  for (let i = 0; i < count; i++) assert.equal(await peer.nextText(), `m${i}`);
  await peer.bye();
});

test("large messages both ways at the same time", async () => {
  const peer = await Peer.open(server, "/probe");
  const size = 8 * MiB;
  peer.text(`threads 3 4 ${size}`);
  const upload = crypto.randomBytes(4 * MiB);
  for (let i = 0; i < 6; i++) {
    peer.send(frame(BINARY, upload.subarray(0, 2 * MiB), { fin: false }));
    peer.send(frame(PING, `${i}`));
    peer.send(frame(CONTINUATION, upload.subarray(2 * MiB)));
  }
  peer.text("seen");
  const nextOf = [0, 0, 0];
  let messages = 0;
  let lastPong = "";
  for (let seen = false; messages < 12 || !seen || lastPong !== "5"; ) {
    const got = await peer.next(30_000);
    if (got.opcode === PONG) {
      lastPong = got.payload.toString();
    } else if (got.payload.length < 1000) {
      assert.equal(got.payload.toString(), "seen 256:0 256:1 256:2 256:3 256:4 256:5 ");
      seen = true;
    } else {
      const [thread, index] = got.payload.toString("latin1", 0, 20).split(":");
      assert.equal(Number(index), nextOf[thread]++);
      assert.equal(got.payload.length, size);
      assert.ok(got.payload.subarray(10).equals(Buffer.alloc(size - 10, "x")));
      messages++;
    }
  }
  await peer.bye();
});

test("an echo of 16 MiB", async () => {
  const peer = await Peer.open(server, "/echo");
  await peer.expectEcho(BINARY, crypto.randomBytes(16 * MiB));
  await peer.bye();
});

test("frames from several threads stay whole and in order", async () => {
  const peer = await Peer.open(server, "/probe");
  peer.text("threads 4 5000 100");
  const nextOf = [0, 0, 0, 0];
  for (let i = 0; i < 20_000; i++) {
    const [thread, index] = (await peer.nextText()).split(":");
    assert.equal(Number(index), nextOf[thread]++);
  }
  await peer.bye();
});

test("rules are kept through TLS as well, and TLS is closed in order", async () => {
  const peer = await Peer.open(server, "/echo");
  peer.send(frame(TEXT, Buffer.from("eda080", "hex")));
  await peer.expectClose(1007);
  assert.equal(peer.error, undefined);
  const second = await Peer.open(server, "/echo");
  second.send(frame(CLOSE, closePayload(4000)));
  await second.expectClose(4000);
  assert.equal(second.error, undefined);
});

test("pages of the same https origin may connect, those of the http one may not", async () => {
  const origin = (scheme) => ({ headers: { Origin: `${scheme}://127.0.0.1:${server.port}` } });
  await (await Peer.open(server, "/echo", origin("https"))).bye();
  assert.equal((await Peer.ask(server, "/echo", origin("http"))).status, 403);
  await server.log.comes(/WS202: .*"http:\/\/127\.0\.0\.1:\d+" may not connect/);
});

test("frames pass the server's filters where TLS needs them, and go straight to the socket elsewhere", async () => {
  for (const tls of [false, true]) {
    const logging = await HostApache.start({ tls, config: `LogLevel websocket:debug\n${location("/echo", echoPlugin, "echo_init")}` });
    try {
      const peer = await Peer.open(logging, "/echo");
      await peer.expectEcho(BINARY, crypto.randomBytes(MiB));
      await peer.bye();
      logging.log.expect(/AH01882: /, /WS205: /);
      const filters = logging.log.lines.flatMap((line) => /WS205: .* on account of "(.*)"/.exec(line)?.[1] ?? []);
      assert.match(filters.join(), tls ? /^ssl\/tls [^,]+$/ : /^$/);
    } finally {
      await logging.stop();
    }
  }
});
