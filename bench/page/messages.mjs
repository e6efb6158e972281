// What the messages of 200 signals at 20 values a second each cost a browser's worker that does nothing with them: the
// floor under what the page's worker costs, see load.mjs.
//
//   tests/kit/js/isolated node bench/page/messages.mjs [seconds]     (default 30)
import { writeFileSync } from "node:fs";
import path from "node:path";
import { setTimeout as sleep } from "node:timers/promises";
import { launchBrowser } from "../../tests/kit/js/browser.mjs";
import { rendererOf, threadSeconds } from "./costs.mjs";
import { kRate, kSignals, loadedNetwork } from "./loaded_network.mjs";
import { openUnwatched } from "./unwatched.mjs";

const seconds = Number(process.argv[2] ?? 30);

// Asks one thing at a time, and listens no more when all signals run.
const kWorker = `
let socket;
const answer = (command, members = {}) => new Promise((resolve) => {
  socket.onmessage = ({ data }) => {
    const frame = JSON.parse(data);
    if (frame.response === command) resolve(frame);
  };
  socket.send(JSON.stringify({ command, ...members }));
});
onmessage = async ({ data: { url, keys } }) => {
  socket = new WebSocket(url, "kr-webapp-v1");
  await new Promise((resolve) => (socket.onopen = resolve));
  while ((await answer("get_logger_info")).status !== "OK");
  while ((await answer("get_signal_names")).status !== "OK");
  for (const signal_key of keys) await answer("generic_start_sig", { signal_key, interval: 100 });
  socket.onmessage = () => {};
  postMessage("all run");
};
`;

const { network, names, mac } = await loadedNetwork();
let browser;
try {
  const folder = path.join(network.apache.dir, "page");
  writeFileSync(path.join(folder, "floor.html"), "<!doctype html><title>Floor</title>\n");
  writeFileSync(path.join(folder, "floor.js"), kWorker);
  browser = await launchBrowser();
  const page = await openUnwatched(browser, `${network.apache.page}floor.html`);
  await page.reaches("the page of the floor is there", "document.title === 'Floor'");
  const order = { url: network.apache.url, keys: names.map((name) => [name, mac]) };
  await page.evaluate(`new Promise((resolve) => {
    window.kept = new Worker("floor.js");
    window.kept.onmessage = () => resolve();
    window.kept.postMessage(${JSON.stringify(order)});
  })`);
  await sleep(5_000);
  const renderer = await rendererOf(await browser.newBrowserCDPSession());
  const started = { at: Date.now(), ...threadSeconds(renderer.id) };
  await sleep(seconds * 1000);
  const share = (threadSeconds(renderer.id).worker - started.worker) / ((Date.now() - started.at) / 1000);
  const each = (share / (kSignals * kRate)) * 1e6;
  console.log(
    `${kSignals * kRate} messages/s that nobody reads: worker ${(100 * share).toFixed(1)} % of one core, ${each.toFixed(0)} us each`,
  );
} finally {
  await browser?.close();
  await network.stop();
}
