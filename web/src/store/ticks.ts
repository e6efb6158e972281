/// When views draw: 25 times a second for curves, 5 times for texts, and not at all while the page is hidden.
import { signal, type ReadonlySignal } from "@preact/signals";

const kCurves = 40; // ms
const kTexts = 200; // ms
/// A frame that comes a little early still counts: screens refresh every 16.7 ms.
const kTolerance = 4; // ms

export interface Ticks {
  readonly curves: ReadonlySignal<number>;
  readonly texts: ReadonlySignal<number>;
}

/// `running` tells whether curves move.
export function startTicks(running: () => boolean): Ticks {
  const curves = signal(0);
  const texts = signal(0);
  let curvesAt = 0;
  let textsAt = 0;
  const frame = (now: number) => {
    requestAnimationFrame(frame);
    if (now - textsAt >= kTexts - kTolerance) {
      textsAt = now;
      texts.value++;
    }
    if (now - curvesAt >= kCurves - kTolerance && running()) {
      curvesAt = now;
      curves.value++;
    }
  };
  requestAnimationFrame(frame);
  return { curves, texts };
}
