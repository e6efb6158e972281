// What can be sent by hand: a request of each command to begin with.

export const kCommands: Readonly<Record<string, Readonly<Record<string, unknown>>>> = {
  get_logger_info: {},
  get_ksl_network: {},
  get_logger_status: {},
  get_ksl_time_offset: {},
  ping: {},
  close_webapp: {},
  get_configs: {},
  load_config: { name: "" },
  save_config: { name: "", config: "" },
  delete_config: { name: "" },
  get_signal_names: {},
  generic_start_sig: { signal_key: ["", ""], interval: 100 },
  generic_stop_sig: { signal_key: ["", ""] },
  signal_forwarding_start: {},
  signal_forwarding_stop: {},
  get_bus_names: { active: 1 },
  busload_start: {},
  busload_stop: {},
  set_trigger: { marker_id: "" },
  get_trigger_count: {},
  get_trigger: {},
  upload_audio_file: { name: "", file_extension: "wav", marker_id: "", start_time: 0, end_time: 0 },
  cancel_data_upload: {},
  get_audio_list: {},
  set_audio_file: { audio_file: "", start_time: 0, end_time: 0, marker_id: "" },
  get_rcmonitor_names: {},
  start_monitor: {},
  stop_monitor: {},
  request_screen: { index: "0" },
};

/// The request of a command as it is put into the box.
export function requestText(command: string): string {
  return JSON.stringify({ command, ...kCommands[command] });
}

/// Commands that the typed text may mean: by what stands after `"command": "`, or by the text itself.
export function completions(typed: string): readonly string[] {
  const inside = /"command"\s*:\s*"([^"]*)$/.exec(typed)?.[1];
  const begun = inside ?? (/^\w*$/.test(typed.trim()) ? typed.trim() : null);
  if (begun === null || (begun === "" && inside === undefined)) return [];
  return Object.keys(kCommands)
    .filter((command) => command.includes(begun) && command !== begun)
    .slice(0, 8);
}
