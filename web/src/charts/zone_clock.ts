// Times of day in a logger's own time zone.

/// Writes times in one zone; a zone that `Intl` does not know is shown as UTC.
export class ZoneClock {
  /// The zone in which times are shown: as asked for, or "UTC".
  readonly zone: string;
  readonly #parts: Intl.DateTimeFormat;
  #hour = NaN;
  #offset = 0;

  constructor(zone: string) {
    const options = {
      hourCycle: "h23",
      year: "numeric",
      month: "2-digit",
      day: "2-digit",
      hour: "2-digit",
      minute: "2-digit",
      second: "2-digit",
    } as const;
    let parts: Intl.DateTimeFormat;
    let known = zone;
    try {
      parts = new Intl.DateTimeFormat("en-GB", { ...options, timeZone: zone });
    } catch {
      known = "UTC";
      parts = new Intl.DateTimeFormat("en-GB", { ...options, timeZone: known });
    }
    this.zone = known;
    this.#parts = parts;
  }

  /// Seconds to be added to UTC at that time. Looked up once an hour of the time axis, since `Intl` is slow.
  offset(x: number): number {
    const hour = Math.floor(x / 900);
    if (hour !== this.#hour) {
      const at: Record<string, number> = {};
      for (const { type, value } of this.#parts.formatToParts(new Date(hour * 900_000))) at[type] = Number(value);
      const local = Date.UTC(at.year!, at.month! - 1, at.day!, at.hour!, at.minute!, at.second!);
      this.#hour = hour;
      this.#offset = local / 1000 - hour * 900;
    }
    return this.#offset;
  }

  /// "13:04:05", with up to six decimals of the second.
  time(x: number, decimals = 0): string {
    if (!Number.isFinite(x)) return "–";
    const units = Math.round(((x + this.offset(x)) % 86400) * 10 ** decimals);
    const seconds = Math.floor(units / 10 ** decimals);
    const pad = (value: number) => String(value % 60).padStart(2, "0");
    const clock = `${String(Math.floor(seconds / 3600) % 24).padStart(2, "0")}:${pad(Math.floor(seconds / 60))}:${pad(seconds)}`;
    return decimals === 0 ? clock : `${clock}.${String(units % 10 ** decimals).padStart(decimals, "0")}`;
  }

  /// "2026-11-21".
  date(x: number): string {
    return Number.isFinite(x) ? new Date((x + this.offset(x)) * 1000).toISOString().slice(0, 10) : "–";
  }
}
