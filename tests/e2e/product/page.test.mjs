// The page in a real browser: what a person sees and does.
import assert from "node:assert/strict";
import { mkdirSync } from "node:fs";
import path from "node:path";
import { after, afterEach, before, beforeEach, describe, test } from "node:test";
import { launchBrowser, openPage } from "../../kit/js/browser.mjs";
import {
  byId,
  changes,
  frames,
  isDrawing,
  openView,
  sawState,
  sendByHand,
  standsStill,
  state,
  texts,
  watchStates,
} from "../../kit/js/live_page.mjs";
import { kLoggers, Network } from "../../kit/js/network.mjs";
import * as paths from "../../kit/js/paths.mjs";
import { until } from "../../kit/js/wait.mjs";

const kHostile = '<img src=x onerror="document.title=1">';

let network, browser, page, problems;

before(async () => {
  const loggers = [
    { ...kLoggers[0], timeOffset: 0 },
    { ...kLoggers[1], timeOffset: -3_600_000_000 },
    { ...kLoggers[2], timeOffset: 0, name: kHostile },
  ];
  network = await Network.start({ loggers });
  network.expectInLog(/./); // what the page sends is looked at here, not in the log
  browser = await launchBrowser();
  mkdirSync(path.join(paths.buildDir, "screenshots"), { recursive: true });
});

