// One program of a test's set-up: started, watched, and ended by its id.
import { spawn } from "node:child_process";
import { once } from "node:events";
import { kPatience, patience, within } from "./wait.mjs";

// A parent that ended before it was asked for a signal at its end sends none.
const kWithParent = '[ "$PPID" = "$0" ] && exec "$@"';

export class Part {
  #child;
  #output = "";
  #exit;

  constructor(name, command, args, { env = {}, cwd } = {}) {
    this.name = name;
    // In a process group of its own: Apache ends its whole group when it is told to end. And told to end with this
    // process, whatever ends that.
    this.#child = spawn("setpriv", ["--pdeathsig", "TERM", "--", "sh", "-c", kWithParent, process.pid, command, ...args].map(String), {
      cwd,
      env: { ...process.env, ...env },
      stdio: ["ignore", "pipe", "pipe"],
      detached: true,
    });
    for (const stream of [this.#child.stdout, this.#child.stderr]) {
      stream.setEncoding("utf8");
      stream.on("data", (text) => (this.#output += text));
    }
    this.#child.on("error", (error) => (this.#output += `${error.message}\n`));
    this.#exit = once(this.#child, "close").then(([code, signal]) => ({ code, signal }));
    this.#exit.catch(() => {}); // told by whoever asks
  }

  get pid() {
    return this.#child.pid;
  }

  // Everything written to standard output and standard error so far.
  get output() {
    return this.#output;
  }

  get running() {
    return this.#child.exitCode === null && this.#child.signalCode === null;
  }

  // {code, signal} once it has ended and its output is complete.
  exited(timeout = kPatience) {
    return within(`the end of ${this.name}`, this.#exit, timeout);
  }

  signal(name) {
    if (this.running) this.#child.kill(name);
  }

  // Asks it to end and waits; what does not end in time is killed, and that is an error.
  async stop({ timeout = kPatience, signal = "SIGTERM" } = {}) {
    this.signal("SIGCONT");
    this.signal(signal);
    const timer = setTimeout(() => this.killGroup(), patience(timeout));
    const result = await this.#exit;
    clearTimeout(timer);
    if (result.signal === "SIGKILL") throw new Error(`${this.name} had to be killed; it wrote:\n${this.#output}`);
    return result;
  }

  // Ends it at once, as a crash would. What it has started goes on.
  async kill() {
    this.signal("SIGKILL");
    return this.#exit;
  }

  // Ends it at once with all that it has started: that would hold its output open.
  async killGroup() {
    try {
      process.kill(-this.pid, "SIGKILL");
    } catch {
      // nobody is left
    }
    return this.#exit;
  }
}
