// The page while the network changes: loggers that are silent, leave and come back, a message bus that goes, and a
// browser whose clock is wrong.
import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import path from "node:path";
import { afterEach, describe, test } from "node:test";
import { launchBrowser, openPage } from "../../kit/js/browser.mjs";
import { byId, changes, openView, state, texts } from "../../kit/js/live_page.mjs";
import { kLoggers, Network } from "../../kit/js/network.mjs";
import * as paths from "../../kit/js/paths.mjs";
import { until } from "../../kit/js/wait.mjs";

const kDay = 86_400_000; // ms
const [kFront, kRear] = [{ ...kLoggers[0] }, { ...kLoggers[1], timeOffset: 0 }];

let network, browser, problems;

async function start(options) {
  network = await Network.start(options);
  network.expectInLog(/./); // what the page sends is looked at here, not in the log
  browser = await launchBrowser();
  problems = [];
}

// A page that has been told before to show all signals of the loggers.
async function openWith(signals, kind = "table") {
  const page = await browser.newPage({ viewport: { width: 1200, height: 900 } });
  page.setDefaultTimeout(60_000);
  page.on("pageerror", (error) => problems.push(String(error)));
  const panels = [{ id: "1", kind, title: "", signals, options: {} }];
  const kept = JSON.stringify({ format: "live-view-setup", version: 1, name: "", panels });
  await page.addInitScript((text) => localStorage.setItem("live-view.arrangement", text), kept);
  await page.goto(network.apache.page);
  return page;
}

// What a panel saves under that entry of its menu.
async function save(page, kind, item) {
  await byId(page, `panel-${kind}`).getByTestId("panel-menu").click();
  const [download] = await Promise.all([page.waitForEvent("download"), page.getByRole("menuitem", { name: item }).click()]);
  return { name: download.suggestedFilename(), content: readFileSync(await download.path()) };
}

afterEach(async () => {
  await browser?.close();
  await network?.stop();
  network = browser = undefined;
  assert.deepEqual(problems, []);
});

describe("a logger that is silent about its signals", () => {
  test("does not hold up a marker, with 200 signals wanted", async () => {
    await start({ loggers: [kFront, { ...kRear, scenario: { requests: { 137: { answers: 0 } } } }] });
    const client = await network.connectReady();
    const offered = await client.ask("get_signal_names");
    client.terminate();
    assert.equal(offered.status, "PROGRESS");
    const known = offered.Streams.map(({ signal_key: [name, mac] }) => ({ name, mac, logger: "Front" }));
    const wanted = [
      ...known,
      ...Array.from({ length: 200 - known.length }, (_, index) => ({ name: `Absent ${index}`, mac: kRear.mac, logger: kRear.name })),
    ];

    const page = await openWith(wanted);
    await state(page, "live");
    await until("a first value", async () => (await texts(byId(page, "signal-row").locator(".signal-value"))).length > 0, 30_000);
    const view = await openView(page, "protocol");
    await byId(view, "frame-filter").fill("sent");
    const markers = new Set();
    const took = [];
    while (markers.size < 3) {
      await view.getByRole("button", { name: "Clear" }).click();
      const asked = Date.now();
      await page.keyboard.press("m");
      const pending = page.locator("[data-testid=marker-pending]").first();
      await until("the marker is confirmed", async () => {
        const [name, sent] = [await pending.getAttribute("title"), await pending.getAttribute("data-state")];
        return sent === "confirmed" && !markers.has(name) && markers.add(name);
      });
      took.push(Date.now() - asked);
      // It passes all that waits; one other may have been handed over while the list was cleared.
      let sent = [];
      await until("it is among the frames", async () => {
        sent = await texts(view.locator("[data-testid=frame][data-direction=sent] .frame-name"));
        return sent.includes("set_trigger");
      });
      assert.ok([0, 1].includes(sent.indexOf("set_trigger")), `sent: ${sent.join(", ")}`);
    }
    // A request in front of it may hold the logger up for two seconds, but never two of them. One of three may have met a
    // machine that was busy.
    const [, middle] = took.sort((a, b) => a - b);
    assert.ok(middle < 3_900, `markers took ${took.join(", ")} ms`);
    // What came is shown, and who is missing is named.
    await page.getByText(kRear.name).first().waitFor();
  });
});

