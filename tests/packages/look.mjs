// A websocket client that runs in the Debian root, with its Node: looks at the whole live view once and says in one
// line of JSON what it saw.
//
//   node look.mjs <port> [name of a configuration to load]
import { Client } from "../kit/js/client.mjs";
import { completeInfo } from "../kit/js/network.mjs";

const [port, kept] = process.argv.slice(2);
const client = await Client.connect(`ws://127.0.0.1:${port}/live`, { origin: `http://127.0.0.1:${port}` });
const info = await completeInfo(client);

// The answer to a request that says more than once that it is not finished.
async function finished(command) {
  client.send({ command });
  for (;;) {
    const answer = await client.answerTo(command);
    if (answer.status === "OK") return answer;
  }
}

async function firstValueOf(signal) {
  client.send({ command: "generic_start_sig", signal_key: signal.signal_key, interval: 100 });
  for (;;) {
    const value = await client.answerTo("generic_sig_value");
    if (value.status === "OK") return value.value;
  }
}

async function upload(content) {
  const announced = await client.ask("upload_audio_file", {
    name: "note",
    file_extension: "wav",
    marker_id: "m",
    start_time: 1,
    end_time: 2,
  });
  if (announced.status !== "WAITING_FOR_DATA") return announced;
  client.send(content);
  return client.answerTo("upload_audio_file");
}

const { Streams: signals } = await finished("get_signal_names");
const value = await firstValueOf(signals[0]);
const loaded = kept === undefined ? undefined : (await client.ask("load_config", { name: kept })).config;
const saved = await client.ask("save_config", { name: "kept", config: "what was saved" });
const uploaded = await upload(Buffer.alloc(50_000, 1));
const { audio_list: audio } = await client.answerTo("get_audio_list");
const loggers = info.configs.map(({ mac, logger_name: name }) => ({ mac, name }));
const seen = { node: process.version, loggers, value, loaded, saved: saved.status, uploaded: uploaded.status, audio: audio.length };
console.log(JSON.stringify(seen));
client.terminate();
