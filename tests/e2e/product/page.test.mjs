// The page in a real browser.
import assert from "node:assert/strict";
import { mkdirSync } from "node:fs";
import path from "node:path";
import { after, afterEach, before, beforeEach, describe, test } from "node:test";
import { okText } from "../../kit/js/answers.mjs";
import { launchBrowser, openPage } from "../../kit/js/browser.mjs";
import { kLoggers, Network } from "../../kit/js/network.mjs";
import * as paths from "../../kit/js/paths.mjs";

const kHostile = '<img src=x onerror="document.title=1">';

let network, browser, page, problems;

before(async () => {
  const loggers = [...kLoggers.slice(0, 2), { ...kLoggers[2], name: kHostile }];
  network = await Network.start({ loggers });
  network.expectInLog(/./); // what the page sends is looked at here, not in the log
  browser = await launchBrowser();
});

after(async () => {
  await browser?.close();
  await network?.stop();
});

beforeEach(async () => {
  problems = [];
  page = await openPage(browser, network.apache.page, problems);
});

afterEach(async () => {
  await page.close();
  assert.deepEqual(problems, []);
});

const rows = () => page.locator("#loggers tbody tr");

// Each row of the complete table as the texts of its cells.
async function table() {
  await page.getByText("3 loggers, complete.").waitFor();
  return rows().evaluateAll((all) => all.map((row) => [...row.cells].map((cell) => cell.textContent)));
}

