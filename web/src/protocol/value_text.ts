/// Values as the logger writes them, read without JSON's help: they are thousands a second, and all but two numbers in
/// them is the same each time.
import type { Key, ValueFrame } from "./types";

/// How values begin, as far as their signal's name.
const kHead = '{\n    "response": "generic_sig_value",\n    "signal_key": [\n        "';
const kStamp = '"timestamp": ';
const kValue = ',\n    "value": ';
const kEnd = ',\n    "status": "OK"\n}';
const kSource =
  /^\{\n {4}"response": "generic_sig_value",\n {4}"signal_key": \[\n {8}("(?:[^"\\\x00-\x1f]|\\.)*"),\n {8}("(?:[^"\\\x00-\x1f]|\\.)*")\n {4}\],\n {4}"ksl_offset": (0|-?[1-9]\d{0,14}),\n {4}$/;
/// So many beginnings are known at once.
const kMostSources = 20_000;

const kMinus = 45;
const kPoint = 46;
const kZero = 48;
const kNine = 57;
/// Powers of ten that a double holds exactly are what a number of so many digits is divided by.
const kMostDigits = 15;
const kPowers = Array.from({ length: kMostDigits + 1 }, (_, exponent) => 10 ** exponent);

interface Source {
  readonly key: Key;
  readonly offset: number;
}

/// What stands before the stamp, and what it says.
const sources = new Map<string, Source>();

/// The frame, exactly as JSON would read it; null where that is not certain, as for anything but a plain number without
/// a description.
export function readPlainValue(text: string): ValueFrame | null {
  if (!text.startsWith(kHead) || !text.endsWith(kEnd)) return null;
  const stampAt = text.indexOf(kStamp, kHead.length);
  if (stampAt < 0) return null;
  const source = sourceOf(text.slice(0, stampAt));
  if (source === null) return null;
  let at = stampAt + kStamp.length;
  const digits = digitsFrom(text, at);
  const timestamp = wholeNumber(text, at, digits);
  at += digits;
  if (timestamp < 0 || !text.startsWith(kValue, at)) return null;
  const number = plainNumber(text, at + kValue.length, text.length - kEnd.length);
  if (Number.isNaN(number)) return null;
  return {
    response: "generic_sig_value",
    status: "OK",
    errorCode: "",
    errorMessage: "",
    busError: "",
    key: source.key,
    offset: source.offset,
    timestamp,
    number,
    text: "",
    description: "",
  };
}

function sourceOf(head: string): Source | null {
  const known = sources.get(head);
  if (known !== undefined) return known;
  const found = kSource.exec(head);
  if (found === null) return null;
  let source: Source;
  try {
    source = { key: [JSON.parse(found[1]!) as string, JSON.parse(found[2]!) as string], offset: Number(found[3]) };
  } catch {
    return null; // an escape that JSON does not have
  }
  if (sources.size >= kMostSources) sources.clear();
  sources.set(head, source);
  return source;
}

/// How many digits stand there.
function digitsFrom(text: string, start: number): number {
  let at = start;
  while (isDigit(text.charCodeAt(at))) ++at;
  return at - start;
}

function isDigit(code: number): boolean {
  return code >= kZero && code <= kNine;
}

/// The number of the digits there; -1 for what JSON takes for none, and beyond what a double holds exactly.
function wholeNumber(text: string, start: number, digits: number): number {
  if (digits === 0 || digits > 16 || (digits > 1 && text.charCodeAt(start) === kZero)) return -1;
  const number = appendDigits(0, text, start, start + digits);
  return number <= Number.MAX_SAFE_INTEGER ? number : -1;
}

function appendDigits(number: number, text: string, start: number, end: number): number {
  let all = number;
  for (let at = start; at < end; ++at) all = 10 * all + text.charCodeAt(at) - kZero;
  return all;
}

/// The number that fills the text from `start` to `end`; NaN for one with an exponent or with many digits, and for none.
function plainNumber(text: string, start: number, end: number): number {
  const negative = text.charCodeAt(start) === kMinus;
  const first = negative ? start + 1 : start;
  const before = digitsFrom(text, first);
  const point = first + before;
  const whole = wholeNumber(text, first, before);
  if (whole < 0) return NaN;
  let number = whole;
  if (point < end) {
    const after = digitsFrom(text, point + 1);
    if (text.charCodeAt(point) !== kPoint || after === 0 || before + after > kMostDigits || point + 1 + after !== end) return NaN;
    // Both are exact, so that their quotient is the double that is nearest to what was written.
    number = appendDigits(whole, text, point + 1, end) / kPowers[after]!;
  } else if (point !== end) return NaN;
  return negative ? -number : number;
}
