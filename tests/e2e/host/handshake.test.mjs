import { after, before, test } from "node:test";
import assert from "node:assert/strict";
import crypto from "node:crypto";

import { echoPlugin, HostApache, location, probePlugin } from "../../kit/js/host_apache.mjs";
import { until } from "../../kit/js/wait.mjs";
import { Peer, TEXT, frame } from "../../kit/js/peer.mjs";

let server;

before(async () => {
  server = await HostApache.start({
    config:
      location("/echo", echoPlugin, "echo_init") +
      location("/probe", probePlugin, "probe_init") +
      location("/greeting", probePlugin, "greeting_init") +
      location("/verbose", probePlugin, "verbose_init") +
      location("/throwing", probePlugin, "throwing_init") +
      location("/refusing", probePlugin, "refusing_init") +
      location("/meddling", probePlugin, "meddling_init") +
      '<Location "/nobody">\nSetHandler websocket-handler\n</Location>\n',
  });
});
after(() => server.stop());

async function refused(status, options, path = "/echo") {
  const peer = await Peer.ask(server, path, options);
  assert.equal(peer.status, status, peer.statusLine);
  assert.match(peer.headers.connection, /close/);
  await peer.socket.resume();
  await new Promise((resolve) => peer.socket.on("close", resolve));
  return peer;
}

test("the sample handshake of the RFC gets the sample answer", async () => {
  const peer = await Peer.ask(server, "/echo", { headers: { "Sec-WebSocket-Key": "dGhlIHNhbXBsZSBub25jZQ==" } });
  assert.equal(peer.statusLine, "HTTP/1.1 101 Switching Protocols");
  assert.deepEqual(peer.headerLines, ["Upgrade: websocket", "Connection: Upgrade", "Sec-WebSocket-Accept: s3pPLMBiTxaQ9kYGzzhZRbK+xOo="]);
  await peer.expectEcho(TEXT, "x");
  await peer.bye();
});

test("names, values and lists of headers are read in any case of their letters", async () => {
  const peer = await Peer.open(server, "/echo", { headers: { Upgrade: "foo, WebSocket", Connection: "keep-alive, ,UPGRADE" } });
  await peer.expectEcho(TEXT, "x");
  await peer.bye();
});

test("a handshake that comes byte by byte is accepted", async () => {
  const peer = await Peer.dial(server);
  for (const byte of Buffer.from(peer.request("/echo"))) {
    peer.send(Buffer.from([byte]));
    await new Promise(setImmediate);
  }
  await peer.answer();
  assert.equal(peer.status, 101);
  await peer.expectEcho(TEXT, "x");
  await peer.bye();
});

test("frames that come in one piece with the handshake are not lost", async () => {
  const peer = await Peer.dial(server);
  const frames = [];
  for (let i = 0; i < 2000; i++) frames.push(frame(TEXT, `early ${i}`));
  peer.send(Buffer.concat([Buffer.from(peer.request("/echo")), ...frames]));
  await peer.answer();
  for (let i = 0; i < 2000; i++) assert.equal(await peer.nextText(), `early ${i}`);
  await peer.bye();
});

test("a websocket may follow other requests on a connection", async () => {
  const peer = await Peer.dial(server);
  peer.send(`GET /index.html HTTP/1.1\r\nHost: a\r\n\r\n${peer.request("/echo")}`);
  await peer.answer();
  assert.equal(peer.status, 200);
  while (!(await peer.answerLine()).endsWith("HTTP/1.1 101 Switching Protocols"));
  while ((await peer.answerLine()) !== "");
  await peer.expectEcho(TEXT, "x");
  await peer.bye();
});

const badKeys = {
  "no key": undefined,
  "an empty key": "",
  "a key of 15 bytes": crypto.randomBytes(15).toString("base64"),
  "a key of 17 bytes": crypto.randomBytes(17).toString("base64"),
  "a key that is not base64": "!!!!!!!!!!!!!!!!!!!!!!==",
  "a key without its end": "dGhlIHNhbXBsZSBub25jZQ",
};
for (const [name, key] of Object.entries(badKeys)) {
  test(`${name} is refused with 400`, () => refused(400, { headers: { "Sec-WebSocket-Key": key } }));
}

test("two keys are refused with 400", () => refused(400, { extra: "Sec-WebSocket-Key: AAAAAAAAAAAAAAAAAAAAAA==\r\n" }));

for (const version of [undefined, "", "0", "8", "12", "14", "99", "13, 14"]) {
  test(`version ${version} is refused with 426, which names 13`, async () => {
    const peer = await refused(426, { headers: { "Sec-WebSocket-Version": version } });
    assert.equal(peer.headers["sec-websocket-version"], "13");
    assert.equal(peer.headers.upgrade, "websocket");
  });
}

test("no Upgrade, or another one, is refused with 426", async () => {
  for (const Upgrade of [undefined, "h2c", "websocketx"]) await refused(426, { headers: { Upgrade } });
});

test("an ordinary page request is told to upgrade", async () => {
  const none = undefined;
  const peer = await refused(426, {
    headers: { Upgrade: none, Connection: none, "Sec-WebSocket-Key": none, "Sec-WebSocket-Version": none },
  });
  assert.equal(peer.headers.upgrade, "websocket");
});

