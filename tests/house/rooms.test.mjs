// The rooms of the house: who may include whom is what the table in docs/architecture.md says, and no two files use
// each other.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { readFileSync } from "node:fs";
import path from "node:path";
import test from "node:test";
import { sourceDir } from "../kit/js/paths.mjs";

const kDocument = "docs/architecture.md";

// What is looked at: the sources that are shipped. Tests, benchmarks and fuzz targets may use everything.
const kUnbound = ["tests", "bench", "fuzz"];

function read(file) {
  return readFileSync(path.join(sourceDir, file), "utf8");
}

// Every C++ file below the project's folder that is not a product of the build.
function sources() {
  const patterns = ["*.h", "*.cpp"].flatMap((name) => ["-o", "-name", name]).slice(1);
  const skipped = ["build", "node_modules", ".git"].flatMap((name) => ["-o", "-name", name]).slice(1);
  const found = execFileSync("find", [".", "(", ...skipped, ")", "-prune", "-o", "(", ...patterns, ")", "-type", "f", "-print"], {
    cwd: sourceDir,
    encoding: "utf8",
  });
  return found
    .split("\n")
    .filter((file) => file !== "")
    .map((file) => file.slice(2))
    .filter((file) => !kUnbound.includes(file.split("/")[0]));
}

// The project's own files that a source includes.
function includes(file) {
  return [...read(file).matchAll(/^\s*#include "([^"]+)"/gm)].map((match) => match[1]);
}

// The rows "| `room/` | what it holds | `other/` … |" of the table of rooms: room → the rooms that it may use.
function roomTable(text) {
  const rooms = new Map();
  for (const row of text.matchAll(/^\| `([a-z_/*]+)\/` \|[^|]*\|([^|]*)\|$/gm)) {
    const allowed = [...row[2].matchAll(/`([a-z_/*]+)\/`/g)].map((match) => match[1]);
    rooms.set(row[1], allowed);
  }
  return rooms;
}

const matches = (pattern, folder) => pattern === folder || (pattern.endsWith("/*") && folder.startsWith(pattern.slice(0, -1)));

function violations(rooms, files) {
  const found = [];
  for (const file of files) {
    const folder = path.dirname(file);
    const room = [...rooms.keys()].find((name) => matches(name, folder));
    if (room === undefined) {
      found.push(
        `${file} is in the room ${folder}/, which the table of rooms in ${kDocument} does not name: add a row that says what the room holds and whom it may use`,
      );
      continue;
    }
    for (const used of includes(file)) {
      const other = path.dirname(used);
      if (other === folder || rooms.get(room).some((allowed) => matches(allowed, other))) continue;
      found.push(
        `${file} includes "${used}", but ${room}/ may only use ${rooms.get(room).join("/, ") || "nothing"}${rooms.get(room).length > 0 ? "/" : ""}: move what both need into a lower room, or pass it in from above`,
      );
    }
  }
  return found;
}

// A header and the source of the same name are one unit, and so is what a class hides in its "_impl". The first circle of
// units, or null.
function circle(files) {
  const unit = (file) => file.replace(/(_impl)?\.(h|cpp)$/, "");
  const uses = new Map();
  for (const file of files) {
    const own = uses.get(unit(file)) ?? new Set();
    for (const used of includes(file)) if (unit(used) !== unit(file)) own.add(unit(used));
    uses.set(unit(file), own);
  }
  const done = new Set();
  const way = [];
  const visit = (name) => {
    if (way.includes(name)) return [...way.slice(way.indexOf(name)), name];
    if (done.has(name)) return null;
    way.push(name);
    for (const next of uses.get(name) ?? []) {
      const found = visit(next);
      if (found) return found;
    }
    way.pop();
    done.add(name);
    return null;
  };
  for (const name of uses.keys()) {
    const found = visit(name);
    if (found) return found;
  }
  return null;
}

test("every include goes from a room to one that its row in the table allows", () => {
  const rooms = roomTable(read(kDocument));
  const files = sources();
  assert.ok(rooms.size > 15 && files.length > 200, "the table and the sources were found");
  assert.deepEqual(violations(rooms, files), []);
});

test("a table that allows less is noticed", () => {
  const rooms = roomTable(read(kDocument));
  rooms.set("json", []);
  const found = violations(rooms, ["json/websocket_send.cpp"]);
  assert.notEqual(found.length, 0);
  assert.match(found[0], /^json\/websocket_send\.cpp includes ".*", but json\/ may only use nothing: move what both need/);
});

test("the rooms of the table use each other in one direction only", () => {
  const rooms = roomTable(read(kDocument));
  const usedBy = (from) => [...rooms.keys()].filter((name) => rooms.get(from).some((allowed) => matches(allowed, name)));
  const reaches = (from, to, seen = new Set()) =>
    usedBy(from).some((next) => {
      if (next === to) return true;
      if (seen.has(next)) return false;
      seen.add(next);
      return reaches(next, to, seen);
    });
  for (const room of rooms.keys()) assert.ok(!reaches(room, room), `${room}/ uses itself over other rooms`);
});

test("no two files use each other, directly or over others", () => {
  assert.equal(circle(sources())?.join(" → ") ?? null, null);
});

test("no room holds more than 45 sources", () => {
  const counts = new Map();
  for (const file of sources()) counts.set(path.dirname(file), (counts.get(path.dirname(file)) ?? 0) + 1);
  assert.deepEqual(
    [...counts].filter(([, count]) => count > 45),
    [],
  );
});

test("the index of behaviours names files that exist", () => {
  const index = read(kDocument).split("## Where is it?")[1];
  const named = [...index.matchAll(/`([a-z0-9_]+(?:\/[a-z0-9_]+)+)`/g)].map((match) => match[1]);
  assert.ok(named.length > 30, "the index was found");
  const files = new Set(sources());
  assert.deepEqual(
    named.filter((name) => !files.has(`${name}.h`) && !files.has(`${name}.cpp`)),
    [],
  );
});
