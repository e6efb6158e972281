// A page that no tool is attached to. A browser reports each frame of a websocket to whoever watches the network of a page, as
// Playwright does of its own pages: with thousands of frames a second that is most of what the thread of the socket does.
import { until } from "../../tests/kit/js/wait.mjs";

// Opens the address in a browser of Playwright's, in a context that Playwright keeps away from, in a window that has so much
// room for the page.
export async function openUnwatched(browser, address, { width = 1440, height = 900 } = {}) {
  const session = await browser.newBrowserCDPSession();
  const { browserContextId } = await session.send("Target.createBrowserContext");
  const { targetId } = await session.send("Target.createTarget", { url: "about:blank", browserContextId, width, height });
  const page = new UnwatchedPage(session, targetId);
  await page.reaches("an empty page", "innerHeight > 0");
  const inner = await page.evaluate("({ width: innerWidth, height: innerHeight })");
  const { windowId } = await session.send("Browser.getWindowForTarget", { targetId });
  const bounds = { width: 2 * width - inner.width, height: 2 * height - inner.height };
  await session.send("Browser.setWindowBounds", { windowId, bounds });
  await page.reaches(`a page of ${width} by ${height} pixels`, `innerWidth === ${width} && innerHeight === ${height}`);
  await page.evaluate(`void location.replace(${JSON.stringify(address)})`);
  return page;
}

class UnwatchedPage {
  #session;
  #targetId;
  #answers = new Map();
  #lastId = 0;

  constructor(session, targetId) {
    this.#session = session;
    this.#targetId = targetId;
    session.on("Target.receivedMessageFromTarget", ({ message }) => {
      const answer = JSON.parse(message);
      this.#answers.get(answer.id)?.(answer);
    });
  }

  // Lets `use` send commands of the DevTools protocol, and is attached only meanwhile.
  async attached(use) {
    const { sessionId } = await this.#session.send("Target.attachToTarget", { targetId: this.#targetId, flatten: false });
    try {
      return await use((method, params = {}) => this.#send(sessionId, method, params));
    } finally {
      await this.#session.send("Target.detachFromTarget", { sessionId });
    }
  }

  // The value of an expression, which may be a promise.
  evaluate(expression) {
    return this.attached(async (send) => {
      const { result, exceptionDetails } = await send("Runtime.evaluate", { expression, returnByValue: true, awaitPromise: true });
      if (exceptionDetails) throw new Error(exceptionDetails.exception?.description ?? exceptionDetails.text);
      return result.value;
    });
  }

  // Waits until an expression is true. While the page is being loaded there is nothing to ask.
  reaches(what, expression, timeout) {
    return until(what, () => this.evaluate(expression).catch(() => false), timeout);
  }

  async #send(sessionId, method, params) {
    const id = ++this.#lastId;
    const answered = new Promise((resolve) => this.#answers.set(id, resolve));
    await this.#session.send("Target.sendMessageToTarget", { sessionId, message: JSON.stringify({ id, method, params }) });
    const { result, error } = await answered;
    this.#answers.delete(id);
    if (error) throw new Error(`${method}: ${error.message}`);
    return result;
  }
}
