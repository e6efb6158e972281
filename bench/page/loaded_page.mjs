// The page in a browser, with all signals of the loaded network in charts.
import { writeFileSync } from "node:fs";
import path from "node:path";
import { setTimeout as sleep } from "node:timers/promises";
import { launchBrowser } from "../../tests/kit/js/browser.mjs";
import { loadedNetwork } from "./loaded_network.mjs";
import { openUnwatched } from "./unwatched.mjs";

const kPerChart = 10;
const kSettled = 20_000; // ms until everything runs

function arrangement(names, mac) {
  const panels = [];
  for (let first = 0; first < names.length; first += kPerChart) {
    const signals = names.slice(first, first + kPerChart).map((name) => ({ name, mac, logger: "Front" }));
    panels.push({ id: `chart-${first}`, kind: "chart", title: "", signals, options: {} });
  }
  return JSON.stringify({ format: "live-view-setup", version: 1, name: "", panels });
}

// A page beside ours that keeps the arrangement in the browser and goes on to ours.
function addBeginning(folder, kept) {
  writeFileSync(path.join(folder, "begin.html"), '<!doctype html><title>Begin</title><script src="begin.js"></script>\n');
  writeFileSync(
    path.join(folder, "begin.js"),
    `localStorage.setItem("live-view.arrangement", ${JSON.stringify(kept)});\nlocation.replace("./");\n`,
  );
}

// Network, browser and page, which runs and is watched by nobody. Whoever asks for them closes the browser and stops the network.
export async function loadedPage() {
  const { network, names, mac } = await loadedNetwork();
  let browser;
  try {
    addBeginning(path.join(network.apache.dir, "page"), arrangement(names, mac));
    browser = await launchBrowser();
    const page = await openUnwatched(browser, `${network.apache.page}begin.html`);
    await page.reaches("the page is live", "document.querySelector('[data-testid=connection]')?.dataset.state === 'live'", 120_000);
    await sleep(kSettled);
    return { network, browser, page };
  } catch (error) {
    await browser?.close();
    await network.stop();
    throw error;
  }
}
