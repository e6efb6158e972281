// What a large network costs the page: loggers with many signals each. Prints the time until the page lists them all, tasks
// of its thread above 100 ms while that happens and while somebody filters and scrolls the list, and the memory.
//
//   tests/kit/js/isolated node bench/page/network.mjs [loggers] [signals]     (default 50 loggers, 20000 signals in all)
import { writeFileSync } from "node:fs";
import path from "node:path";
import { setTimeout as sleep } from "node:timers/promises";
import { launchBrowser } from "../../tests/kit/js/browser.mjs";
import { byId, state } from "../../tests/kit/js/live_page.mjs";
import { Network } from "../../tests/kit/js/network.mjs";
import { kLong, longTasks, rendererOf, residentMb } from "./costs.mjs";

const loggers = Number(process.argv[2] ?? 50);
const signals = Number(process.argv[3] ?? 20_000);
const kPatience = 180_000; // ms
const kPause = 150; // ms between two keys or turns of the wheel
const kTurns = 40;

// A recording with the signals of one logger.
function recording(dir) {
  const names = Array.from({ length: signals / loggers }, (_, i) => `Group${i % 20}.Signal_${i} [km/h]`);
  const file = path.join(dir, "signals.csv");
  writeFileSync(file, `time,${names.join(",")}\n0${",0".repeat(names.length)}\n`);
  return file;
}

function description(source, number) {
  const mac = `02:00:00:00:00:${number.toString(16).toUpperCase().padStart(2, "0")}`;
  return { mac, name: `Logger ${String(number).padStart(2, "0")}`, type: "Stratolog2", source };
}

// What `action` costs the page's thread: its long tasks.
async function traced(browser, page, action) {
  await browser.startTracing(page, { categories: ["disabled-by-default-devtools.timeline"] });
  await action();
  const found = longTasks(await browser.stopTracing());
  const told = (tasks) => `${tasks.length}${tasks.length > 0 ? ` (longest ${Math.max(...tasks)} ms)` : ""}`;
  return `tasks above ${kLong} ms: ${told(found.clock)} by the clock, ${told(found.processor)} of processor time`;
}

async function listed(page) {
  const text = new RegExp(`\\b${signals.toLocaleString("en")}|\\b${signals}`);
  try {
    await byId(page, "signal-count").filter({ hasText: text }).waitFor({ timeout: kPatience });
  } catch (error) {
    const shown = `${await byId(page, "connection").textContent()}, ${await byId(page, "signal-count").textContent()}`;
    throw new Error(`the page lists no ${signals} signals but says: ${shown}`, { cause: error });
  }
}

const network = await Network.start({ loggers: [] });
let browser;
try {
  network.expectInLog(/./);
  network.expectOfLoggers(/./);
  const source = recording(network.dir);
  const numbers = Array.from({ length: loggers }, (_, index) => index + 1);
  await Promise.all(numbers.map((number) => network.addLogger(description(source, number))));
  await network.neighbours(loggers - 1);
  browser = await launchBrowser();
  const page = await browser.newPage({ viewport: { width: 1440, height: 900 }, locale: "en-GB" });
  const started = Date.now();
  const opening = await traced(browser, page, async () => {
    await page.goto(network.apache.page);
    await listed(page);
  });
  console.log(
    `${loggers} loggers, ${signals} signals: all listed after ${((Date.now() - started) / 1000).toFixed(1)} s, tracing included; ${opening}`,
  );
  await state(page, "live", kPatience);
  await sleep(10_000); // until everything runs
  const using = await traced(browser, page, async () => {
    await byId(page, "signal-search").click();
    for (const key of "Group7.Sig") {
      await page.keyboard.press(key);
      await sleep(kPause);
    }
    await page.keyboard.press("Escape");
    await byId(page, "signal-list").hover();
    for (let turn = 0; turn < kTurns; turn++) {
      await page.mouse.wheel(0, 20_000);
      await sleep(kPause);
    }
  });
  console.log(`ten letters typed into the search, the list scrolled ${kTurns} times; ${using}`);
  const renderer = await rendererOf(await browser.newBrowserCDPSession());
  console.log(`the page's process has ${residentMb(renderer.id).toFixed(0)} MB`);
} finally {
  await browser?.close();
  await network.stop();
}
