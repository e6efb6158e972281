// Numbers as an instrument shows them: as many digits as tell something, never a jumping width.

const kMultiples = [
  { size: 1e12, sign: "T" },
  { size: 1e9, sign: "G" },
  { size: 1e6, sign: "M" },
] as const;

/// A value on an axis whose divisions are `step` apart; large ones as 21.6M. The same multiple for all divisions of an
/// axis that reaches `most`.
export function axisNumber(value: number, step: number, most: number): string {
  const multiple = kMultiples.find(({ size }) => most >= size);
  if (most >= 1e15 || step < 1e-6) return Math.abs(value) < step / 2 ? "0" : value.toExponential(2);
  if (multiple === undefined) return fixed(value, step);
  const text = fixed(value / multiple.size, step / multiple.size);
  return Number(text) === 0 ? "0" : `${text}${multiple.sign}`;
}

function fixed(value: number, step: number): string {
  const decimals = Math.max(0, Math.ceil(-Math.log10(step) + (isQuarter(step) ? 0.5 : -1e-9)));
  const text = value.toFixed(Math.min(8, decimals));
  return Number(text) === 0 ? text.replace("-", "") : text;
}

// 2.5, 0.25 ... need one digit more than their size says.
function isQuarter(step: number): boolean {
  const digits = step / 10 ** Math.floor(Math.log10(step));
  return Math.abs(digits - 2.5) < 1e-6;
}

/// A computed value, a mean for instance, with about five telling digits and no zeros behind them.
export function computedNumber(value: number | null): string {
  if (value === null || !Number.isFinite(value)) return "–";
  const size = Math.abs(value);
  if (size !== 0 && (size >= 1e9 || size < 1e-4)) return value.toExponential(3);
  const decimals = size >= 10000 ? 0 : size >= 1000 ? 1 : size >= 100 ? 2 : size >= 1 ? 3 : 4;
  return String(Number(value.toFixed(decimals)));
}

/// A whole or broken number whose long row of digits is read in groups: "467 666".
export function groupedNumber(value: number): string {
  const text = String(value);
  const digits = /^-?\d{5,}/.exec(text)?.[0];
  return digits === undefined ? text : digits.replace(/\B(?=(\d{3})+$)/g, "\u202f") + text.slice(digits.length);
}

/// A value with as many digits as it has, six at most.
export function plainNumber(value: number): string {
  return Number.isFinite(value) ? String(Number(value.toPrecision(6))) : "–";
}

/// How long something lasts already, in whole seconds: "40 s", "3:07 min".
export function wholeSeconds(seconds: number): string {
  return seconds < 60 ? `${Math.max(0, Math.floor(seconds))} s` : duration(Math.floor(seconds));
}

/// A length of time in seconds: "850 ms", "12.4 s", "3:07 min", "1:00 h".
export function duration(seconds: number): string {
  const size = Math.abs(seconds);
  const sign = seconds < 0 ? "−" : "";
  if (size < 1e-3) return `${sign}${(size * 1e6).toFixed(0)} µs`;
  if (size < 1) return `${sign}${(size * 1000).toFixed(size < 0.1 ? 2 : 0)} ms`;
  if (size < 60) return `${sign}${size.toFixed(size < 10 ? 3 : 2)} s`;
  if (size >= 3600) return `${sign}${Math.floor(size / 3600)}:${String(Math.floor((size % 3600) / 60)).padStart(2, "0")} h`;
  return `${sign}${Math.floor(size / 60)}:${String(Math.floor(size % 60)).padStart(2, "0")} min`;
}
