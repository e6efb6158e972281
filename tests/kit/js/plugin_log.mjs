// The error log of an Apache that has the live-view plug-in, which writes all that it does there.
import { ErrorLog } from "./error_log.mjs";

const kOwnLine = /^\[(DEBUG|INFO)\] KLV::~?\w+\(\) /;
// What is logged of an answer stands on several lines: the indented members and the closing brackets.
const kAnswerLine = /^( {4}.*|[{}\]][,)]*)$/;
const kBanners = new Set([
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

export class PluginLog extends ErrorLog {
  #sent = new Set();

  constructor(file) {
    super(file);
    this.expect(kOwnLine, kConnection, kClosePayload, kAnswerLine);
    // Each session's first look at the neighbour list finds it unasked for, and says so.
    this.expect(/^\[ERROR\] KLV::checkKSLNetwork\(\) kslInfo->neighboursState undefined$/);
  }

  // A frame that a client sent: the plug-in dumps it as it is.
  addSent(frame) {
    for (const line of Buffer.from(frame).toString("latin1").split("\n")) this.#sent.add(line);
  }

  isOrdinary(line) {
    return kBanners.has(line) || this.#sent.has(line) || super.isOrdinary(line);
  }
}