describe("the page", () => {
  test("shows the three loggers, and what they say of themselves only as text", async () => {
    const shown = await table();
    assert.deepEqual(
      shown.map(([name, type, mac]) => ({ mac, name, type })).sort((a, b) => a.mac.localeCompare(b.mac)),
      network.loggers.map(({ mac, name, type }) => ({ mac, name, type })),
    );
    await page.waitForFunction(() => [...document.querySelectorAll("#loggers tbody td:last-child")].every((cell) => cell.textContent !== ""));
    assert.equal(await page.title(), "Live View");
    assert.equal(await page.locator("#connection").textContent(), "Connected");
    assert.equal(await page.locator("#network-name").textContent(), "Test network");
    mkdirSync(path.join(paths.buildDir, "screenshots"), { recursive: true });
    await page.screenshot({ path: path.join(paths.buildDir, "screenshots/page.png"), fullPage: true });
  });

  test("sends a picked command and shows its answer", async () => {
    await table();
    await page.getByLabel("Pick a command").selectOption("ping");
    await page.getByLabel("Show pings").check();
    await page.getByRole("button", { name: "Send" }).click();
    await page.locator('#frames li[data-kind="received"] pre', { hasText: '"ping"' }).first().waitFor();
    const answer = await page.locator('#frames li[data-kind="received"] pre', { hasText: '"ping"' }).first().textContent();
    assert.equal(answer, okText("ping"));
  });

  test("sends a typed request with the keyboard alone and shows an error as one", async () => {
    await table();
    const request = page.getByLabel("Request");
    await request.fill('{"command": "dance"}');
    await request.press("Control+Enter");
    const answer = page.locator('#frames li[data-kind="received"][data-status="ERROR"] pre', { hasText: '"dance"' });
    await answer.waitFor();
    assert.match(await answer.textContent(), /"error_code": "invalid_command"/);
  });

  test("says that the connection has gone and comes back by itself", async () => {
    await table();
    await page.locator("#request").fill('{"command": "close_webapp"}');
    await page.locator("#request").press("Control+Enter");
    await page.locator('#connection[data-state="closed"]').waitFor();
    assert.match(await page.locator("#connection").textContent(), /^Not connected: closed by the logger\. Trying again in /);
    await page.locator('#connection[data-state="open"]').waitFor();
    assert.equal((await table()).length, 3);
  });

  test("shows the signals of all loggers, runs one, and runs it again when they are listed anew", async () => {
    await table();
    await page.getByText(/^96 signals, 96 shown/).waitFor();
    await page.getByLabel("Find").fill("gear front");
    await page.getByText(/^96 signals, 1 shown/).waitFor();
    const cell = (column) => page.locator(`#signals tbody tr td:nth-child(${column})`);
    await page.getByLabel("Run Gear").check();
    const hasValue = () => /^[0-6]$/.test(document.querySelector("#signals tbody td:nth-child(5)").textContent);
    await page.waitForFunction(hasValue);
    assert.match(await cell(6).textContent(), /^(neutral|first|second|third|fourth|fifth|sixth)$/);
    assert.equal(await cell(4).textContent(), "CAN 1");
    await page.screenshot({ path: path.join(paths.buildDir, "screenshots/signals.png"), fullPage: true });

    await page.getByRole("button", { name: "List again" }).click();
    const kStarted = '#frames li[data-kind="received"] pre';
    await page.waitForFunction(
      (selector) =>
        [...document.querySelectorAll(selector)].filter(({ textContent: text }) => text.includes('"generic_start_sig"')).length === 2,
      kStarted,
    );
    await page.waitForFunction(hasValue);
    assert.ok(await page.getByLabel("Run Gear").isChecked());
    await page.getByLabel("Run Gear").uncheck();
    await page.locator('#frames li[data-kind="received"] pre', { hasText: '"generic_stop_sig"' }).waitFor();
  });

  test("forgets a value that it has not shown yet when the signals are listed anew", async () => {
    const shown = await page.evaluate(async () => {
      const { SignalTable } = await import("/signals.js");
      const parts = document.createElement("div");
      parts.innerHTML = "<table><tbody></tbody></table><p></p><input>";
      const signals = new SignalTable(...parts.children, () => {});
      const key = ["Gear", "02:00:00:00:00:01"];
      const stream = { signal_key: key, bus_id: "BUSID_CAN", channel: 1, unit: "" };
      const catalogue = { response: "get_signal_names", status: "OK", Streams: [stream] };
      signals.take(catalogue);
      signals.take({ response: "generic_sig_value", status: "OK", signal_key: key, value: 3 });
      signals.take(catalogue);
      await new Promise((resolve) => requestAnimationFrame(() => requestAnimationFrame(resolve)));
      return parts.querySelector("td:nth-child(5)").textContent;
    });
    assert.equal(shown, "");
  });

  test("shows the loads of the buses until they are stopped", async () => {
    await table();
    await page.getByRole("button", { name: "Start loads" }).click();
    const loads = () =>
      page
        .locator("#buses tbody tr", { hasText: "CAN1" })
        .evaluateAll((all) => all.map((row) => [...row.cells].map((cell) => cell.textContent)));
    await page.waitForFunction(() => {
      const texts = [...document.querySelectorAll("#buses tbody tr")].map((row) => row.textContent);
      return texts.some((text) => /CAN 1CAN1\d+%/.test(text)) && texts.some((text) => text.includes("MOST_LOCK"));
    });
    const [local] = (await loads()).filter(([logger]) => logger === "this one");
    assert.equal(local[1], "CAN 1");
    await page.screenshot({ path: path.join(paths.buildDir, "screenshots/buses.png"), fullPage: true });
    await page.getByRole("button", { name: "Stop loads" }).click();
    await page.getByRole("button", { name: "Start loads" }).waitFor();
    await page.waitForFunction(() =>
      [...document.querySelectorAll("#buses tbody tr")].filter((row) => row.textContent.includes("CAN1"))
        .every((row) => row.cells[3].textContent === "\u2013"));
  });

  test("sets a trigger and shows it among those of all loggers", async () => {
    await table();
    await page.locator("#trigger-form").getByLabel("Marker").fill(kHostile);
    await page.getByRole("button", { name: "Set trigger" }).click();
    await page.locator("#triggers tbody td", { hasText: kHostile }).waitFor();
    await page.getByRole("button", { name: "List triggers" }).click();
    await page.getByText(/^\d+ triggers\.$/).waitFor();
    await page.screenshot({ path: path.join(paths.buildDir, "screenshots/triggers.png"), fullPage: true });
  });

  test("a reload shows the loggers again", async () => {
    await table();
    await page.reload();
    assert.equal((await table()).length, 3);
  });
});
