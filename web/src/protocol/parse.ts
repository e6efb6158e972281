/// The one place where text from the logger becomes typed frames: every member is checked before it is believed.
import { isInexact, numberText } from "./exact_number";
import type { AudioEntry, BusName, Frame, Key, LoggerInfo, Marker, MostFigures, Outcome, OutcomeOnly, Status, Stream } from "./types";
import { readPlainValue } from "./value_text";

/// What is wrong with a frame. `message` names the member.
export class BadFrame extends Error {
  override readonly name = "BadFrame";
}

type Members = Readonly<Record<string, unknown>>;

const kStatuses: ReadonlySet<unknown> = new Set<Status>(["OK", "ERROR", "PROGRESS", "WAITING_FOR_DATA"]);
const kBusMembers = ["krp_status", "krp_error_code", "krp_error_description"];
const kOutcomeOnly: ReadonlySet<string> = new Set<OutcomeOnly>([
  "ping",
  "krpbus",
  "undef_cmd",
  "generic_start",
  "signal_forwarding_start",
  "signal_forwarding_stop",
  "busload_start",
  "busload_stop",
  "delete_config",
  "cancel_data_upload",
  "set_audio_file",
  "request_screen",
]);
const kMostFigures = [
  "num_control_msg",
  "bytes_control_msg",
  "num_mdp_msg",
  "bytes_mdp_msg",
  "num_mep_msg",
  "bytes_mep_msg",
  "num_streaming_ch",
  "streaming_ch_size",
] as const;

/// How values begin, which are by far the most frames.
const kValueHead = '{\n    "response": "generic_sig_value",';

/// The name in a frame's first member, without parsing the rest; "" where the frame does not begin with it.
export function responseName(text: string): string {
  if (text.startsWith(kValueHead)) return "generic_sig_value";
  return /^\s*\{\s*"response"\s*:\s*"([^"\\]*)"/.exec(text.slice(0, 200))?.[1] ?? "";
}

/// Throws BadFrame for what is no frame of this protocol.
export function parseFrame(text: string): Frame {
  const value = readPlainValue(text);
  if (value !== null) return value;
  let json: unknown;
  try {
    json = JSON.parse(text);
  } catch (error) {
    throw new BadFrame(`not JSON: ${error instanceof Error ? error.message : String(error)}`);
  }
  const members = objectOf(json, "the frame");
  const response = textOf(members, "response");
  const outcome = outcomeOf(members);
  switch (response) {
    case "generic_sig_value":
      return { response, ...outcome, key: keyOf(members), ...valueOf(members, outcome, text) };
    case "busload_data":
      return busload(members, outcome);
    case "get_logger_info":
      return {
        response,
        ...outcome,
        networkName: optionalText(members, "ksl_name"),
        configs: listOf(members, "configs", loggerInfo) ?? [],
      };
    case "get_ksl_network":
      return { response, ...outcome, neighbours: listOf(members, "ksl_network", plainText) };
    case "get_logger_status":
      return {
        response,
        ...outcome,
        states: listOf(members, "logger_status", (entry) => ({ mac: textOf(entry, "mac"), status: textOf(entry, "status") })),
      };
    case "get_ksl_time_offset":
      return {
        response,
        ...outcome,
        offsets: listOf(members, "offset", (entry) => ({ mac: textOf(entry, "mac"), offset: numberOf(entry, "time_offset") })),
      };
    case "get_signal_names":
      return { response, ...outcome, streams: listOf(members, "Streams", stream) };
    case "generic_start_sig":
    case "generic_stop_sig":
      return { response, ...outcome, key: "signal_key" in members && Array.isArray(members["signal_key"]) ? keyOf(members) : null };
    case "get_bus_names":
      return { response, ...outcome, buses: listOf(members, "busnames", busName), source: optionalText(members, "source") };
    case "set_trigger":
      if (outcome.status === "ERROR") return { response: "other", ...outcome, name: response };
      return { response, ...outcome, ...marker(members) };
    case "get_trigger_count":
      return { response, ...outcome, index: "index" in members ? numberOf(members, "index") : null };
    case "get_trigger":
      return { response, ...outcome, markers: listOf(members, "markers", marker), source: optionalText(members, "source") };
    case "get_configs":
      return { response, ...outcome, names: listOf(members, "configs", (entry) => textOf(entry, "name")) };
    case "load_config":
      return { response, ...outcome, name: optionalText(members, "name"), config: optionalText(members, "config") };
    case "save_config":
      return { response, ...outcome, name: optionalText(members, "name") };
    case "upload_audio_file":
      return { response, ...outcome, name: optionalText(members, "name") };
    case "get_audio_list":
      return { response, ...outcome, files: listOf(members, "audio_list", audioEntry) };
    case "get_rcmonitor_names":
      return {
        response,
        ...outcome,
        monitors: listOf(members, "rc_monitors", (entry) => ({ index: numberOf(entry, "index"), name: textOf(entry, "name") })),
      };
    case "signal_message":
      return { response, ...outcome, name: textOf(members, "name"), value: textOf(members, "value"), unit: textOf(members, "unit") };
    default:
      if (kOutcomeOnly.has(response)) return { response: response as OutcomeOnly, ...outcome };
      return { response: "other", ...outcome, name: response };
  }
}

