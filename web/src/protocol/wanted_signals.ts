/// Which signals are to run, and the requests that make it so, one by one.
import { Priority, type RequestSource } from "./request_queue";
import type { Frame, Key, Request } from "./types";

/// absent: not in the catalogue; it is started as soon as it is there.
export type SignalState = "starting" | "running" | "absent" | "refused";

interface Wanted {
  readonly key: Key;
  visible: boolean;
  /// Since when the logger forwards it, or has said that it does not.
  asked: boolean;
  state: SignalState;
  why: string;
}

/// A signal that is wanted and what has become of it. `why`: what its logger said when it refused it, kNoAnswer when it said nothing.
export type WantedState = readonly [key: Key, state: SignalState, why: string];

export const kNoAnswer = "no_answer";

const idOf = (key: Key) => `${key[1]}\n${key[0]}`;
const kInterval = 100; // has no effect, but should be sent

export class WantedSignals implements RequestSource {
  #wanted = new Map<string, Wanted>();
  /// Keys that run or are being started and are not wanted any more.
  #leaving = new Map<string, Key>();
  #offered: ReadonlySet<string> | null = null;
  #complete = false;
  /// Whether a value could tell anything: some signal has been asked for and does not run.
  #awaited = false;

  constructor(private readonly changed: () => void) {}

  /// Replaces what is wanted.
  want(signals: readonly { readonly key: Key; readonly visible: boolean }[]): void {
    const before = this.#wanted;
    this.#wanted = new Map();
    for (const { key, visible } of signals) {
      const id = idOf(key);
      const known = before.get(id) ?? { key, visible, asked: this.#leaving.has(id), state: this.#idleState(id), why: "" };
      known.visible = visible;
      this.#wanted.set(id, known);
      this.#leaving.delete(id);
      before.delete(id);
    }
    for (const [id, { key, asked, state }] of before) if (asked && state !== "refused") this.#leaving.set(id, key);
    this.#noteChange();
  }

  /// What the loggers offer now. `restarted` tells that it has been gathered anew, which has stopped whatever ran.
  offered(keys: Iterable<Key>, complete: boolean, restarted: boolean): void {
    if (restarted) this.#forgetAsked();
    const offered = new Set<string>();
    for (const key of keys) offered.add(idOf(key));
    this.#offered = offered;
    this.#complete = complete;
    for (const [id, wanted] of this.#wanted) if (!wanted.asked) wanted.state = this.#idleState(id);
    this.#noteChange();
  }

  /// The connection has gone: nothing runs, and what is offered is not known.
  reset(): void {
    this.#offered = null;
    this.#complete = false;
    this.#forgetAsked();
    for (const wanted of this.#wanted.values()) wanted.state = "starting";
    this.#noteChange();
  }

  states(): WantedState[] {
    return [...this.#wanted.values()].map(({ key, state, why }) => [key, state, state === "refused" ? why : ""]);
  }

  next(): { request: Request; priority: Priority } | null {
    for (const key of this.#leaving.values()) {
      return { request: { command: "generic_stop_sig", signal_key: key }, priority: Priority.VisibleSignal };
    }
    if (!this.#offered) return null;
    // While loggers have still to answer, each start takes two seconds: only what is looked at is worth them.
    const wanted = this.#find(true) ?? (this.#complete ? this.#find(false) : null);
    if (!wanted) return null;
    const request = { command: "generic_start_sig", signal_key: wanted.key, interval: kInterval } as const;
    return { request, priority: wanted.visible ? Priority.VisibleSignal : Priority.HiddenSignal };
  }

  taken(request: Request): void {
    if (!("signal_key" in request)) return;
    const id = idOf(request.signal_key);
    if (request.command === "generic_stop_sig") this.#leaving.delete(id);
    const wanted = this.#wanted.get(id);
    if (wanted && request.command === "generic_start_sig") wanted.asked = this.#awaited = true;
  }

  answered(request: Request, frame: Frame | null): void {
    if (request.command !== "generic_start_sig") return;
    const wanted = this.#wanted.get(idOf(request.signal_key));
    if (!wanted || !wanted.asked) return;
    wanted.state = frame?.status === "OK" ? "running" : "refused";
    wanted.why = frame === null ? kNoAnswer : reasonOf(frame);
    this.#noteChange();
  }

  /// A value proves that its signal runs, whatever became of the answer.
  valueCame(key: Key): void {
    if (!this.#awaited) return; // thousands a second come when all run
    const wanted = this.#wanted.get(idOf(key));
    if (!wanted?.asked || wanted.state === "running") return;
    wanted.state = "running";
    this.#noteChange();
  }

  #noteChange(): void {
    this.#awaited = [...this.#wanted.values()].some(({ asked, state }) => asked && state !== "running");
    this.changed();
  }

  #find(visible: boolean): Wanted | null {
    for (const [id, wanted] of this.#wanted) if (!wanted.asked && wanted.visible === visible && this.#offered?.has(id)) return wanted;
    return null;
  }

  #forgetAsked(): void {
    this.#leaving.clear();
    for (const wanted of this.#wanted.values()) wanted.asked = false;
  }

  #idleState(id: string): SignalState {
    return this.#offered && !this.#offered.has(id) ? "absent" : "starting";
  }
}

function reasonOf({ errorCode, errorMessage, busError }: Frame): string {
  return [errorMessage !== "" ? errorMessage : errorCode, busError].filter((part) => part !== "").join(", ");
}
