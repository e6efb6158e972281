// Runs the page's unit tests with node's own runner: node test.mjs <directory for the bundles> [filter].
import { build } from "esbuild";
import { spawnSync } from "node:child_process";
import { mkdirSync, readdirSync, rmSync } from "node:fs";
import path from "node:path";
import { fileURLToPath } from "node:url";
import { options } from "./build.mjs";

const here = path.dirname(fileURLToPath(import.meta.url));
const outdir = path.resolve(process.argv[2] ?? path.join(here, "dist/tests"));
const filter = process.argv[3] ?? "";

rmSync(outdir, { recursive: true, force: true });
mkdirSync(outdir, { recursive: true });
const files = readdirSync(path.join(here, "tests"), { recursive: true })
  .map(String)
  .filter((file) => /\.test\.tsx?$/.test(file) && file.includes(filter));
const entries = Object.fromEntries(files.map((file) => [file.replace(/\.tsx?$/, "").replaceAll(path.sep, "_"), path.join("tests", file)]));
await build({ ...options(outdir, entries), minify: false, platform: "node", target: "node18", outExtension: { ".js": ".mjs" } });
const bundles = Object.keys(entries).map((name) => path.join(outdir, `${name}.mjs`));
const { status } = spawnSync(process.execPath, ["--enable-source-maps", "--test", "--test-reporter=spec", ...bundles], {
  stdio: "inherit",
});
process.exit(status ?? 1);
