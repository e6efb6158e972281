// A fresh Debian in a directory: runs commands in it, and starts what the units of its packages say.
import assert from "node:assert/strict";
import { spawn, spawnSync } from "node:child_process";
import { existsSync, readFileSync, rmSync, statSync, writeFileSync } from "node:fs";
import path from "node:path";
import { within } from "../kit/js/wait.mjs";

export const root = process.env.LV_ROOT;
const kEnvironment = { PATH: "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin", HOME: "/root", LANG: "C.UTF-8" };

export const at = (file) => path.join(root, file);
export const has = (file) => existsSync(at(file));
export const read = (file) => readFileSync(at(file), "latin1");
export const write = (file, text) => writeFileSync(at(file), text);
export const remove = (file) => rmSync(at(file), { recursive: true, force: true });

// Runs a command there; answers with its output, and throws when it fails.
export function run(command, ...args) {
  const env = { ...kEnvironment, DEBIAN_FRONTEND: "noninteractive" };
  const { status, stdout, stderr } = spawnSync("chroot", [root, command, ...args], { env, encoding: "utf8" });
  assert.equal(status, 0, `${command} ${args.join(" ")} ended with ${status}:\n${stdout}${stderr}`);
  return stdout;
}

// "user:group mode" of a file.
export function owner(file) {
  return run("stat", "-c", "%U:%G %a", file).trim();
}

// The members of a unit file, each with all its values.
export function unit(name) {
  const members = {};
  for (const line of read(`/lib/systemd/system/${name}`).split("\n")) {
    const [, key, value] = /^(\w+)=(.*)$/.exec(line) ?? [];
    if (key) (members[key] ??= []).push(value);
  }
  return members;
}

// What a manager of services does with a unit, as far as it can be done without one: user, environment, directories
// and commands. The protections of the file system are systemd's and are not there.
export class Service {
  #child;
  #ended;
  output = "";

  constructor(name, instance = "") {
    this.name = instance === "" ? name : name.replace("@", `@${instance}`);
    const members = unit(name);
    this.members = Object.fromEntries(
      Object.entries(members).map(([key, values]) => [key, values.map((value) => value.replaceAll("%i", instance))]),
    );
  }

  get pid() {
    return this.#child.pid;
  }

  start() {
    const user = this.members.User[0];
    this.#makeDirectories(user);
    const env = this.#environment();
    for (const command of this.members.ExecStartPre ?? []) {
      const { status, stderr } = spawnSync(...this.#as(user, command, env), { env, encoding: "utf8" });
      assert.equal(status, 0, stderr);
    }
    this.#child = spawn(...this.#as(user, this.members.ExecStart[0], env), { env });
    this.#child.stdout.on("data", (data) => (this.output += data));
    this.#child.stderr.on("data", (data) => (this.output += data));
    this.#ended = new Promise((resolve) => this.#child.once("exit", (code) => resolve(code)));
    return this;
  }

  signal(name) {
    this.#child.kill(name);
  }

  async stop(signal = "SIGTERM") {
    this.signal(signal);
    const code = await within(`${this.name} ends`, this.#ended, 60_000);
    for (const name of this.members.RuntimeDirectory ?? []) remove(`/run/${name}`);
    return code;
  }

  #as(user, command, env) {
    const words = command
      .split(" ")
      .flatMap((word) => (/^\$\w+$/.test(word) ? (env[word.slice(1)] ?? "").split(" ").filter(Boolean) : [word]));
    const group = this.members.Group[0];
    const identity = ["--reuid", user, "--regid", group, "--clear-groups", "--no-new-privs", "--bounding-set=-all", "--inh-caps=-all"];
    return ["chroot", [root, "setpriv", ...identity, ...words]];
  }

  #environment() {
    const env = { ...kEnvironment };
    const take = (line) => {
      const [, name, value] = /^(\w+)=(.*)$/.exec(line.trim()) ?? [];
      if (name) env[name] = value.replace(/^"(.*)"$/, "$1");
    };
    for (const line of this.members.Environment ?? []) take(line);
    for (const file of this.members.EnvironmentFile ?? []) {
      const name = file.replace(/^-/, "");
      if (has(name)) read(name).split("\n").forEach(take);
    }
    return env;
  }

  #makeDirectories(user) {
    const group = this.members.Group[0];
    for (const [member, above] of Object.entries({ RuntimeDirectory: "/run", StateDirectory: "/var/lib", LogsDirectory: "/var/log" })) {
      for (const name of this.members[member] ?? []) {
        const mode = this.members[`${member}Mode`]?.[0] ?? "755";
        run("install", "-d", "-m", mode, "-o", user, "-g", group, `${above}/${name}`);
      }
    }
  }
}

// The paths below these that have to do with Live View.
export function traces() {
  const found = run(
    "find",
    "/etc",
    "/lib/systemd",
    "/opt",
    "/usr",
    "/var",
    "/run",
    "-xdev",
    "-iregex",
    ".*\\(liveview\\|live-view\\|desklogger\\|sandorvale\\).*",
  );
  return found.split("\n").filter((line) => line !== "" && !line.startsWith("/var/cache/apt/"));
}

export const sizeOf = (file) => statSync(at(file)).size;
