/// The frames of the sub-protocol `kr-webapp-v1`: what the logger sends and what may be asked of it.

/// The pair of a signal's name and its logger's MAC address.
export type Key = readonly [name: string, mac: string];

export type Status = "OK" | "ERROR" | "PROGRESS" | "WAITING_FOR_DATA";

/// What every answer may carry besides its own members. Absent members are the empty text.
export interface Outcome {
  /// "" while a logger still works on a request, and in messages that nobody asked for.
  readonly status: Status | "";
  readonly errorCode: string;
  readonly errorMessage: string;
  /// What the message bus said about a failure of its own: status, code and description, joined.
  readonly busError: string;
}

export interface LoggerInfo {
  readonly mac: string;
  readonly name: string;
  readonly configName: string;
  readonly timeZone: string;
  readonly type: string;
  readonly softwareVersion: string;
}

export interface Stream {
  readonly key: Key;
  readonly loggerName: string;
  readonly busId: string;
  readonly channel: number;
  readonly offset: number;
  readonly unit: string;
}

export interface BusName {
  readonly busId: string;
  readonly channel: number;
  readonly offset: number;
  readonly name: string;
}

export interface Marker {
  readonly number: number;
  readonly timestamp: number;
  readonly timeZone: string;
  readonly markerId: string;
}

export interface AudioEntry {
  readonly name: string;
  readonly markerId: string;
  readonly startTime: number;
  readonly endTime: number;
}

/// MOST's figures by the names of their members, in the order of the frame.
export type MostFigures = readonly (readonly [name: string, value: number])[];

export type BusloadFrame = Outcome & {
  readonly response: "busload_data";
  readonly timestamp: number;
  /// "" for the local logger.
  readonly loggerName: string;
} & (
    | {
        readonly kind: "bus";
        readonly busId: string;
        readonly channel: number;
        readonly offset: number;
        readonly name: string;
        readonly unit: string;
        readonly value: number;
      }
    | { readonly kind: "most"; readonly statusText: string; readonly figures: MostFigures }
    | { readonly kind: "gps"; readonly channel: number; readonly name: string; readonly gpsStatus: string; readonly value: number }
  );

export interface ValueFrame extends Outcome {
  readonly response: "generic_sig_value";
  readonly key: Key;
  readonly offset: number;
  /// Microseconds since 1970 UTC on the logger's own clock; NaN when the frame says that there is no value.
  readonly timestamp: number;
  /// A finite number, or null for a text.
  readonly number: number | null;
  /// The value as it was sent: for a number beyond 2^53 and for texts; "" where `String(number)` tells the same.
  readonly text: string;
  readonly description: string;
}

/// A frame of the logger, each of its members checked.
export type Frame =
  | ValueFrame
  | BusloadFrame
  | (Outcome & { readonly response: "get_logger_info"; readonly networkName: string; readonly configs: readonly LoggerInfo[] })
  | (Outcome & { readonly response: "get_ksl_network"; readonly neighbours: readonly string[] | null })
  | (Outcome & {
      readonly response: "get_logger_status";
      readonly states: readonly { readonly mac: string; readonly status: string }[] | null;
    })
  | (Outcome & {
      readonly response: "get_ksl_time_offset";
      readonly offsets: readonly { readonly mac: string; readonly offset: number }[] | null;
    })
  | (Outcome & { readonly response: "get_signal_names"; readonly streams: readonly Stream[] | null })
  | (Outcome & { readonly response: "generic_start_sig" | "generic_stop_sig"; readonly key: Key | null })
  | (Outcome & { readonly response: "get_bus_names"; readonly buses: readonly BusName[] | null; readonly source: string })
  | (Outcome & { readonly response: "set_trigger" } & Marker)
  | (Outcome & { readonly response: "get_trigger_count"; readonly index: number | null })
  | (Outcome & { readonly response: "get_trigger"; readonly markers: readonly Marker[] | null; readonly source: string })
  | (Outcome & { readonly response: "get_configs"; readonly names: readonly string[] | null })
  | (Outcome & { readonly response: "load_config"; readonly name: string; readonly config: string })
  | (Outcome & { readonly response: "save_config"; readonly name: string })
  | (Outcome & { readonly response: "upload_audio_file"; readonly name: string })
  | (Outcome & { readonly response: "get_audio_list"; readonly files: readonly AudioEntry[] | null })
  | (Outcome & {
      readonly response: "get_rcmonitor_names";
      readonly monitors: readonly { readonly index: number; readonly name: string }[] | null;
    })
  | (Outcome & { readonly response: "signal_message"; readonly name: string; readonly value: string; readonly unit: string })
  | (Outcome & { readonly response: OutcomeOnly })
  /// An answer to a command that this client does not know.
  | (Outcome & { readonly response: "other"; readonly name: string });

/// Answers that carry nothing but how it went.
export type OutcomeOnly =
  | "ping"
  | "krpbus"
  | "undef_cmd"
  | "generic_start"
  | "signal_forwarding_start"
  | "signal_forwarding_stop"
  | "busload_start"
  | "busload_stop"
  | "delete_config"
  | "cancel_data_upload"
  | "set_audio_file"
  | "request_screen";

export type FrameOf<R extends Frame["response"]> = Extract<Frame, { response: R }>;

/// A request, with the members that its command takes.
export type Request =
  | { readonly command: PlainCommand }
  | { readonly command: "get_bus_names"; readonly active: 0 | 1 }
  | { readonly command: "generic_start_sig"; readonly signal_key: Key; readonly interval: number }
  | { readonly command: "generic_stop_sig"; readonly signal_key: Key }
  | { readonly command: "set_trigger"; readonly marker_id: string }
  | { readonly command: "save_config"; readonly name: string; readonly config: string }
  | { readonly command: "load_config" | "delete_config"; readonly name: string }
  | {
      readonly command: "upload_audio_file";
      readonly name: string;
      readonly file_extension: string;
      readonly marker_id: string;
      readonly start_time: number;
      readonly end_time: number;
    }
  | {
      readonly command: "set_audio_file";
      readonly audio_file: string;
      readonly marker_id: string;
      readonly start_time: number;
      readonly end_time: number;
    }
  | { readonly command: "request_screen"; readonly index: string };

/// Commands without members of their own.
export type PlainCommand =
  | "ping"
  | "close_webapp"
  | "get_logger_info"
  | "get_logger_status"
  | "get_ksl_network"
  | "get_ksl_time_offset"
  | "get_signal_names"
  | "signal_forwarding_start"
  | "signal_forwarding_stop"
  | "busload_start"
  | "busload_stop"
  | "get_trigger"
  | "get_trigger_count"
  | "get_configs"
  | "get_audio_list"
  | "cancel_data_upload"
  | "get_rcmonitor_names"
  | "start_monitor"
  | "stop_monitor";

export type Command = Request["command"];
