// What can be measured of the views without a logger: how they fit into their places, what a finger hits, and what is saved.
import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { after, before, describe, test } from "node:test";
import { settledPicture } from "../../kit/js/pictures.mjs";
import { kThemes, kViews, StatesPage } from "../../kit/js/states_page.mjs";
import { smallTargets } from "../../kit/js/touch.mjs";

let states;

before(async () => {
  states = await StatesPage.start();
});

after(() => states?.stop());

// How large a part of the pixels of a picture differs from those of another one that has `top` rows more above and some below.
async function differenceBelow(page, seen, saved, top) {
  return page.evaluate(
    async ([first, second, above]) => {
      const [a, b] = await Promise.all(
        [first, second].map(async (base64) => {
          const picture = await createImageBitmap(await (await fetch(`data:image/png;base64,${base64}`)).blob());
          const pen = new OffscreenCanvas(picture.width, picture.height).getContext("2d");
          pen.drawImage(picture, 0, 0);
          return { width: picture.width, height: picture.height, pen };
        }),
      );
      if (a.width !== b.width || b.height < a.height + above) return 1;
      const [one, other] = [a.pen.getImageData(0, 0, a.width, a.height).data, b.pen.getImageData(0, above, a.width, a.height).data];
      let differing = 0;
      for (let index = 0; index < one.length; index += 4) {
        if ([0, 1, 2].some((part) => Math.abs(one[index + part] - other[index + part]) > 96)) ++differing;
      }
      return differing / (a.width * a.height);
    },
    [seen.toString("base64"), saved.toString("base64"), top],
  );
}

describe("the picture that is saved", () => {
  for (const view of ["numbers", "table", "loads"]) {
    for (const theme of kThemes) {
      test(`of ${view} is what is seen, under title and time, ${theme}`, async () => {
        const problems = [];
        const page = await states.open(view, theme, problems);
        const cell = page
          .getByTestId(`state-${view}-full`)
          .filter({ has: page.getByTestId("panel-menu") })
          .first();
        // Between pixels the two would be rounded differently.
        await cell.locator(".gallery-box").evaluate((box) => Object.assign(box.style, { position: "fixed", left: "0", top: "0" }));
        const seen = await settledPicture(page, cell.locator(".panel-body > div"));
        await cell.getByTestId("panel-menu").click();
        const [download] = await Promise.all([page.waitForEvent("download"), page.getByRole("menuitem", { name: "Save as PNG" }).click()]);
        const saved = readFileSync(await download.path());
        const share = await differenceBelow(states.blank, seen, saved, 24);
        assert.ok(share < 0.01, `${(share * 100).toFixed(2)} % of the pixels differ`);
        const empty = await differenceBelow(states.blank, await solid(page, cell.locator(".panel-body > div")), saved, 24);
        assert.ok(empty > 0.02, `only ${(empty * 100).toFixed(2)} % of the pixels are drawn`);
        assert.deepEqual(problems, []);
        await page.close();
      });
    }
  }
});

// The picture of an element without anything in it.
async function solid(page, element) {
  await element.evaluate((box) => box.replaceChildren());
  return settledPicture(page, element);
}

describe("the curves of a chart", () => {
  test("stay high enough to be read while something is measured", async () => {
    const problems = [];
    const page = await states.open("chart", "light", problems);
    const cell = page.locator(".gallery-cell", { hasText: "Cursors" });
    await settledPicture(page, cell);
    const heights = await cell.evaluate((element) =>
      ["plot-curves", "measure"].map((name) => element.querySelector(`.${name}`).clientHeight),
    );
    // Of what is measured the head and the first signal are seen.
    assert.ok(heights[0] >= 96 && heights[1] >= 64, `${heights} pixels`);
    const plot = await cell.locator(".plot").evaluate(({ clientHeight, scrollHeight }) => scrollHeight - clientHeight);
    assert.equal(plot, 0, "no lane is cut off");
    const body = await cell.locator(".panel-body").evaluate(({ clientHeight, scrollHeight }) => scrollHeight - clientHeight);
    assert.equal(body, 0, "nothing is cut off below");
    await page.close();
  });
});

describe("what is measured", () => {
  test("is there with all figures in charts of any width, and nothing is scrolled sideways", async () => {
    const problems = [];
    const page = await states.open("chart", "light", problems);
    const cell = page.locator(".gallery-cell", { hasText: "Cursors" });
    for (const width of [280, 400, 560, 640, 880, 960, 1400]) {
      await cell
        .locator(".gallery-box")
        .evaluate((box, across) => Object.assign(box.style, { width: `${across}px`, height: "900px" }), width);
      await settledPicture(page, cell);
      const { sideways, rows, cut } = await cell.locator(".measure").evaluate((table) => {
        const { left, right } = table.getBoundingClientRect();
        const inside = (element) => {
          const box = element.getBoundingClientRect();
          return box.width > 0 && box.left >= left && box.right <= right;
        };
        return {
          sideways: table.scrollWidth - table.clientWidth,
          rows: [...table.querySelectorAll("tbody tr")].map((row) => row.querySelectorAll("td").length),
          cut: [...table.querySelectorAll(".measure-figure, .measure-time, .measure-span, .measure-name")]
            .filter((element) => !inside(element))
            .map((element) => element.textContent),
        };
      });
      assert.deepEqual({ sideways, rows, cut }, { sideways: 0, rows: [8, 8, 8, 8, 8], cut: [] }, `${width} pixels`);
      const labels = await cell.locator(".measure tbody tr").first().locator("td").allInnerTexts();
      const named = labels.map((text) => text.replaceAll(/\s+/g, " ").trim());
      if (width < 900)
        assert.match(named.join(), /^A [\d.]+,B [\d.]+,Δ [\d.]+,Δ\/s [\d.]+,Min [\d.]+,Max [\d.]+,Mean [\d.]+,Values\/s [\d.]+$/);
    }
    await page.close();
    assert.deepEqual(problems, []);
  });
});

describe("every control is large enough for a finger, which is no pointer:", () => {
  let touched;
  before(async () => {
    touched = await states.browser.newContext({ viewport: { width: 1024, height: 768 }, hasTouch: true, locale: "en-GB" });
  });
  for (const view of kViews) {
    test(view, async () => {
      const page = await touched.newPage();
      await page.goto(states.address(view, "light"));
      await page.getByTestId(`states-${view}`).waitFor();
      // Photographing would give it a pointer again.
      await page.evaluate(() => document.fonts.ready.then(() => new Promise((done) => requestAnimationFrame(() => setTimeout(done)))));
      assert.ok(await page.evaluate(() => matchMedia("(pointer: coarse)").matches));
      const { small, count } = await smallTargets(page);
      assert.deepEqual(small, []);
      assert.ok(count > 0, "there are controls");
      await page.close();
    });
  }
});
