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
import { smallTargets } from "../../kit/js/touch.mjs";

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

// Remembers the boxes of the texts that each canvas shows.
function rememberTexts() {
  const pens = CanvasRenderingContext2D.prototype;
  const { fillText, clearRect } = pens;
  window.textsOf = new Map();
  pens.clearRect = function (...box) {
    if (box[2] >= this.canvas.clientWidth) window.textsOf.set(this.canvas, []);
    clearRect.apply(this, box);
  };
  pens.fillText = function (text, x, y, ...rest) {
    const { actualBoundingBoxLeft, actualBoundingBoxRight, actualBoundingBoxAscent, actualBoundingBoxDescent } = this.measureText(text);
    const { a, d, e, f } = this.getTransform();
    if (text !== "")
      window.textsOf.get(this.canvas)?.push({
        text,
        left: e + a * (x - actualBoundingBoxLeft),
        right: e + a * (x + actualBoundingBoxRight),
        top: f + d * (y - actualBoundingBoxAscent),
        bottom: f + d * (y + actualBoundingBoxDescent),
      });
    fillText.call(this, text, x, y, ...rest);
  };
}

describe("the texts of", () => {
  for (const view of ["chart", "lanes", "xy"]) {
    test(`${view} do not touch each other`, async () => {
      const page = await context.newPage();
      await page.addInitScript(rememberTexts);
      await page.goto(`${server.address}/states.html?only=${view}&theme=light`);
      await page.evaluate(() => document.fonts.ready);
      await settledPicture(page, page.getByTestId(`states-${view}`));
      const { all, touching, beyond } = await page.evaluate(() => {
        const canvases = [...window.textsOf].filter(([canvas]) => canvas.isConnected);
        const shown = canvases.map(([, texts]) => texts);
        const cut = canvases.flatMap(([{ width, height }, texts]) =>
          texts.filter(({ left, right, top, bottom }) => left < 0 || right > width || top < 0 || bottom > height),
        );
        const touch = (a, b) => a.left < b.right + 2 && b.left < a.right + 2 && a.top < b.bottom + 3 && b.top < a.bottom + 3;
        const pairs = shown.flatMap((texts) =>
          texts.flatMap((one, index) =>
            texts
              .slice(index + 1)
              .filter((other) => touch(one, other))
              .map((other) => `${one.text} and ${other.text}`),
          ),
        );
        return { all: shown.flat().map(({ text }) => text), touching: pairs, beyond: cut.map(({ text }) => text) };
      });
      assert.ok(all.length > 10, `only ${all.length} texts were seen`);
      if (view === "chart") assert.ok(all.includes("Steering.IndicatorSwitch"), "the name of a lane is not cut");
      if (view !== "xy") assert.ok(all.includes("second") && all.includes("left"), "nor is that of a state which has room");
      if (view === "xy") {
        const count = (name) => all.filter((text) => text === name).length;
        assert.equal(count("lane change"), 4, "markers have their names");
        assert.equal(count("tunnel"), 0, "but none where one of the signals has a gap");
      }
      assert.deepEqual(touching, []);
      assert.deepEqual(beyond, [], "nothing leaves its canvas");
      await page.close();
    });
  }
});

// The columns of a canvas, in its own pixels, in which something opaque stands in one of the rows.
const drawnColumns = (canvas, { top, bottom }) =>
  canvas.evaluate(
    (element, [from, to]) => {
      const { width } = element;
      const { data } = element.getContext("2d").getImageData(0, from, width, to - from);
      return Array.from({ length: width }, (_, column) => column).filter((column) => {
        for (let at = column * 4 + 3; at < data.length; at += width * 4) if (data[at] > 30) return true;
        return false;
      });
    },
    [top, bottom],
  );

