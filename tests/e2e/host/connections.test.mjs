// How many websockets there may be.
import assert from "node:assert/strict";
import { after, afterEach, before, test } from "node:test";

import { echoPlugin, HostApache, location, probePlugin } from "../../kit/js/host_apache.mjs";
import { Peer, TEXT } from "../../kit/js/peer.mjs";
import { until } from "../../kit/js/wait.mjs";

let server;
const open = [];

before(async () => {
  server = await HostApache.start({
    config:
      location("/three", probePlugin, "probe_init", "WebSocketMaxConnections 3") +
      location("/each", probePlugin, "probe_init", "WebSocketMaxConnections 0 2") +
      location("/any", echoPlugin, "echo_init", "WebSocketMaxConnections 0"),
  });
  server.log.expect(/WS204: websocket handshake refused: there are as many websockets as WebSocketMaxConnections allows/);
});
after(() => server?.stop());

async function connect(address, options) {
  const peer = await Peer.open(server, address, options);
  open.push(peer);
  return peer;
}

const status = async (address, options) => (await Peer.ask(server, address, options)).status;

afterEach(async () => {
  await Promise.all(open.splice(0).map((peer) => peer.bye().catch(() => peer.hangUp())));
  await freeAgain("/three", 3);
});

// Waits until that many find a place, and leaves again.
async function freeAgain(address, count) {
  await until(`${count} places at ${address}`, async () => {
    const peers = await Promise.all([...Array(count)].map(() => Peer.ask(server, address)));
    const all = peers.every((peer) => peer.status === 101);
    await Promise.all(peers.map((peer) => (peer.status === 101 ? peer.bye() : peer.hangUp())));
    return all;
  });
}

test("one more than allowed is answered with 503, and pages are served all the same", async () => {
  for (let i = 0; i < 3; i++) await connect("/three");
  const before = server.log.count(/probe: /);
  assert.equal(await status("/three"), 503);
  assert.equal(server.log.count(/probe: /), before, "the plug-in was called");
  assert.equal(await status("/index.html"), 200);
  const unlimited = await connect("/any");
  await unlimited.expectEcho(TEXT, "served");
});

test("one that ends frees its place", async () => {
  const peers = [await connect("/three"), await connect("/three"), await connect("/three")];
  assert.equal(await status("/three"), 503);
  open.splice(0, 1);
  await peers[0].bye();
  await until("a place", async () => {
    const peer = await Peer.ask(server, "/three");
    if (peer.status === 101) open.push(peer);
    return peer.status === 101;
  });
  assert.equal(await status("/three"), 503);
});

test("so does one whose process is killed", async () => {
  server.log.expect(/AH00052: child pid \d+ exit signal Killed/);
  const peers = [await connect("/three"), await connect("/three"), await connect("/three")];
  peers[1].text("pid");
  process.kill(Number(await peers[1].nextText()), "SIGKILL");
  await peers[1].expectEnd();
  open.splice(1, 1);
  await until("a place", async () => {
    const peer = await Peer.ask(server, "/three");
    if (peer.status === 101) open.push(peer);
    return peer.status === 101;
  });
  assert.equal(await status("/three"), 503);
});

test("an address has its own limit", async () => {
  await connect("/each");
  await connect("/each");
  assert.equal(await status("/each"), 503);
  await connect("/each", { from: "127.0.0.2" });
  await connect("/each", { from: "127.0.0.2" });
  assert.equal(await status("/each", { from: "127.0.0.2" }), 503);
});

test("of a crowd that comes at once exactly so many find a place", async () => {
  const peers = await Promise.all([...Array(12)].map(() => Peer.ask(server, "/three")));
  open.push(...peers.filter((peer) => peer.status === 101));
  assert.equal(open.length, 3);
  assert.equal(peers.filter((peer) => peer.status === 503).length, 9);
});