after(async () => {
  await browser?.close();
  await network?.stop();
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

const shoot = (name) => page.screenshot({ path: path.join(paths.buildDir, `screenshots/${name}.png`) });

describe("the page", () => {
  test("is served under a policy that lets it load nothing from elsewhere", async () => {
    const response = await fetch(network.apache.page);
    const policy = response.headers.get("content-security-policy");
    assert.match(policy, /^default-src 'none'; script-src 'self';/);
    assert.match(policy, /frame-ancestors 'none'$/);
  });

  test("draws signals of the local logger and shows the loads of the buses without any action", async () => {
    await isDrawing(page, byId(page, "plot").first());
    await openView(page, "loads");
    await page.waitForFunction(() =>
      [...document.querySelectorAll("[data-testid=view-loads] [data-testid=load]")].some((row) => /CAN 1.*\d/.test(row.textContent)),
    );
    await shoot("page");
  });

  test("leaves each of a bus's figures its place, however narrow the list is", async () => {
    const view = await openView(page, "loads");
    const figure = view.locator(".most-figure").first();
    await figure.scrollIntoViewIfNeeded();
    const boxes = await view.locator(".most-figure").evaluateAll((all) =>
      all.map((one) => {
        const { left, right, top, bottom } = one.getBoundingClientRect();
        return { left, right, top, bottom, text: one.textContent };
      }),
    );
    assert.ok(boxes.length > 1);
    const over = (a, b) => a.left < b.right && b.left < a.right && a.top < b.bottom && b.top < a.bottom;
    for (const [index, box] of boxes.entries())
      for (const other of boxes.slice(index + 1)) assert.ok(!over(box, other), `"${box.text}" and "${other.text}" lie over each other`);
  });

  test("shows who is in the network, and what loggers say of themselves only as text", async () => {
    const view = await openView(page, "network");
    await until("three loggers with their status", async () => {
      const shown = (await texts(byId(view, "logger"))).join("\n");
      return shown.includes("255") && shown.includes("Winter test");
    });
    const macs = await byId(view, "logger").evaluateAll((all) => all.map((one) => one.dataset.mac));
    assert.deepEqual(
      macs.sort(),
      network.loggers.map(({ mac }) => mac),
    );
    const hostile = view.locator('[data-mac="02:00:00:00:00:03"] .logger-name');
    assert.equal(await hostile.textContent(), kHostile);
    assert.equal(await page.title(), "Live View");
    assert.equal(await byId(page, "network-name").textContent(), "Test network");
    assert.match(await view.locator('[data-mac="02:00:00:00:00:01"]').textContent(), /Stratolog2.*Winter test.*3\.14\.1.*Europe\/Berlin/);
    assert.match(await view.locator('[data-mac="02:00:00:00:00:02"]').textContent(), /1:00 h ahead of the network/);
  });

  test("finds a signal as one types, starts it with a click and shows its value", async () => {
    await byId(page, "signal-search").fill("gear rear");
    const row = byId(page, "signal-row").first();
    await row.filter({ hasText: "Gear" }).waitFor();
    assert.match(await byId(page, "signal-count").textContent(), /^1 .*96/);
    await row.getByRole("button").first().click();
    await row.locator(".signal-value").waitFor();
    assert.match(await row.locator(".signal-value").textContent(), /^(neutral|first|second|third|fourth|fifth|sixth) $/);
    await row.getByRole("button").first().click();
    await row.locator(".signal-value").waitFor({ state: "detached" });
  });

  test("sets a marker with one key, which is confirmed and listed", async () => {
    await page.keyboard.press("m");
    await page.locator('[data-testid=marker-pending][data-state="confirmed"]').waitFor();
    const marker = await page.locator("[data-testid=marker-pending]").first().getAttribute("title");
    assert.match(marker, /^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{6}$/);
    const view = await openView(page, "triggers");
    await view.locator(`[data-testid=trigger-row][data-marker="${marker}"]`).waitFor();
    await shoot("triggers");
  });

  test("sends a request by hand, shows the answer with its time, and an error as one", async () => {
    await sendByHand(page, '{"command": "dance"}');
    const answer = await frames(page, "dance");
    await answer.first().waitFor();
    assert.equal(await answer.first().getAttribute("data-status"), "ERROR");
    assert.match(await answer.first().locator(".frame-took").textContent(), /^\d+(\.\d)? ms$/);
    await answer.first().locator(".frame-line").click();
    assert.match(await byId(page, "frame-text").textContent(), /"error_code": "invalid_command"/);
  });

  test("goes on by itself when the logger has closed the connection, with everything that ran", async () => {
    const value = byId(page, "grid");
    await changes(page, value);
    await watchStates(page);
    await sendByHand(page, '{"command": "close_webapp"}');
    await sawState(page, /^lost: .*closed/);
    await state(page, "live");
    await changes(page, value);
    await byId(page, "legend-gaps").first().waitFor();
  });

  test("starts again what ran when the signals were listed anew by hand", async () => {
    const value = byId(page, "grid");
    await changes(page, value);
    await sendByHand(page, '{"command": "get_signal_names"}');
    await (await frames(page, "get_signal_names", "sent")).nth(1).waitFor();
    await changes(page, value, 3);
  });

  test("pauses the view while data goes on", async () => {
    const plot = byId(page, "plot").first();
    await isDrawing(page, plot);
    await byId(page, "pause").click();
    await standsStill(page, plot);
    await page.waitForTimeout(3_000); // more than any usual interval: values that were left out would be a gap
    await byId(page, "pause").click();
    await isDrawing(page, plot);
    assert.equal(await byId(page, "legend-gaps").count(), 0);
  });

  test("a reload shows the same panels, drawing", async () => {
    await byId(page, "signal-search").fill("speed front");
    await byId(page, "signal-row").first().getByRole("button").first().click();
    const names = () => texts(page.locator("[data-testid=legend-entry] .legend-name"));
    const before = await names();
    await page.reload();
    await state(page, "live");
    await isDrawing(page, byId(page, "plot").first());
    assert.deepEqual(await names(), before);
  });

  test("two tabs do not disturb each other", async () => {
    const other = await openPage(browser, network.apache.page, problems);
    await state(other, "live");
    for (const tab of [page, other]) await isDrawing(tab, byId(tab, "plot").first());
    await other.close();
    await changes(page, byId(page, "grid"), 3);
    await state(page, "live");
  });

  test("a tab in the background goes on collecting", async () => {
    const entry = byId(page, "grid");
    await changes(page, entry);
    const front = await browser.newPage();
    await front.bringToFront();
    await front.waitForTimeout(3_000);
    await front.close();
    await page.bringToFront();
    await changes(page, entry);
    assert.equal(await byId(page, "legend-gaps").count(), 0);
  });
});
