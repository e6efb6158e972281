// Waiting for conditions, never for fixed times.
import { setTimeout as sleep } from "node:timers/promises";
import { sanitizers } from "./paths.mjs";

// Instrumented programs are several times slower.
const slowness = sanitizers ? 4 : 1;

export const patience = (ms) => ms * slowness;

// How long whatever should come at once is waited for (ms): as long as the page waits for an answer.
export const kPatience = 20_000;

// How long this process has been served (ms). A machine that stands still, or serves others, takes that time from all that a
// test waits for as well: such gaps count as a tenth of a second, so that what a limit bounds is what is waited for.
const kTick = 50;
const kLongestGap = 100;
let served = 0;
let seen = performance.now();
export function servedTime() {
  const now = performance.now();
  served += Math.min(now - seen, kLongestGap);
  seen = now;
  return served;
}
setInterval(servedTime, kTick).unref();

// Answers a function that says whether `timeout` ms are over since.
export function limit(timeout) {
  const deadline = servedTime() + patience(timeout);
  return () => servedTime() > deadline;
}

// Calls `late` after `timeout` ms; answers a function that calls this off.
export function afterwards(timeout, late) {
  const over = limit(timeout);
  let timer;
  const look = (wait) => {
    timer = setTimeout(() => (over() ? late() : look(kTick)), wait);
  };
  look(patience(timeout));
  return () => clearTimeout(timer);
}

// Polls until `condition` answers something true, and answers that. Throws with `what` after `timeout` ms.
export async function until(what, condition, timeout = kPatience) {
  const over = limit(timeout);
  for (;;) {
    const value = await condition();
    if (value) return value;
    if (over()) throw new Error(`not in time: ${typeof what === "function" ? what() : what}`);
    await sleep(10);
  }
}

// `promise`, or an error that names `what` after `timeout` ms.
export async function within(what, promise, timeout = kPatience) {
  let callOff;
  const late = new Promise((_, reject) => {
    callOff = afterwards(timeout, () => reject(new Error(`not in time: ${what}`)));
  });
  try {
    return await Promise.race([promise, late]);
  } finally {
    callOff();
  }
}

export { sleep };
