// What the worst frames make of themselves: answers, log and memory.
import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { after, before, test } from "node:test";
import { Network } from "../../kit/js/network.mjs";
import * as paths from "../../kit/js/paths.mjs";

const MiB = 1024 * 1024;

let network;
before(async () => {
  network = await Network.start();
  network.expectInLog(/./); // what is quoted there is whatever was sent
});
after(() => network?.stop());

const zeros = (levels, count) => `${"[".repeat(levels)}${"0,".repeat(count - 1)}0${"]".repeat(levels)}`;

// Frames that are quoted, each close to what is still taken.
const frames = {
  "small and deep": `{"x":${zeros(31, 7_900)}}`,
  "large and not as deep": `{"x":${zeros(6, 1_900_000)}}`,
  "large and flat": `{"x":${zeros(1, 2_000_000)}}`,
  "full of quotes": `{"x":"${'\\"'.repeat(2_000_000)}"}`,
  "no object": zeros(31, 2_000_000),
  "no JSON": "\u0001".repeat(4 * MiB),
};

for (const [name, frame] of Object.entries(frames)) {
  test(`a frame that is ${name} costs no more than a few times its limit`, async () => {
    const { log } = network.apache;
    const client = await network.connectReady();
    const logged = log.text.length;
    const children = () =>
      readFileSync(`/proc/${network.apache.part.pid}/task/${network.apache.part.pid}/children`, "utf8").trim().split(" ");
    const peak = () =>
      Math.max(
        ...children().map((pid) => {
          try {
            return Number(/^VmHWM:\s+(\d+)/m.exec(readFileSync(`/proc/${pid}/status`, "utf8"))[1]) * 1024;
          } catch {
            return 0; // it has just ended
          }
        }),
      );
    const limit = Math.max(MiB, 16 * frame.length);
    client.send(frame);
    const answer = await client.next(60_000);
    assert.equal(answer.response, "undef_cmd");
    const answered = client.textOf(answer).length;
    const added = log.text.length - logged - frame.length;
    // Quoting escapes what is quoted once more.
    assert.ok(answered < 2 * limit, `${answered} bytes of answer for ${frame.length}`);
    assert.ok(added < 4 * limit, `${added} bytes of log for ${frame.length}`);
    if (!paths.sanitizers) assert.ok(peak() < 1024 * MiB, `${peak()} bytes of memory`);

    await client.close();
  });
}
