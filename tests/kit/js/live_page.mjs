// What tests do on the page: wait for what it shows, by the marks that its elements carry for tests.
import assert from "node:assert/strict";
import { limit, until } from "./wait.mjs";

const kFirstSight = 60_000; // ms until a page has to show live data; machines may be busy

export const byId = (page, id) => page.getByTestId(id);

// Waits until the page says that it is in that state.
export async function state(page, name, timeout = kFirstSight) {
  try {
    await page.locator(`[data-testid=connection][data-state="${name}"]`).waitFor({ timeout });
  } catch (error) {
    throw new Error(`the page is not ${name} but says: ${await byId(page, "connection").textContent()}`, { cause: error });
  }
}

// From now on remembers what the page says about its connection: some of it stands for a quarter of a second only.
export async function watchStates(page) {
  await byId(page, "connection").evaluate((badge) => {
    window.statesSeen = [];
    new MutationObserver(() => window.statesSeen.push(`${badge.dataset.state}: ${badge.textContent}`)).observe(badge, {
      attributes: true,
      childList: true,
      characterData: true,
      subtree: true,
    });
  });
}

// Waits until the page has said so since `watchStates`.
export async function sawState(page, pattern) {
  await page.waitForFunction((source) => window.statesSeen.some((state) => new RegExp(source).test(state)), pattern.source);
}

// Opens a view at the side, unless it is open.
export async function openView(page, name) {
  const view = byId(page, `view-${name}`);
  if (!(await view.isVisible())) await byId(page, `tab-${name}`).click();
  await view.waitFor();
  return view;
}

// Sends a request by hand.
export async function sendByHand(page, request) {
  await openView(page, "protocol");
  await byId(page, "request").fill(request);
  await byId(page, "request").press("Control+Enter");
}

// The frames of that name which went by; the list of the protocol's view, which has to be open, shows only these then.
export async function frames(page, name, direction = "received") {
  await byId(page, "frame-filter").fill(`${direction} ${name}`);
  return page.locator(`[data-testid=frame][data-direction=${direction}]`, {
    has: page.locator(".frame-name", { hasText: new RegExp(`^${name}$`) }),
  });
}

// Waits until the text of an element changes so many times: it shows live data.
export async function changes(page, locator, count = 2, timeout = kFirstSight) {
  const handle = await locator.elementHandle({ timeout });
  await page.evaluate(
    ([element, wanted, ms]) =>
      new Promise((resolve, reject) => {
        let seen = 0;
        let text = element.textContent;
        const deadline = setTimeout(() => reject(new Error(`"${element.textContent}" changed only ${seen} times`)), ms);
        new MutationObserver((_, observer) => {
          if (element.textContent === text) return;
          text = element.textContent;
          if (++seen < wanted) return;
          clearTimeout(deadline);
          observer.disconnect();
          resolve();
        }).observe(element, { childList: true, characterData: true, subtree: true });
      }),
    [handle, count, timeout],
  );
}

const picture = (locator) =>
  locator
    .locator("canvas")
    .first()
    .evaluate((canvas) => canvas.toDataURL());

// Whether the picture of a canvas changes: a curve that moves.
export async function isDrawing(page, locator, timeout = kFirstSight) {
  const first = await picture(locator);
  const over = limit(timeout);
  while ((await picture(locator)) === first) assert.ok(!over(), "the chart does not move");
}

// Waits until the picture of a canvas stays as it is for several of the frames in which curves are drawn.
export async function standsStill(page, locator) {
  await until("the curves stand still", async () => {
    const before = await picture(locator);
    await page.evaluate(() => new Promise((resolve) => setTimeout(resolve, 400)));
    return (await picture(locator)) === before;
  });
}

export const texts = (locator) => locator.evaluateAll((all) => all.map((one) => one.textContent));