describe("a network in which no logger has the address that the page waits for", () => {
  test("says after a while what to look at", async () => {
    await start({ loggers: [] });
    const page = await openPage(browser, network.apache.page, problems);
    await state(page, "waiting");
    const view = await openView(page, "network");
    await page.keyboard.press("?");
    const version = readFileSync(path.join(paths.sourceDir, "VERSION"), "utf8").trim();
    assert.equal(await byId(page, "version").textContent(), `Live View ${version}`);
    await page.keyboard.press("Escape");
    await view.getByText("Does one run under the address of this web server").waitFor();
    assert.ok(network.apache.log.count(new RegExp(`no logger answers under the address ${kFront.mac}, `)) > 0);
  });
});

describe("a network that changes", () => {
  test("a logger that leaves and returns is told, as long as it is away, and its signals go on", async () => {
    await start({ loggers: [kFront, kRear] });
    const page = await openWith([{ name: "Engine.Speed", mac: kRear.mac, logger: kRear.name }]);
    await state(page, "live");
    const row = byId(page, "table-row").first();
    await changes(page, row);
    await network.loggers[1].stop();
    const view = await openView(page, "network");
    await until("one logger is left", async () => (await byId(view, "logger").count()) === 1, 40_000);
    await state(page, "live");
    await until("it is told who has left", async () => (await texts(byId(view, "gone-logger")))[0]?.startsWith(kRear.name) === true);
    assert.equal(await byId(page, "network-count").textContent(), "1 logger, 1 gone");
    await network.addLogger(kRear);
    await until("it is back", async () => (await byId(view, "logger").count()) === 2, 60_000);
    await state(page, "live");
    await until("nobody is missed", async () => (await byId(page, "network-count").textContent()) === "2 loggers");
    assert.equal(await byId(view, "gone-logger").count(), 0);
    await changes(page, row, 3);
  });

  test("loggers that all fall silent are told, although the connection is there", async () => {
    await start({ loggers: [kFront, kRear] });
    const page = await openPage(browser, network.apache.page, problems);
    await state(page, "live");
    await changes(page, byId(page, "grid"));
    for (const { part } of network.loggers) part.signal("SIGSTOP");
    await state(page, "silent");
    assert.equal(await byId(page, "network-count").textContent(), "0 of 2 answer");
    for (const { part } of network.loggers) part.signal("SIGCONT");
    await state(page, "live");
    await changes(page, byId(page, "grid"), 3);
  });

  test("a message bus that goes is told, and everything goes on when it is back", async () => {
    await start({ loggers: [kFront, kRear] });
    network.expectOfLoggers(/the bus server has gone/, /dropped: no connection to the bus server/);
    const page = await openPage(browser, network.apache.page, problems);
    await state(page, "live");
    await changes(page, byId(page, "grid"));
    await network.bus.stop();
    await state(page, "no-bus", 60_000);
    await network.bus.start();
    await state(page, "live", 120_000);
    await changes(page, byId(page, "grid"), 5, 60_000);
  });
});

describe("a browser whose clock is a day ahead", () => {
  test("shows the network's time, and curves", async () => {
    await start({ loggers: [kFront] });
    const page = await browser.newPage({ viewport: { width: 1200, height: 900 }, timezoneId: "UTC" });
    page.on("pageerror", (error) => problems.push(String(error)));
    await page.addInitScript((ahead) => {
      const now = Date.now.bind(Date);
      Date.now = () => now() + ahead;
    }, kDay);
    await page.goto(network.apache.page);
    await state(page, "live");
    await changes(page, byId(page, "grid"));
    let shown = "";
    await until("the network's time", async () => /\d:\d\d:\d\d/.test((shown = await byId(page, "network-time").textContent())));
    const [hours, minutes, seconds] = /(\d+):(\d\d):(\d\d)/.exec(shown).slice(1).map(Number);
    const berlin = new Intl.DateTimeFormat("en-GB", {
      timeZone: "Europe/Berlin",
      hour: "2-digit",
      minute: "2-digit",
      second: "2-digit",
      hourCycle: "h23",
    });
    const [trueHours, trueMinutes, trueSeconds] = berlin.format(new Date()).split(":").map(Number);
    const apart = Math.abs(3600 * (hours - trueHours) + 60 * (minutes - trueMinutes) + seconds - trueSeconds);
    assert.ok(apart < 20 || apart > 86_380, `the page shows ${shown}`);
    await page.keyboard.press("m");
    const pending = page.locator("[data-testid=marker-pending]").first();
    await pending.waitFor();
    const today = new Intl.DateTimeFormat("en-CA", { timeZone: "Europe/Berlin" }).format(new Date());
    assert.ok((await pending.getAttribute("title")).startsWith(today));
  });
});

