// The same over TLS: page, handshake, commands, and large frames both ways.
import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import https from "node:https";
import { after, before, test } from "node:test";
import { okText } from "../../kit/js/answers.mjs";
import { Network } from "../../kit/js/network.mjs";

let network;

before(async () => {
  network = await Network.start({ apache: { tls: true } });
});

after(() => network?.stop());

const secure = () => ({ url: network.apache.tlsUrl, ca: readFileSync(network.apache.certificate) });

test("a browser gets complete logger info over TLS", async () => {
  const client = await network.connectReady({ ...secure(), origin: `https://127.0.0.1:${network.apache.tlsPort}` });
  assert.equal(client.info.configs.length, 3);
  assert.equal((await client.ask("get_logger_status")).logger_status.length, 3);
});

test("a page that came without TLS is another origin", async () => {
  network.expectInLog(/\[websocket:\w+\] .*[Oo]rigin/);
  const origin = `http://127.0.0.1:${network.apache.tlsPort}`;
  await assert.rejects(network.connect({ ...secure(), origin }), /403/);
});

test("large frames pass both ways", async () => {
  const client = await network.connect(secure());
  const word = "x".repeat(3 << 20);
  client.send(`{"command":7,"padding":"${word}"}`);
  network.expectInLog(/^\[ERROR\] KLV::createAndSendJSON_parsingError\(\) value of 'command' must be a string /);
  const answer = await client.next(20_000);
  assert.ok(answer.error_msg.includes(word));
  assert.equal(await client.rawAnswer('{"command":"ping"}'), okText("ping"));
});

test("close_webapp closes with 1001", async () => {
  const client = await network.connectReady(secure());
  client.send({ command: "close_webapp" });
  assert.equal((await client.closed()).code, 1001);
});

test("the page is served over TLS", async () => {
  const { status, text } = await get(`https://127.0.0.1:${network.apache.tlsPort}/`);
  assert.equal(status, 200);
  assert.match(text, /<title>Live View<\/title>/);
});

function get(url) {
  return new Promise((resolve, reject) => {
    https
      .get(url, { ca: readFileSync(network.apache.certificate) }, (response) => {
        let text = "";
        response.setEncoding("utf8");
        response.on("data", (chunk) => (text += chunk));
        response.on("end", () => resolve({ status: response.statusCode, text }));
      })
      .on("error", reject);
  });
}
