// A browser's side of the websocket, without the browser.
import WebSocket from "ws";
import { whyNotAsDescribed } from "./frame_schema.mjs";
import { afterwards, kPatience, within } from "./wait.mjs";

export const kProtocol = "kr-webapp-v1";

export class Client {
  #socket;
  #log;
  #waiting = [];
  #closed;
  #closeCode;

  // Every text frame that has come, whole, in order.
  frames = [];
  // The same, parsed.
  answers = [];
  // Payloads of pings that the server sent.
  pings = 0;

  constructor(url, { log, protocols = [kProtocol], ...options } = {}) {
    this.#log = log;
    this.#socket = new WebSocket(url, protocols, { perMessageDeflate: false, ...options });
    this.#socket.on("message", (data, binary) => this.#received(data, binary));
    this.#socket.on("ping", () => this.pings++);
    this.#closed = new Promise((resolve) => {
      this.#socket.on("close", (code, reason) => {
        resolve({ code, reason: reason.toString() });
        this.#closeCode = code;
        for (const look of [...this.#waiting]) look();
      });
    });
    this.#socket.on("error", () => {}); // "close" follows
  }

  static async connect(url, options) {
    const client = new Client(url, options);
    await client.opened();
    return client;
  }

  opened(timeout = kPatience) {
    const opened = new Promise((resolve, reject) => {
      if (this.#socket.readyState === WebSocket.OPEN) resolve();
      this.#socket.once("open", resolve);
      this.#socket.once("unexpected-response", (request, response) => reject(new Error(`handshake answered with ${response.statusCode}`)));
      this.#socket.once("error", reject);
    });
    return within("the websocket's opening", opened, timeout);
  }

  get protocol() {
    return this.#socket.protocol;
  }

  // The code that the connection was closed with; undefined as long as it stands.
  get closeCode() {
    return this.#closeCode;
  }

  get open() {
    return this.#socket.readyState === WebSocket.OPEN;
  }

  // Sends an object as JSON, a string as it is, a Buffer as a binary frame.
  send(message) {
    if (Buffer.isBuffer(message)) {
      this.#log?.addSent(message);
      this.#socket.send(message, { binary: true });
      return;
    }
    const text = typeof message === "string" ? message : JSON.stringify(message);
    this.#log?.addSent(text);
    this.#socket.send(text, { binary: false });
  }

  // Sends a part of a text message.
  sendFragment(text, last) {
    this.#log?.addSent(text);
    this.#socket.send(text, { binary: false, fin: last });
  }

  ping(payload) {
    const answered = new Promise((resolve) => this.#socket.once("pong", (data) => resolve(data.toString())));
    this.#socket.ping(payload);
    return within("the pong", answered);
  }

  // The next frame not yet taken, parsed.
  next(timeout = kPatience) {
    return this.#take(() => true, "a frame", timeout);
  }

  // The next answer to `command` not yet taken; other frames stay.
  answerTo(command, timeout = kPatience) {
    return this.#take((answer) => answer.response === command, `the answer to ${command}`, timeout);
  }

  // Sends a command and answers with its answer.
  ask(command, members = {}, timeout = kPatience) {
    this.send({ command, ...members });
    return this.answerTo(command, timeout);
  }

  // Sends any text and answers with the text of the next frame.
  async rawAnswer(text, timeout = kPatience) {
    this.send(text);
    const answer = await this.next(timeout);
    return this.textOf(answer);
  }

  // Whatever has come so far counts as taken: what the session itself asks the network is answered here, too.
  skipAll() {
    for (const answer of this.answers) this.#taken.add(answer);
  }

  // The frame that `answer` was parsed from.
  textOf(answer) {
    return this.frames[this.answers.indexOf(answer)];
  }

  // {code, reason} of the connection's end.
  closed(timeout = kPatience) {
    return within("the connection's end", this.#closed, timeout);
  }

  async close(code = 1000) {
    this.#socket.close(code);
    return this.closed();
  }

  // Reads nothing more, as a browser that hangs; and goes on.
  pause() {
    this.#socket.pause();
  }

  resume() {
    this.#socket.resume();
  }

  // Goes away without a word, as a killed browser does.
  terminate() {
    this.#socket.terminate();
  }

  #taken = new Set();

  #received(data, binary) {
    if (binary) throw new Error("a binary frame came");
    const text = data.toString("utf8");
    const answer = JSON.parse(text);
    const why = whyNotAsDescribed(answer);
    if (why !== null) throw new Error(`a frame is not as docs/frames.schema.json describes it: ${why}: ${text.slice(0, 1000)}`);
    this.frames.push(text);
    this.answers.push(answer);
    for (const look of [...this.#waiting]) look();
  }

  #take(wanted, what, timeout) {
    return new Promise((resolve, reject) => {
      const finish = () => {
        callOff();
        this.#waiting = this.#waiting.filter((other) => other !== look);
      };
      const look = () => {
        const found = this.answers.find((answer) => !this.#taken.has(answer) && wanted(answer));
        if (found) {
          this.#taken.add(found);
          finish();
          resolve(found);
        } else if (this.#closeCode !== undefined) {
          giveUp(`closed with ${this.#closeCode} before`);
        }
      };
      const giveUp = (why) => {
        finish();
        reject(new Error(`${why}: ${what}; came so far: ${JSON.stringify(this.answers)}`));
      };
      const callOff = afterwards(timeout, () => giveUp("not in time"));
      this.#waiting.push(look);
      look();
    });
  }
}
