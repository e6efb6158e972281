// What a page of somebody else's gets of the live view, in a browser that reaches both.
import assert from "node:assert/strict";
import http from "node:http";
import { after, before, test } from "node:test";
import { launchBrowser } from "../../kit/js/browser.mjs";
import { Network } from "../../kit/js/network.mjs";

let network;
let browser;
let foreign;

before(async () => {
  network = await Network.start();
  network.expectInLog(/ AH10157: /, / WS20[23]: /);
  foreign = http.createServer((request, response) =>
    response.writeHead(200, { "content-type": "text/html" }).end("<!doctype html><title>Theirs</title>"),
  );
  await new Promise((resolve) => foreign.listen(0, "127.0.0.1", resolve));
  // As its owner's name server does once the page is loaded: the name leads to this machine.
  browser = await launchBrowser({ args: ["--host-resolver-rules=MAP evil.example 127.0.0.1"] });
});

after(async () => {
  await browser?.close();
  foreign?.close();
  await network?.stop();
});

async function theirPage(address = `http://evil.example:${foreign.address().port}/`) {
  const page = await browser.newPage();
  await page.goto(address);
  return page;
}

// What a websocket of the page comes to.
const websocket = (page, url) =>
  page.evaluate(
    (address) =>
      new Promise((resolve) => {
        const socket = new WebSocket(address, "kr-webapp-v1");
        socket.onopen = () => resolve("open");
        socket.onerror = () => resolve("refused");
      }),
    url,
  );

test("no websocket, by the server's own name or by its own", async () => {
  const page = await theirPage();
  for (const host of ["127.0.0.1", "localhost", "evil.example"]) {
    assert.equal(await websocket(page, `ws://${host}:${network.apache.port}/live`), "refused", host);
  }
  await page.close();
});

test("nothing to read, and no frame", async () => {
  const page = await theirPage();
  for (const host of ["127.0.0.1", "evil.example"]) {
    const url = `http://${host}:${network.apache.port}/`;
    assert.equal(
      await page.evaluate(
        (address) =>
          fetch(address).then(
            () => "read",
            () => "refused",
          ),
        url,
      ),
      "refused",
    );
    // Not even as an image or a script, which need no permission otherwise.
    assert.equal(
      await page.evaluate(
        (address) =>
          fetch(address, { mode: "no-cors" }).then(
            () => "loaded",
            () => "refused",
          ),
        url,
      ),
      "refused",
    );
    const framed = await page.evaluate(
      (address) =>
        new Promise((resolve) => {
          const frame = document.createElement("iframe");
          frame.onload = () => resolve(frame.contentDocument === null ? "closed to us" : "open");
          frame.src = address;
          document.body.append(frame);
        }),
      url,
    );
    assert.equal(framed, "closed to us");
  }
  const shown = page.frames().slice(1);
  for (const frame of shown) assert.doesNotMatch(await frame.title().catch(() => ""), /Live View/);
  await page.close();
});

test("not even where its name leads here from the start", async () => {
  const page = await browser.newPage();
  const response = await page.goto(`http://evil.example:${network.apache.port}/`);
  assert.equal(response.status(), 400);
  assert.doesNotMatch(await page.content(), /Live View/);
  await page.close();
});

test("a document of the server's own gets one", async () => {
  for (const host of ["127.0.0.1", "localhost"]) {
    // One that does not begin a session by itself.
    const page = await theirPage(`http://${host}:${network.apache.port}/icon.svg`);
    assert.equal(await websocket(page, `ws://${host}:${network.apache.port}/live`), "open");
    await page.close();
  }
});
