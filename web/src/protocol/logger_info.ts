/// Gathers what every logger says of itself, before which nearly every command is refused.
import type { Environment } from "./environment";
import type { FrameOf } from "./types";

export interface InfoRequests {
  getLoggerInfo(): Promise<FrameOf<"get_logger_info">>;
  getConfigs(): Promise<FrameOf<"get_configs">>;
}

const kProbe = 1_000; // ms
const kPauses = [3_000, 6_000, 12_000, 24_000, 30_000]; // ms; the last one again and again

/// Asking begins the gathering anew, so that one slow logger could keep it from ever being complete, although it
/// completes without a word. So it is asked for ever more seldom, and a harmless command is tried meanwhile: served means complete.
export class LoggerInfoGathering {
  #stopped = false;
  #complete = false;
  #cancelProbe = () => {};
  #cancelAsk = () => {};
  #asks = 0;

  constructor(
    private readonly environment: Environment,
    private readonly requests: InfoRequests,
    /// Called once.
    private readonly completed: () => void,
  ) {
    void this.#ask();
  }

  stop(): void {
    this.#stopped = true;
    this.#cancelProbe();
    this.#cancelAsk();
  }

  async #ask(): Promise<void> {
    this.#cancelProbe();
    const info = await this.requests.getLoggerInfo().catch(() => null);
    if (this.#stopped) return;
    if (info?.status === "OK") return this.#finish();
    const pause = kPauses[Math.min(this.#asks++, kPauses.length - 1)]!;
    this.#cancelAsk = this.environment.after(pause, () => void this.#ask());
    this.#probeLater();
  }

  #probeLater(): void {
    this.#cancelProbe();
    this.#cancelProbe = this.environment.after(kProbe, () => void this.#probe());
  }

  async #probe(): Promise<void> {
    const answer = await this.requests.getConfigs().catch(() => null);
    if (this.#stopped || this.#complete) return;
    if (answer && answer.errorCode !== "wait for logger info") this.#finish();
    else this.#probeLater();
  }

  #finish(): void {
    this.#complete = true;
    this.stop();
    this.completed();
  }
}
