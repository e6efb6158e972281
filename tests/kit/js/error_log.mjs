// Reads Apache's error log and tells which of its lines no test expects.
import { readFileSync } from "node:fs";

const kOwnLine = /^\[(DEBUG|INFO)\] KLV::~?\w+\(\) /;
const kApacheNotice = /^\[[^\]]+\] \[\w+:(notice|info|debug)\] \[pid \d+(:tid \d+)?\] /;
// What is logged of an answer stands on several lines: the indented members and the closing brackets.
const kAnswerLine = /^( {4}.*|[{}\]][,)]*)$/;
const kBanners = new Set([
  "",
  "*".repeat(40),
  "*".repeat(38),
  "krwebsocket_on_connect()",
  "krwebsocket opened!!!",
  "krwebsocket_on_disconnect",
  "Finished",
  "debug test 0",
  "error test 0",
  "LvWebsocket()",
  "MESSAGE_TYPE_BINARY received",
  "MESSAGE_TYPE_CLOSE received",
  "PING received",
  "PONG received",
]);
// The payload of a close frame: its code, and a reason.
const kClosePayload = /^\x03[\xe8-\xff]/;
const kConnection = /^connection id: \d+$/;

export class ErrorLog {
  #file;
  #sent = new Set();
  // Each session's first look at the neighbour list finds it unasked for, and says so.
  #expected = [/^\[ERROR\] KLV::checkKSLNetwork\(\) kslInfo->neighboursState undefined$/];

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

  // A frame that a client sent: the plug-in dumps it as it is.
  addSent(frame) {
    for (const line of Buffer.from(frame).toString("latin1").split("\n")) this.#sent.add(line);
  }

  // From now on a line that matches is no surprise.
  expect(pattern) {
    this.#expected.push(pattern);
  }

  // The lines that nobody expected.
  unexpected() {
    return this.lines.filter((line) => !this.#isExpected(line));
  }

  #isExpected(line) {
    return (
      kOwnLine.test(line) ||
      kBanners.has(line) ||
      kConnection.test(line) ||
      kClosePayload.test(line) ||
      kAnswerLine.test(line) ||
      kApacheNotice.test(line) ||
      this.#sent.has(line) ||
      this.#expected.some((pattern) => pattern.test(line))
    );
  }
}
