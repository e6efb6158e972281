/// One typed function for each command.
import type { AnswerTo } from "./answers";
import type { Command, Key, Request } from "./types";

/// Sends a request and answers with the frame that ends its answer, or fails with NoAnswer.
export type Ask = <R extends Request>(request: R) => Promise<AnswerTo<R["command"]>>;

/// Commands that are not answered (see `kAnswers`) resolve with nothing as soon as they are sent.
export class Commands {
  constructor(private readonly ask: Ask) {}

  ping = () => this.ask({ command: "ping" });
  closeWebapp = () => this.ask({ command: "close_webapp" });

  getLoggerInfo = () => this.ask({ command: "get_logger_info" });
  getLoggerStatus = () => this.ask({ command: "get_logger_status" });
  getKslNetwork = () => this.ask({ command: "get_ksl_network" });
  getKslTimeOffset = () => this.ask({ command: "get_ksl_time_offset" });

  getSignalNames = () => this.ask({ command: "get_signal_names" });
  /// `interval` has no effect on the loggers but should be there.
  startSignal = (signal_key: Key, interval = 100) => this.ask({ command: "generic_start_sig", signal_key, interval });
  stopSignal = (signal_key: Key) => this.ask({ command: "generic_stop_sig", signal_key });
  startForwarding = () => this.ask({ command: "signal_forwarding_start" });
  /// Also empties the catalogue.
  stopForwarding = () => this.ask({ command: "signal_forwarding_stop" });

  getBusNames = (active: 0 | 1 = 1) => this.ask({ command: "get_bus_names", active });
  startBusload = () => this.ask({ command: "busload_start" });
  stopBusload = () => this.ask({ command: "busload_stop" });

  /// Two events with the same id are one: it has to be unique.
  setTrigger = (marker_id: string) => this.ask({ command: "set_trigger", marker_id });
  getTriggerCount = () => this.ask({ command: "get_trigger_count" });
  getTrigger = () => this.ask({ command: "get_trigger" });

  saveConfig = (name: string, config: string) => this.ask({ command: "save_config", name, config });
  loadConfig = (name: string) => this.ask({ command: "load_config", name });
  deleteConfig = (name: string) => this.ask({ command: "delete_config", name });
  getConfigs = () => this.ask({ command: "get_configs" });

  /// Times are seconds of the logger's clock, 0 to 2^32 - 1. The content follows as one binary frame.
  uploadAudioFile = (name: string, file_extension: string, marker_id: string, start_time: number, end_time: number) =>
    this.ask({ command: "upload_audio_file", name, file_extension, marker_id, start_time, end_time });
  cancelDataUpload = () => this.ask({ command: "cancel_data_upload" });
  setAudioFile = (audio_file: string, marker_id: string, start_time: number, end_time: number) =>
    this.ask({ command: "set_audio_file", audio_file, marker_id, start_time, end_time });
  getAudioList = () => this.ask({ command: "get_audio_list" });

  getMonitorNames = () => this.ask({ command: "get_rcmonitor_names" });
  startMonitor = () => this.ask({ command: "start_monitor" });
  stopMonitor = () => this.ask({ command: "stop_monitor" });
  requestScreen = (index: number) => this.ask({ command: "request_screen", index: String(index) });
}

/// All commands, for whoever offers them to people.
export const kCommands: readonly Command[] = [
  "get_logger_info",
  "get_logger_status",
  "get_ksl_network",
  "get_ksl_time_offset",
  "get_signal_names",
  "generic_start_sig",
  "generic_stop_sig",
  "signal_forwarding_start",
  "signal_forwarding_stop",
  "get_bus_names",
  "busload_start",
  "busload_stop",
  "set_trigger",
  "get_trigger",
  "get_trigger_count",
  "get_configs",
  "save_config",
  "load_config",
  "delete_config",
  "upload_audio_file",
  "cancel_data_upload",
  "set_audio_file",
  "get_audio_list",
  "get_rcmonitor_names",
  "start_monitor",
  "stop_monitor",
  "request_screen",
  "ping",
  "close_webapp",
];
