// What the page keeps on the logger, audio files and set-ups, and the monitor, in a real browser.
import assert from "node:assert/strict";
import { mkdtempSync, readFileSync, readdirSync, rmSync, writeFileSync } from "node:fs";
import os from "node:os";
import path from "node:path";
import { after, afterEach, before, beforeEach, describe, test } from "node:test";
import { launchBrowser, openPage } from "../../kit/js/browser.mjs";
import { configurationFile, makeConfigurations, storedConfigurations } from "../../kit/js/configurations.mjs";
import { byId, changes, openView, sawState, sendByHand, state, frames, texts, watchStates } from "../../kit/js/live_page.mjs";
import { kLoggers, Network } from "../../kit/js/network.mjs";
import * as paths from "../../kit/js/paths.mjs";
import { until } from "../../kit/js/wait.mjs";

const kName = "Brakes / <b>ä€</b>";

let network, browser, page, problems, dir;

before(async () => {
  if (paths.isolated) makeConfigurations();
  dir = mkdtempSync(path.join(os.tmpdir(), "live-view-page-"));
  network = await Network.start({ loggers: [{ ...kLoggers[0], args: [["--audio", path.join(dir, "audio")]] }] });
  network.expectInLog(/./); // what the page sends is looked at here, not in the log
  browser = await launchBrowser();
});

after(async () => {
  await browser?.close();
  await network?.stop();
  rmSync(dir, { recursive: true, force: true });
});

beforeEach(async () => {
  problems = [];
  page = await openPage(browser, network.apache.page, problems);
  await state(page, "live");
});

afterEach(async () => {
  await page.close();
  assert.deepEqual(problems, []);
});

describe("set-ups on the page", { skip: !paths.isolated && "no /var/opt of its own" }, () => {
  test("are saved, listed beside the files of others, loaded by a link and deleted", async () => {
    writeFileSync(configurationFile("drive"), "somebody else's");
    await byId(page, "legend-entry").first().waitFor();
    const names = () => texts(page.locator("[data-testid=legend-entry] .legend-name"));
    const saved = await names();
    const view = await openView(page, "setups");
    await byId(view, "setup-name").fill(kName);
    await byId(view, "setup-save").click();
    await byId(view, "setup-row").filter({ hasText: kName }).waitFor();
    assert.equal(await byId(view, "setup-row").count(), 1);
    assert.deepEqual(storedConfigurations().sort(), ["drive", "liveview-Brakes%20%2F%20%3Cb%3E%C3%A4%E2%82%AC%3C%2Fb%3E"]);

    // Another browser, which keeps nothing, gets it by its link.
    const context = await browser.newContext();
    const other = await context.newPage();
    await other.goto(`${network.apache.page}#setup=${encodeURIComponent(kName)}`);
    await state(other, "live");
    await openView(other, "setups");
    await byId(other, "setup-current").filter({ hasText: kName }).waitFor();
    assert.deepEqual(await texts(other.locator("[data-testid=legend-entry] .legend-name")), saved);
    await context.close();

    await byId(view, "setup-row")
      .getByRole("button", { name: /^Delete/ })
      .first()
      .click();
    await byId(view, "setup-row").locator(".setup-sure").getByRole("button").first().click();
    await byId(view, "setup-row").first().waitFor({ state: "detached" });
    assert.deepEqual(storedConfigurations(), ["drive"]);
  });

  test("that somebody has spoilt are refused, and the page stays as it is", async () => {
    writeFileSync(
      configurationFile("liveview-spoilt"),
      '{"format": "live-view-setup", "version": 1, "name": "x", "panels": [{"kind": "cake"}]}',
    );
    await page.reload();
    await state(page, "live");
    const view = await openView(page, "setups");
    await byId(view, "setup-row").filter({ hasText: "spoilt" }).locator(".setup-load").click();
    await byId(view, "setup-error").filter({ hasText: "a panel is of no known kind" }).waitFor();
    assert.ok((await byId(page, "legend-entry").count()) > 0);
  });
});

