// A browser of a crowd: what a page does from the connection to the first values, and what then comes, without the
// page's drawing. It looks only at the beginning and end of a frame, so that it takes little of the machine itself.
import { createRequire } from "node:module";
import { setTimeout as sleep } from "node:timers/promises";

const { WebSocket } = createRequire(new URL("../../tests/package.json", import.meta.url))("ws");

const kPatience = 60_000; // ms; for one answer
// Incomplete logger info is asked for again after so many milliseconds, and then after twice as many.
const kAskAgain = 50;
const isOk = (end) => end.includes('"status": "OK"');

export class Browser {
  // Milliseconds: {connected, informed, catalogue, started}, each from the step before; the bytes of the complete
  // catalogue, and of all that came until it was complete.
  times = {};
  catalogueBytes = 0;
  catalogueTraffic = 0;
  #bytes = 0;
  // Values, and by how many milliseconds each came after its own time.
  values = 0;
  latencies = [];
  #socket;
  #waiting = null;
  #failure = null;

  async arrive(url, signals) {
    let last = performance.now();
    const step = (name) => {
      const now = performance.now();
      this.times[name] = now - last;
      last = now;
    };
    await this.#connect(url);
    step("connected");
    for (let pause = kAskAgain; !isOk((await this.#ask('{"command":"get_logger_info"}', "get_logger_info")).end); pause *= 2)
      await sleep(pause);
    step("informed");
    const bytes = this.#bytes;
    let names = await this.#ask('{"command":"get_signal_names"}', "get_signal_names");
    while (!isOk(names.end)) names = await this.#answer("get_signal_names");
    this.catalogueBytes = names.bytes;
    this.catalogueTraffic = this.#bytes - bytes;
    step("catalogue");
    for (const key of signals) this.#send(JSON.stringify({ command: "generic_start_sig", signal_key: key, interval: 100 }));
    const before = this.values;
    for (const deadline = last + kPatience; this.values === before; await sleep(2)) {
      if (this.#failure || performance.now() > deadline) throw new Error(this.#failure ?? "no value comes");
    }
    step("started");
    return this;
  }

  // Forgets what has come so far.
  begin() {
    this.values = 0;
    this.latencies = [];
  }

  get failure() {
    return this.#failure;
  }

  leave() {
    this.#socket.removeAllListeners("close");
    this.#socket.terminate();
  }

  #connect(url) {
    return new Promise((resolve, reject) => {
      this.#socket = new WebSocket(url, ["kr-webapp-v1"], { perMessageDeflate: false });
      this.#socket.on("open", resolve).on("error", reject);
      this.#socket.on("message", (data) => this.#received(data));
      this.#socket.on("close", (code) => {
        this.#failure = `closed with ${code}`;
        this.#waiting?.reject(new Error(this.#failure));
      });
    });
  }

  #send(text) {
    this.#socket.send(text, { binary: false });
  }

  #ask(text, command) {
    this.#send(text);
    return this.#answer(command);
  }

  #answer(command) {
    return new Promise((resolve, reject) => {
      const timer = setTimeout(() => reject(new Error(`no answer to ${command}`)), kPatience);
      const finish = (settle) => (what) => {
        clearTimeout(timer);
        this.#waiting = null;
        settle(what);
      };
      this.#waiting = { head: `"response": "${command}"`, resolve: finish(resolve), reject: finish(reject) };
    });
  }

  #received(data) {
    this.#bytes += data.length;
    const begin = data.toString("latin1", 0, 400);
    if (begin.includes('"generic_sig_value"')) {
      const time = /"timestamp": (\d+)/.exec(begin);
      if (time === null) return;
      this.values++;
      this.latencies.push(Date.now() - Number(time[1]) / 1000);
    } else if (this.#waiting !== null && begin.includes(this.#waiting.head)) {
      const end = data.toString("latin1", Math.max(0, data.length - 300));
      this.#waiting.resolve({ end, bytes: data.length });
    }
  }
}
