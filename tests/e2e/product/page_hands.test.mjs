// What hands do on the page: signals are dragged into charts, fingers zoom and move the time axis.
import assert from "node:assert/strict";
import { after, afterEach, before, beforeEach, describe, test } from "node:test";
import { launchBrowser, openPage } from "../../kit/js/browser.mjs";
import { byId, isDrawing, standsStill, state, texts } from "../../kit/js/live_page.mjs";
import { kLoggers, Network } from "../../kit/js/network.mjs";
import { until } from "../../kit/js/wait.mjs";

let network, browser, page, problems;

before(async () => {
  network = await Network.start({ loggers: [{ ...kLoggers[0], timeOffset: 0 }] });
  network.expectInLog(/./); // what the page sends is looked at here, not in the log
  browser = await launchBrowser();
});

after(async () => {
  await browser?.close();
  await network?.stop();
});

async function open(options = {}) {
  page = await openPage(browser, network.apache.page, problems, options);
  await state(page, "live");
  await isDrawing(page, byId(page, "plot").first());
}

beforeEach(() => {
  problems = [];
});

afterEach(async () => {
  await page.close();
  assert.deepEqual(problems, []);
});

describe("a mouse", () => {
  test("drags a signal from the list into a chart, which draws it", async () => {
    await open();
    const chart = byId(page, "panel-chart").first();
    const names = () => texts(chart.locator("[data-testid=legend-entry] .legend-name"));
    const before = await names();
    await byId(page, "signal-search").fill("speed");
    const row = byId(page, "signal-row")
      .filter({ hasNotText: new RegExp(before.length > 0 ? before.map((name) => name.replaceAll(".", "\\.")).join("|") : "^$") })
      .first();
    const name = (await row.locator(".signal-name").textContent()).trim();
    await row.dragTo(byId(chart, "plot"));
    await until(`${name} in the chart`, async () => (await names()).includes(name));
    assert.deepEqual(await names(), [...before, name]);
    const value = chart.locator("[data-testid=legend-entry]", { hasText: name }).locator(".legend-value");
    await until("its value", async () => /\d/.test(await value.textContent()));
  });
});

describe("fingers", () => {
  // Seconds that are seen.
  const seconds = () => page.evaluate(() => JSON.parse(localStorage.getItem("live-view.workspace")).seconds);

  // Each finger goes from its first place to its last; places are parts of the plot's width.
  async function touch(fingers) {
    const box = await byId(page, "plot").first().boundingBox();
    const session = await page.context().newCDPSession(page);
    const at = (part) =>
      fingers.map(([from, to], id) => ({ id, x: box.x + box.width * (from + (to - from) * part), y: box.y + box.height / 2 }));
    await session.send("Input.dispatchTouchEvent", { type: "touchStart", touchPoints: at(0) });
    for (let step = 1; step <= 10; step++)
      await session.send("Input.dispatchTouchEvent", { type: "touchMove", touchPoints: at(step / 10) });
    await session.send("Input.dispatchTouchEvent", { type: "touchEnd", touchPoints: [] });
  }

  test("that go apart show less time, and more when they come together", async () => {
    await open({ hasTouch: true });
    const before = await seconds();
    await touch([
      [0.45, 0.3],
      [0.55, 0.7],
    ]);
    await until("less time", async () => (await seconds()) < before / 2);
    const zoomed = await seconds();
    await touch([
      [0.3, 0.4],
      [0.7, 0.6],
    ]);
    await until("more time", async () => (await seconds()) > zoomed * 1.5);
  });

  test("one of which moves along go back in time, until somebody wants to see now", async () => {
    await open({ hasTouch: true });
    await touch([[0.3, 0.7]]);
    await standsStill(page, byId(page, "plot").first());
    await page.keyboard.press("End");
    await isDrawing(page, byId(page, "plot").first());
  });
});
