// The page: joins the connection, the tables, one for each subject, the command form and the list of frames.

import { AudioTable } from "./audio.js";
import { BusTable } from "./buses.js";
import { ConfigurationTable } from "./configurations.js";
import { Connection } from "./connection.js";
import { FrameLog } from "./frames.js";
import { LoggerTable } from "./loggers.js";
import { MonitorTable } from "./monitor.js";
import { SignalTable } from "./signals.js";
import { TriggerTable } from "./triggers.js";

const kCommands = [
  "get_logger_info",
  "get_logger_status",
  "get_ksl_network",
  "get_ksl_time_offset",
  "get_bus_names",
  "get_signal_names",
  "busload_start",
  "busload_stop",
  "get_trigger",
  "get_trigger_count",
  "set_trigger",
  "get_configs",
  "get_audio_list",
  "get_rcmonitor_names",
  "ping",
  "close_webapp",
];
// ms until incomplete logger info is asked for again; doubles with each time, since asking begins the collection
// anew and a slow logger's answer is then waited for from the start
const kShortestInfoPause = 1_000;
const kLongestInfoPause = 30_000;
const kInfoTimeout = 8_000; // ms until logger info whose answer never came is asked for again
const kStatusInterval = 15_000; // ms between two looks at the loggers' states

const element = (id) => document.getElementById(id);
const connection = new Connection(new URL("live", location.href.replace(/^http/, "ws")).href);
const loggers = new LoggerTable(element("loggers"), element("loggers-note"));
const frames = new FrameLog(element("frames"));
const sendRequest = (request) => connection.send(JSON.stringify(request));
const signals = new SignalTable(element("signals"), element("signals-note"), element("signal-filter"), sendRequest);
const buses = new BusTable(element("buses"), element("buses-note"), element("busload"), sendRequest);
const triggers = new TriggerTable(element("triggers"), element("triggers-note"), element("trigger-form"), sendRequest);
const monitor = new MonitorTable(element("monitor"), element("monitor-note"), element("screen"), element("monitor-run"), sendRequest);
const sendData = (file) => connection.sendData(file);
const audio = new AudioTable(element("audio"), element("audio-note"), element("audio-form"), sendRequest, sendData);
const configurations = new ConfigurationTable(
  element("configurations"),
  element("configurations-note"),
  element("configuration-form"),
  sendRequest,
);

let infoTimer = 0;
let infoPause = kShortestInfoPause;
let statusTimer = 0;
let signalsAsked = false;

function send(command) {
  return connection.send(JSON.stringify({ command }));
}

// A collection that some logger does not answer may never be sent: the page keeps time itself.
function askForInfo() {
  clearTimeout(infoTimer);
  infoTimer = setTimeout(askForInfo, kInfoTimeout);
  send("get_logger_info");
}

function showInfo(answer) {
  clearTimeout(infoTimer);
  loggers.setInfo(answer);
  element("network-name").textContent = answer.ksl_name ?? "";
  if (answer.status !== "OK") {
    infoTimer = setTimeout(askForInfo, infoPause);
    infoPause = Math.min(kLongestInfoPause, 2 * infoPause);
    return;
  }
  if (!signalsAsked) {
    signals.ask();
    for (const table of [buses, triggers, monitor, audio, configurations]) table.setReady();
  }
  signalsAsked = true;
  element("list-signals").disabled = false;
  send("get_logger_status");
  clearInterval(statusTimer);
  statusTimer = setInterval(() => send("get_logger_status"), kStatusInterval);
}

function stopAsking() {
  clearTimeout(infoTimer);
  clearInterval(statusTimer);
}

function asObject(text) {
  try {
    const value = JSON.parse(text);
    return value !== null && typeof value === "object" ? value : null;
  } catch {
    return null;
  }
}

connection.addEventListener("state", ({ detail: { state, text } }) => {
  const label = element("connection");
  label.dataset.state = state;
  label.textContent = text;
  element("send").disabled = state !== "open";
  element("reconnect").hidden = state !== "closed";
  frames.add("note", text);
  stopAsking();
  infoPause = kShortestInfoPause;
  if (state === "open") askForInfo();
  else {
    for (const table of [loggers, signals, buses, triggers, monitor, audio, configurations]) table.setStale();
  }
  signalsAsked = false;
  element("list-signals").disabled = true;
});

connection.addEventListener("frame", ({ detail: { kind, text } }) => {
  const message = asObject(text);
  // Values may come in such numbers that a list of them is only for who asks for it.
  const isValue =
    message?.response === "signal_message" ||
    (["generic_sig_value", "busload_data"].includes(message?.response) && message.status === "OK");
  if (!isValue || element("show-values").checked) frames.add(kind, text, message);
  if (kind !== "received" || !message) return;
  if (message.response === "get_logger_info" && message.configs) showInfo(message);
  if (message.response === "get_logger_status" && message.logger_status) loggers.setStatus(message);
  for (const table of [signals, buses, triggers, monitor, audio, configurations]) table.take(message);
});

function useCommand(command) {
  element("request").value = JSON.stringify({ command }, null, 4);
}

element("command-list").append(...kCommands.map((command) => new Option(command)));
element("command-list").addEventListener("change", (event) => useCommand(event.target.value));
element("command-form").addEventListener("submit", (event) => {
  event.preventDefault();
  connection.send(element("request").value);
});
element("request").addEventListener("keydown", (event) => {
  if (event.key === "Enter" && (event.ctrlKey || event.metaKey)) element("command-form").requestSubmit();
});
element("reconnect").addEventListener("click", () => connection.connect());
element("show-pings").addEventListener("change", (event) => frames.showPings(event.target.checked));
element("list-signals").addEventListener("click", () => signals.ask());
element("clear").addEventListener("click", () => frames.clear());
addEventListener("online", () => {
  if (element("connection").dataset.state === "closed") connection.connect();
});

useCommand(kCommands[0]);
connection.connect();
