// The description of all frames against the examples of the protocol's document, and against frames that are none.
import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import path from "node:path";
import { describe, test } from "node:test";
import { kDescribedFrames, whyNotAsDescribed } from "./frame_schema.mjs";
import { sourceDir } from "./paths.mjs";

// The frames that the document shows whole: what follows "<" in its blocks.
function documentedFrames() {
  const text = readFileSync(path.join(sourceDir, "docs/protocol.md"), "utf8");
  const blocks = [...text.matchAll(/```\n([^]*?)```/g)].map(([, block]) => block);
  const shown = blocks.flatMap((block) => [...block.matchAll(/^< (\{[^]*?^ {2}\})$/gm)].map(([, frame]) => frame));
  return shown.filter((frame) => !/^\s+\.\.\.$/m.test(frame)).map((frame) => JSON.parse(frame));
}

describe("the description of frames", () => {
  const frames = documentedFrames();

  test("holds for every example of the protocol's document", () => {
    assert.ok(frames.length > 60);
    for (const frame of frames) assert.equal(whyNotAsDescribed(frame), null, JSON.stringify(frame));
  });

  test("names no kind of frame that the document does not show", () => {
    const text = readFileSync(path.join(sourceDir, "docs/protocol.md"), "utf8");
    for (const name of kDescribedFrames) assert.ok(text.includes(`"response": "${name}"`), name);
  });

  for (const [what, frame] of Object.entries({
    "an array": [],
    "no response": { status: "OK" },
    "no status": { response: "ping" },
    "an unknown status": { response: "ping", status: "FINE" },
    "an unknown error code": { response: "ping", status: "ERROR", error_code: "bad" },
    "an error code with success": { response: "ping", status: "OK", error_code: "unspecified" },
    "a member that no frame has": { response: "ping", status: "OK", more: 1 },
    "data of another command": { response: "get_configs", index: 1, status: "OK" },
    "success without the data": { response: "get_configs", status: "OK" },
    "a key that is no pair": { response: "generic_stop_sig", signal_key: ["Speed"], interval: -1, status: "OK" },
    "a status on a monitor's value": { response: "signal_message", name: "a", value: "1", unit: "", status: "OK", index: 1 },
    "a time that is text": { response: "set_trigger", number: 1, timestamp: "1", time_zone: "", marker_id: "", status: "OK" },
  })) {
    test(`does not hold for ${what}`, () => assert.notEqual(whyNotAsDescribed(frame), null));
  }
});
