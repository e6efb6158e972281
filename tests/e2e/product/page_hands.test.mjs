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

// Seconds that are seen.
const seconds = () => page.evaluate(() => JSON.parse(localStorage.getItem("live-view.workspace")).seconds);

// Places cursor A at 0.3 and B at 0.6 of a chart's width, while the view stands still. `at` tells where such a part is,
// `span` the seconds between the cursors.
async function placeCursors() {
  await byId(page, "pause").click();
  const plot = byId(page, "plot").first();
  const place = async () => {
    const { x, y, width, height } = await plot.boundingBox();
    return (part) => ({ x: x + width * part, y: y + height / 2 });
  };
  for (const [key, part] of [
    ["a", 0.3],
    ["b", 0.6],
  ]) {
    const { x, y } = (await place())(part);
    await page.mouse.move(x, y);
    await page.keyboard.press(key);
  }
  const span = async () => Number(/([\d.]+) s$/.exec(await page.locator(".measure-span").first().textContent())[1]);
  await until("both cursors", async () => /\d s$/.test(await page.locator(".measure-span").first().textContent()));
  return { at: await place(), span };
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
    const { at, span } = await placeCursors();
    const before = await span();
    await page.mouse.move(at(0.3).x, at(0.3).y);
    await page.mouse.down();
    await page.mouse.move(at(0.5).x, at(0.5).y, { steps: 5 });
    await page.mouse.up();
    await until("a third of the time", async () => Math.abs((await span()) - before / 3) < before / 20);
    assert.equal(await seconds(), 30); // nothing was zoomed
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
    const { span } = await placeCursors();
    const before = await span();
    await touch([[0.31, 0.51]]);
    await until("a third of the time", async () => Math.abs((await span()) - before / 3) < before / 8);
    assert.equal(await seconds(), 30);
  });

  test("one of which moves along go back in time, until somebody wants to see now", async () => {
    await open({ hasTouch: true });
    await touch([[0.3, 0.7]]);
    await standsStill(page, byId(page, "plot").first());
    await page.keyboard.press("End");
    await isDrawing(page, byId(page, "plot").first());
  });
});
