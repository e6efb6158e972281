/// The worker: nothing but the feed and its way to the page.
import { browserEnvironment } from "../protocol/environment";
import { Feed } from "./feed";
import type { ToFeed } from "./messages";

// Only what a worker has of its global object, without its whole library of types beside the page's.
const scope = self as unknown as {
  postMessage(message: unknown, transfer: Transferable[]): void;
  onmessage: ((event: MessageEvent<ToFeed>) => void) | null;
};

let behind = 0; // ms by which the page's clock began earlier than this worker's
const environment = { ...browserEnvironment, now: () => performance.now() + behind };
const feed = new Feed(environment, (message, transfer = []) => scope.postMessage(message, transfer));

scope.onmessage = ({ data }) => {
  if (data.op === "connect") behind = performance.timeOrigin - data.origin;
  feed.take(data);
};
