// The page of states: every view in every state, without a logger.
import path from "node:path";
import { launchBrowser } from "./browser.mjs";
import { serveFolder } from "./file_server.mjs";
import * as paths from "./paths.mjs";

export const kViews = [
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
export const kThemes = ["dark", "light"];

export class StatesPage {
  static async start() {
    const states = new StatesPage();
    states.server = await serveFolder(path.join(paths.buildDir, "page_states"));
    states.browser = await launchBrowser();
    states.context = await states.browser.newContext({ viewport: { width: 1600, height: 2000 }, timezoneId: "UTC", locale: "en-GB" });
    states.context.setDefaultTimeout(120_000); // machines may be busy
    // An empty page, to compare pictures in.
    states.blank = await states.context.newPage();
    return states;
  }

  address(view, theme, language = "en") {
    return `${this.server.address}/states.html?only=${view}&theme=${theme}&lang=${language}`;
  }

  // The page of states with one view; `problems` takes whatever its console complains of.
  async open(view, theme, problems, language = "en") {
    const page = await this.context.newPage();
    page.on("pageerror", (error) => problems.push(String(error)));
    page.on("console", (message) => ["error", "warning"].includes(message.type()) && problems.push(message.text()));
    await page.goto(this.address(view, theme, language));
    await page.getByTestId(`states-${view}`).waitFor();
    await page.evaluate(() => document.fonts.ready);
    return page;
  }

  async stop() {
    await this.browser?.close();
    await this.server?.close();
  }
}
