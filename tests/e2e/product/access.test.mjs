// Who gets in, with the shipped files for TLS and passwords, in a real browser: it asks its user for a password for the page,
// and has to answer the websocket's handshake with the same one, since nobody can be asked there.
import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import http from "node:http";
import { after, afterEach, before, beforeEach, test } from "node:test";
import { launchBrowser, openPage } from "../../kit/js/browser.mjs";
import { byId, sawState, sendByHand, state, watchStates } from "../../kit/js/live_page.mjs";
import { Network } from "../../kit/js/network.mjs";

const kUser = { username: "alice", password: 'correct "horse": b\u00e4ttery' };

let network, browser, problems;

before(async () => {
  network = await Network.start({ apache: { access: { tls: true, user: kUser.username, password: kUser.password } } });
  network.expectInLog(/ AH01617: user alice: authentication failure /, / AH01618: user bob not found: /, / WS20\d: /);
  network.expectInLog(/^\{"command":"/, / Error opening .*\/config\/: No such file or directory$/); // the page's

  browser = await launchBrowser();
});

after(async () => {
  await browser?.close();
  await network?.stop();
});

beforeEach(() => (problems = []));
afterEach(() => assert.deepEqual(problems, []));

const open = (options) => openPage(browser, network.apache.page, problems, { ignoreHTTPSErrors: true, ...options });

const login = ({ username, password }) => ({
  headers: { Authorization: `Basic ${Buffer.from(`${username}:${password}`).toString("base64")}` },
});
const secure = () => ({ ca: readFileSync(network.apache.certificate) });

test("the page is live over TLS for the user, and again after the server has begun anew", async () => {
  const page = await open({ httpCredentials: kUser });
  assert.match(page.url(), /^https:/);
  await state(page, "live");
  await sendByHand(page, '{"command":"ping"}');
  await watchStates(page);
  network.expectInLog(/ AH00171: /, / AH00163: /, / AH00094: /);
  network.apache.part.signal("SIGUSR1");
  await sawState(page, /^(?!live)/);
  await state(page, "live");
  await page.close();
});

test("a browser whose user knows no password sees nothing of the page", async () => {
  const page = await browser.newPage({ ignoreHTTPSErrors: true });
  const status = await page.goto(network.apache.page).then(
    (response) => response.status(),
    (error) => error.message, // Chromium without a window has nowhere to ask
  );
  assert.match(String(status), /401|ERR_INVALID_AUTH_CREDENTIALS/);
  assert.equal(await byId(page, "connection").count(), 0);
  await page.close();
});

test("the websocket is closed to whoever shows no password or a wrong one", async () => {
  await assert.rejects(network.connect(secure()), /answered with 401/);
  for (const wrong of [
    { ...kUser, password: "correct" },
    { ...kUser, username: "bob" },
  ]) {
    await assert.rejects(network.connect({ ...secure(), ...login(wrong) }), /answered with 401/);
  }
});

test("a client with the password gets complete logger info", async () => {
  const client = await network.connectReady({ ...secure(), ...login(kUser) });
  assert.equal(client.info.configs.length, 3);
});

test("a page from elsewhere gets no websocket, though the browser knows the password", async () => {
  const { port } = network.apache;
  for (const origin of ["https://evil.example", `http://127.0.0.1:${port}`]) {
    await assert.rejects(network.connect({ ...secure(), headers: { ...login(kUser).headers, Origin: origin } }), /answered with 403/);
  }
  const client = await network.connect({ ...secure(), headers: { ...login(kUser).headers, Origin: `https://127.0.0.1:${port}` } });
  assert.equal((await client.ask("ping")).status, "OK");
});

test("who speaks without TLS is told so, and gets nothing", async () => {
  const { status, text } = await new Promise((resolve, reject) => {
    http
      .get(`http://127.0.0.1:${network.apache.port}/`, (response) => {
        let text = "";
        response.on("data", (chunk) => (text += chunk));
        response.on("end", () => resolve({ status: response.statusCode, text }));
      })
      .on("error", reject);
  });
  assert.equal(status, 400);
  assert.doesNotMatch(text, /<title>Live View/);
});