describe("a logger whose clock is an hour behind", () => {
  test("is drawn and saved beside the others, with the stamps that it made", async () => {
    const behind = { ...kRear, name: "Rear", behind: 3600 };
    await start({ loggers: [kFront, behind] });
    const names = ["Vehicle.Speed", "Engine.Speed"];
    const [front, rear] = [kFront, behind].map(({ mac, name: logger }, index) => ({ name: names[index], mac, logger }));
    const page = await openWith([front, rear], "chart");
    await state(page, "live");
    const saved = async (item) => (await save(page, "chart", item)).content;
    let rows;
    await until(
      "ten values of each",
      async () => {
        rows = (await saved("Save as CSV")).toString("utf8").trimEnd().split("\r\n");
        return [3, 4].every((column) => rows.filter((row) => row.split(",")[column] !== "").length > 10);
      },
      60_000,
    );
    assert.equal(rows[0], `time (UTC),time [s],logger stamp [us],Front: ${names[0]} [km/h],Rear: ${names[1]} [1/min]`);
    for (const row of rows.slice(1)) {
      const [utc, seconds, stamp, ofFront] = row.split(",");
      assert.ok(Math.abs(Date.now() / 1000 - seconds) < 60, row);
      assert.equal(Math.floor(Date.parse(utc) / 1000), Math.floor(seconds));
      assert.equal(Math.round((seconds - stamp / 1e6) / 3600), ofFront !== "" ? 0 : 1, row);
    }
    const picture = await saved("Save as PNG");
    assert.equal(picture.toString("latin1", 1, 4), "PNG");
  });
});

describe("what other panels than charts show", () => {
  const names = ["Engine.Speed", "Transmission.Gear"];
  const kState = /neutral|first|second|third|fourth|fifth|sixth/;
  const kinds = {
    lanes: {
      title: "State lanes",
      head: /^time \(UTC\),time \[s\],logger stamp \[us\],Front: Engine.Speed \[1\/min\],Front: Transmission.Gear$/,
    },
    xy: {
      title: "x-y chart",
      head: /^time \(UTC\),time \[s\],logger stamp \[us\],Front: Engine.Speed \[1\/min\],Front: Transmission.Gear$/,
    },
    table: { title: "Table", head: /^Logger,Name,Value,Unit,Description,time \(UTC\),logger stamp \[us\],Min,Max$/, rows: 2 },
    numbers: { title: "Big numbers", head: /^Logger,Name,.*,logger stamp \[us\],Lower limit,Upper limit,State$/, rows: 2 },
    loads: { title: "Bus loads", head: /^Logger,Bus,Name,Load,Peak,Unit,State/, rows: 2, wanted: /^Front,CAN \d,[^,]*,\d+,\d+,%,/ },
  };

  test("is saved as values and as a picture", async () => {
    await start({ loggers: [kFront] });
    for (const [kind, { title, head, rows = 4, wanted = kState }] of Object.entries(kinds)) {
      const signals = kind === "loads" ? [] : names.map((name) => ({ name, mac: kFront.mac, logger: kFront.name }));
      const page = await openWith(signals, kind);
      await state(page, "live");
      if (kind === "loads") await byId(page, "load").first().waitFor();
      let lines;
      let name;
      await until(`values in ${kind}`, async () => {
        const saved = await save(page, kind, "Save as CSV");
        ({ name } = saved);
        lines = saved.content.toString("utf8").trimEnd().split("\r\n");
        return lines.length >= rows + 1 && lines.slice(1).some((line) => wanted.test(line));
      });
      assert.match(lines[0], head);
      assert.match(name, new RegExp(`^${title} \\d{4}-\\d\\d-\\d\\d \\d{6}\\.csv$`));
      assert.equal((await save(page, kind, "Save as PNG")).content.toString("latin1", 1, 4), "PNG");
      await page.close();
    }
  });
});
