// Builds the page: node build.mjs [directory] [--states]. Bundles what src/ holds and copies what the browser takes as it is.
import { build } from "esbuild";
import { cpSync, existsSync, mkdirSync, readFileSync, rmSync } from "node:fs";
import path from "node:path";
import { fileURLToPath } from "node:url";

const here = path.dirname(fileURLToPath(import.meta.url));

const kVersion = readFileSync(path.join(here, "../VERSION"), "utf8").trim();

/// Entry points by the name of what they become. The worker has a file of its own: a strict policy allows no other.
const kPage = { app: "src/main.tsx", worker: "src/worker/feed_worker.ts", style: "src/styles/main.css" };
/// Shown by developers and photographed by tests, not by the package.
const kStates = { states: "src/views/gallery/main.tsx", moving: "src/views/gallery/moving.ts" };

export function options(outdir, entries) {
  return {
    absWorkingDir: here,
    entryPoints: Object.entries(entries)
      .filter(([, file]) => existsSync(path.join(here, file)))
      .map(([out, file]) => ({ in: file, out })),
    outdir,
    bundle: true,
    format: "esm",
    target: ["chrome107", "firefox115", "safari16"],
    define: { LIVE_VIEW_VERSION: JSON.stringify(kVersion) },
    jsx: "automatic",
    jsxImportSource: "preact",
    loader: { ".woff2": "file", ".svg": "file" },
    assetNames: "[name]-[hash]",
    minify: true,
    sourcemap: "linked",
    legalComments: "eof",
    logLevel: "warning",
  };
}

/// Makes `outdir` the page's directory; what was there before is gone.
export async function buildPage(outdir) {
  rmSync(outdir, { recursive: true, force: true });
  mkdirSync(outdir, { recursive: true });
  await build(options(outdir, kPage));
  for (const file of ["index.html", "icon.svg"]) cpSync(path.join(here, file), path.join(outdir, file));
}

/// The page that shows every view in every state, beside the page itself.
export async function buildStates(outdir) {
  await build(options(outdir, kStates));
  if (existsSync(path.join(here, "states.html"))) cpSync(path.join(here, "states.html"), path.join(outdir, "states.html"));
}

if (process.argv[1] === fileURLToPath(import.meta.url)) {
  const outdir = path.resolve(process.argv.slice(2).find((argument) => !argument.startsWith("--")) ?? path.join(here, "dist"));
  await buildPage(outdir);
  if (process.argv.includes("--states")) await buildStates(outdir);
}
