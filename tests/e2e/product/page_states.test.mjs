// Every view in every state: as it was designed, in both themes and languages, and for everybody.
import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { createRequire } from "node:module";
import path from "node:path";
import { after, before, describe, test } from "node:test";
import { launchBrowser } from "../../kit/js/browser.mjs";
import { serveFolder } from "../../kit/js/file_server.mjs";
import * as paths from "../../kit/js/paths.mjs";
import { looksAsKept, settledPicture } from "../../kit/js/pictures.mjs";

const kViews = [
  "header",
  "signals",
  "chart",
  "lanes",
  "xy",
  "numbers",
  "table",
  "loads",
  "network",
  "triggers",
  "audio",
  "monitor",
  "setups",
  "protocol",
];
const kThemes = ["dark", "light"];
const axeSource = readFileSync(createRequire(import.meta.url).resolve("axe-core/axe.min.js"), "utf8");

let server, browser, context, blank;

before(async () => {
  server = await serveFolder(path.join(paths.buildDir, "page_states"));
  browser = await launchBrowser();
  context = await browser.newContext({ viewport: { width: 1600, height: 2000 }, timezoneId: "UTC", locale: "en-GB" });
  context.setDefaultTimeout(120_000); // machines may be busy
  blank = await context.newPage();
});

after(async () => {
  await browser?.close();
  await server?.close();
});

// The page of states with one view; fails on whatever its console complains of.
async function openStates(view, theme, problems, language = "en") {
  const page = await context.newPage();
  page.on("pageerror", (error) => problems.push(String(error)));
  page.on("console", (message) => ["error", "warning"].includes(message.type()) && problems.push(message.text()));
  await page.goto(`${server.address}/states.html?only=${view}&theme=${theme}&lang=${language}`);
  await page.getByTestId(`states-${view}`).waitFor();
  await page.evaluate(() => document.fonts.ready);
  return page;
}

// What keeps people out, as axe-core finds it.
async function barriers(page) {
  await page.evaluate(axeSource);
  const { violations } = await page.evaluate(() => window.axe.run(document, { resultTypes: ["violations"] }));
  return violations
    .filter(({ impact }) => impact === "serious" || impact === "critical")
    .map(
      ({ id, impact, nodes }) =>
        `${id} (${impact}): ${nodes
          .slice(0, 3)
          .map(({ html }) => html.slice(0, 200))
          .join("\n    ")}`,
    );
}

describe("the states of", () => {
  for (const view of kViews) {
    for (const theme of kThemes) {
      test(`${view} look as designed and keep nobody out, ${theme}`, async () => {
        const problems = [];
        const page = await openStates(view, theme, problems);
        await looksAsKept(blank, `${view}-${theme}`, await settledPicture(page, page.getByTestId(`states-${view}`)));
        assert.deepEqual(await barriers(page), []);
        assert.deepEqual(problems, []);
        await page.close();
      });
    }
  }
});

describe("the views", () => {
  test("fit in German as well", async () => {
    const cut = [];
    for (const view of ["header", "signals", "audio", "setups", "protocol"]) {
      const problems = [];
      const page = await openStates(view, "light", problems, "de");
      const wide = await page.evaluate(() =>
        [...document.querySelectorAll(".gallery-box")]
          .filter((box) => box.scrollWidth > box.clientWidth + 1)
          .map((box) => box.closest("[data-testid]").dataset.testid),
      );
      cut.push(...wide);
      assert.deepEqual(problems, []);
      await page.close();
    }
    assert.deepEqual(cut, []);
  });
});