function outcomeOf(members: Members): Outcome {
  const status = members["status"];
  if (status !== undefined && !kStatuses.has(status)) throw new BadFrame('"status" is none that is known');
  const bus = kBusMembers.some((name) => name in members) ? kBusMembers.map((name) => optionalText(members, name)) : [];
  return {
    status: (status as Status | undefined) ?? "",
    errorCode: optionalText(members, "error_code"),
    errorMessage: optionalText(members, "error_msg"),
    busError: bus.filter((part) => part !== "").join(", "),
  };
}

function valueOf(members: Members, outcome: Outcome, frame: string) {
  const description = optionalText(members, "value_description");
  if (!("value" in members)) {
    if (outcome.status !== "ERROR") throw new BadFrame('"value" is missing');
    return { offset: 0, timestamp: NaN, number: null, text: "", description };
  }
  const offset = "ksl_offset" in members ? numberOf(members, "ksl_offset") : 0;
  const timestamp = numberOf(members, "timestamp");
  const value = members["value"];
  if (typeof value === "string") return { offset, timestamp, number: null, text: value, description };
  if (typeof value !== "number") throw new BadFrame('"value" is neither a number nor a text');
  const text = isInexact(value) ? numberText(frame, "value") : "";
  return { offset, timestamp, number: Number.isFinite(value) ? value : null, text, description };
}

function busload(members: Members, outcome: Outcome): Frame {
  const frame = {
    response: "busload_data",
    ...outcome,
    timestamp: numberOf(members, "timestamp"),
    loggerName: optionalText(members, "logger_name"),
  } as const;
  const data = objectOf(members["data"], '"data"');
  if ("bus_status_string" in data) {
    const figures: MostFigures = kMostFigures.filter((name) => name in data).map((name) => [name, numberOf(data, name)] as const);
    return { ...frame, kind: "most", statusText: textOf(data, "bus_status_string"), figures };
  }
  const channel = numberOf(data, "channel");
  const name = textOf(data, "name");
  const value = numberOf(data, "value");
  if ("gps_status" in data) return { ...frame, kind: "gps", channel, name, gpsStatus: textOf(data, "gps_status"), value };
  return {
    ...frame,
    kind: "bus",
    busId: textOf(data, "bus_id"),
    channel,
    offset: numberOf(data, "ksl_offset"),
    name,
    unit: textOf(data, "unit"),
    value,
  };
}

function loggerInfo(entry: Members): LoggerInfo {
  return {
    mac: textOf(entry, "mac"),
    name: textOf(entry, "logger_name"),
    configName: textOf(entry, "config_name"),
    timeZone: textOf(entry, "timezone"),
    type: textOf(entry, "logger_type"),
    softwareVersion: textOf(entry, "softwareVersion"),
  };
}

function stream(entry: Members): Stream {
  return {
    key: keyOf(entry),
    loggerName: textOf(entry, "logger_name"),
    busId: textOf(entry, "bus_id"),
    channel: numberOf(entry, "channel"),
    offset: numberOf(entry, "ksl_offset"),
    unit: textOf(entry, "unit"),
  };
}

function busName(entry: Members): BusName {
  return {
    busId: textOf(entry, "bus_id"),
    channel: numberOf(entry, "channel"),
    offset: numberOf(entry, "ksl_offset"),
    name: textOf(entry, "bus_name"),
  };
}

function marker(entry: Members): Marker {
  return {
    number: numberOf(entry, "number"),
    timestamp: numberOf(entry, "timestamp"),
    timeZone: textOf(entry, "time_zone"),
    markerId: textOf(entry, "marker_id"),
  };
}

function audioEntry(entry: Members): AudioEntry {
  return {
    name: textOf(entry, "name"),
    markerId: textOf(entry, "marker_id"),
    startTime: numberOf(entry, "start_time"),
    endTime: numberOf(entry, "end_time"),
  };
}

function keyOf(members: Members): Key {
  const key = members["signal_key"];
  if (Array.isArray(key) && key.length === 2 && typeof key[0] === "string" && typeof key[1] === "string") return [key[0], key[1]];
  throw new BadFrame('"signal_key" is no pair of texts');
}

function objectOf(value: unknown, what: string): Members {
  if (typeof value === "object" && value !== null && !Array.isArray(value)) return value as Members;
  throw new BadFrame(`${what} is no object`);
}

function textOf(members: Members, name: string): string {
  const value = members[name];
  if (typeof value === "string") return value;
  throw new BadFrame(`"${name}" is ${value === undefined ? "missing" : "no text"}`);
}

function optionalText(members: Members, name: string): string {
  return members[name] === undefined ? "" : textOf(members, name);
}

function numberOf(members: Members, name: string): number {
  const value = members[name];
  if (typeof value === "number" && Number.isFinite(value)) return value;
  throw new BadFrame(`"${name}" is ${value === undefined ? "missing" : "no number"}`);
}

/// A list of texts hands its entries on as they are, one of objects each as an object; null where there is no list.
function listOf<T>(members: Members, name: string, read: (entry: Members) => T): T[] | null {
  const value = members[name];
  if (value === undefined) return null;
  if (!Array.isArray(value)) throw new BadFrame(`"${name}" is no list`);
  return value.map((entry: unknown, index) => read(read === plainText ? ({ entry } as Members) : objectOf(entry, `"${name}"[${index}]`)));
}

function plainText(entry: Members): string {
  return textOf(entry, "entry");
}
