// The page in a browser, with all signals of the loaded network in charts.
import { setTimeout as sleep } from "node:timers/promises";
import { launchBrowser } from "../../tests/kit/js/browser.mjs";
import { state } from "../../tests/kit/js/live_page.mjs";
import { loadedNetwork } from "./loaded_network.mjs";

const kPerChart = 10;

function arrangement(names, mac) {
  const panels = [];
  for (let first = 0; first < names.length; first += kPerChart) {
    const signals = names.slice(first, first + kPerChart).map((name) => ({ name, mac, logger: "Front" }));
    panels.push({ id: `chart-${first}`, kind: "chart", title: "", signals, options: {} });
  }
  return JSON.stringify({ format: "live-view-setup", version: 1, name: "", panels });
}

// Network, browser and page, which runs. Whoever asks for them closes the browser and stops the network.
export async function loadedPage() {
  const { network, names, mac } = await loadedNetwork();
  let browser;
  try {
    browser = await launchBrowser();
    const page = await browser.newPage({ viewport: { width: 1440, height: 900 } });
    await page.addInitScript((text) => localStorage.setItem("live-view.arrangement", text), arrangement(names, mac));
    await page.goto(network.apache.page);
    await state(page, "live", 120_000);
    await sleep(20_000); // until everything runs
    return { network, browser, page };
  } catch (error) {
    await browser?.close();
    await network.stop();
    throw error;
  }
}
