// Charts that move are drawn bit by bit: in the end they look as if everything had been drawn at once.
import assert from "node:assert/strict";
import path from "node:path";
import { after, before, describe, test } from "node:test";
import { launchBrowser } from "../../kit/js/browser.mjs";
import { serveFolder } from "../../kit/js/file_server.mjs";
import * as paths from "../../kit/js/paths.mjs";

// Canvas pixels a CSS pixel.
const kRatios = [1, 1.5, 2];
const kRuns = ["few values", "many values a pixel", "states", "gaps", "markers", "another width", "a lone value"];

let server, browser;

before(async () => {
  server = await serveFolder(path.join(paths.buildDir, "page_states"));
  browser = await launchBrowser();
});

after(async () => {
  await browser?.close();
  await server?.close();
});

describe("a chart that has moved looks like one that was drawn at once:", () => {
  for (const ratio of kRatios) {
    for (const name of kRuns) {
      test(`${name}, ${ratio} pixels a pixel`, async () => {
        const page = await browser.newPage({ viewport: { width: 900, height: 700 }, deviceScaleFactor: ratio });
        page.setDefaultTimeout(120_000); // machines may be busy
        await page.goto(`${server.address}/states.html?only=header`);
        await page.addScriptTag({ url: `${server.address}/moving.js`, type: "module" });
        await page.waitForFunction(() => "runMoving" in window);
        await page.evaluate(() => document.fonts.ready);
        assert.deepEqual(await page.evaluate(() => window.movingRuns), kRuns);
        const { moves, movesWhileSettling, frames, drawn, different, where } = await page.evaluate((run) => window.runMoving(run), name);
        assert.ok(moves > frames * 0.9, `it was moved ${moves} times in ${frames} frames`);
        assert.equal(movesWhileSettling, 0, "all is drawn until a new size has settled");
        assert.ok(drawn > 1000, `only ${drawn} pixels were drawn`);
        assert.ok(different <= drawn / 1000, `${different} of ${drawn} pixels differ:\n${where.join("\n")}`);
        await page.close();
      });
    }
  }
});
