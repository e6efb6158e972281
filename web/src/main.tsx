/// The page: its feed in a worker, its store, its views.
import { createStore } from "./store/store";
import { startTicks } from "./store/ticks";
import { mount } from "./views/app";
import type { FeedLink, FromFeed } from "./worker/messages";

function startFeed(): FeedLink {
  const worker = new Worker(new URL("worker.js", document.baseURI), { type: "module" });
  return {
    post: (message) => worker.postMessage(message),
    listen: (listener) => {
      worker.onmessage = ({ data }: MessageEvent<FromFeed>) => listener(data);
    },
  };
}

/// null where the browser is told to keep nothing.
function browserStorage(): Storage | null {
  try {
    return localStorage;
  } catch {
    return null;
  }
}

const url = new URL("live", document.baseURI.replace(/^http/, "ws")).href;
const ticks = startTicks(() => !store.paused.peek());
const store = createStore(startFeed(), { url, address: location.href, storage: browserStorage(), ticks });
mount(document.getElementById("app")!, store);
