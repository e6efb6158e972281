// What the page keeps on the logger, audio files and configurations, and the monitor, in a real browser.
import assert from "node:assert/strict";
import { mkdirSync, mkdtempSync, readFileSync, readdirSync, rmSync, writeFileSync } from "node:fs";
import os from "node:os";
import path from "node:path";
import { after, afterEach, before, beforeEach, describe, test } from "node:test";
import { launchBrowser, openPage } from "../../kit/js/browser.mjs";
import { configurationFile, makeConfigurations, storedConfigurations } from "../../kit/js/configurations.mjs";
import { kLoggers, Network } from "../../kit/js/network.mjs";
import * as paths from "../../kit/js/paths.mjs";

const kHostile = '<img src=x onerror="document.title=1">';

let network, browser, page, problems, dir;

before(async () => {
  if (paths.isolated) makeConfigurations();
  dir = mkdtempSync(path.join(os.tmpdir(), "live-view-page-"));
  network = await Network.start({ loggers: [{ ...kLoggers[0], args: [["--audio", path.join(dir, "audio")]] }] });
  network.expectInLog(/./); // what the page sends is looked at here, not in the log
  browser = await launchBrowser();
  mkdirSync(path.join(paths.buildDir, "screenshots"), { recursive: true });
});

after(async () => {
  await browser?.close();
  await network?.stop();
  rmSync(dir, { recursive: true, force: true });
});

beforeEach(async () => {
  problems = [];
  page = await openPage(browser, network.apache.page, problems);
  await page.getByText("One logger, complete.").waitFor();
});

afterEach(async () => {
  await page.close();
  assert.deepEqual(problems, []);
});

const section = (name) => page.getByRole("region", { name, exact: true });
const button = (name) => page.getByRole("button", { name, exact: true });

// The rows of a table, but for the buttons, as the texts of their cells.
function rows(table, columns) {
  return page
    .locator(`#${table} tbody tr`)
    .evaluateAll((all, count) => all.map((row) => [...row.cells].slice(0, count).map((cell) => cell.textContent)), columns);
}

async function shoot(name) {
  await section(name).screenshot({ path: path.join(paths.buildDir, `screenshots/${name.toLowerCase().replace(" ", "_")}.png`) });
}

describe("configurations on the page", { skip: !paths.isolated && "no /var/opt of its own" }, () => {
  const kText = `{"signals": ["Gear"], "note": "ä€😀 \\\\ ${kHostile}"}\n`;

  test("are saved, listed, loaded and deleted", async () => {
    await page.getByText("0 configurations.").waitFor();
    const form = page.locator("#configuration-form");
    await form.getByLabel("Name").fill(kHostile);
    await form.getByLabel("Text").fill(kText);
    await button("Save configuration").click();
    await page.getByText("1 configuration.").waitFor();
    assert.deepEqual(await rows("configurations", 1), [[kHostile]]);
    assert.equal(readFileSync(configurationFile(kHostile), "utf8"), kText);
    await shoot("Configurations");

    await page.reload();
    await page.getByText("1 configuration.").waitFor();
    await button(`Load ${kHostile}`).click();
    await page.waitForFunction(() => document.getElementById("configuration-text").value !== "");
    assert.equal(await form.getByLabel("Text").inputValue(), kText);
    assert.equal(await form.getByLabel("Name").inputValue(), kHostile);
    await button(`Delete ${kHostile}`).click();
    await page.getByText("0 configurations.").waitFor();
    assert.deepEqual(storedConfigurations(), []);
  });

  test("without a name are not saved, and the page says why", async () => {
    await page.locator("#configuration-form").getByLabel("Text").fill("x");
    await button("Save configuration").click();
    await page.getByText("Not saved: config name must not be empty.").waitFor();
  });
});

describe("audio files on the page", () => {
  async function choose(name, content) {
    writeFileSync(path.join(dir, name), content);
    await page.locator("#audio-form").getByLabel("File").setInputFiles(path.join(dir, name));
  }

  test("are uploaded with their marker and times, and set to others", async () => {
    const form = page.locator("#audio-form");
    await page.getByText("0 audio files.").waitFor();
    await choose("note.wav", "RIFF and so on");
    await form.getByLabel("Marker").fill(kHostile);
    await form.getByLabel("From").fill("100");
    await form.getByLabel("To", { exact: true }).fill("4294967295");
    await button("Upload").click();
    await page.getByText("note has been uploaded. 1 audio file.").waitFor();
    const [[name, ...place]] = await rows("audio", 4);
    assert.match(name, /^\d+\.wav$/);
    assert.deepEqual(place, [kHostile, "100", "4294967295"]);
    assert.equal(readFileSync(path.join(dir, "audio/files", name), "utf8"), "RIFF and so on");
    await shoot("Audio files");

    await form.getByLabel("Marker").fill("other");
    await form.getByLabel("From").fill("7");
    await form.getByLabel("To", { exact: true }).fill("8");
    await page.getByRole("button", { name: `Set ${name}` }).click();
    await page.getByText("The file has been set. 1 audio file.").waitFor();
    assert.deepEqual(await rows("audio", 4), [[name, "other", "7", "8"]]);
  });

  test("can be cancelled before their data, and uploaded then", async () => {
    const before = readdirSync(path.join(dir, "audio/files")).length;
    // Announced by hand: the page has no data for it.
    await page.locator("#request").fill('{"command": "upload_audio_file", "name": "n", "marker_id": "m", "start_time": 1, "end_time": 2}');
    await page.locator("#request").press("Control+Enter");
    await page.locator("#frames pre", { hasText: "WAITING_FOR_DATA" }).waitFor();
    await choose("second", "");
    await button("Upload").click();
    await page.getByText(/^Not done: other data upload in progress: name: n;/).waitFor();
    await button("Cancel upload").click();
    await page.getByText("No upload is pending.").waitFor();
    await button("Upload").click();
    await page.getByText(/^second has been uploaded\. /).waitFor();
    assert.equal(readdirSync(path.join(dir, "audio/files")).length, before + 1);
  });

  test("have to be chosen first", async () => {
    await button("Upload").click();
    await page.getByText("Choose a file first.").waitFor();
  });
});

describe("the monitor on the page", () => {
  test("shows the screen that is selected, until it is stopped", async () => {
    await page.waitForFunction(() => document.getElementById("screen").options[1].textContent === "1 CAN2");
    await button("Start monitor").click();
    await page.waitForFunction(() => document.querySelectorAll("#monitor tbody tr").length === 9);
    for (const [name, value] of await rows("monitor", 3)) {
      assert.match(name, /^CAN1\./);
      assert.notEqual(value, "");
    }
    await page.getByLabel("Screen").selectOption("2");
    await page.waitForFunction(() => document.querySelectorAll("#monitor tbody tr").length === 6);
    for (const [name] of await rows("monitor", 3)) assert.match(name, /^FlexRay1\./);
    await shoot("Monitor");
    await button("Stop monitor").click();
    await button("Start monitor").waitFor();
  });

  test("runs again when the connection broke", async () => {
    await button("Start monitor").click();
    await page.locator("#monitor tbody tr").first().waitFor();
    await page.locator("#request").fill('{"command": "close_webapp"}');
    await page.locator("#request").press("Control+Enter");
    await page.locator('#connection[data-state="closed"]').waitFor();
    await page.locator("#monitor tbody.stale").waitFor();
    await page.locator("#monitor tbody:not(.stale) tr").first().waitFor();
  });
});
