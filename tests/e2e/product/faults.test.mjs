// What breaks while browsers are there: whoever is left goes on, and nobody waits for ever.
import assert from "node:assert/strict";
import { after, before, describe, test } from "node:test";
import { frame, BINARY, Peer, TEXT } from "../../kit/js/peer.mjs";
import { completeInfo, kLoggers, Network } from "../../kit/js/network.mjs";
import { sessionsOf } from "../../kit/js/processes.mjs";
import { patience, servedTime, until } from "../../kit/js/wait.mjs";
import { readdirSync } from "node:fs";
import { kProtocol } from "../../kit/js/client.mjs";

const kSideBySide = { concurrency: 4 };
const kErrors = [/^\[(ERROR|WARNING)\] KLV::/, /^\}: no entry for /];

async function withNetwork(options, body) {
  const network = await Network.start(options);
  network.expectInLog(...kErrors);
  try {
    await body(network);
  } finally {
    await network.stop();
  }
}

// Waits until no process serves a websocket any more.
const allEnd = (network) =>
  until(
    () => `the end of all sessions; there are ${sessionsOf(network.apache).length}`,
    () => sessionsOf(network.apache).length === 0,
  );

describe("a desk logger that is killed while it is asked", kSideBySide, () => {
  // What begins each collection, and the request that the logger is to leave unanswered.
  for (const [command, request, members = {}] of [
    ["get_logger_info", 53],
    ["get_logger_status", 23],
    ["get_signal_names", 137],
    ["get_bus_names", 81, { active: 1 }],
    ["get_trigger", 50],
    ["get_ksl_time_offset", 89],
  ]) {
    test(`in the middle of ${command}`, async () => {
      const [front, rear, roof] = kLoggers;
      const silent = { ...roof, scenario: { requests: { [request]: { delay: "60s" } } } };
      const loggers = [front, rear, silent].map((logger) => ({ ...logger, neighboursTimeout: "2s" }));
      await withNetwork({ loggers }, async (network) => {
        const client = await network.connect();
        if (command !== "get_logger_info") {
          await completeInfo(client);
        }
        client.send({ command, ...members });
        // Served all the while: an answer waits two seconds at most for the loggers.
        assert.equal((await client.ask("ping", {}, 5_000)).status, "OK");
        await network.loggers[2].kill();
        // The network is another one without it, so the browser is sent away, and comes to the two that are left.
        assert.equal((await client.closed(20_000)).code, 1001);
        const again = await network.connectReady();
        assert.deepEqual(
          again.info.configs.map(({ mac }) => mac),
          [front.mac, rear.mac],
        );
        if (command !== "get_logger_info") {
          const answer = await again.ask(command, members);
          assert.notEqual(answer.status, "ERROR");
        }
      });
    });
  }
});

describe("a browser that is gone", () => {
  let network;
  before(async () => {
    network = await Network.start();
    network.expectInLog(...kErrors);
  });
  after(() => network?.stop());

  const handshake = { headers: { "Sec-WebSocket-Protocol": kProtocol } };
  const announce = { command: "upload_audio_file", name: "n", file_extension: "wav", marker_id: "m", start_time: 1, end_time: 2 };
  const uploads = () => readdirSync("/tmp").filter((name) => /^\d+\.wav$/.test(name));

  for (const [when, begin] of [
    ["in the middle of an upload", (peer) => peer.send(frame(BINARY, Buffer.alloc(3 << 20)).subarray(0, 1 << 20))],
    ["in the middle of a frame", (peer) => peer.send(frame(TEXT, '{"command":"ping"}').subarray(0, 9))],
    ["within a header", (peer) => peer.send(frame(TEXT, "x".repeat(300)).subarray(0, 3))],
    ["between two fragments", (peer) => peer.send(frame(TEXT, '{"command":', { fin: false }))],
  ]) {
    test(`${when} leaves no process, no file, and the others alone`, async () => {
      const other = await network.connectReady();
      const peer = await Peer.open(network.apache, "/live", handshake);
      if (when.endsWith("upload")) {
        for (const request of [{ command: "get_logger_info" }, announce]) {
          network.apache.log.addSent(JSON.stringify(request));
          peer.text(JSON.stringify(request));
        }
      }
      begin(peer);
      await until("both sessions", () => sessionsOf(network.apache).length === 2);
      peer.socket.resetAndDestroy();
      await until("one session", () => sessionsOf(network.apache).length === 1);
      assert.equal((await other.ask("get_logger_status")).logger_status.length, 3);
      await other.close();
      await allEnd(network);
      assert.deepEqual(uploads(), []);
    });
  }

  test("in the middle of its handshake starts no session", async () => {
    const peers = await Promise.all(Array.from({ length: 20 }, () => Peer.dial(network.apache)));
    for (const peer of peers) peer.send(peer.request("/live", handshake).slice(0, -3));
    const client = await network.connectReady();
    for (const peer of peers) peer.socket.resetAndDestroy();
    assert.equal((await client.ask("ping")).status, "OK");
    assert.equal(sessionsOf(network.apache).length, 1);
    await client.close();
    await allEnd(network);
  });

  test("by the hundred in slow handshakes keeps nobody out", async () => {
    const peers = await Promise.all(Array.from({ length: 150 }, () => Peer.dial(network.apache)));
    for (const peer of peers) peer.send("GET /live HTTP/1.1\r\nHost: 127.0.0.1\r\nX-Slow: ");
    const started = servedTime();
    const client = await network.connectReady();
    const took = servedTime() - started;
    assert.ok(took < patience(10_000), `served after ${took} ms`);
    for (const peer of peers) peer.socket.resetAndDestroy();
    await client.close();
    await allEnd(network);
  });
});

describe("a process of the web server that is killed", () => {
  test("takes its own browser along, which is served again at once", async () => {
    await withNetwork({}, async (network) => {
      network.expectInLog(/ AH00052: child pid \d+ exit signal Killed/);
      const [first] = [await network.connectReady()];
      const [pid] = sessionsOf(network.apache);
      const other = await network.connectReady();
      process.kill(pid, "SIGKILL");
      assert.equal((await first.closed()).code, 1006);
      assert.equal((await other.ask("get_logger_status")).logger_status.length, 3);
      assert.equal((await network.connectReady()).info.configs.length, 3);
    });
  });
});

describe("a logger with the hardware address of another one", () => {
  test("does not join, and browsers see nothing of it", async () => {
    const [front, rear] = kLoggers;
    await withNetwork({ loggers: [front, rear] }, async (network) => {
      const client = await network.connectReady();
      await assert.rejects(
        network.addLogger({ ...rear, name: "Twin" }),
        /another logger has the MAC address 02:00:00:00:00:02 already; give this one another with --mac/,
      );
      assert.equal((await client.ask("get_logger_status")).logger_status.length, 2);
      assert.deepEqual(
        (await completeInfo(client)).configs.map(({ name, logger_name }) => logger_name ?? name),
        [front.name, rear.name],
      );
    });
  });
});
