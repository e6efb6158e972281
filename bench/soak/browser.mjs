// One browser of the soak: comes, uses every command in an order of its own, and goes in one of several ways.
import { randomBytes } from "node:crypto";
import { Client } from "../../tests/kit/js/client.mjs";
import { completeInfo } from "../../tests/kit/js/network.mjs";
import { sleep } from "../../tests/kit/js/wait.mjs";

const kPatience = 30_000; // ms for an answer
const kGoingAway = 1001;

const kQuestions = [
  "ping",
  "get_logger_status",
  "get_ksl_network",
  "get_ksl_time_offset",
  "get_configs",
  "get_trigger_count",
  "get_trigger",
  "get_audio_list",
  "get_rcmonitor_names",
];

let uploads = 0;

const pick = (list) => list[Math.floor(Math.random() * list.length)];

function shuffled(list) {
  return list
    .map((entry) => [Math.random(), entry])
    .sort(([a], [b]) => a - b)
    .map(([, entry]) => entry);
}

async function ask(client, command, members) {
  const answer = await client.ask(command, members, kPatience);
  if (answer.status === "ERROR") throw new Error(`${command}: ${answer.error_code} ${answer.error_msg ?? ""}`);
  return answer;
}

// Some signals of each kind, for a few seconds.
async function watchSignals(client) {
  const { Streams: signals } = await client.ask("get_signal_names", {}, kPatience);
  const keys = shuffled(signals)
    .slice(0, 8)
    .map(({ signal_key }) => signal_key);
  for (const signal_key of keys) client.send({ command: "generic_start_sig", signal_key, interval: 200 });
  await client.answerTo("generic_sig_value", kPatience);
  await sleep(2000 + 6000 * Math.random());
  for (const signal_key of keys.slice(2)) client.send({ command: "generic_stop_sig", signal_key });
  await ask(client, "signal_forwarding_stop");
}

async function watchLoads(client) {
  await client.ask("get_bus_names", { active: 1 }, kPatience);
  await client.ask("busload_start", {}, kPatience);
  await client.answerTo("busload_data", kPatience);
  await sleep(1000 + 3000 * Math.random());
  await ask(client, "busload_stop");
}

async function keepConfiguration(client, id) {
  await ask(client, "save_config", { name: `soak-${id}`, config: "x".repeat(1000 + 20_000 * Math.random()) });
  await ask(client, "load_config", { name: `soak-${id}` });
  await ask(client, "delete_config", { name: `soak-${id}` });
}

async function upload(client) {
  const span = { start_time: 1_700_000_000 + uploads, end_time: 1_700_000_009 + uploads };
  uploads++;
  const answer = await client.ask("upload_audio_file", { name: "soak", file_extension: "wav", marker_id: "soak", ...span }, kPatience);
  if (answer.status !== "WAITING_FOR_DATA") throw new Error(`upload_audio_file: ${answer.status} ${answer.error_msg}`);
  if (Math.random() < 0.5) return ask(client, "cancel_data_upload");
  client.send(randomBytes(50_000));
  // A logger may have its reasons, for instance that another file has this second's name.
  await client.answerTo("upload_audio_file", kPatience);
  const { audio_list: list } = await client.ask("get_audio_list", {}, kPatience);
  if (list?.length > 0) await client.ask("set_audio_file", { audio_file: pick(list).name, ...span, marker_id: "soaked" }, kPatience);
}

async function watchMonitor(client) {
  client.send({ command: "start_monitor" });
  client.send({ command: "request_screen", index: String(Math.floor(10 * Math.random())) });
  await sleep(2000);
  client.send({ command: "stop_monitor" });
}

async function trigger(client) {
  await ask(client, "set_trigger", { marker_id: "soak" });
}

async function quit(client) {
  const way = pick(["close", "close_webapp", "vanish"]);
  if (way === "vanish") return client.terminate();
  if (way === "close") return client.close();
  client.send({ command: "close_webapp" });
  const { code } = await client.closed();
  if (code !== kGoingAway) throw new Error(`close_webapp closed with ${code}`);
}

// A whole visit to `url`; `id` tells the browsers apart. Throws what went wrong.
export async function visit(url, id) {
  const client = new Client(url);
  try {
    await client.opened(kPatience);
    await completeInfo(client);
    const doings = [watchSignals, watchLoads, keepConfiguration, upload, watchMonitor, trigger];
    for (const doing of shuffled([...doings, ...kQuestions])) {
      if (typeof doing === "string") await client.ask(doing, {}, kPatience);
      else await doing(client, id);
      client.skipAll();
    }
    await quit(client);
  } catch (error) {
    throw client.closeCode === undefined ? error : new Error(`closed with ${client.closeCode}: ${error.message}`, { cause: error });
  } finally {
    client.terminate();
  }
}