describe("what is known", () => {
  test("of moments goes through the states below a chart: two markers, two cursors and the pointer", async () => {
    const problems = [];
    const page = await openStates("chart", "light", problems);
    const cell = page.locator(".gallery-cell", { hasText: "Cursors" });
    await settledPicture(page, cell);
    const lanes = cell.locator(".plot-lanes");
    // Above the first state; between the cursors there is a shade as well, which is fainter. Further up is the state's name.
    assert.equal((await drawnColumns(lanes, { top: 16, bottom: 18 })).length, 5);
    assert.deepEqual(await drawnColumns(lanes, { top: 0, bottom: 2 }), [], "names are left free");
    await page.close();
  });

  test("of moments goes through lanes, but not through the names above them", async () => {
    const problems = [];
    const page = await openStates("lanes", "light", problems);
    const cell = page.locator(".gallery-cell", { hasText: "Moments" });
    await cell.locator(".gallery-box").evaluate((box) => Object.assign(box.style, { width: "400px", height: "280px" }));
    await settledPicture(page, cell);
    const lanes = cell.locator("canvas");
    for (let row = 0; row < 3; ++row) {
      assert.deepEqual(await drawnColumns(lanes, { top: row * 56, bottom: row * 56 + 24 }), [], `above lane ${row}`);
      // Two markers, two cursors and the pointer, above what is drawn of the lane itself.
      assert.equal((await drawnColumns(lanes, { top: row * 56 + 24, bottom: row * 56 + 26 })).length, 5, `in lane ${row}`);
    }
    await page.close();
  });

  test("of a value that is late ends where it came last", async () => {
    const problems = [];
    const page = await openStates("numbers", "light", problems);
    const spark = page.getByTestId("state-numbers-broken").locator("canvas").first();
    await settledPicture(page, page.getByTestId("state-numbers-broken"));
    const { width, height } = await spark.evaluate((canvas) => ({ width: canvas.width, height: canvas.height }));
    const last = (await drawnColumns(spark, { top: 0, bottom: height })).at(-1);
    // Fourteen of sixty seconds ago.
    assert.ok(Math.abs(last / width - 46 / 60) < 0.02, `it ends at ${last} of ${width} pixels`);
    await page.close();
  });

  test("is told wherever there is nothing to show", async () => {
    const problems = [];
    const said = async (page, state) => (await page.getByTestId(`state-${state}`).innerText()).replaceAll("\n", " ");
    for (const view of ["chart", "lanes", "xy", "numbers", "table"]) {
      const page = await openStates(view, "light", problems);
      assert.match(await said(page, `${view}-broken`), /Rear\.Left\.Wheel.*not offered now/, view);
      assert.doesNotMatch(await said(page, `${view}-waiting`), /not offered/, view);
      if (view === "xy") assert.match(await said(page, "xy-waiting"), /no value yet/);
      await page.close();
    }
    for (const view of ["chart", "lanes", "xy", "numbers", "table"]) {
      const page = await openStates(view, "light", problems);
      const cell = page.locator(".gallery-cell", { hasText: "Refused" });
      assert.match((await cell.innerText()).replaceAll("\n", " "), /Yaw\.Rate.*refused: not in the logger's list/, view);
      await cell.getByTestId("panel-menu").click();
      await page.getByRole("menuitem", { name: "Yaw.Rate: refused: not in the logger's list" }).waitFor();
      await page.close();
    }
    const page = await openStates("triggers", "light", problems);
    assert.match(await said(page, "triggers-broken"), /Nobody has told of markers/);
    await page.close();
    assert.deepEqual(problems, []);
  });
});

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
        const page = await openStates(view, theme, problems);
        const cell = page.getByTestId(`state-${view}-full`).filter({ has: page.getByTestId("panel-menu") }).first();
        // Between pixels the two would be rounded differently.
        await cell.locator(".gallery-box").evaluate((box) => Object.assign(box.style, { position: "fixed", left: "0", top: "0" }));
        const seen = await settledPicture(page, cell.locator(".panel-body > div"));
        await cell.getByTestId("panel-menu").click();
        const [download] = await Promise.all([page.waitForEvent("download"), page.getByRole("menuitem", { name: "Save as PNG" }).click()]);
        const saved = readFileSync(await download.path());
        const share = await differenceBelow(blank, seen, saved, 24);
        assert.ok(share < 0.01, `${(share * 100).toFixed(2)} % of the pixels differ`);
        const empty = await differenceBelow(blank, await solid(page, cell.locator(".panel-body > div")), saved, 24);
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
    const page = await openStates("chart", "light", problems);
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
    const page = await openStates("chart", "light", problems);
    const cell = page.locator(".gallery-cell", { hasText: "Cursors" });
    for (const width of [280, 400, 560, 640, 880, 960, 1400]) {
      await cell.locator(".gallery-box").evaluate((box, across) => Object.assign(box.style, { width: `${across}px`, height: "900px" }), width);
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
      if (width < 900) assert.match(named.join(), /^A [\d.]+,B [\d.]+,Δ [\d.]+,Δ\/s [\d.]+,Min [\d.]+,Max [\d.]+,Mean [\d.]+,Values\/s [\d.]+$/);
    }
    await page.close();
    assert.deepEqual(problems, []);
  });
});

describe("every control is large enough for a finger, which is no pointer:", () => {
  let touched;
  before(async () => {
    touched = await browser.newContext({ viewport: { width: 1024, height: 768 }, hasTouch: true, locale: "en-GB" });
  });
  for (const view of kViews) {
    test(view, async () => {
      const page = await touched.newPage();
      await page.goto(`${server.address}/states.html?only=${view}&theme=light`);
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
