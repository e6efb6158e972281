// The page as a whole, at the sizes at which people use it, in both themes: a recorded drive is played without any logger,
// and stands still where it is photographed.
//
// LV_RECORD=1 records the drive anew, for a change of the protocol; the pictures are then to be taken anew as well, with
// LV_PICTURES=take.
import assert from "node:assert/strict";
import { writeFileSync } from "node:fs";
import path from "node:path";
import { after, before, describe, test } from "node:test";
import { setTimeout as sleep } from "node:timers/promises";
import { launchBrowser } from "../../kit/js/browser.mjs";
import { serveFolder } from "../../kit/js/file_server.mjs";
import { byId, openView, state } from "../../kit/js/live_page.mjs";
import { kLoggers, Network } from "../../kit/js/network.mjs";
import * as paths from "../../kit/js/paths.mjs";
import { looksAsKept, settledPicture } from "../../kit/js/pictures.mjs";
import { until } from "../../kit/js/wait.mjs";

const kDrive = path.join(paths.sourceDir, "tests/e2e/product/recorded/drive.jsonl");
const kLasts = 25; // s
const kSizes = { tablet: [1024, 768], laptop: [1366, 800], "large screen": [2560, 1440] };
// What the page shows by itself of this drive.
const kShown = ["Engine.FuelLevel", "Pedal.Accelerator", "Rain.Intensity", "Engine.CoolantTemperature", "Pedal.Brake", "Transmission.Gear"];
// What a person has open: nothing, or one of the views at the side.
const kViews = { tablet: null, laptop: "network", "large screen": "triggers" };

let server, browser, blank;

before(async () => {
  if (process.env.LV_RECORD) await recordDrive();
  server = await serveFolder(path.join(paths.buildDir, "page"));
  browser = await launchBrowser();
  blank = await browser.newPage();
});

after(async () => {
  await browser?.close();
  await server?.close();
});

// What a browser gets that has everything started, as the page keeps it.
async function recordDrive() {
  const network = await Network.start({ loggers: kLoggers.map((logger) => ({ ...logger, timeOffset: 0 })) });
  network.expectInLog(/./);
  try {
    const client = await network.connect();
    const begun = performance.now();
    const times = [];
    const note = setInterval(() => {
      while (times.length < client.frames.length) times.push(Math.round(performance.now() - begun));
    }, 5);
    await until("the logger info", async () => (await client.ask("get_logger_info")).status === "OK");
    client.send({ command: "get_signal_names" });
    await until("all signals", () => client.answers.some(({ response, status }) => response === "get_signal_names" && status === "OK"));
    for (const name of kShown) await client.ask("generic_start_sig", { signal_key: [name, kLoggers[0].mac], interval: 200 });
    await client.ask("get_bus_names", { active: 1 });
    for (const command of ["busload_start", "get_logger_status", "get_ksl_time_offset"]) await client.ask(command);
    await sleep(kLasts * 600);
    await client.ask("set_trigger", { marker_id: "lane change 2026-11-21 12:00:00.000001" });
    await sleep(kLasts * 400);
    clearInterval(note);
    const lines = client.frames.slice(0, times.length).map((frame, index) => JSON.stringify([times[index], "<", frame]));
    writeFileSync(kDrive, ['{"format":"live-view-session","version":1}', ...lines, ""].join("\n"));
    client.terminate();
  } finally {
    await network.stop();
  }
}

// The page at the end of the drive, which it has read to the last frame.
async function openAtTheEnd(viewport, theme, problems) {
  const page = await browser.newPage({ viewport, colorScheme: theme, timezoneId: "Europe/Berlin", locale: "en-GB" });
  page.setDefaultTimeout(60_000);
  page.on("pageerror", (error) => problems.push(String(error)));
  await page.goto(server.address + "/index.html");
  const view = await openView(page, "protocol");
  await byId(view, "session-file").setInputFiles(kDrive);
  await state(page, "playback");
  const playback = byId(view, "playback");
  await playback.getByRole("slider").press("End");
  await playback.getByRole("button", { name: "Continue playback" }).waitFor();
  return page;
}

describe("a drive that is played", () => {
  for (const [size, [width, height]] of Object.entries(kSizes)) {
    for (const theme of ["dark", "light"]) {
      test(`looks as designed on a ${size}, ${theme}`, async () => {
        const problems = [];
        const page = await openAtTheEnd({ width, height }, theme, problems);
        if (kViews[size] !== null) await openView(page, kViews[size]);
        else await byId(page, "tab-protocol").click();
        await page.evaluate(() => document.fonts.ready);
        await looksAsKept(blank, `drive-${size.replace(" ", "-")}-${theme}`, await settledPicture(page, page));
        assert.deepEqual(problems, []);
        await page.close();
      });
    }
  }
});
