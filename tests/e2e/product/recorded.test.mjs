// An exchange that was recorded on 64-bit x86 and is compared byte for byte on every architecture: texts,
// 64-bit numbers, error offsets and number formats must not depend on the size of anything.
//
// LV_RECORD=1 writes the recording anew, for a change of the protocol.
import assert from "node:assert/strict";
import { readFileSync, writeFileSync } from "node:fs";
import { after, before, test } from "node:test";
import { fileURLToPath } from "node:url";
import { Network } from "../../kit/js/network.mjs";

const kRecording = fileURLToPath(new URL("recorded/exchange.json", import.meta.url));

// What is sent, and which frame ends its answer: the first, or the first with this response and status OK.
const kSteps = [
  { send: '{"command":"get_logger_info"}', until: "get_logger_info" },
  { send: '{"command":"get_logger_status"}', until: "get_logger_status" },
  { send: '{"command":"get_ksl_network"}', until: "get_ksl_network" },
  { send: '{"command":"get_ksl_time_offset"}', until: "get_ksl_time_offset" },
  { send: '{"command":"ping"}' },
  { send: "" },
  { send: "undefined" },
  { send: "{}" },
  { send: '[1,2.5,"\u00e4"]' },
  { send: '{"command":"ping","x":1e400}' },
  { send: '{"command":"ping","x":"\\ud800"}' },
  { send: '{"command":"ping",' + " ".repeat(5000) + "}" },
  { send: "[".repeat(100000) },
  { send: '{"command":5}' },
  { send: '{"command":-5.25}' },
  { send: '{"x":[18446744073709551615,-9223372036854775808,0.1,1e21,1e-7,123456789.125,5e-324]}' },
  { send: '{"command":"upload_audio_file","name":"n","marker_id":"m","start_time":-1,"end_time":2}' },
  { send: '{"command":"upload_audio_file","name":"n","marker_id":"m","start_time":4294967296,"end_time":2}' },
  { send: '{"command":"upload_audio_file","name":"n","marker_id":"m","start_time":2.5,"end_time":2}' },
  { send: '{"command":"upload_audio_file","name":"n","marker_id":"m","start_time":4294967295,"end_time":2}' },
  { send: '{"command":"request_screen","index":"10"}' },
  { send: '{"command":"load_config","name":"none"}' },
  { send: '{"command":"no_such_command"}' },
];

let network;

before(async () => {
  network = await Network.start({ networkName: "Recorded \u00fc" });
  network.expectInLog(/^\[ERROR\]/);
});

after(() => network.stop());

async function play() {
  const client = await network.connectReady();
  const played = [];
  for (const { send, until } of kSteps) {
    client.skipAll();
    client.send(send);
    let answer = await client.next();
    while (until && !(answer.response === until && answer.status === "OK")) answer = await client.next();
    played.push({
      send: send.length > 200 ? `${send.slice(0, 40)} (${send.length} characters)` : send,
      answer: shortened(client.textOf(answer)),
    });
  }
  return played;
}

// Answers that repeat a long request are recorded by their beginning, length and end.
function shortened(text) {
  return text.length > 20000 ? [text.slice(0, 200), text.length, text.slice(-200)] : text;
}

test("the frames are those of the recording", async () => {
  const played = await play();
  if (process.env.LV_RECORD) writeFileSync(kRecording, JSON.stringify(played, null, 1) + "\n");
  const recorded = JSON.parse(readFileSync(kRecording, "utf8"));
  for (const [index, step] of recorded.entries()) assert.deepEqual(played[index], step);
  assert.equal(played.length, recorded.length);
});
