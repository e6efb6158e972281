import assert from "node:assert/strict";
import { describe, test } from "node:test";
import { NetworkTime } from "../src/store/network_time";

describe("the network's time", () => {
  test("is unknown before the first value", () => {
    assert.ok(Number.isNaN(new NetworkTime().now(5, "a")));
  });

  test("is the newest stamp and the time since it arrived, whatever the browser's clock says", () => {
    const time = new NetworkTime();
    time.heard("a", 1_000, 500);
    assert.equal(time.now(2_500, "a"), 1_002);
  });

  test("is not led astray by a logger whose clock is far off", () => {
    const time = new NetworkTime();
    time.heard("a", 1_000, 0);
    time.heard("behind", 1_000 - 3_600, 0);
    time.heard("ahead", 1_000 + 86_400, 0);
    assert.equal(time.now(0, "a"), 1_000);
    // Before it is known which logger is the local one, the first one counts.
    assert.equal(time.now(0, null), 1_000);
  });

  test("does not jump when values arrive late", () => {
    const time = new NetworkTime();
    time.heard("a", 1_000, 0);
    time.heard("a", 1_001, 1_400);
    assert.ok(Math.abs(time.now(2_000, "a") - 1_002) < 0.01);
  });

  test("follows a clock that was set back", () => {
    const time = new NetworkTime();
    time.heard("a", 1_000, 0);
    time.heard("a", 400, 1_000);
    assert.equal(time.now(1_000, "a"), 400);
  });
});
