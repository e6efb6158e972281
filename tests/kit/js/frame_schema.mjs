// The machine-readable description of all frames, and whether a frame is as it says.
import Ajv from "ajv/dist/2020.js";
import { readFileSync } from "node:fs";
import path from "node:path";
import { sourceDir } from "./paths.mjs";

const ajv = new Ajv({ strict: true, strictTypes: false, strictRequired: false, allErrors: false });
const schema = JSON.parse(readFileSync(path.join(sourceDir, "docs/frames.schema.json"), "utf8"));
// The values of "response" whose frames carry data.
export const kDescribedFrames = Object.keys(schema.$defs)
  .filter((name) => name.startsWith("frame.") && name !== "frame.any")
  .map((name) => name.slice("frame.".length));

const validate = ajv.compile(schema);

// Why a frame, parsed, is not as described; null when it is.
export function whyNotAsDescribed(frame) {
  return validate(frame) ? null : ajv.errorsText(validate.errors, { dataVar: "frame" });
}