describe("audio files on the page", () => {
  // A second of silence that can be listened to.
  function soundFile() {
    const wav = Buffer.alloc(44 + 8_000);
    wav.write("RIFF\0\0\0\0WAVEfmt ", "latin1");
    wav.writeUInt32LE(36 + 8_000, 4);
    for (const [at, value, bytes] of [
      [16, 16, 4],
      [20, 1, 2],
      [22, 1, 2],
      [24, 8_000, 4],
      [28, 8_000, 4],
      [32, 1, 2],
      [34, 8, 2],
    ])
      wav.writeUIntLE(value, at, bytes);
    wav.write("data", 36, "latin1");
    wav.writeUInt32LE(8_000, 40);
    return wav.fill(128, 44);
  }

  test("are chosen, heard, uploaded for a marker and listed", async () => {
    await page.keyboard.press("m");
    await page.locator('[data-testid=marker-pending][data-state="confirmed"]').waitFor();
    const marker = await page.locator("[data-testid=marker-pending]").first().getAttribute("title");
    const view = await openView(page, "audio");
    const file = path.join(dir, "note.wav");
    writeFileSync(file, soundFile());
    await byId(view, "audio-file").setInputFiles(file);
    await byId(view, "audio-preview").waitFor();
    assert.equal(
      await byId(view, "audio-preview").evaluate(
        (audio) =>
          new Promise((resolve) => {
            if (audio.readyState > 0) return resolve(audio.duration);
            audio.onloadedmetadata = () => resolve(audio.duration);
            audio.onerror = () => resolve(audio.error.message);
          }),
      ),
      1,
    );
    await byId(view, "audio-marker").selectOption(marker);
    await byId(view, "audio-send").click();
    await byId(view, "upload").filter({ hasText: "note" }).waitFor();
    await byId(view, "audio-row").filter({ hasText: marker }).waitFor();
    const [stored] = readdirSync(path.join(dir, "audio/files"));
    assert.deepEqual(readFileSync(path.join(dir, "audio/files", stored)), soundFile());
  });

  test("do not hold markers up while they are on their way", async () => {
    const view = await openView(page, "audio");
    const file = path.join(dir, "long.wav");
    writeFileSync(file, Buffer.alloc(24_000_000, 1));
    await byId(view, "audio-file").setInputFiles(file);
    await byId(view, "audio-send").click();
    const asked = Date.now();
    await page.keyboard.press("m");
    await page.locator('[data-testid=marker-pending][data-state="confirmed"]').waitFor();
    assert.ok(Date.now() - asked < 10_000); // machines may be busy
    await until("both files are there", async () => (await byId(view, "audio-row").count()) === 2, 30_000);
  });
});

describe("the monitor on the page", () => {
  test("shows the screen that is chosen, until it is stopped", async () => {
    const view = await openView(page, "monitor");
    await byId(view, "screen-0").waitFor();
    await byId(view, "monitor-run").click();
    await changes(page, byId(view, "monitor-values"));
    assert.match(await byId(view, "monitor-values").textContent(), /CAN1\./);
    await byId(view, "screen-1").click();
    await byId(view, "monitor-values").filter({ hasText: "CAN2." }).waitFor();
    assert.doesNotMatch(await byId(view, "monitor-values").textContent(), /CAN1\./);
    await byId(view, "monitor-run").click();
    await byId(view, "monitor-values").waitFor({ state: "detached" });
  });
});

describe("a session on the page", () => {
  test("is recorded to a file, and played from it", async () => {
    const view = await openView(page, "protocol");
    await byId(view, "session-record").click();
    await watchStates(page);
    await sendByHand(page, '{"command": "close_webapp"}'); // so that the recording holds all from the beginning
    await sawState(page, /^lost/);
    await state(page, "live");
    await changes(page, byId(page, "grid"), 5);
    const [download] = await Promise.all([page.waitForEvent("download"), byId(view, "session-save").click()]);
    const file = path.join(dir, "session.jsonl");
    await download.saveAs(file);
    assert.match(readFileSync(file, "utf8"), /^\{"format":"live-view-session","version":1\}\n/);

    await byId(view, "session-file").setInputFiles(file);
    await state(page, "playback");
    await (await frames(page, "get_logger_info")).first().waitFor();
    // Not for changes: the recording is short, and may be over by now.
    await byId(page, "grid").filter({ hasText: /\d %/ }).waitFor();
    await page.waitForFunction(() => document.querySelectorAll("[data-testid=signal-row]").length > 3);
    await byId(view, "playback-stop").click();
    await state(page, "live");
    await changes(page, byId(page, "grid"));
  });

  test("that is none is refused with the reason", async () => {
    const view = await openView(page, "protocol");
    const file = path.join(dir, "none.jsonl");
    writeFileSync(file, "hello");
    await byId(view, "session-file").setInputFiles(file);
    await byId(page, "notices").filter({ hasText: "this is no recorded session" }).waitFor();
    await state(page, "live");
  });
});
