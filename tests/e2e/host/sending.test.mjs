import { after, before, test } from 'node:test';
import assert from 'node:assert/strict';
import fs from 'node:fs';

import { Apache, location, probePlugin, sanitized, until } from '../../kit/js/host_apache.mjs';
import { BINARY, CLOSE, PING, PONG, Peer, TEXT, closePayload, frame } from '../../kit/js/peer.mjs';

let server;

before(async () => {
  server = await Apache.start({
    config: location('/probe', probePlugin, 'probe_init') +
      // Three seconds to read something.
      'Timeout 3\n',
  });
  server.allowLog(/probe: disconnected/);
  server.allowLog(/probe: close frame of 2 bytes/);
  server.allowLog(/probe: flood ended after \d+ bytes/);
});
after(() => server.stop());

/** Resident memory of a process, in bytes. */
const memoryOf = (pid) =>
  Number(fs.readFileSync(`/proc/${pid}/status`, 'latin1').match(/VmRSS:\s*(\d+) kB/)[1]) * 1024;

async function pidOf(peer) {
  peer.text('pid');
  return Number(await peer.nextText());
}

for (const [threads, count, size] of [[1, 50_000, 100], [4, 10_000, 100], [3, 40, 300_000],
  [2, 3, 3_000_000]]) {
  test(`${threads} threads send ${count} frames of ${size} bytes, whole and in order`, async () => {
    const peer = await Peer.open(server, '/probe');
    peer.text(`threads ${threads} ${count} ${size}`);
    const nextOf = new Array(threads).fill(0);
    for (let i = 0; i < threads * count; i++) {
      const text = await peer.nextText();
      const [thread, index, filling] = text.split(':', 3);
      assert.equal(Number(index), nextOf[thread]++);
      assert.equal(text.length, size);
      assert.equal(filling, 'x'.repeat(filling.length));
    }
    assert.deepEqual(nextOf, new Array(threads).fill(count));
    await peer.bye();
  });
}

test('pings are answered while another thread sends without end', async () => {
  const peer = await Peer.open(server, '/probe');
  peer.text('flood 20000');
  for (let round = 0; round < 20; round++) {
    peer.send(frame(PING, `${round}`));
    for (let pong = ''; pong !== `${round}`;) {
      const got = await peer.next();
      if (got.opcode === PONG) pong = got.payload.toString();
    }
  }
  peer.send(frame(CLOSE, closePayload(1000)));
  await until(async () => (await peer.next()).opcode === CLOSE, 'the close frame');
  await peer.expectEnd();
  await server.expectLog(/probe: flood ended after \d+ bytes/);
});

test('frames go out while on_message stands still', async () => {
  const peer = await Peer.open(server, '/probe');
  peer.text('block 1000');
  const start = performance.now();
  let ticks = 0;
  while (await peer.nextText() !== 'block over') {
    if (performance.now() - start < 900) ticks++;
  }
  assert.ok(ticks >= 20, `${ticks} of about 50 frames came while on_message stood still`);
  await peer.bye();
});

test('a sender that holds a lock on_message waits for is not stuck', async () => {
  const peer = await Peer.open(server, '/probe');
  const size = 12_000_000;
  peer.text(`lock ${size}`);
  const got = await peer.next();
  assert.equal(got.opcode, BINARY);
  assert.equal(got.payload.length, size);
  assert.equal(await peer.nextText(), 'lock taken');
  await peer.bye();
});

test('a peer that does not read holds its sender back, and is let go after the time-out', async () => {
  const peer = await Peer.open(server, '/probe');
  const pid = await pidOf(peer);
  const ended = server.countLog(/flood ended/);
  peer.socket.pause();
  const before = memoryOf(pid);
  peer.text('flood 65536');
  const start = Date.now();
  let largest = 0;
  await until(() => {
    try {
      largest = Math.max(largest, memoryOf(pid));
    } catch { /* the process has gone */ }
    return server.countLog(/flood ended/) > ended;
  }, 'the sender to be let go', 12_000);
  const took = Date.now() - start;
  assert.ok(took >= 2900 && took < 9000, `let go after ${took} ms`);
  assert.ok(sanitized || largest - before < 4 * 1024 * 1024, `${largest - before} bytes more than before`);
  await until(() => !fs.existsSync(`/proc/${pid}`), 'the process to end');
  peer.hangUp();
});

test('the same while the sender holds the lock that on_message waits for', async () => {
  const peer = await Peer.open(server, '/probe');
  const pid = await pidOf(peer);
  const before = server.countLog(/probe: disconnected/);
  peer.socket.pause();
  peer.text('lock 50000000');
  await until(() => server.countLog(/probe: disconnected/) > before, 'the session to end', 12_000);
  await until(() => !fs.existsSync(`/proc/${pid}`), 'the process to end');
  peer.hangUp();
});

test('a slow peer that goes on reading is served', async () => {
  const peer = await Peer.open(server, '/probe');
  const size = 30_000_000;
  peer.text(`big ${size}`);
  peer.socket.pause();
  // Longer than the time-out in all, with something taken every now and then.
  // So much that the server's side sees it: the system tells a sender of room only in large pieces.
  const atOnce = 400_000;
  let taken = 0;
  peer.socket.on('data', (data) => {
    taken += data.length;
    if (slow && taken >= atOnce) peer.socket.pause();
  });
  let slow = setInterval(() => {
    taken = 0;
    peer.socket.resume();
  }, 100);
  await new Promise((resolve) => setTimeout(resolve, 5000));
  clearInterval(slow);
  slow = undefined;
  assert.ok(!peer.ended);
  peer.socket.resume();
  const got = await peer.next(20_000);
  assert.equal(got.payload.length, size);
  await peer.bye();
});

test('a peer that goes while much is queued ends the session at once', async () => {
  const peer = await Peer.open(server, '/probe');
  const before = server.countLog(/flood ended/);
  peer.socket.pause();
  peer.text('flood 65536');
  await new Promise((resolve) => setTimeout(resolve, 300));
  peer.socket.resetAndDestroy();
  await until(() => server.countLog(/flood ended/) > before, 'the sender to be let go', 2900);
});

test('what on_message throws is logged, and the session goes on', async () => {
  const peer = await Peer.open(server, '/probe');
  peer.text('throw');
  await server.expectLog(/WS104: the websocket plug-in's on_message threw: thrown on demand/);
  peer.text('throw-odd');
  await server.expectLog(/WS104: the websocket plug-in's on_message threw: an exception of unknown/);
  assert.ok(await pidOf(peer) > 0);
  await peer.bye();
});

test('idle frames are not held back', async () => {
  const peer = await Peer.open(server, '/probe');
  const times = [];
  for (let i = 0; i < 200; i++) {
    const start = performance.now();
    peer.send(frame(PING, `${i}`));
    await peer.next();
    times.push(performance.now() - start);
  }
  times.sort((a, b) => a - b);
  assert.ok(times[100] < 20, `median round trip ${times[100]} ms`);
  await peer.bye();
});
