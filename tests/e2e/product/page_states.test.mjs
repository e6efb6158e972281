// Every view in every state: as it was designed, in both themes and languages, and for everybody.
import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { createRequire } from "node:module";
import { after, before, describe, test } from "node:test";
import { looksAsKept, settledPicture } from "../../kit/js/pictures.mjs";
import { kThemes, kViews, StatesPage } from "../../kit/js/states_page.mjs";

const axeSource = readFileSync(createRequire(import.meta.url).resolve("axe-core/axe.min.js"), "utf8");

let states;

before(async () => {
  states = await StatesPage.start();
});

after(() => states?.stop());

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
        const page = await states.open(view, theme, problems);
        await looksAsKept(states.blank, `${view}-${theme}`, await settledPicture(page, page.getByTestId(`states-${view}`)));
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
      const page = await states.context.newPage();
      await page.addInitScript(rememberTexts);
      await page.goto(states.address(view, "light"));
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
    const page = await states.open("chart", "light", problems);
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
    const page = await states.open("lanes", "light", problems);
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
    const page = await states.open("numbers", "light", problems);
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
      const page = await states.open(view, "light", problems);
      assert.match(await said(page, `${view}-broken`), /Rear\.Left\.Wheel.*not offered now/, view);
      assert.doesNotMatch(await said(page, `${view}-waiting`), /not offered/, view);
      if (view === "xy") assert.match(await said(page, "xy-waiting"), /no value yet/);
      await page.close();
    }
    for (const view of ["chart", "lanes", "xy", "numbers", "table"]) {
      const page = await states.open(view, "light", problems);
      const cell = page.locator(".gallery-cell", { hasText: "Refused" });
      assert.match((await cell.innerText()).replaceAll("\n", " "), /Yaw\.Rate.*refused: not in the logger's list/, view);
      await cell.getByTestId("panel-menu").click();
      await page.getByRole("menuitem", { name: "Yaw.Rate: refused: not in the logger's list" }).waitFor();
      await page.close();
    }
    const page = await states.open("triggers", "light", problems);
    assert.match(await said(page, "triggers-broken"), /Nobody has told of markers/);
    await page.close();
    assert.deepEqual(problems, []);
  });
});
describe("the views", () => {
  test("fit in German as well", async () => {
    const cut = [];
    for (const view of ["header", "signals", "audio", "setups", "protocol"]) {
      const problems = [];
      const page = await states.open(view, "light", problems, "de");
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
