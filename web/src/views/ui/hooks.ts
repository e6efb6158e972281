// What views need of the browser: sizes, visibility, a call for each frame that is due.
import { effect } from "@preact/signals";
import type { RefObject } from "preact";
import { useEffect, useLayoutEffect, useRef, useState } from "preact/hooks";

export interface Size {
  readonly width: number;
  readonly height: number;
}

/// The content size of an element in CSS pixels, kept up to date; zero before it is laid out.
export function useSize(ref: RefObject<HTMLElement | null>): Size {
  const [size, setSize] = useState<Size>({ width: 0, height: 0 });
  useLayoutEffect(() => {
    const element = ref.current!;
    const measure = () => {
      const { clientWidth: width, clientHeight: height } = element;
      setSize((old) => (old.width === width && old.height === height ? old : { width, height }));
    };
    measure();
    const observer = new ResizeObserver(measure);
    observer.observe(element);
    return () => observer.disconnect();
  }, []);
  return size;
}

/// Gives the element the keyboard once it is there. The attribute does so only where nothing else has it.
export function useFocus(ref: RefObject<HTMLElement | null>): void {
  useLayoutEffect(() => ref.current!.focus(), []);
}

/// Whether the element is on the screen.
export function useSeen(ref: RefObject<Element | null>): boolean {
  const [seen, setSeen] = useState(true);
  useEffect(() => {
    const observer = new IntersectionObserver((entries) => setSeen(entries[entries.length - 1]!.isIntersecting));
    observer.observe(ref.current!);
    return () => observer.disconnect();
  }, []);
  return seen;
}

/// CSS pixels from the screen's edge at which an element is shown again.
const kNear = 200;

/// Hides the element while it is far outside of what can be seen: each canvas that could be seen costs the browser some time
/// in each frame, whether it has been drawn on or not.
export function useHiddenAfar(ref: RefObject<HTMLElement | null>): void {
  useEffect(() => {
    const element = ref.current!;
    const show = (entries: IntersectionObserverEntry[]) => {
      element.style.visibility = entries[entries.length - 1]!.isIntersecting ? "" : "hidden";
    };
    const observer = new IntersectionObserver(show, { root: element.closest("main"), rootMargin: `${kNear}px` });
    observer.observe(element);
    return () => observer.disconnect();
  }, []);
}

/// Calls `draw` once in a frame after a signal that `read` looks at has changed, while the element is on the screen.
export function useDrawing(
  ref: RefObject<Element | null>,
  read: () => void,
  draw: () => void,
  dependencies: readonly unknown[] = [],
): void {
  const latest = useRef({ read, draw });
  latest.current = { read, draw };
  useEffect(() => {
    let seen = true;
    let frame = 0;
    const now = () => {
      frame = 0;
      if (seen && ref.current !== null) latest.current.draw();
    };
    const request = () => {
      if (frame === 0 && seen) frame = requestAnimationFrame(now);
    };
    const observer = new IntersectionObserver((entries) => {
      seen = entries[entries.length - 1]!.isIntersecting;
      request();
    });
    observer.observe(ref.current!);
    const stop = effect(() => {
      latest.current.read();
      request();
    });
    return () => {
      stop();
      observer.disconnect();
      cancelAnimationFrame(frame);
    };
  }, []);
  useEffect(() => {
    // An effect that waits may run after the element has gone.
    if (ref.current !== null) latest.current.draw();
  }, dependencies);
}

/// Closes something when Escape is pressed or the pointer goes down elsewhere.
export function useDismiss(ref: RefObject<HTMLElement | null>, open: boolean, close: () => void): void {
  // With what is seen, not a frame later: somebody may be quick.
  useLayoutEffect(() => {
    if (!open) return;
    const down = (event: Event) => {
      if (!ref.current?.contains(event.target as Node)) close();
    };
    const key = (event: KeyboardEvent) => {
      if (event.key !== "Escape") return;
      event.stopPropagation();
      close();
    };
    document.addEventListener("pointerdown", down, true);
    document.addEventListener("keydown", key, true);
    return () => {
      document.removeEventListener("pointerdown", down, true);
      document.removeEventListener("keydown", key, true);
    };
  }, [open]);
}
