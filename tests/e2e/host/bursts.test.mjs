import { after, before, test } from "node:test";
import assert from "node:assert/strict";
import fs from "node:fs";

import { HostApache, location, probePlugin } from "../../kit/js/host_apache.mjs";
import { patience, until } from "../../kit/js/wait.mjs";
import { CLOSE, PING, PONG, Peer, TEXT, closePayload, frame } from "../../kit/js/peer.mjs";

let server;

before(async () => {
  server = await HostApache.start({
    config:
      location("/probe", probePlugin, "probe_init") +
      location("/pinged", probePlugin, "probe_init", "WebSocketPingInterval 1") +
      // Three seconds to read something; little that the system takes off the host's hands.
      "Timeout 3\nSendBufferSize 65536\nLogLevel websocket:info\n",
  });
  for (const line of [/probe: disconnected/, /probe: close frame of 2 bytes/, /probe: flood ended/, /WS304: /, /WS307: /])
    server.log.expect(line);
});
after(() => server.stop());

/** Many messages at once, each of which keeps the plug-in busy for so long. */
const burst = (count, milliseconds) => Buffer.concat(new Array(count).fill(frame(TEXT, `block ${milliseconds}`)));

/** A peer whose process is known. */
async function open(path) {
  const peer = await Peer.open(server, path);
  peer.text("pid");
  peer.pid = Number(await peer.nextText());
  return peer;
}

/** The same, which has sent these messages and whose plug-in is at the first one. */
async function begin(path, bytes) {
  const peer = await open(path);
  peer.send(bytes);
  assert.equal(await peer.nextText(), "tick 0");
  return peer;
}

/** Waits for the end of its session, after which the process goes. */
const sessionEnds = (peer, limitMs) => until("the end of the session", () => !fs.existsSync(`/proc/${peer.pid}`), limitMs);

/** How many messages have been handled when the frame comes that `wanted` picks; pings are answered. */
async function handledUntil(peer, wanted) {
  for (let handled = 0; ; ) {
    const got = await peer.next();
    assert.ok(got, `the connection ended after ${handled} messages`);
    if (got.opcode === PING) peer.send(frame(PONG, got.payload));
    if (got.payload.toString() === "block over") handled++;
    if (wanted(got, handled)) return handled;
  }
}

for (const [how, leave] of [
  ["closes its socket", (peer) => peer.socket.end()],
  ["resets it", (peer) => peer.socket.resetAndDestroy()],
]) {
  test(`a peer that ${how} after a burst of messages does not hold the session`, async () => {
    const peer = await begin("/probe", burst(60, 200));
    leave(peer);
    await sessionEnds(peer, 8000);
    peer.hangUp();
  });
}

test("the last words of a peer that goes are handled", async () => {
  const peer = await open("/probe");
  peer.socket.end(Buffer.concat(new Array(10).fill(frame(TEXT, "throw"))));
  server.log.expect(/WS104: /);
  await sessionEnds(peer);
  assert.equal(server.log.count(/WS104: /), 10);
  peer.hangUp();
});

test("a signal that comes during a burst ends the session after the message at hand", async () => {
  const peer = await begin("/probe", burst(60, 200));
  process.kill(peer.pid, "SIGTERM");
  const handled = await handledUntil(peer, ({ opcode }) => opcode === CLOSE);
  assert.ok(handled < 20, `${handled} more messages were handled`);
  await sessionEnds(peer);
  peer.hangUp();
});

test("a peer that does not answer pings is let go in the middle of a burst", async () => {
  const peer = await begin("/pinged", burst(60, 200));
  await sessionEnds(peer, 9000);
  peer.hangUp();
});

test("a peer that answers pings behind a burst stays", async () => {
  const peer = await Peer.open(server, "/pinged");
  peer.send(burst(25, 200));
  assert.equal(await handledUntil(peer, (_, handled) => handled === 25), 25);
  await until("the answer to a ping", async () => {
    peer.send(frame(PING, "there?"));
    return (await peer.next()).payload.toString() === "there?";
  });
  peer.send(frame(CLOSE, closePayload(1000)));
  await handledUntil(peer, ({ opcode }) => opcode === CLOSE);
  peer.hangUp();
});

test("so does one whose answers wait outside since more came than was read", async () => {
  const peer = await Peer.open(server, "/pinged");
  const rest = Buffer.concat(new Array(150_000).fill(frame(TEXT, "nothing")));
  peer.send(Buffer.concat([burst(4, 1500), rest]));
  assert.equal(await handledUntil(peer, (_, handled) => handled === 4), 4);
  peer.hangUp();
});

test("a peer that reads slowly does not hold the end of a connection beyond the time-out", async () => {
  const peer = await open("/probe");
  peer.socket.pause();
  peer.text("flood 65536");
  await new Promise((resolve) => setTimeout(resolve, 500)); // the queue fills
  // What waits is over a mebibyte; a piece of it every now and then, so that none waits for long.
  peer.socket.removeAllListeners("data");
  peer.socket.on("data", () => peer.socket.pause());
  const reading = setInterval(() => peer.socket.resume(), 500);
  const start = Date.now();
  peer.send(frame(CLOSE, closePayload(1000)));
  await sessionEnds(peer, 20_000);
  const took = Date.now() - start;
  clearInterval(reading);
  assert.ok(took >= 2900 && took < patience(6500), `let go after ${took} ms`);
  await server.log.comes(/WS307: the websocket client has not read the end of it within 3 s/);
  peer.hangUp();
});
