// Photographs of a page against those that are kept, with a tolerance for what another version of the browser draws a
// little differently. LV_PICTURES=take keeps what is seen now.
import assert from "node:assert/strict";
import { existsSync, mkdirSync, readFileSync, writeFileSync } from "node:fs";
import path from "node:path";
import * as paths from "./paths.mjs";

const kKept = path.join(paths.sourceDir, "tests/e2e/product/pictures");
// A pixel differs when a channel does by more than that; so many of all pixels may.
const kChannel = 48;
const kShare = 0.01;

// How large a part of the pixels differs; 1 when the sizes do. Decoded by the browser itself, in an empty page.
async function difference(page, kept, taken) {
  return page.evaluate(
    async ([first, second, channel]) => {
      const pixels = async (base64) => {
        const bytes = Uint8Array.from(atob(base64), (letter) => letter.charCodeAt(0));
        const picture = await createImageBitmap(new Blob([bytes], { type: "image/png" }));
        const pen = new OffscreenCanvas(picture.width, picture.height).getContext("2d");
        pen.drawImage(picture, 0, 0);
        return pen.getImageData(0, 0, picture.width, picture.height);
      };
      const [a, b] = [await pixels(first), await pixels(second)];
      if (a.width !== b.width || a.height !== b.height) return 1;
      let differing = 0;
      for (let index = 0; index < a.data.length; index += 4) {
        if ([0, 1, 2].some((part) => Math.abs(a.data[index + part] - b.data[index + part]) > channel)) ++differing;
      }
      return differing / (a.width * a.height);
    },
    [kept.toString("base64"), taken.toString("base64"), kChannel],
  );
}

// Compares `taken`, a PNG, with the kept one of that name. `blank` is an empty page of the same browser.
export async function looksAsKept(blank, name, taken) {
  const file = path.join(kKept, `${name}.png`);
  if (process.env.LV_PICTURES === "take") {
    mkdirSync(kKept, { recursive: true });
    writeFileSync(file, taken);
    return;
  }
  const seen = path.join(paths.buildDir, "screenshots", `${name}.png`);
  mkdirSync(path.dirname(seen), { recursive: true });
  writeFileSync(seen, taken);
  assert.ok(existsSync(file), `there is no picture ${file}; LV_PICTURES=take keeps ${seen}`);
  const share = await difference(blank, readFileSync(file), taken);
  assert.ok(share <= kShare, `${(share * 100).toFixed(2)} % of the pixels of ${seen} differ from ${file}`);
}

// The picture of `what`, a page or a part of it, once two in a row are equal: what is drawn in frames is there then.
export async function settledPicture(page, what) {
  let last = await what.screenshot({ animations: "disabled", caret: "hide" });
  for (const end = Date.now() + 20_000; Date.now() < end; ) {
    await page.evaluate(() => new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(done))));
    const next = await what.screenshot({ animations: "disabled", caret: "hide" });
    if (next.equals(last)) return next;
    last = next;
  }
  throw new Error("the picture does not settle");
}
