/// When views draw: 25 times a second for curves, 5 times for texts, and not at all while the page is hidden.
import { signal, type ReadonlySignal } from "@preact/signals";

const kCurves = 40; // ms
const kTexts = 200; // ms

export interface Ticks {
  readonly curves: ReadonlySignal<number>;
  readonly texts: ReadonlySignal<number>;
}

/// `running` tells whether curves move.
///
/// Ticks come between the browser's frames, and what they change is drawn in the next one, curves and texts together: each
/// frame in which anything changes costs the browser some milliseconds, and so does asking for frames in which nothing does.
export function startTicks(running: () => boolean): Ticks {
  const curves = signal(0);
  const texts = signal(0);
  let textsDue = -Infinity;
  let due = performance.now() + kCurves;
  const tick = () => {
    const now = performance.now();
    // Ticks that were missed are not made up for.
    due = Math.max(due + kCurves, now);
    setTimeout(tick, due - now);
    if (document.hidden) return;
    if (running()) curves.value++;
    // By the clock: where a browser is too slow for all curves, texts are as new as ever.
    if (now < textsDue) return;
    textsDue = now + kTexts - kCurves / 2;
    texts.value++;
  };
  document.addEventListener("visibilitychange", () => {
    if (!document.hidden) textsDue = -Infinity;
  });
  setTimeout(tick, kCurves);
  return { curves, texts };
}
