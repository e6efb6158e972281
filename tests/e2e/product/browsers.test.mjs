// Browsers that come, go, come back and come together: each one is served by a child process of its own.
import assert from "node:assert/strict";
import http from "node:http";
import { after, before, describe, test } from "node:test";
import { okText } from "../../kit/js/answers.mjs";
import { Client } from "../../kit/js/client.mjs";
import { Network } from "../../kit/js/network.mjs";
import { until } from "../../kit/js/wait.mjs";

let network;

before(async () => {
  network = await Network.start();
});

after(() => network?.stop());

// How often a text stands in the log.
function logged(text) {
  return network.apache.log.text.split(text).length - 1;
}

function assertComplete(info) {
  assert.equal(info.status, "OK");
  assert.deepEqual(info.configs.map(({ mac }) => mac).sort(), network.loggers.map(({ mac }) => mac).sort());
}

describe("complete logger info", () => {
  test("two browsers at the same time both get it", async () => {
    const [one, two] = await Promise.all([network.connectReady(), network.connectReady()]);
    assertComplete(one.info);
    assertComplete(two.info);
    assert.equal((await one.ask("ping")).status, "OK");
    assert.equal((await two.ask("ping")).status, "OK");
  });

  test("a browser that closes does not disturb another one", async () => {
    const [one, two] = await Promise.all([network.connectReady(), network.connectReady()]);
    await one.close();
    assert.equal((await two.ask("get_logger_status")).status, "OK");
  });

  test("a reload gets it", async () => {
    for (let reload = 0; reload < 5; reload++) {
      const client = await network.connectReady();
      assertComplete(client.info);
      client.close(); // not waited for: the browser does not either
    }
  });

  test("a reconnect after a break gets it", async () => {
    for (let loss = 0; loss < 3; loss++) {
      const client = await network.connectReady();
      assertComplete(client.info);
      client.terminate();
    }
    assertComplete((await network.connectReady()).info);
  });

  test("ten browsers within a second all get it", async () => {
    const clients = await Promise.all(Array.from({ length: 10 }, () => network.connectReady()));
    for (const client of clients) assertComplete(client.info);
    await Promise.all(clients.map((client) => client.close()));
  });
});

describe("sub-protocols", () => {
  test("the one is chosen, also when it is offered last", async () => {
    const client = await network.connect({ protocols: ["kr-webapp-v2", "kr-webapp-v1x", "kr-webapp-v1"] });
    assert.equal(client.protocol, "kr-webapp-v1");
    assert.equal(await client.rawAnswer('{"command":"ping"}'), okText("ping"));
  });

  for (const [name, protocols] of [
    ["only other sub-protocols", ["kr-webapp-v2", "kr-webapp-v1x"]],
    ["no sub-protocol", []],
  ]) {
    test(`a connection with ${name} answers nothing, survives everything and ends in order`, async () => {
      const destroyed = logged("KLV::~LvWebsocket() LvWebsocket destroyed\n");
      const started = logged("KLV::start_modules() start threads!\n");
      network.expectInLog(/^\[ERROR\] KLV::/);
      // A client that offered something and was given nothing would close at once: this one does not look.
      const client = new Client(network.apache.url, {
        log: network.apache.log,
        protocols: [],
        headers: protocols.length > 0 ? { "Sec-WebSocket-Protocol": protocols.join(", ") } : {},
      });
      await ignoreProtocol(client);
      for (const command of ["ping", "get_logger_info", "get_logger_status", "get_ksl_network", "get_bus_names", "close_webapp"]) {
        client.send({ command });
      }
      for (const frame of ["", "{}", "undefined", "[", "[".repeat(100_000), '{"command":7}']) client.send(frame);
      client.send(Buffer.from([0, 1, 2]));
      assert.equal(await client.ping("still here"), "still here");
      assert.deepEqual(client.frames, []);
      await client.close();
      await until("the session's last line", () => logged("KLV::~LvWebsocket() LvWebsocket destroyed\n") > destroyed);
      assert.equal(logged("KLV::start_modules() start threads!\n"), started);
    });
  }

  async function ignoreProtocol(client) {
    await client.opened();
    assert.equal(client.protocol, "");
  }
});

describe("what the log says of a session", () => {
  test("every line of its end stands there, in order", async () => {
    const before = network.apache.log.text.length;
    const client = await network.connectReady();
    await client.close();
    const own = () => network.apache.log.text.slice(before);
    await until("the end of the session", () => own().includes("\nFinished\n"));
    const lines = own()
      .split("\n")
      .filter((line) => /KLV::(~LvWebsocket|lv_destroy)\(\)/.test(line));
    const texts = lines.map((line) =>
      line
        .replace(/^.*?\(\) /, "")
        .replace(/^\d.*: delete/, "<time>: delete")
        .replace(/TIME: [\d.e+-]+/, "TIME: <ms>"),
    );
    assert.deepEqual(texts, [
      "destroy LvWebsocket",
      "thread_ping_run->isActive()=1",
      "<time>: delete websocket",
      "stop_thread krpbus",
      "stop ping",
      "stop monitor",
      "stop busload",
      "stop trigger",
      "stop signal",
      "waRequestMessage_destroy",
      "uploadfileInfo deleted",
      "kslInfo deleted",
      "TIME: <ms>",
      "destroy memory pool",
      "LvWebsocket destroyed",
      "LvWebsocket destroyed",
      "finished",
    ]);
  });
});

// How the page answers to such headers.
function statusOf(address, headers) {
  return new Promise((resolve, reject) => {
    const request = http.get({ host: "127.0.0.1", port: network.apache.port, path: address, headers, agent: false }, (response) => {
      response.resume();
      resolve(response.statusCode);
    });
    request.on("error", reject);
  });
}

describe("other web servers' pages", () => {
  test("a page of this server may connect", async () => {
    const client = await network.connectReady({ origin: `http://127.0.0.1:${network.apache.port}` });
    assertComplete(client.info);
  });

  test("a page whose own name leads here gets nothing at all", async () => {
    network.expectInLog(/ AH10157: Requested hostname 'evil\.example' did not match any ServerName\/ServerAlias /);
    for (const host of ["evil.example", `evil.example:${network.apache.port}`]) {
      const headers = { Host: host };
      assert.equal(await statusOf("/", headers), 400);
      await assert.rejects(network.connect({ origin: `http://${host}`, headers }), /400/);
    }
    for (const host of ["localhost", "127.0.0.1", "[::1]", "LOCALHOST"]) {
      assert.equal(await statusOf("/", { Host: `${host}:${network.apache.port}` }), 200);
    }
  });

  test("a page from elsewhere is refused", async () => {
    network.expectInLog(/\[websocket:\w+\] .*[Oo]rigin/);
    await assert.rejects(network.connect({ origin: "http://elsewhere.example" }), /403/);
  });
});
