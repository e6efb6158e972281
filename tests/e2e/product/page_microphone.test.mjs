// A comment that is spoken into the browser's microphone: heard before it is sent, and on the logger afterwards.
import assert from "node:assert/strict";
import { mkdtempSync, readFileSync, readdirSync, rmSync } from "node:fs";
import os from "node:os";
import path from "node:path";
import { after, afterEach, before, describe, test } from "node:test";
import { launchBrowser, openPage } from "../../kit/js/browser.mjs";
import { byId, openView, state } from "../../kit/js/live_page.mjs";
import { kLoggers, Network } from "../../kit/js/network.mjs";
import { until } from "../../kit/js/wait.mjs";

// A microphone that beeps, since the machine may have none.
const kMicrophone = "--use-fake-device-for-media-stream";
const kAllowed = "--use-fake-ui-for-media-stream";
const kWebmBegins = [0x1a, 0x45, 0xdf, 0xa3];

let network, browser, page, problems, dir;

before(async () => {
  dir = mkdtempSync(path.join(os.tmpdir(), "live-view-microphone-"));
  // Browsers let pages listen only where nobody on the way could have changed them.
  network = await Network.start({
    loggers: [{ ...kLoggers[0], args: [["--audio", path.join(dir, "audio")]] }],
    apache: { access: { tls: true } },
  });
  network.expectInLog(/./); // what the page sends is looked at here, not in the log
});

after(async () => {
  await network?.stop();
  rmSync(dir, { recursive: true, force: true });
});

// The page with its view of comments, in a browser with these further arguments.
async function openComments(...args) {
  problems = [];
  browser = await launchBrowser({ args: [kMicrophone, ...args] });
  page = await openPage(browser, network.apache.page, problems, { ignoreHTTPSErrors: true });
  await state(page, "live");
  return openView(page, "audio");
}

afterEach(async () => {
  await browser?.close();
  browser = undefined;
  assert.deepEqual(problems, []);
});

// Speaks until something must have been recorded.
async function speak(view) {
  await byId(view, "record").click();
  await view.locator(".elapsed", { hasText: /[2-9] s/ }).waitFor();
}

// What can be heard now, as the browser holds it.
const heard = async (view) =>
  Buffer.from(
    await byId(view, "audio-preview").evaluate(async (audio) => [...new Uint8Array(await window.objects.get(audio.src).arrayBuffer())]),
  );

// Remembers what an address of the page's own stands for: the page may fetch no such address.
async function rememberObjects() {
  await page.addInitScript(() => {
    window.objects = new Map();
    const make = URL.createObjectURL;
    URL.createObjectURL = (object) => {
      const address = make(object);
      window.objects.set(address, object);
      return address;
    };
  });
  await page.reload();
  await state(page, "live");
  return openView(page, "audio");
}

describe("a comment over a protected connection", () => {
  test("is spoken, heard, sent for a marker and stored on the logger as it was heard", async () => {
    await openComments(kAllowed);
    const view = await rememberObjects();
    assert.ok(network.apache.page.startsWith("https:"));
    await page.keyboard.press("m");
    await page.locator('[data-testid=marker-pending][data-state="confirmed"]').waitFor();
    const marker = await page.locator("[data-testid=marker-pending]").first().getAttribute("title");
    await speak(view);
    await byId(view, "record-stop").click();

    const preview = byId(view, "audio-preview");
    await preview.waitFor();
    await preview.evaluate((audio) => audio.play());
    await until("half a second is heard", () => preview.evaluate((audio) => audio.currentTime > 0.5));
    const spoken = await heard(view);
    assert.deepEqual([...spoken.subarray(0, kWebmBegins.length)], kWebmBegins);

    await byId(view, "audio-marker").selectOption(marker);
    await byId(view, "audio-send").click();
    await byId(view, "upload").filter({ hasText: "comment.webm" }).waitFor();
    await byId(view, "audio-row").filter({ hasText: marker }).waitFor();
    const stored = readdirSync(path.join(dir, "audio/files"));
    assert.equal(stored.length, 1);
    assert.deepEqual(readFileSync(path.join(dir, "audio/files", stored[0])), spoken);
  });

  test("is kept when its tool is closed while it is spoken, and can be heard when that is opened again", async () => {
    const view = await openComments(kAllowed);
    await speak(view);
    await openView(page, "triggers");
    await openView(page, "audio");
    await byId(view, "audio-preview").waitFor();
    await byId(view, "audio-preview").evaluate((audio) => audio.play());
    await until("it is heard", () => byId(view, "audio-preview").evaluate((audio) => audio.currentTime > 0.5));
  });

  test("is not spoken when the microphone is refused, which is told; a file can be chosen all the same", async () => {
    const view = await openComments();
    await byId(view, "record").click();
    await view.getByRole("alert").waitFor();
    assert.ok(await byId(view, "record").isVisible());
    assert.ok(await view.locator("button", { hasText: "Choose file" }).isVisible());
  });
});
