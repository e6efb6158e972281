// A real browser for the page.
import { chromium } from "playwright-core";
import * as paths from "./paths.mjs";

// `args`: further ones of the browser.
export function launchBrowser({ args = [] } = {}) {
  return chromium.launch({
    executablePath: paths.chromium,
    args: [
      "--no-sandbox",
      "--disable-gpu",
      "--disable-quic",
      "--no-first-run",
      "--disable-background-networking",
      "--disable-component-update",
      "--disable-sync",
      ...args,
    ],
  });
}

// A page that fails the test on whatever its console complains of; `problems` takes it. `options`: further ones of the page.
export async function openPage(browser, address, problems, options = {}) {
  const page = await browser.newPage({ viewport: { width: 1200, height: 900 }, ...options });
  page.setDefaultTimeout(60_000); // machines may be busy
  page.on("pageerror", (error) => problems.push(String(error)));
  page.on("console", (message) => {
    if (message.type() === "error" || message.type() === "warning") problems.push(message.text());
  });
  await page.goto(address);
  return page;
}
