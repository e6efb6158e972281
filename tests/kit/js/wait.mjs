// Waiting for conditions, never for fixed times.
import { setTimeout as sleep } from "node:timers/promises";
import { sanitizers } from "./paths.mjs";

// Instrumented programs are several times slower.
const slowness = sanitizers ? 4 : 1;

export const patience = (ms) => ms * slowness;

// How long whatever should come at once is waited for (ms): as long as the page waits for an answer.
export const kPatience = 20_000;

// Polls until `condition` answers something true, and answers that. Throws with `what` after `timeout` ms.
export async function until(what, condition, timeout = kPatience) {
  const deadline = Date.now() + patience(timeout);
  for (;;) {
    const value = await condition();
    if (value) return value;
    if (Date.now() > deadline) throw new Error(`not in time: ${typeof what === "function" ? what() : what}`);
    await sleep(10);
  }
}

// `promise`, or an error that names `what` after `timeout` ms.
export async function within(what, promise, timeout = kPatience) {
  let timer;
  const late = new Promise((_, reject) => {
    timer = setTimeout(() => reject(new Error(`not in time: ${what}`)), patience(timeout));
  });
  try {
    return await Promise.race([promise, late]);
  } finally {
    clearTimeout(timer);
  }
}

export { sleep };
