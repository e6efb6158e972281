// What fingers, mouse and wheel do on a time axis, also while data comes in: drag selects what to zoom into, drag with
// Shift, the middle button or one finger moves along, wheel and two fingers zoom, a double click returns to now. What can
// be held, a cursor, is dragged instead.

/// Places are CSS pixels from the left edge of the element; the receiver knows which times they are.
export interface GestureReceiver {
  /// The pointer rests at a place, or is gone (null).
  hover(left: number | null): void;
  /// What is at `left` moved by `by` pixels.
  pan(by: number): void;
  /// What is seen shrinks (factor < 1) or grows around the place.
  zoom(left: number, factor: number): void;
  /// A stretch was marked to be seen alone.
  select(from: number, to: number): void;
  /// While a stretch is being marked; null when that has ended.
  selecting(stretch: { from: number; to: number } | null): void;
  /// A short click or tap. `second`: with Shift or Alt.
  click(left: number, second: boolean): void;
  reset(): void;
  /// What lies within `reach` pixels of the place and can be held: takes it to another place. null: nothing.
  grip(left: number, reach: number): ((left: number) => void) | null;
}

const kLeastDrag = 5;
const kReach = 6; // of a mouse
const kFingerReach = 24;

/// Listens on an element until `stop` is called.
export class Gestures {
  readonly #element: HTMLElement;
  readonly #receiver: GestureReceiver;
  readonly #stop = new AbortController();
  readonly #touches = new Map<number, number>();
  #mode: "none" | "select" | "pan" | "pinch" | "hold" = "none";
  #held: ((left: number) => void) | null = null;
  #start = 0;
  #last = 0;
  #moved = false;

  constructor(element: HTMLElement, receiver: GestureReceiver) {
    this.#element = element;
    this.#receiver = receiver;
    element.style.touchAction = "pan-y";
    const options = { signal: this.#stop.signal };
    element.addEventListener("pointerdown", (event) => this.#down(event), options);
    element.addEventListener("pointermove", (event) => this.#move(event), options);
    element.addEventListener("pointerup", (event) => this.#up(event), options);
    element.addEventListener("pointercancel", (event) => this.#cancel(event), options);
    element.addEventListener("pointerleave", (event) => event.pointerType === "mouse" && receiver.hover(null), options);
    element.addEventListener("dblclick", () => receiver.reset(), options);
    element.addEventListener("wheel", (event) => this.#wheel(event), { ...options, passive: false });
  }

  stop(): void {
    this.#stop.abort();
  }

  #left(event: PointerEvent | WheelEvent): number {
    return event.clientX - this.#element.getBoundingClientRect().left;
  }

  #down(event: PointerEvent): void {
    const left = this.#left(event);
    this.#held = event.button === 0 && !event.shiftKey ? this.#receiver.grip(left, reachOf(event)) : null;
    if (event.pointerType === "touch") {
      this.#touches.set(event.pointerId, left);
      this.#mode = this.#touches.size > 1 ? "pinch" : this.#held !== null ? "hold" : "pan";
    } else if (this.#held !== null) this.#mode = "hold";
    else if (event.button === 1 || (event.button === 0 && event.shiftKey)) {
      event.preventDefault();
      this.#mode = "pan";
    } else if (event.button === 0) this.#mode = "select";
    else return;
    this.#start = this.#last = left;
    this.#moved = false;
    this.#element.setPointerCapture(event.pointerId);
  }

  #move(event: PointerEvent): void {
    const left = this.#left(event);
    this.#moved ||= this.#mode !== "none" && Math.abs(left - this.#start) >= kLeastDrag;
    if (this.#mode === "pinch") this.#pinch(event.pointerId, left);
    else if (this.#mode === "hold" && this.#moved) this.#held?.(left);
    else if (this.#mode === "pan" && this.#moved) {
      this.#receiver.pan(left - this.#last);
      this.#last = left;
    } else if (this.#mode === "select" && this.#moved) {
      this.#receiver.selecting({ from: Math.min(this.#start, left), to: Math.max(this.#start, left) });
    }
    if (event.pointerType === "touch") this.#touches.set(event.pointerId, left);
    else this.#rest(left);
  }

  // The mouse rests there, or moves something.
  #rest(left: number): void {
    this.#receiver.hover(left);
    if (this.#mode === "none") this.#element.style.cursor = this.#receiver.grip(left, kReach) === null ? "" : "ew-resize";
  }

  #pinch(moving: number, left: number): void {
    const other = [...this.#touches].find(([id]) => id !== moving)?.[1];
    const before = this.#touches.get(moving);
    if (other === undefined || before === undefined) return;
    const distance = Math.max(16, Math.abs(left - other));
    this.#receiver.zoom((left + other) / 2, Math.max(16, Math.abs(before - other)) / distance);
    this.#moved = true;
  }

  #up(event: PointerEvent): void {
    const left = this.#left(event);
    const mode = this.#mode;
    this.#cancel(event);
    if (mode === "none") return;
    if (!this.#moved) {
      if (event.pointerType === "touch") this.#receiver.hover(left);
      this.#receiver.click(left, event.shiftKey || event.altKey);
    } else if (mode === "select") this.#receiver.select(Math.min(this.#start, left), Math.max(this.#start, left));
  }

  #cancel(event: PointerEvent): void {
    this.#touches.delete(event.pointerId);
    if (this.#mode === "select") this.#receiver.selecting(null);
    this.#mode = this.#touches.size > 0 ? "pan" : "none";
    this.#last = [...this.#touches.values()][0] ?? 0;
  }

  #wheel(event: WheelEvent): void {
    event.preventDefault();
    const lines = event.deltaMode === 1 ? 24 : 1;
    if (event.shiftKey || Math.abs(event.deltaX) > Math.abs(event.deltaY)) {
      this.#receiver.pan(-(event.deltaX || event.deltaY) * lines);
    } else this.#receiver.zoom(this.#left(event), Math.exp(event.deltaY * lines * 0.0015));
  }
}

function reachOf(event: PointerEvent): number {
  return event.pointerType === "touch" ? kFingerReach : kReach;
}
