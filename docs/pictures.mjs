// Takes the pictures of the page that the documents show, in both themes, from the real thing: a bus server, three desk
// loggers, Apache with the plug-in, Chromium. Needs a build in build/release, and `npm ci` in tests:
//
//     node docs/pictures.mjs
import { mkdirSync } from "node:fs";
import path from "node:path";
import { launchBrowser } from "../tests/kit/js/browser.mjs";
import { openView, state } from "../tests/kit/js/live_page.mjs";
import { Network } from "../tests/kit/js/network.mjs";
import * as paths from "../tests/kit/js/paths.mjs";

const kLoggers = [
  {
    mac: "02:00:00:00:00:01",
    name: "Front",
    type: "Stratolog2",
    config: "Winter test",
    timezone: "Europe/Berlin",
    softwareVersion: "3.14.1",
    status: 0,
    timeOffset: 0,
  },
  {
    mac: "02:00:00:00:00:02",
    name: "Rear",
    type: "Stratolog Pocket",
    config: "Brakes",
    timezone: "Europe/Berlin",
    softwareVersion: "2.0.7",
    status: 0,
    timeOffset: 0,
  },
  {
    mac: "02:00:00:00:00:03",
    name: "Roof",
    type: "Stratolog Bus Recorder",
    config: "All buses",
    timezone: "UTC",
    softwareVersion: "10.2",
    status: 0,
    timeOffset: 0,
  },
];
const kSeconds = 34;
const kSignal = (name) => ({ name, mac: kLoggers[0].mac, logger: "Front" });
const kArrangement = {
  format: "live-view-setup",
  version: 1,
  name: "Test drive",
  panels: [
    {
      id: "1",
      kind: "chart",
      title: "Drive",
      signals: ["Vehicle.Speed", "Engine.Speed", "Transmission.Gear"].map(kSignal),
      options: { w: 8, h: 7 },
    },
    { id: "2", kind: "numbers", title: "", signals: ["Vehicle.Speed", "Engine.Speed"].map(kSignal), options: { w: 4, h: 7 } },
    { id: "3", kind: "loads", title: "", signals: [], options: { w: 8, h: 5 } },
    { id: "4", kind: "xy", title: "Gears", signals: ["Vehicle.Speed", "Engine.Speed"].map(kSignal), options: { w: 4, h: 5 } },
  ],
};

const out = path.join(paths.sourceDir, "docs/pictures");
mkdirSync(out, { recursive: true });
const network = await Network.start({ loggers: kLoggers, networkName: "Prototype 23" });
network.expectInLog(/./); // nothing is tested here
const browser = await launchBrowser();
try {
  for (const theme of ["dark", "light"]) {
    const context = await browser.newContext({ viewport: { width: 1440, height: 900 }, colorScheme: theme, locale: "en-GB" });
    await context.addInitScript(
      (text) => localStorage.getItem("live-view.arrangement") ?? localStorage.setItem("live-view.arrangement", text),
      JSON.stringify(kArrangement),
    );
    context.setDefaultTimeout(180_000); // machines may be busy
    const page = await context.newPage();
    await page.goto(network.apache.page);
    await state(page, "live", 120_000);
    await page.getByTestId("legend-entry").first().waitFor({ timeout: 120_000 });
    await page.waitForTimeout((kSeconds - 12) * 1000);
    await page.getByTestId("marker").click();
    await page.waitForTimeout(12_000);
    await page.screenshot({ path: path.join(out, `page-${theme}.png`) });
    await openView(page, "network");
    await page.waitForTimeout(1000);
    await page.screenshot({ path: path.join(out, `network-${theme}.png`) });
    await context.close();
  }
} finally {
  await browser.close();
  await network.stop();
}
