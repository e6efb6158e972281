import assert from "node:assert/strict";
import { describe, test } from "node:test";
import { Player } from "../src/worker/player";
import { Recorder, readRecording } from "../src/worker/recording";
import { World } from "./support/world";

async function recorded() {
  const recorder = new Recorder(1_000);
  recorder.add("sent", '{"command": "ping"}', 1_000);
  for (let index = 0; index < 10; index++) recorder.add("received", `frame ${index} "ä€😀"\n`, 1_000 + 100 * index);
  return readRecording(recorder.finish());
}

describe("a recorded session", () => {
  test("comes back frame by frame with its times", async () => {
    const frames = await recorded();
    assert.equal(frames.length, 11);
    assert.deepEqual(frames[0], { ms: 0, direction: "sent", text: '{"command": "ping"}' });
    assert.deepEqual(frames[10], { ms: 900, direction: "received", text: 'frame 9 "ä€😀"\n' });
  });

  for (const [text, reason] of [
    ["hello", "this is no recorded session"],
    ['{"format":"live-view-session","version":1}\n', "the recorded session is empty"],
    ['{"format":"live-view-session","version":1}\n[5]\n', "line 2 is no frame"],
  ] as const) {
    test(`that is none is refused: ${reason}`, () => assert.rejects(readRecording(new Blob([text])), { message: reason }));
  }

  test("is played at its speed, paused, sought and played again", async () => {
    const world = new World();
    const played: number[] = [];
    let cuts = 0;
    const player = new Player(world, await recorded(), { frame: (_, at) => played.push(at), moved: (_, cut) => (cuts += Number(cut)) });
    await world.pass(320);
    assert.deepEqual(played, [0, 100, 200, 300]);
    player.setPaused(true);
    await world.pass(1_000);
    assert.equal(played.length, 4);
    player.seek(700);
    assert.deepEqual(played.slice(4), [400, 500, 600, 700]);
    assert.equal(cuts, 0);
    player.seek(100);
    assert.equal(cuts, 1);
    assert.deepEqual(played.slice(8), [0, 100]);
    player.setSpeed(10);
    player.setPaused(false);
    await world.pass(200);
    assert.equal(played.at(-1), 900);
    assert.ok(player.paused);
    player.stop();
  });
});
