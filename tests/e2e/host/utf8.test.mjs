import { after, before, test } from "node:test";
import assert from "node:assert/strict";

import { echoPlugin, HostApache, location } from "../../kit/js/host_apache.mjs";
import { BINARY, CONTINUATION, PING, PONG, Peer, TEXT, frame } from "../../kit/js/peer.mjs";

let server;

before(async () => {
  server = await HostApache.start({ config: location("/echo", echoPlugin, "echo_init") });
});
after(() => server.stop());

const bytes = (hex) => Buffer.from(hex.replaceAll(" ", ""), "hex");

// Ill-formed text, and how many of its bytes a server needs to know.
const illFormed = {
  "a lone continuation byte": ["80", 1],
  "the last continuation byte": ["bf", 1],
  "an overlong slash of two bytes": ["c0 af", 1],
  "the lead C1": ["c1 bf", 1],
  "an overlong slash of three bytes": ["e0 80 af", 2],
  "the largest overlong form of three bytes": ["e0 9f bf", 2],
  "an overlong slash of four bytes": ["f0 80 80 af", 2],
  "the largest overlong form of four bytes": ["f0 8f bf bf", 2],
  "the first surrogate": ["ed a0 80", 2],
  "the last surrogate": ["ed bf bf", 2],
  "a pair of surrogates": ["ed a0 80 ed b0 80", 2],
  "the first code above 10FFFF": ["f4 90 80 80", 2],
  "the lead F5": ["f5 80 80 80", 1],
  "a form of five bytes": ["f8 88 80 80 80", 1],
  "a form of six bytes": ["fc 84 80 80 80 80", 1],
  "the byte FE": ["fe", 1],
  "the byte FF": ["ff", 1],
  "two bytes cut by ASCII": ["c3 41", 2],
  "three bytes cut by ASCII": ["e2 82 41", 3],
  "four bytes cut by a lead": ["f0 9f 98 c3", 4],
  "one continuation byte too many": ["e2 82 ac 80", 4],
};

for (const [name, [hex, needed]] of Object.entries(illFormed)) {
  test(`${name} is refused, in one frame and in fragments of a byte`, async () => {
    const text = bytes(hex);
    let peer = await Peer.open(server, "/echo");
    peer.send(frame(TEXT, Buffer.concat([Buffer.from("good so far "), text])));
    await peer.expectClose(1007);

    peer = await Peer.open(server, "/echo");
    peer.send(frame(TEXT, "", { fin: false }));
    for (const byte of text) peer.send(frame(CONTINUATION, Buffer.from([byte]), { fin: false }));
    await peer.expectClose(1007);
  });

  test(`${name} is refused at the byte that shows it, inside a frame and before its end`, async () => {
    const text = bytes(hex);
    const lead = Buffer.from("good so far ");
    const whole = frame(TEXT, Buffer.concat([lead, text, Buffer.alloc(100, "e")]));
    const header = whole.length - lead.length - text.length - 100;
    const peer = await Peer.open(server, "/echo");
    const before = header + lead.length + needed - 1;
    peer.send(whole.subarray(0, before));
    // Proof that it is not refused too early: nothing has come when the answer to this would.
    await new Promise((resolve) => setTimeout(resolve, 30));
    assert.equal(peer.size, 0);
    assert.ok(!peer.ended);
    peer.send(whole.subarray(before, before + 1));
    await peer.expectClose(1007, 3000);
  });
}

test("text that ends within a character is refused at the end of the message", async () => {
  for (const hex of ["c3", "e2", "e2 82", "f0", "f0 9f", "f0 9f 98", "e2 82 ac c3"]) {
    const peer = await Peer.open(server, "/echo");
    peer.send(frame(TEXT, bytes(hex)));
    await peer.expectClose(1007);
  }
});

// The first and last codes of each length, the neighbours of the surrogates, and what only looks odd.
const wellFormed = [
  "00",
  "7f",
  "c2 80",
  "df bf",
  "e0 a0 80",
  "ed 9f bf",
  "ee 80 80",
  "ef bf bd",
  "ef bf be",
  "ef bf bf",
  "f0 90 80 80",
  "f0 9f 98 80",
  "f4 8f bf bf",
  "ef bb bf 41",
  "ce ba e1 bd b9 cf 83 ce bc ce b5",
  "ef b7 90",
  "f0 9f bf be",
  "f4 8f bf be",
];

test("well-formed text at every boundary comes back", async () => {
  const peer = await Peer.open(server, "/echo");
  for (const hex of wellFormed) await peer.expectEcho(TEXT, bytes(hex));
  await peer.bye();
});

test("characters may be cut between fragments and between segments", async () => {
  const peer = await Peer.open(server, "/echo");
  const text = Buffer.concat(wellFormed.map(bytes));
  for (const byte of frame(TEXT, text)) {
    peer.send(Buffer.from([byte]));
    await new Promise(setImmediate);
  }
  await peer.expectEcho(TEXT, text, "");
  const parts = [...text].map((byte, i) => frame(i === 0 ? TEXT : CONTINUATION, Buffer.from([byte]), { fin: i === text.length - 1 }));
  await peer.expectEcho(TEXT, text, Buffer.concat(parts));
  await peer.bye();
});

test("binary messages and pings are not text", async () => {
  const peer = await Peer.open(server, "/echo");
  for (const [hex] of Object.values(illFormed)) {
    const payload = bytes(hex);
    await peer.expectEcho(BINARY, payload);
    peer.send(frame(PING, payload));
    assert.deepEqual(await peer.next(), { opcode: PONG, payload });
  }
  await peer.bye();
});

test("one message does not spoil the next", async () => {
  const peer = await Peer.open(server, "/echo");
  await peer.expectEcho(BINARY, bytes("e2 82"));
  await peer.expectEcho(TEXT, "fine");
  peer.send(frame(TEXT, bytes("e2"), { fin: false }));
  peer.send(frame(PING, bytes("ff")));
  assert.equal((await peer.next()).opcode, PONG);
  await peer.expectEcho(TEXT, "€", frame(CONTINUATION, bytes("82 ac")));
  await peer.bye();
});
