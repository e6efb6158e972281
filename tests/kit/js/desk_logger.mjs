// One desk logger of a test's network.
import { execFile } from "node:child_process";
import { writeFileSync } from "node:fs";
import path from "node:path";
import { promisify } from "node:util";
import { Part } from "./part.mjs";
import * as paths from "./paths.mjs";
import { until } from "./wait.mjs";

export class DeskLogger {
  #environment;

  // Complaints on its output that are no surprise.
  expected = [];

  // description: who it is, and `scenario`, an object that becomes its scenario file; `args`, more options of
  // the program; `behind`, by how many seconds its clock is wrong, which its offset then tells.
  constructor(network, description) {
    Object.assign(
      this,
      {
        config: `Configuration of ${description.name}`,
        timezone: "Europe/Berlin",
        softwareVersion: "1.0.0",
        status: 0,
        timeOffset: 0,
        source: "drive",
        // Long: a logger that a busy machine has no time for has not left, and a change of the network ends sessions.
        neighboursTimeout: "30s",
        heartbeat: "100ms",
        args: [],
      },
      description,
    );
    this.#environment = { ...network.environment(this.mac), ...(this.behind ? paths.wrongClock(-this.behind) : {}) };
    if (this.behind) this.timeOffset = this.behind * 1e6;
    const options = [
      ["--mac", this.mac],
      ["--name", this.name],
      ["--type", this.type],
      ["--source", this.source],
      ["--config-name", this.config],
      ["--timezone", this.timezone],
      ["--software-version", this.softwareVersion],
      ["--status", this.status],
      ["--time-offset", this.timeOffset],
      ["--heartbeat", this.heartbeat],
      ["--neighbours-timeout", this.neighboursTimeout],
      // Where root runs the tests the web server's children are somebody else.
      ["--upload-user", process.getuid() === 0 ? "www-data" : process.getuid()],
      ...this.args,
    ];
    if (this.scenario) options.push(["--scenario", this.#scenarioFile(network.dir)]);
    // With "=", so that a value may begin with "-".
    const args = options.map(([option, value]) => `${option}=${value}`);
    this.part = new Part(`desk logger ${this.name}`, paths.deskLogger, args, { env: this.#environment });
  }

  // Resolved once it answers requests.
  async started() {
    await until(
      () => `${this.part.name} is ready; it wrote: ${this.part.output}`,
      () => {
        if (!this.part.running) throw new Error(`${this.part.name} has ended: ${this.part.output}`);
        return this.part.output.includes(`desklogger ${this.mac} ready\n`);
      },
    );
  }

  // Makes it tell its clients a state.
  async tell(state) {
    await promisify(execFile)(paths.deskLogger, ["--mac", this.mac, "--tell", state], {
      env: { ...process.env, ...this.#environment },
    });
  }

  // Leaves the network in good order. What a well-behaved logger complains about is an error.
  async stop() {
    if (!this.part.running) return;
    await this.part.stop();
    const complaints = this.part.output
      .split("\n")
      .filter((line) => /^\[ERROR\]|^desklogger: |Sanitizer|runtime error:/.test(line))
      .filter((line) => !this.expected.some((pattern) => pattern.test(line)));
    if (complaints.length > 0) throw new Error(`${this.part.name} complained:\n${complaints.join("\n")}`);
  }

  // Vanishes without a word.
  async kill() {
    await this.part.kill();
  }

  #scenarioFile(dir) {
    const file = path.join(dir, `scenario-${this.mac.replaceAll(":", "")}.json`);
    writeFileSync(file, JSON.stringify(this.scenario));
    return file;
  }
}
