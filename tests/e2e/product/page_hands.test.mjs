// What hands do on the page: signals are dragged into charts, fingers zoom and move the time axis.
import assert from "node:assert/strict";
import { after, afterEach, before, beforeEach, describe, test } from "node:test";
import { launchBrowser, openPage } from "../../kit/js/browser.mjs";
import { byId, isDrawing, openView, standsStill, state, texts } from "../../kit/js/live_page.mjs";
import { kLoggers, Network } from "../../kit/js/network.mjs";
import { smallTargets } from "../../kit/js/touch.mjs";
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

async function open(options = {}, panels = null) {
  page = await openPage(browser, network.apache.page, problems, options);
  if (panels !== null) {
    const kept = JSON.stringify({ format: "live-view-setup", version: 1, name: "", panels });
    await page.evaluate((text) => localStorage.setItem("live-view.arrangement", text), kept);
    await page.reload();
  }
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

// Seconds that are seen.
const seconds = () => page.evaluate(() => JSON.parse(localStorage.getItem("live-view.workspace")).seconds);

// Where a part of the first chart's width is on the screen.
async function placeOf(part) {
  const { x, y, width, height } = await byId(page, "plot").first().boundingBox();
  return { x: x + width * part, y: y + height / 2 };
}

// Places a cursor, "a" or "b", at a part of a chart's width.
async function placeCursor(which, part) {
  const { x, y } = await placeOf(part);
  await page.mouse.move(x, y);
  await page.keyboard.press(which);
}

// The seconds between the cursors.
async function span() {
  const shown = page.locator(".measure-span").first();
  await until("both cursors", async () => /\d s$/.test(await shown.textContent()));
  return Number(/([\d.]+) s$/.exec(await shown.textContent())[1]);
}

// Cursors at 0.3 and 0.6 of a chart's width, while the view stands still.
async function placeCursors() {
  await byId(page, "pause").click();
  await placeCursor("a", 0.3);
  await placeCursor("b", 0.6);
}

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

  test("drags a cursor to another time, and the measured values with it", async () => {
    await open();
    await placeCursors();
    const before = await span();
    const [from, to] = [await placeOf(0.3), await placeOf(0.5)];
    await page.mouse.move(from.x, from.y);
    await page.mouse.down();
    await page.mouse.move(to.x, to.y, { steps: 5 });
    await page.mouse.up();
    await until("a third of the time", async () => Math.abs((await span()) - before / 3) < before / 20);
    assert.equal(await seconds(), 30); // nothing was zoomed
  });
});

describe("keys", () => {
  test("find a signal, show it and go on into the list", async () => {
    await open();
    const names = () => texts(byId(page, "panel-chart").first().locator("[data-testid=legend-entry] .legend-name"));
    const before = await names();
    await page.keyboard.press("/");
    await page.keyboard.type("Wheel.RearRight");
    await byId(page, "signal-count").filter({ hasText: /^1 / }).waitFor();
    await page.keyboard.press("Enter");
    await until("it is shown", async () => (await names()).length > before.length);
    assert.deepEqual(await names(), [...before, "Wheel.RearRight"]);
    await page.keyboard.press("ArrowDown");
    for (let row = 0; row < 2; row++) await page.keyboard.press("ArrowDown"); // its logger, its bus
    assert.match(await page.evaluate(() => document.activeElement.textContent), /^Wheel.RearRight/);
  });

  test("are for the name of a panel, or of a marker, as soon as its box is open", async () => {
    await open();
    const chart = byId(page, "panel-chart").first();
    await chart.locator(".panel-title-button").click();
    await page.keyboard.type("Wheels");
    await page.keyboard.press("Enter");
    await chart.locator(".panel-title-button", { hasText: /^Wheels$/ }).waitFor();
    await byId(page, "marker-named").click();
    await page.keyboard.type("pothole");
    await page.keyboard.press("Enter");
    await byId(page, "marker-pending").filter({ hasText: "pothole" }).first().waitFor();
  });
});

describe("fingers", () => {
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

  test("drag a cursor, which they need not hit exactly", async () => {
    await open({ hasTouch: true });
    await placeCursors();
    const before = await span();
    await touch([[0.31, 0.51]]);
    await until("a third of the time", async () => Math.abs((await span()) - before / 3) < before / 8);
    assert.equal(await seconds(), 30);
  });

  test("one of which moves along take the time axis with them", async () => {
    await open({ hasTouch: true });
    await byId(page, "pause").click();
    await placeCursor("a", 0.9);
    await touch([[0.3, 0.7]]);
    await placeCursor("b", 0.9);
    const moved = await span();
    assert.ok(moved > 0.35 * 30 && moved < 0.55 * 30, `it moved by ${moved} s`); // the plot has axes at its sides
  });

  test("one of which moves along go back in time, until somebody wants to see now", async () => {
    await open({ hasTouch: true });
    await touch([[0.3, 0.7]]);
    await standsStill(page, byId(page, "plot").first());
    await page.keyboard.press("End");
    await isDrawing(page, byId(page, "plot").first());
  });
});

describe("a tablet", () => {
  const kKinds = ["chart", "lanes", "xy", "numbers", "table", "loads"];
  const kTools = ["network", "loads", "triggers", "audio", "monitor", "setups", "protocol"];
  const signals = ["Engine.Speed", "Transmission.Gear"].map((name) => ({ name, mac: kLoggers[0].mac, logger: kLoggers[0].name }));
  const panels = kKinds.map((kind, index) => ({
    id: String(index),
    kind,
    title: "",
    signals: kind === "loads" ? [] : signals,
    options: { w: 6, h: 4 },
  }));
  const bad = [];

  // Notes what is too small there; `least`: so many controls are to be seen at least.
  async function measure(place, root, least) {
    let found;
    await until(
      () => `${place} has ${least} controls, not ${found?.count}`,
      async () => (found = await smallTargets(page, root)).count >= least,
    );
    bad.push(...found.small.map((what) => `${place}: ${what}`));
  }

  // The same for what a button opens and Escape closes.
  async function measureOpened(place, button, root, least) {
    await button.click();
    await measure(place, root, least);
    await page.keyboard.press("Escape");
    await until(`${place} is closed`, async () => (await page.locator(root).count()) === 0);
  }

  test("has targets of 48 pixels wherever a finger goes", async () => {
    await open({ hasTouch: true, viewport: { width: 1024, height: 768 } }, panels);
    await measure("the start", "body", 20);
    for (const kind of kKinds) {
      await measureOpened(`the menu of ${kind}`, byId(page, `panel-${kind}`).getByTestId("panel-menu"), ".menu", 8);
    }
    await measureOpened("the menu of panels", byId(page, "add-panel"), ".menu", kKinds.length);
    for (const tool of kTools) {
      await openView(page, tool);
      await measure(tool, "body", 20);
    }
    await byId(page, "tab-protocol").click();
    await measureOpened("limits", byId(page, "panel-numbers").locator(".tile-name").first(), "dialog", 4);
    await measureOpened("keys", byId(page, "keys"), "dialog", 2);
    await measureOpened("names of markers", byId(page, "marker-named"), ".marker-panel", 2);
    if (!(await byId(page, "signal-list").isVisible())) await byId(page, "toggle-signals").click();
    await measure("the signals", ".sidebar", 5);
    await measureOpened("where to show a signal", byId(page, "signal-row").first().locator(".signal-menu button"), ".menu", 5);
    assert.deepEqual(bad, []);
  });
});