test("no Connection: Upgrade is refused with 400", async () => {
  for (const Connection of [undefined, "close", "keep-alive, upgraded"]) {
    await refused(400, { headers: { Connection } });
  }
});

test("other methods than GET are refused with 405", async () => {
  for (const method of ["POST", "PUT", "HEAD"]) {
    const peer = await refused(405, { method });
    assert.match(peer.headers.allow, /GET/);
  }
});

test("HTTP/1.0 is refused with 400", () => refused(400, { version: "HTTP/1.0" }));
test("a request without Host is refused with 400", () => refused(400, { headers: { Host: undefined } }));
test("a request with a body is refused with 400", async () => {
  await refused(400, { headers: { "Content-Length": "4" }, extra: "" });
  await refused(400, { headers: { "Transfer-Encoding": "chunked" } });
});
test("an ill-formed sub-protocol is refused with 400", () => refused(400, { headers: { "Sec-WebSocket-Protocol": "a b" } }));

test("the plug-in chooses among the sub-protocols of one or several headers", async () => {
  for (const [headers, extra] of [
    [{ "Sec-WebSocket-Protocol": "other,probe" }, ""],
    [{ "Sec-WebSocket-Protocol": "other" }, "sec-websocket-protocol: probe\r\n"],
  ]) {
    const peer = await Peer.open(server, "/probe", { headers, extra });
    assert.equal(peer.headers["sec-websocket-protocol"], "probe");
    await peer.bye();
  }
});

test("no sub-protocol is named when the plug-in chooses none", async () => {
  const peer = await Peer.open(server, "/probe", { headers: { "Sec-WebSocket-Protocol": "other" } });
  assert.equal(peer.headers["sec-websocket-protocol"], undefined);
  await peer.bye();
});

test("the echo plug-in takes the first sub-protocol", async () => {
  const peer = await Peer.open(server, "/echo", { headers: { "Sec-WebSocket-Protocol": "b, a" } });
  assert.equal(peer.headers["sec-websocket-protocol"], "b");
  await peer.bye();
});

test("no extension is accepted", async () => {
  const peer = await Peer.open(server, "/echo", { headers: { "Sec-WebSocket-Extensions": "permessage-deflate; client_max_window_bits" } });
  assert.equal(peer.headers["sec-websocket-extensions"], undefined);
  await peer.bye();
});

test("the plug-in reads headers of the request and sets headers of the answer", async () => {
  const peer = await Peer.open(server, "/probe", { headers: { "X-Asked": "this" } });
  assert.equal(peer.headers["x-probe"], "yes");
  peer.text("header x-asked");
  assert.equal(await peer.nextText(), "this");
  peer.text("header x-other");
  assert.equal(await peer.nextText(), "none");
  await peer.bye();
});

test("the plug-in cannot break the answer", async () => {
  const peer = await Peer.open(server, "/meddling", { headers: { "Sec-WebSocket-Protocol": "other" } });
  assert.equal(peer.headers.upgrade, "websocket");
  assert.equal(peer.headers["x-split"], undefined);
  assert.equal(peer.headers["x-injected"], undefined);
  assert.equal(peer.headers["sec-websocket-protocol"], undefined);
  await server.log.comes(/WS301: the websocket plug-in may not set the header "Upgrade"/);
  await server.log.comes(/WS301: the websocket plug-in may not set the header "X-Split"/);
  await server.log.comes(/WS302: the websocket plug-in chose "never-offered"/);
  await peer.bye();
});

test("what is sent during on_connect comes after the answer, in order", async () => {
  const peer = await Peer.open(server, "/greeting");
  assert.equal(await peer.nextText(), "from a thread");
  assert.equal(await peer.nextText(), "from on_connect");
  await peer.bye();
});

test("on_connect may send more than the queue holds", async () => {
  const peer = await Peer.open(server, "/verbose");
  for (let i = 0; i < 10; i++) assert.equal((await peer.nextText()).length, 300_000);
  await peer.bye();
});

test("a throwing on_connect refuses the connection and is logged", async () => {
  const peer = await refused(500, {}, "/throwing");
  assert.equal(peer.headers["sec-websocket-accept"], undefined);
  await server.log.comes(/WS103: the websocket plug-in's on_connect threw: no session today/);
});

test("a plug-in that gives no session refuses the connection", async () => {
  await refused(500, {}, "/refusing");
  await server.log.comes(/WS102: the websocket plug-in refused the connection/);
});

test("the handler without a plug-in is an error", async () => {
  await refused(500, {}, "/nobody");
  await server.log.comes(/WS001: websocket-handler is set here but no WebSocketHandler is given/);
});

test("the access log tells of the upgrade and of the bytes", async () => {
  const peer = await Peer.open(server, "/echo");
  await peer.expectEcho(TEXT, "x".repeat(5000));
  await peer.bye();
  await until(
    () => `the line in ${server.accessLog}`,
    () => /^101 51\d\d 5\d\d\d \/echo/m.test(server.accessLog),
  );
});
