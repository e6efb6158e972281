// The websocket to the logger: opens it, opens it again when it has gone, and notices when it has gone silently.

const kProtocol = "kr-webapp-v1";
const kPingInterval = 10_000; // ms between pings
const kAnswerTimeout = 20_000; // ms without any frame after a ping: the connection counts as gone
const kOpenTimeout = 15_000; // ms until a connection must be open; a logger without its bus takes some seconds
const kShortestPause = 500; // ms before the first new attempt; doubles with each
const kLongestPause = 15_000;

/**
 * Events: "state" (detail {state: "connecting" | "open" | "closed", text}), "frame" (detail {kind: "sent" | "received", text}).
 */
export class Connection extends EventTarget {
  #address;
  #socket = null;
  #attempts = 0;
  #openTimer = 0;
  #retryTimer = 0;
  #pingTimer = 0;
  #answerTimer = 0;

  constructor(address) {
    super();
    this.#address = address;
  }

  /** Connects now, whatever is waited for. */
  connect() {
    clearTimeout(this.#retryTimer);
    this.#drop();
    this.#tell("connecting", "Connecting");
    const socket = new WebSocket(this.#address, kProtocol);
    this.#socket = socket;
    this.#openTimer = setTimeout(() => this.#gone("no answer from the server"), kOpenTimeout);
    socket.onopen = () => this.#opened();
    socket.onmessage = (event) => this.#received(event.data);
    socket.onclose = (event) => this.#gone(describeClose(event));
  }

  /** Sends one text frame; false when there is no connection to send it on. */
  send(text) {
    if (this.#socket?.readyState !== WebSocket.OPEN) return false;
    this.#socket.send(text);
    this.dispatchEvent(new CustomEvent("frame", { detail: { kind: "sent", text } }));
    return true;
  }

  /** Sends a file as one binary frame; false when there is no connection to send it on. */
  sendData(file) {
    if (this.#socket?.readyState !== WebSocket.OPEN) return false;
    this.#socket.send(file);
    this.dispatchEvent(new CustomEvent("frame", { detail: { kind: "sent", text: `(${file.size} bytes of ${file.name})` } }));
    return true;
  }

  #opened() {
    clearTimeout(this.#openTimer);
    this.#attempts = 0;
    this.#pingTimer = setInterval(() => this.#ping(), kPingInterval);
    this.#tell("open", "Connected");
  }

  #ping() {
    this.send('{"command":"ping"}');
    if (!this.#answerTimer) this.#answerTimer = setTimeout(() => this.#gone("the logger has stopped answering"), kAnswerTimeout);
  }

  #received(text) {
    clearTimeout(this.#answerTimer);
    this.#answerTimer = 0;
    this.dispatchEvent(new CustomEvent("frame", { detail: { kind: "received", text } }));
  }

  #gone(reason) {
    this.#drop();
    const longest = Math.min(kLongestPause, kShortestPause * 2 ** this.#attempts++);
    const pause = longest * (0.5 + Math.random() / 2); // many pages must not all come back at the same moment
    this.#retryTimer = setTimeout(() => this.connect(), pause);
    this.#tell("closed", `Not connected: ${reason}. Trying again in ${(pause / 1000).toFixed(1)} s`);
  }

  #drop() {
    clearTimeout(this.#openTimer);
    clearInterval(this.#pingTimer);
    clearTimeout(this.#answerTimer);
    this.#answerTimer = 0;
    const socket = this.#socket;
    this.#socket = null;
    if (!socket) return;
    socket.onopen = socket.onmessage = socket.onclose = null;
    socket.close();
  }

  #tell(state, text) {
    this.dispatchEvent(new CustomEvent("state", { detail: { state, text } }));
  }
}

function describeClose(event) {
  if (event.code === 1001) return "closed by the logger";
  if (event.code === 1006) return "the connection broke";
  return `closed with code ${event.code}${event.reason ? ` (${event.reason})` : ""}`;
}
