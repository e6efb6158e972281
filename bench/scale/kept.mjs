// Where the measurements are kept that docs/scale.md is made of.
import { existsSync, readFileSync, writeFileSync } from "node:fs";
import os from "node:os";
import path from "node:path";
import { sourceDir } from "../../tests/kit/js/paths.mjs";

const kFile = path.join(sourceDir, "docs/scale/measured.json");

export const kept = () => (existsSync(kFile) ? JSON.parse(readFileSync(kFile, "utf8")) : { machine: "", axes: {} });

// Four digits: the rest is noise.
const shortened = (name, value) => (typeof value === "number" && !Number.isInteger(value) ? Number(value.toPrecision(4)) : value);

// A point takes the place of the one of the same size.
export function keep(axis, size, point) {
  const all = kept();
  all.machine = `${os.cpus().length} processors (${os.cpus()[0].model}), ${Math.round(os.totalmem() / 2 ** 30)} GB`;
  const others = (all.axes[axis] ?? []).filter((other) => other[size] !== point[size]);
  all.axes[axis] = [...others, point].sort((a, b) => a[size] - b[size]);
  writeFileSync(kFile, `${JSON.stringify(all, shortened, 1)}\n`);
}
