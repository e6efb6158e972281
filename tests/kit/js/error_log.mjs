// Apache's error log: what stands in it, and what of it nobody expects.
import { readFileSync } from "node:fs";
import { until } from "./wait.mjs";

// What Apache says of itself at every start, restart and stop.
const kStartAndStop =
  /^\[[^\]]+\] \[(core|mpm_\w+):notice\] \[pid \d+(:tid \d+)?\] AH00(094|163|169|170|171|292|295|296|489|491|492|493): /;

export class ErrorLog {
  #file;
  #expected = [/^$/, kStartAndStop];

  constructor(file) {
    this.#file = file;
  }

  // As one character a byte: what is dumped there need not be UTF-8.
  get text() {
    return readFileSync(this.#file, "latin1");
  }

  get lines() {
    return this.text.split("\n");
  }

  // From now on a line that matches one of these is no surprise.
  expect(...patterns) {
    this.#expected.push(...patterns);
  }

  // How many lines match.
  count(pattern) {
    return this.lines.filter((line) => pattern.test(line)).length;
  }

  // Waits for a line that a test provokes, which is thereby expected.
  async comes(pattern) {
    this.expect(pattern);
    await until(`${pattern} in the error log`, () => this.count(pattern) > 0);
  }

  // Whether a line needs no word from a test; for the kinds of this log.
  isOrdinary(line) {
    return this.#expected.some((pattern) => pattern.test(line));
  }

  // Throws when there are lines that nobody expected.
  check() {
    const unexpected = this.lines.filter((line) => !this.isOrdinary(line));
    if (unexpected.length > 0) {
      throw new Error(`unexpected lines in Apache's error log:\n${unexpected.slice(0, 40).join("\n").slice(0, 8000)}`);
    }
  }
}
