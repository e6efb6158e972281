// The directory in which the plug-in keeps configurations, as an installation makes it.
import { execFileSync } from "node:child_process";
import { readdirSync, rmSync } from "node:fs";
import path from "node:path";
import * as paths from "./paths.mjs";

// Who the web server's children are.
export const kUser = process.getuid() === 0 ? "www-data" : String(process.getuid());

// Makes the directory anew, empty. For tests that have a /var/opt of their own.
export function makeConfigurations() {
  rmSync(paths.configurations, { recursive: true, force: true });
  execFileSync(path.join(paths.sourceDir, "packaging/configuration-directory"), [kUser]);
}

export const configurationFile = (name) => path.join(paths.configurations, name);
export const storedConfigurations = () => readdirSync(paths.configurations).sort();

// A small file system of its own in the place of a directory, while `body` runs: its disk is full soon. Root only.
export async function onSmallDisk(directory, kilobytes, body) {
  execFileSync("mount", ["-t", "tmpfs", "-o", `size=${kilobytes}k,mode=1777`, "small", directory]);
  try {
    return await body();
  } finally {
    execFileSync("umount", ["--lazy", directory]);
  }
}

// Why a test that needs a file system of its own cannot run; false where it can.
export const noSmallDisk = (process.getuid() !== 0 || !paths.isolated) && "needs root and a file system of its own";
